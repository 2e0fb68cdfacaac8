// How a conversation is named on screen, and which protocols it carries.
#include "Analysis/Model/CommPair.h"
#include "Base/Shorten.h"

#include <algorithm>

namespace netrondo {
namespace {

std::string label(const std::string& address, const std::optional<std::string>& name, bool showNames,
                  std::size_t maxChars)
{
    return shortenMiddle(showNames && name && !name->empty() ? *name : address, maxChars);
}

} // namespace

std::string CommPair::displaySrc(bool showNames, std::size_t maxChars) const
{
    return label(srcAddr, resolvedSrc, showNames, maxChars);
}

std::string CommPair::displayDst(bool showNames, std::size_t maxChars) const
{
    return label(dstAddr, resolvedDst, showNames, maxChars);
}

bool CommPair::carries(std::string_view protocolName) const
{
    return topProtocol == protocolName || std::ranges::find(payloadProtocols, protocolName) != payloadProtocols.end()
        || std::ranges::any_of(dstPorts, [&](const auto& port) {
               const auto service = PortServices::name(port.first);
               return !service.empty() && service == protocolName;
           });
}

} // namespace netrondo
