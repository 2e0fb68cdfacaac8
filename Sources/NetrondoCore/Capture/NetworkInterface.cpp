// The bridge's list as values.
#include "Capture/NetworkInterface.h"

#include "CPcapBridge/CPcapBridge.h"

namespace netrondo {
namespace {

NetworkInterface valueOf(const nr_pcap_interface& interface)
{
    NetworkInterface value;
    value.name = interface.name;
    value.description = interface.description;
    for (std::size_t i = 0; i < interface.address_count; ++i) {
        const auto& address = interface.addresses[i];
        value.addresses.push_back(address.size == 4 ? Address::ipv4(address.bytes) : Address::ipv6(address.bytes));
    }
    value.isUp = interface.flags & NR_PCAP_UP;
    value.isRunning = interface.flags & NR_PCAP_RUNNING;
    value.isLoopback = interface.flags & NR_PCAP_LOOPBACK;
    value.isWireless = interface.flags & NR_PCAP_WIRELESS;
    return value;
}
} // namespace

CaptureResult<std::vector<NetworkInterface>> networkInterfaces()
{
    std::vector<NetworkInterface> found;
    char error[NR_PCAP_ERROR_SIZE];
    const auto add = [](void* list, const nr_pcap_interface* interface) {
        static_cast<std::vector<NetworkInterface>*>(list)->push_back(valueOf(*interface));
    };
    if (nr_pcap_list(add, &found, error) != 0)
        return std::unexpected(CaptureError::saying(std::string("The interfaces cannot be listed: ") + error));
    return found;
}

} // namespace netrondo
