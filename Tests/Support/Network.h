// A pair of interfaces joined by a virtual cable, in network namespaces of their own, and frames sent into one end.
//
//     class SomethingLive : public CableTest { };
//
//     cable().send(frame, 100);
//     netrondo({"capture", "-i", Cable::far, …})
#pragma once

#include "Base/Bytes.h"

#include <chrono>
#include <gtest/gtest.h>
#include <optional>
#include <string>

namespace netrondo::test {

/// Whether this process may make network namespaces and interfaces; the reason when it may not.
std::string whyNoNetwork();

/// Two interfaces, both up: what is sent into `near` arrives at `far`. Both belong to a namespace that goes with the
/// object; the calling thread enters it, so that everything it starts is in it.
class Cable {
public:
    Cable();
    ~Cable();
    Cable(const Cable&) = delete;
    Cable& operator=(const Cable&) = delete;

    static constexpr auto near = "nrnear", far = "nrfar";

    /// Sends the frame so many times, with a pause before each.
    void send(Bytes frame, int count = 1, std::chrono::microseconds pause = {}) const;
    void takeDown() const; ///< the far end goes down
    void remove() const;   ///< both vanish

private:
    int outside_ = -1; ///< the namespace the thread came from
    int socket_ = -1;
    int index_ = 0;
};

/// For tests that need a cable; they are skipped, with the reason, where none can be made.
class CableTest : public testing::Test {
protected:
    void SetUp() override
    {
        if (const auto reason = whyNoNetwork(); !reason.empty())
            GTEST_SKIP() << reason;
        cable_.emplace();
    }
    const Cable& cable() const { return *cable_; }

private:
    std::optional<Cable> cable_;
};

} // namespace netrondo::test
