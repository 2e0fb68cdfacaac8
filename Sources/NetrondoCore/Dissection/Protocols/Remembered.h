// What a protocol knows of a TCP connection at the place where a segment begins.
#pragma once

#include "Dissection/Decode/Layer.h"

#include <cstring>
#include <type_traits>

namespace netrondo {

/// `State` is plain bytes, so that it can be kept with the frame for when that is decoded out of turn. A segment that
/// nobody follows, or that repeats another, begins with a state of which nothing is known: `State{}`.
template <typename State> class Remembered {
    static_assert(std::has_unique_object_representations_v<State>);

public:
    explicit Remembered(Layer& layer)
    {
        if (const auto kept = layer.kept(); kept && kept->size() == sizeof state_) {
            std::memcpy(&state_, kept->data(), sizeof state_);
            return;
        }
        memory_ = layer.memory<Memory>(Transport::tcp, Layer::Ways::both);
        if (!memory_)
            return;
        state_ = memory_->state;
        if (state_ != State{})
            layer.keep({reinterpret_cast<const std::uint8_t*>(&state_), sizeof state_});
    }

    State* operator->() { return &state_; }
    State& operator*() { return state_; }
    /// The state is that behind a whole message: from here on later segments begin with it.
    void commit()
    {
        if (memory_)
            memory_->state = state_;
    }

private:
    struct Memory : ProtocolMemory {
        State state{};
    };

    State state_{};
    Memory* memory_ = nullptr;
};

} // namespace netrondo
