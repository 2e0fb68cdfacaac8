// SMB transactions (MS-CIFS, 2.2.4.33; MS-RAP for what is asked over \PIPE\LANMAN).
#include "Dissection/Protocols/SmbTransaction.h"

#include "Dissection/Protocols/Protocols.h"
#include "Dissection/Protocols/TextLines.h"

#include <algorithm>

namespace netrondo::smbTransaction {
namespace {
constexpr NamedValue setups[] = {
    {0x0001, "write to a mailslot"}, {0x0026, "transact with a pipe"}, {0x0053, "wait for a pipe"},
    {0x0054, "call a pipe"},         {0x0021, "pipe’s state"},         {0x0022, "pipe’s information"},
    {0x0023, "peek into a pipe"},    {0x0011, "raw read of a pipe"},   {0x0031, "raw write to a pipe"}};
constexpr NamedValue classes[] = {{1, "reliable"}, {2, "unreliable and broadcast"}};
constexpr NamedValue remoteCalls[] = {
    {0, "NetShareEnum"},         {1, "NetShareGetInfo"},  {7, "NetSessionDel"},       {13, "NetServerGetInfo"},
    {52, "NetUserPasswordSet2"}, {54, "NetServerEnum"},   {56, "NetUserGetInfo"},     {59, "NetGroupGetUsers"},
    {63, "NetWkstaGetInfo"},     {69, "DosPrintQEnum"},   {70, "DosPrintQGetInfo"},   {76, "DosPrintJobEnum"},
    {91, "NetRemoteTOD"},        {104, "NetServerEnum2"}, {132, "NetWkstaUserLogon"}, {133, "NetWkstaUserLogoff"},
    {215, "NetServerEnum3"}};

constexpr Field whole{"smb.transaction", "Transaction", Wire::group};
constexpr Field totalParameters{"smb.trans.total_parameters", "Parameters in all", Wire::le16};
constexpr Field totalData{"smb.trans.total_data", "Data in all", Wire::le16};
constexpr Field maxParameters{"smb.trans.max_parameters", "Most parameters in the response", Wire::le16};
constexpr Field maxData{"smb.trans.max_data", "Most data in the response", Wire::le16};
constexpr Field maxSetup{"smb.trans.max_setup", "Most setup words in the response", Wire::u8};
constexpr Field reserved8{"smb.trans.reserved", "Reserved", Wire::hex8};
constexpr Field reserved16{"smb.trans.reserved", "Reserved", Wire::leHex16};
constexpr Field flags{"smb.trans.flags", "Flags", Wire::leHex16};
constexpr Field timeout{"smb.trans.timeout", "Timeout (ms)", Wire::le32};
constexpr Field parameterCount{"smb.trans.parameters", "Parameter bytes", Wire::le16};
constexpr Field parameterOffset{"smb.trans.parameter_offset", "Parameter offset", Wire::le16};
constexpr Field parameterPlace{"smb.trans.parameter_place", "Place among all parameters", Wire::le16};
constexpr Field dataCount{"smb.trans.data_len", "Data bytes", Wire::le16};
constexpr Field dataOffset{"smb.trans.data_offset", "Data offset", Wire::le16};
constexpr Field dataPlace{"smb.trans.data_place", "Place among all data", Wire::le16};
constexpr Field setupCount{"smb.trans.setup_count", "Setup words", Wire::u8};
constexpr Field setup{"smb.trans.setup", "Action", Wire::leHex16, setups};
constexpr Field priority{"smb.trans.priority", "Priority", Wire::le16};
constexpr Field deliveryClass{"smb.trans.class", "Class", Wire::le16, classes};
constexpr Field pipe{"smb.trans.pipe", "Pipe", Wire::leHex16};
constexpr Field setupMore{"smb.trans.setup_more", "More setup words", Wire::bytes};
constexpr Field byteCount{"smb.bytes", "Byte count", Wire::le16};
constexpr Field nameText{"smb.trans.name", "Name", Wire::text};
constexpr Field nameUtf16{"smb.trans.name", "Name", Wire::utf16};
constexpr Field remoteCall{"smb.rap", "Remote administration call", Wire::le16, remoteCalls};
constexpr Field descriptor{"smb.rap.descriptor", "Descriptor", Wire::text};
constexpr Field parameters{"smb.trans.parameter_bytes", "Parameters", Wire::bytes};
constexpr Field data{"smb.trans.data", "Data", Wire::bytes};

constexpr std::uint64_t transaction = 0x25;
constexpr std::uint64_t requestWords = 14, responseWords = 10;

struct Part {
    std::uint64_t count, offset;
};

struct Parts {
    Part parameters, data;
};

void readSetup(Layer& smb, std::uint64_t count, bool answers)
{
    const Layer::Window words(smb, count * 2);
    if (!count || answers)
        return static_cast<void>(count ? smb.readRest(setupMore) : Bytes());
    smb.read(setup);
    if (count == 3)
        smb.read(priority, deliveryClass);
    else if (count == 2)
        smb.read(pipe);
    else if (smb.more())
        smb.readRest(setupMore);
}

Parts readWords(Layer& smb, bool answers)
{
    Parts parts{};
    smb.read(totalParameters, totalData);
    if (!answers) {
        smb.read(maxParameters, maxData, maxSetup, reserved8);
        smb.read(flags, timeout, reserved16);
    } else {
        smb.read(reserved16);
    }
    parts.parameters.count = smb.read(parameterCount), parts.parameters.offset = smb.read(parameterOffset);
    if (answers)
        smb.read(parameterPlace);
    parts.data.count = smb.read(dataCount), parts.data.offset = smb.read(dataOffset);
    if (answers)
        smb.read(dataPlace);
    const auto count = smb.read(setupCount);
    smb.read(reserved8);
    readSetup(smb, count, answers);
    return parts;
}

/// What the transaction is sent to, as letters; of UTF-16 those that are ASCII.
struct Name {
    char letters[32];
    std::size_t size = 0;

