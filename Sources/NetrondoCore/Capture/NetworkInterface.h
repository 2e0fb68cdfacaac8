// The network interfaces of this machine.
#pragma once

#include "Base/Address.h"
#include "Capture/CaptureError.h"

#include <string>
#include <vector>

namespace netrondo {

struct NetworkInterface {
    std::string name;
    std::string description; ///< often empty
    std::vector<Address> addresses;
    bool isUp = false;
    bool isRunning = false; ///< it has a carrier
    bool isLoopback = false;
    bool isWireless = false;

    friend bool operator==(const NetworkInterface&, const NetworkInterface&) = default;
};

/// Those that can be captured on, the likeliest first; `any` is all of them at once. Needs no privilege.
CaptureResult<std::vector<NetworkInterface>> networkInterfaces();

} // namespace netrondo
