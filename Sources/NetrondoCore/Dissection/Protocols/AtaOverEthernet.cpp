// ATA over Ethernet (AoEr11): disks that are read and written in frames without IP.
#include "Dissection/Protocols/Protocols.h"

namespace netrondo::aoe {
namespace {
constexpr NamedValue commands[] = {
    {0, "ATA"}, {1, "Query configuration"}, {2, "MAC mask list"}, {3, "Reserve or release"}};
constexpr NamedValue errors[] = {{1, "unrecognized command"}, {2, "bad argument"},        {3, "device unavailable"},
                                 {4, "configuration is set"}, {5, "unsupported version"}, {6, "target is reserved"}};
constexpr NamedValue ataCommands[] = {{0x20, "read sectors"},         {0x24, "read sectors (48-bit)"},
                                      {0x30, "write sectors"},        {0x34, "write sectors (48-bit)"},
                                      {0xe5, "check power mode"},     {0xe7, "flush cache"},
                                      {0xea, "flush cache (48-bit)"}, {0xec, "identify device"}};
constexpr NamedValue configurations[] = {
    {0, "read"}, {1, "test"}, {2, "test the beginning"}, {3, "set"}, {4, "force to set"}};

constexpr Field flags{"aoe.flags", "Version and flags", Wire::hex8};
constexpr Field version{"aoe.version", "Version", Wire::bits, {}, 0xf0};
constexpr Field isResponse{"aoe.response", "Response", Wire::bit, {}, 0x08};
constexpr Field isError{"aoe.is_error", "Error", Wire::bit, {}, 0x04};
constexpr Field error{"aoe.error", "Error", Wire::u8, errors};
constexpr Field shelf{"aoe.shelf", "Shelf", Wire::u16};
constexpr Field slot{"aoe.slot", "Slot", Wire::u8};
constexpr Field command{"aoe.command", "Command", Wire::u8, commands};
constexpr Field tag{"aoe.tag", "Tag", Wire::hex32};
constexpr Field ataFlags{"aoe.ata_flags", "ATA flags", Wire::hex8};
constexpr Field isWrite{"aoe.write", "Write", Wire::bit, {}, 0x01};
constexpr Field isExtended{"aoe.lba48", "48-bit addresses", Wire::bit, {}, 0x40};
constexpr Field feature{"aoe.feature", "Error or feature", Wire::hex8};
constexpr Field sectors{"aoe.sectors", "Sectors", Wire::u8};
constexpr Field ataCommand{"aoe.ata_command", "ATA command", Wire::hex8, ataCommands};
constexpr Field ataStatus{"aoe.ata_status", "ATA status", Wire::hex8};
constexpr Field block{"aoe.lba", "Block", Wire::number};
constexpr Field reserved{"aoe.reserved", "Reserved", Wire::hex16};
constexpr Field buffers{"aoe.buffers", "Buffers", Wire::u16};
constexpr Field firmware{"aoe.firmware", "Firmware version", Wire::hex16};
constexpr Field maxSectors{"aoe.max_sectors", "Most sectors", Wire::u8};
constexpr Field action{"aoe.config", "Version and action", Wire::hex8};
constexpr Field configuration{"aoe.config_action", "Action", Wire::bits, configurations, 0x0f};
constexpr Field length{"aoe.config_len", "Length", Wire::u16};
constexpr Field text{"aoe.config_text", "Configuration", Wire::text};
constexpr Field data{"aoe.data", "Data", Wire::bytes};

void readAta(Layer& aoe, bool answers)
{
    constexpr std::size_t blockLength = 6;
    aoe.readParts(ataFlags, isExtended, isWrite);
    aoe.read(feature, sectors);
    aoe.read(answers ? ataStatus : ataCommand);
    if (!aoe.more(blockLength))
        return aoe.skip(blockLength);
    const auto* const at = aoe.rest().data();
    aoe.add(block, load::le32(at) | std::uint64_t{load::le16(at + 4)} << 32, aoe.offset(), blockLength);
    aoe.skip(blockLength);
    aoe.read(reserved);
    if (aoe.more())
        aoe.readRest(data);
}

void decode(Layer& aoe)
{
    const auto bits = aoe.readParts(flags, version, isResponse, isError);
    aoe.read(error, shelf, slot);
    const auto what = aoe.read(command);
    aoe.read(tag);
    if (what == 0)
        return readAta(aoe, bits & 0x08);
    if (what == 1) {
        aoe.read(buffers, firmware, maxSectors);
        aoe.readParts(action, configuration);
        if (const auto size = aoe.read(length))
            aoe.readText(text, size);
        return aoe.endHere();
    }
    if (aoe.more())
        aoe.readRest(data);
}

void describe(const LayerView& aoe, TextSink& out)
{
    out("{} {}", aoe[command], aoe[isResponse] == 1 ? "response" : "request");
    if (aoe[isError] == 1)
        out(", {}", aoe[error]);
    if (aoe[shelf] == 0xffff && aoe[slot] == 0xff)
        out(", to all");
    else
        out(", shelf {} slot {}", aoe[shelf], aoe[slot]);
    if (const auto what = aoe[ataCommand])
        out(", {}, block {}, {} sectors", what, aoe[block], aoe[sectors]);
    if (const auto what = aoe[configuration])
        out(", {}", what);
    if (const auto name = aoe[text])
        out(" “{}”", name);
}

constexpr Claim claims[] = {etherType(0x88a2)};
} // namespace

constexpr Protocol protocol{{"aoe", "AoE", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace netrondo::aoe