    operator std::string_view() const { return {letters, size}; }
};

Name readName(Layer& smb, bool isUnicode, std::uint32_t headerAt)
{
    Name name;
    const std::size_t step = isUnicode ? 2 : 1;
    if (isUnicode)
        smb.skip((smb.offset() - headerAt) % 2);
    const auto bytes = smb.rest();
    std::size_t size = 0;
    while (size + step <= bytes.size() && (bytes[size] || (isUnicode && bytes[size + 1]))) {
        if (name.size < sizeof name.letters)
            name.letters[name.size++] = static_cast<char>(bytes[size]);
        size += step;
    }
    smb.readBytes(isUnicode ? nameUtf16 : nameText, size);
    smb.skip(std::min(step, smb.left()));
    return name;
}

/// Goes to a part that stands behind what was read; false where there is none of it.
bool enter(Layer& smb, const Part& part, std::uint32_t headerAt)
{
    const std::size_t at = smb.offset() - headerAt;
    if (smb.stopped() || !part.count || part.offset < at || part.offset - at >= smb.left())
        return false;
    smb.skip(part.offset - at);
    return true;
}

void readParameters(Layer& smb, std::size_t size, std::string_view name, bool answers)
{
    const Layer::Window part(smb, size);
    if (!answers && textLines::equalsIgnoringCase(name, "\\PIPE\\LANMAN")) {
        smb.read(remoteCall);
        smb.readZeroText(descriptor);
        smb.readZeroText(descriptor);
    }
    if (smb.more())
        smb.readRest(parameters);
}

const Protocol* protocolOf(std::string_view name)
{
    using textLines::startsIgnoringCase;
    if (startsIgnoringCase(name, "\\MAILSLOT\\BROWSE"))
        return &browser::protocol;
    for (const std::string_view slot : {"\\MAILSLOT\\NET\\NETLOGON", "\\MAILSLOT\\NET\\NTLOGON",
                                        "\\MAILSLOT\\NET\\GETDC", "\\MAILSLOT\\TEMP\\NETLOGON"}) {
        if (startsIgnoringCase(name, slot))
            return &netlogon::protocol;
    }
    return nullptr;
}
} // namespace

bool isOne(std::uint64_t command, std::uint64_t words, bool answers)
{
    return command == transaction && words >= (answers ? responseWords : requestWords);
}

void read(Layer& smb, std::uint64_t words, bool answers, bool isUnicode, std::uint32_t headerAt)
{
    Parts parts{};
    {
        const Layer::Group group(smb, whole);
        const Layer::Window block(smb, words * 2);
        parts = readWords(smb, answers);
    }
    smb.read(byteCount);
    if (smb.stopped())
        return;
    const auto name = answers ? Name() : readName(smb, isUnicode, headerAt);
    if (enter(smb, parts.parameters, headerAt))
        readParameters(smb, parts.parameters.count, name, answers);
    if (!enter(smb, parts.data, headerAt))
        return;
    const auto size = std::min<std::size_t>(parts.data.count, smb.left());
    if (const auto* protocol = protocolOf(name))
        smb.handOver(*protocol, parts.data.count);
    else if (dcerpc::protocol.guess(smb.rest().first(size), Transport::tcp) == Likeness::certain)
        smb.embed(dcerpc::protocol, size);
    else
        smb.readBytes(data, parts.data.count);
}

void describe(const LayerView& smb, TextSink& out)
{
    if (const auto wide = smb[nameUtf16])
        out(", {}", wide);
    else if (const auto narrow = smb[nameText])
        out(", {}", narrow);
    if (const auto call = smb[remoteCall])
        out(", {}", call);
}

} // namespace netrondo::smbTransaction
