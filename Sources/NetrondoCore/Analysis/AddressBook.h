// Addresses as numbers of 32 bits, so that tables of sessions and conversations stay small.
#pragma once

#include "Base/Address.h"
#include "Base/PagedVector.h"
#include "Base/Prefetch.h"
#include "Base/SlotIndex.h"

#include <cstdint>

namespace netrondo {

/// Numbers the addresses of an analysis. A number has a meaning together with the kind of its address only: an IPv4
/// address is its own number, the others are numbered as they come.
class AddressBook {
public:
    /// The number of an address, which is entered when it is new.
    std::uint32_t numberOf(const Address& address)
    {
        if (isItsOwnNumber(address.kind))
            return static_cast<std::uint32_t>(address.low);
        const auto hash = hashOf(address);
        auto number = index_.find(hash, [&](std::uint32_t known) { return addresses_[known] == address; });
        if (number == SlotIndex::none) {
            number = addresses_.append();
            addresses_[number] = address;
            index_.insert(hash, number);
        }
        return number;
    }

    /// Whether this is the number of that address, the number being one of an address of the same kind.
    bool isNumberOf(std::uint32_t number, const Address& address) const
    {
        return isItsOwnNumber(address.kind) ? number == address.low : addresses_[number] == address;
    }

    /// The address of this kind with this number.
    Address address(Address::Kind kind, std::uint32_t number) const
    {
        if (kind == Address::Kind::none)
            return {};
        return isItsOwnNumber(kind) ? Address::ipv4(number) : addresses_[number];
    }

    /// Brings closer what `numberOf` looks at first.
    void prefetchNumberOf(const Address& address) const
    {
        if (!isItsOwnNumber(address.kind))
            index_.prefetch(hashOf(address));
    }
    /// Brings closer what `isNumberOf` compares; not for IPv4.
    void prefetch(std::uint32_t number) const { netrondo::prefetch(&addresses_[number]); }

private:
    static bool isItsOwnNumber(Address::Kind kind) { return kind == Address::Kind::ipv4; }

    PagedVector<Address> addresses_;
    SlotIndex index_;
};

} // namespace netrondo
