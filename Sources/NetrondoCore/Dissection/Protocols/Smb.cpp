// Server Message Block, versions 1 to 3 (MS-CIFS, MS-SMB2), behind the NetBIOS session service or bare on port 445.
#include "Dissection/Protocols/Protocols.h"
#include "Dissection/Protocols/SmbNames.h"

namespace netrondo {

namespace nbss {
namespace {
constexpr NamedValue types[] = {{0x00, "Session message"},           {0x81, "Session request"},
                                {0x82, "Positive session response"}, {0x83, "Negative session response"},
                                {0x84, "Session retarget response"}, {0x85, "Session keep-alive"}};

constexpr Field type{"nbss.type", "Message type", Wire::hex8, types};
constexpr Field length{"nbss.length", "Length", Wire::u24};
constexpr Field error{"nbss.error", "Error", Wire::hex8};
constexpr Field names{"nbss.names", "Names", Wire::bytes};
constexpr Field continuation{"nbss.continuation", "Continuation of a message", Wire::bytes};

void decode(Layer& nbss)
{
    while (nbss.more()) {
        if (nameIn(types, nbss.peek8()).empty() || nbss.peek8(1) > 1) {
            nbss.readRest(continuation);
            return;
        }
        nbss.beginMessage();
        const auto kind = nbss.read(type), size = nbss.read(length);
        if (nbss.stopped())
            return;
        nbss.expect(size);
        if (kind == 0 && size) {
            nbss.handOver(smb::protocol, size);
            if (!nbss.left())
                return;
        } else if (kind == 0x81) {
            nbss.readBytes(names, size);
        } else if (kind == 0x83) {
            nbss.read(error);
        } else if (size) {
            nbss.skip(size);
        }
    }
}

void describe(const LayerView& nbss, TextSink& out)
{
    if (const auto kind = nbss[type])
        return out("{}", kind);
    if (const auto rest = nbss[continuation])
        out("Continuation, {} bytes", rest.node()->length);
}

Likeness guess(Bytes payload, Transport transport)
{
    if (transport != Transport::tcp || payload.size() < 8 || payload[0] != 0 || payload[1] > 1)
        return Likeness::none;
    const auto head = asText(payload.subspan(5, 3));
    return head == "SMB" && payload[4] >= 0xfc ? Likeness::certain : Likeness::none;
}

constexpr Claim claims[] = {tcpPort(139), tcpPort(445)};
} // namespace

constexpr Protocol protocol{{"nbss", "NBSS", Wire::layer}, {}, claims, decode, describe, guess};
static_assert(wellFormed(protocol));
} // namespace nbss

namespace smb {
namespace {
constexpr std::uint32_t magic1 = 0xff534d42, magic2 = 0xfe534d42, magicEncrypted = 0xfd534d42,
                        magicCompressed = 0xfc534d42;

constexpr Field magic{"smb.magic", "Protocol", Wire::hex32};
// One catalogue name for the commands of both generations: whoever filters knows which one is on the wire.
constexpr Field command1{"smb.cmd", "SMB command", Wire::hex8, smbNames::commands1};
constexpr Field command2{"smb.cmd", "SMB command", Wire::le16, smbNames::commands2};
constexpr Field status{"smb.status", "Status", Wire::leHex32, smbNames::statuses};
constexpr Field flags1{"smb.flags", "Flags", Wire::hex8};
constexpr Field isReply{"smb.reply", "Reply", Wire::bit, {}, 0x80};
constexpr Field flags1More{"smb.flags2", "More flags", Wire::leHex16};
constexpr Field unicode{"smb.unicode", "Unicode", Wire::bit, {}, 0x8000};
constexpr Field processHigh{"smb.pid_high", "Process ID, high", Wire::le16};
constexpr Field signature{"smb.signature", "Signature", Wire::bytes};
constexpr Field reserved{"smb.reserved", "Reserved", Wire::leHex16};
constexpr Field tree16{"smb.tid", "Tree ID", Wire::leHex16};
constexpr Field process{"smb.pid", "Process ID", Wire::leHex16};
constexpr Field user{"smb.uid", "User ID", Wire::leHex16};
constexpr Field multiplex{"smb.mid", "Multiplex ID", Wire::le16};
constexpr Field wordCount{"smb.words", "Word count", Wire::u8};
constexpr Field parameters{"smb.parameters", "Parameters", Wire::bytes};
constexpr Field byteCount{"smb.bytes", "Byte count", Wire::le16};
constexpr Field dialect{"smb.dialect", "Dialect", Wire::text};
constexpr Field pathText{"smb.path", "Path", Wire::text};
constexpr Field pathUtf16{"smb.path", "Path", Wire::utf16};
constexpr Field data{"smb.data", "Data", Wire::bytes};

constexpr Field headerLength{"smb.header_len", "Header length", Wire::le16};
constexpr Field charge{"smb.charge", "Credit charge", Wire::le16};
constexpr Field credits{"smb.credits", "Credits", Wire::le16};
constexpr Field flags2{"smb.flags", "Flags", Wire::leHex32};
constexpr Field isResponse{"smb.response", "Response", Wire::bit, {}, 0x01};
constexpr Field isAsync{"smb.async", "Asynchronous", Wire::bit, {}, 0x02};
constexpr Field isRelated{"smb.related", "Related to the one before", Wire::bit, {}, 0x04};
constexpr Field isSigned{"smb.signed", "Signed", Wire::bit, {}, 0x08};
constexpr Field nextOffset{"smb.next", "Next command", Wire::le32};
constexpr Field messageId{"smb.message_id", "Message ID", Wire::le64};
constexpr Field process2{"smb.process", "Process ID", Wire::leHex32};
constexpr Field tree2{"smb.tree", "Tree ID", Wire::leHex32};
constexpr Field asyncId{"smb.async_id", "Asynchronous ID", Wire::leHex64};
constexpr Field session{"smb.session", "Session ID", Wire::leHex64};
constexpr Field bodyLength{"smb.body_len", "Structure size", Wire::le16};
constexpr Field dialect2{"smb.dialect_revision", "Dialect revision", Wire::leHex16, smbNames::dialects2};
constexpr Field fileName{"smb.file", "File", Wire::utf16};
constexpr Field message{"smb.message", "Message", Wire::group};
constexpr Field encrypted{"smb.encrypted", "Encrypted message", Wire::bytes};
constexpr Field continuation{"smb.continuation", "Continuation of a message", Wire::bytes};

/// The text of a request that names a path, which stands behind its words.
void readPath1(Layer& smb, std::uint64_t command, bool isUnicode)
{
    const bool prefixed = smb.peek8() == 4; // most commands mark text with this byte
    if (command == 0x72) {
        while (smb.more(2) && smb.peek8() == 2) {
            smb.skip(1);
            smb.readZeroText(dialect);
        }
    } else if (prefixed && !isUnicode) {
        smb.skip(1);
        smb.readZeroText(pathText);
    } else if (command == 0xa2 && isUnicode && smb.left() > 2) {
        smb.skip((smb.offset() - smb.begin()) % 2); // text is aligned against the header
        smb.readBytes(pathUtf16, smb.left());
    } else if (command == 0xa2 && smb.left()) {
        smb.readZeroText(pathText);
    }
}

void decode1(Layer& smb)
{
    const auto command = smb.read(command1);
    smb.read(status);
    const bool reply = smb.readParts(flags1, isReply) & 0x80;
    const bool isUnicode = smb.readParts(flags1More, unicode) & 0x8000;
    smb.read(processHigh);
    smb.readBytes(signature, 8);
    smb.read(reserved, tree16, process, user, multiplex);
    const auto words = smb.read(wordCount);
    if (words)
        smb.readBytes(parameters, words * 2);
    const auto bytes = smb.read(byteCount);
    const Layer::Window body(smb, std::min<std::size_t>(bytes, smb.left()));
    if (!reply)
        readPath1(smb, command, isUnicode);
    if (smb.more())
        smb.readRest(data);
}

/// Where a request of version 2 keeps its name: the offsets of the name's place and length in its body.
void readName2(Layer& smb, std::uint32_t headerAt, std::size_t placeAt)
{
    if (smb.left() < placeAt + 4)
        return;
    const auto rest = smb.rest();
    const std::size_t place = load::le16(&rest[placeAt]), size = load::le16(&rest[placeAt + 2]);
    const std::size_t read = smb.offset() - headerAt;
    if (size == 0 || place < read || place - read + size > smb.left())
        return;
    smb.add(fileName, 0, headerAt + place, size);
}

void readBody2(Layer& smb, std::uint64_t command, bool response, std::uint32_t headerAt)
{
    if (!smb.more(2))
        return;
    if (command == 0 && !response) {
        const auto count = smb.left() >= 4 ? load::le16(&smb.rest()[2]) : 0u;
        if (smb.left() >= 36 + 2 * count) {
            for (std::size_t i = 0; i < count && i < 16; ++i) {
                const auto at = 36 + 2 * i;
                smb.add(dialect2, load::le16(&smb.rest()[at]), smb.offset() + at, 2);
            }
        }
    } else if (command == 0 && smb.left() >= 6) {
        smb.add(dialect2, load::le16(&smb.rest()[4]), smb.offset() + 4, 2);
    } else if (command == 3 && !response) {
        readName2(smb, headerAt, 4);
    } else if (command == 5 && !response) {
        readName2(smb, headerAt, 44);
    } else if (command == 14 && !response) {
        readName2(smb, headerAt, 24);
    }
    smb.read(bodyLength);
    if (smb.more())
        smb.readRest(data);
}

/// One message of a chain; its length, as `next` says.
void readMessage2(Layer& smb)
{
    const auto headerAt = smb.offset();
    const auto next = smb.left() >= 24 ? load::le32(&smb.rest()[20]) : 0;
    const Layer::Group group(smb, message);
    const Layer::Window window(smb, next ? next : smb.leftOnWire());
    smb.read(magic);
    smb.read(headerLength, charge, status);
    const auto command = smb.read(command2);
    smb.read(credits);
    const auto bits = smb.readParts(flags2, isResponse, isAsync, isRelated, isSigned);
    smb.read(nextOffset, messageId);
    if (bits & 2)
        smb.read(asyncId);
    else
        smb.read(process2, tree2);
    smb.read(session);
    smb.readBytes(signature, 16);
    if (!smb.stopped())
        readBody2(smb, command, bits & 1, headerAt);
}

void decode(Layer& smb)
{
    switch (smb.peek32()) {
    case magic1: smb.read(magic), decode1(smb); break;
    case magic2:
        while (smb.more(4) && smb.peek32() == magic2)
            readMessage2(smb);
        if (smb.more())
            smb.readRest(data);
        break;
    case magicEncrypted:
    case magicCompressed: smb.readRest(encrypted); break;
    default:
        if (smb.left())
            smb.readRest(continuation);
    }
}

void describe(const LayerView& smb, TextSink& out)
{
    if (smb.has(encrypted))
        return out("Encrypted SMB3");
    if (const auto command = smb[command1])
        out("{} {}", command, smb[isReply] == 1 ? "response" : "request");
    std::size_t count = 0;
    smb.each(command2, [&](const Value& command) { out("{}{}", count++ ? ", " : "", command); });
    if (count)
        out(" {}", smb[isResponse] == 1 ? "response" : "request");
    if (const auto code = smb[status]; code && code.number()) {
        const auto name = nameIn(smbNames::statuses, code.number());
        out(", {}", name.empty() ? "error" : name);
    }
    if (const auto revision = smb[dialect2])
        out(", {}", revision);
    if (const auto name = smb[fileName])
        out(", “{}”", name);
    else if (const auto path = smb[pathText])
        out(", “{}”", path);
    else if (const auto wide = smb[pathUtf16])
        out(", “{}”", wide);
    if (const auto rest = smb[continuation])
        out("Continuation, {} bytes", rest.node()->length);
}

constexpr const Field* catalogue[] = {&command2};
constexpr Claim claims[] = {ipxSocket(0x0550), ipxSocket(0x0552)};
} // namespace

constexpr Protocol protocol{{"smb", "SMB", Wire::layer}, catalogue, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace smb

} // namespace netrondo
