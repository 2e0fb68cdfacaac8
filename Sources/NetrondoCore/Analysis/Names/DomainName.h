// Domain names as messages spell them (RFC 1035), unpacked into a buffer of fixed size.
#pragma once

#include "Base/Address.h"
#include "Base/Bytes.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>

namespace netrondo::names {

/// A name with dots between its labels. A name that cannot be shown as such is empty: it is too long, its pointers do
/// not lead backwards, or a label holds a dot of its own.
class DomainName {
public:
    DomainName() = default;
    DomainName(const DomainName& other) { *this = other; }
    DomainName& operator=(const DomainName& other)
    {
        length_ = other.length_;
        spoilt_ = other.spoilt_;
        std::copy_n(other.characters_.begin(), length_, characters_.begin());
        return *this;
    }

    /// Reads the name at `offset` and moves behind it. False when the message ends first or a label is of no known
    /// kind: then nothing behind it can be found either.
    bool read(Bytes message, std::size_t& offset);

    std::string_view text() const { return {characters_.data(), length_}; }
    bool empty() const { return length_ == 0; }
    /// The same name, whatever the case of its letters; an empty one is never the same.
    bool isSameAs(const DomainName& other) const;
    void toLowerCase();

private:
    void append(Bytes label);
    void spoil();

    static constexpr std::size_t longest = 253; // 255 octets on the wire: RFC 1035, section 2.3.4
    std::array<char, longest> characters_;      ///< the first `length_` of them; the rest is never looked at
    std::size_t length_ = 0;
    bool spoilt_ = false;
};

/// Whether a name may be shown: 1 to 253 octets of UTF-8, labels of 1 to 63 octets, and no character that controls a
/// terminal or turns the direction of what stands beside it.
bool isAcceptable(std::string_view name);

/// The address a reverse name stands for ("4.3.2.1.in-addr.arpa" and the 32 nibbles of "ip6.arpa"; RFC 1035 and 3596).
std::optional<Address> reverseAddress(std::string_view name);

} // namespace netrondo::names
