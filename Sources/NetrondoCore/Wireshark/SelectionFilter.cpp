// Hosts of the packet list are IP addresses wherever there are any: MAC addresses are asked for in the Ethernet header.
#include "Wireshark/SelectionFilter.h"

#include "Dissection/Filter/FilterFrom.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <vector>

namespace netrondo {
namespace {

std::string hostTerm(const Address& address)
{
    if (address.kind == Address::Kind::mac)
        return fmt::format("eth.addr == {}", address.text());
    return FilterFrom::hosts(address.text(), address.text());
}
} // namespace

std::string displayFilterFor(const TrafficSelection& selection)
{
    std::vector<std::string> terms;
    for (const auto& host : selection.hosts)
        if (host)
            terms.push_back(hostTerm(host));
    for (const auto& [one, other] : selection.conversations) {
        if (!one || !other)
            continue;
        if (one == other)
            terms.push_back(hostTerm(one));
        else
            terms.push_back(fmt::format("({} and {})", hostTerm(one), hostTerm(other)));
    }
    if (terms.size() == 1 && terms.front().starts_with('('))
        return terms.front().substr(1, terms.front().size() - 2);
    return fmt::format("{}", fmt::join(terms, " or "));
}

} // namespace netrondo
