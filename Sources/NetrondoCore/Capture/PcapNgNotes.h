// What a pcapng file says beside its frames: comments, names of interfaces, how they count time, what they counted.
#pragma once

#include "Base/Bytes.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace netrondo {

/// Options of a block (draft-ietf-opsawg-pcapng, section 3.5) as a file of little-endian byte order has them, without
/// the mark of their end.
class PcapNgOptions {
public:
    /// What kind of block they belong to: which of them are numbers depends on it.
    enum class Block { section, interface, packet, statistics };

    /// Options that are kept, and those that every block may have.
    enum Code : std::uint16_t {
        end = 0,
        comment = 1,
        sectionApplication = 4,
        interfaceName = 2,
        interfaceTimeResolution = 9,
        interfaceFilter = 11,
        interfaceTimeOffset = 14,
        statisticsStart = 2,
        statisticsEnd = 3,
        statisticsReceived = 4,
        statisticsInterfaceDropped = 5,
        statisticsKernelDropped = 7,
    };

    PcapNgOptions() = default;
    /// Those of a block, from behind its fixed fields; `swap`: the file is of the other byte order. What is cut or
    /// makes no sense ends them.
    PcapNgOptions(Bytes options, bool swap, Block block);

    void add(std::uint16_t code, Bytes value);
    /// Text longer than an option can be is cut.
    void addText(std::uint16_t code, std::string_view text);
    void addNumber(std::uint16_t code, std::uint64_t number); ///< of 64 bits
    void remove(std::uint16_t code);

    bool empty() const { return bytes_.empty(); }
    Bytes bytes() const { return bytes_; }
    /// The value of the first option with this code.
    std::optional<Bytes> find(std::uint16_t code) const;
    /// The values of all options with this code, a line each.
    std::string lines(std::uint16_t code) const;

    friend bool operator==(const PcapNgOptions&, const PcapNgOptions&) = default;

private:
    std::vector<std::uint8_t> bytes_;
};

struct PcapNgNotes {
    struct Statistics {
        std::int64_t nanoseconds = 0; ///< when they were written down, since 1970
        PcapNgOptions options;
        friend bool operator==(const Statistics&, const Statistics&) = default;
    };
    struct Interface {
        std::uint16_t linkNumber = 1;
        std::uint32_t snaplen = 0;
        std::uint8_t timeResolution = 6;      ///< decimals of a second, or with the highest bit set binary places
        PcapNgOptions options;                ///< but for those about time
        std::optional<Statistics> statistics; ///< the last ones: they count from the beginning
        friend bool operator==(const Interface&, const Interface&) = default;
    };

    PcapNgOptions section;             ///< of the first section
    std::vector<Interface> interfaces; ///< in their order

    friend bool operator==(const PcapNgNotes&, const PcapNgNotes&) = default;
};

} // namespace netrondo
