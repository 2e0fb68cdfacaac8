// Server Message Block, versions 1 to 3 (MS-CIFS, MS-SMB2), behind the NetBIOS session service or bare on port 445.
#include "Dissection/Protocols/DnsMessage.h"
#include "Dissection/Protocols/Protocols.h"
#include "Dissection/Protocols/SmbNames.h"
#include "Dissection/Protocols/SmbTransaction.h"

namespace netrondo {

namespace nbss {
namespace {
constexpr NamedValue types[] = {{0x00, "Session message"},           {0x81, "Session request"},
                                {0x82, "Positive session response"}, {0x83, "Negative session response"},
                                {0x84, "Session retarget response"}, {0x85, "Session keep-alive"}};

constexpr Field type{"nbss.type", "Message type", Wire::hex8, types};
constexpr Field length{"nbss.length", "Length", Wire::u24};
constexpr Field error{"nbss.error", "Error", Wire::hex8};
constexpr Field called{"nbss.called", "Called name", Wire::madeText};
constexpr Field calling{"nbss.calling", "Calling name", Wire::madeText};
constexpr Field names{"nbss.names", "Names", Wire::bytes};
constexpr Field continuation{"nbss.continuation", "Continuation of a message", Wire::bytes};

void readName(Layer& nbss, const Field& field)
{
    constexpr std::size_t size = 34; // a label of 32 letters, and the empty one that ends it
    MadeText name;
    if (nbss.left() < size || !dnsMessage::netBiosName(nbss.rest(), 0, name))
        return;
    nbss.addText(field, name, nbss.offset(), size);
    nbss.skip(size);
}

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
            const Layer::Window content(nbss, size);
            if (nbss.left())
                nbss.handOver(smb::protocol);
        } else if (kind == 0x81) {
            const Layer::Window both(nbss, size);
            readName(nbss, called);
            readName(nbss, calling);
            if (nbss.more())
                nbss.readRest(names);
        } else if (kind == 0x83) {
            nbss.read(error);
        } else if (size) {
            nbss.skip(size);
        }
    }
}

void describe(const LayerView& nbss, TextSink& out)
{
    if (const auto kind = nbss[type]) {
        out("{}", kind);
        if (const auto whom = nbss[called])
            out(" to {} from {}", whom, nbss[calling]);
        return;
    }
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

constexpr Protocol protocol{{"nbss", "NBSS", Wire::layer}, {}, claims, decode, describe, guess,
                            opensWith({Transport::tcp}, 0)};
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
constexpr Field dialectCount{"smb.dialects", "Number of dialects", Wire::le16};
constexpr Field securityMode{"smb.security_mode", "Security mode", Wire::leHex16, smbNames::securityModes};
constexpr Field securityMode8{"smb.security_mode", "Security mode", Wire::hex8, smbNames::securityModes};
constexpr Field capabilities{"smb.capabilities", "Capabilities", Wire::leHex32};
constexpr Field clientGuid{"smb.client_guid", "Client GUID", Wire::guid};
constexpr Field serverGuid{"smb.server_guid", "Server GUID", Wire::guid};
constexpr Field maxTransaction{"smb.max_transaction", "Largest transaction", Wire::le32};
constexpr Field maxRead{"smb.max_read", "Largest read", Wire::le32};
constexpr Field maxWrite{"smb.max_write", "Largest write", Wire::le32};
constexpr Field systemTime{"smb.time", "System time", Wire::fileTime};
constexpr Field startTime{"smb.start_time", "Server start time", Wire::fileTime};
constexpr Field sessionFlags{"smb.session_flags", "Session flags", Wire::leHex16};
constexpr Field sessionFlags8{"smb.session_flags", "Session flags", Wire::hex8};
constexpr Field channel{"smb.channel", "Channel", Wire::leHex32};
constexpr Field bufferOffset{"smb.buffer_offset", "Buffer offset", Wire::le16};
constexpr Field bufferLength{"smb.buffer_len", "Buffer length", Wire::le16};
constexpr Field previousSession{"smb.previous_session", "Previous session ID", Wire::leHex64};
constexpr Field securityBlob{"smb.security_blob", "Security blob", Wire::bytes};
constexpr Field ntlmType{"smb.ntlm.type", "NTLM message", Wire::number, smbNames::ntlmTypes};
constexpr Field domain{"smb.ntlm.domain", "Domain", Wire::text};
constexpr Field domainWide{"smb.ntlm.domain", "Domain", Wire::utf16};
constexpr Field userName{"smb.ntlm.user", "User", Wire::text};
constexpr Field userWide{"smb.ntlm.user", "User", Wire::utf16};
constexpr Field host{"smb.ntlm.host", "Workstation", Wire::text};
constexpr Field hostWide{"smb.ntlm.host", "Workstation", Wire::utf16};
constexpr Field treeFlags{"smb.tree_flags", "Flags", Wire::leHex16};
constexpr Field shareType{"smb.share_type", "Share type", Wire::u8, smbNames::shareTypes};
constexpr Field shareFlags{"smb.share_flags", "Share flags", Wire::leHex32};
constexpr Field access{"smb.access", "Access mask", Wire::leHex32};
constexpr Field securityFlags{"smb.security_flags", "Security flags", Wire::hex8};
constexpr Field oplock{"smb.oplock", "Oplock level", Wire::hex8, smbNames::oplocks};
constexpr Field impersonation{"smb.impersonation", "Impersonation level", Wire::le32};
constexpr Field attributes{"smb.attributes", "File attributes", Wire::leHex32};
constexpr Field shareAccess{"smb.share_access", "Share access", Wire::leHex32};
constexpr Field disposition{"smb.disposition", "Disposition", Wire::le32, smbNames::dispositions};
constexpr Field createOptions{"smb.create_options", "Create options", Wire::leHex32};
constexpr Field contextsOffset{"smb.contexts_offset", "Create contexts offset", Wire::le32};
constexpr Field contextsLength{"smb.contexts_len", "Create contexts length", Wire::le32};
constexpr Field createFlags{"smb.create_flags", "Flags", Wire::hex8};
constexpr Field createAction{"smb.create_action", "Action", Wire::le32, smbNames::createActions};
constexpr Field created{"smb.created", "Created", Wire::fileTime};
constexpr Field accessed{"smb.accessed", "Last access", Wire::fileTime};
constexpr Field written{"smb.written", "Last write", Wire::fileTime};
constexpr Field changed{"smb.changed", "Last change", Wire::fileTime};
constexpr Field allocated{"smb.allocated", "Allocation size", Wire::le64};
constexpr Field fileSize{"smb.file_size", "File size", Wire::le64};
constexpr Field closeFlags{"smb.close_flags", "Flags", Wire::leHex16};
constexpr Field reserved8{"smb.reserved", "Reserved", Wire::hex8};
constexpr Field reserved32{"smb.reserved", "Reserved", Wire::leHex32};
constexpr Field fileId{"smb.file_id", "File ID", Wire::guid};
constexpr Field paddingByte{"smb.padding", "Padding", Wire::u8};
constexpr Field readFlags{"smb.read_flags", "Flags", Wire::hex8};
constexpr Field dataLength32{"smb.data_len", "Data length", Wire::le32};
constexpr Field dataOffset8{"smb.data_offset", "Data offset", Wire::u8};
constexpr Field fileOffset{"smb.file_offset", "File offset", Wire::le64};
constexpr Field minimumCount{"smb.min_count", "Minimum count", Wire::le32};
constexpr Field remaining{"smb.remaining", "Remaining bytes", Wire::le32};
constexpr Field writeFlags{"smb.write_flags", "Flags", Wire::leHex32};
constexpr Field contents{"smb.contents", "Contents", Wire::bytes};
constexpr Field lockCount{"smb.locks", "Number of locks", Wire::le16};
constexpr Field lockSequence{"smb.lock_seq", "Lock sequence", Wire::leHex32};
constexpr Field controlCode{"smb.ioctl", "Function", Wire::leHex32, smbNames::controls};
constexpr Field inputOffset{"smb.in_offset", "Input offset", Wire::le32};
constexpr Field inputCount{"smb.in_len", "Input length", Wire::le32};
constexpr Field maxInput{"smb.max_in", "Largest input in the response", Wire::le32};
constexpr Field outputOffset{"smb.out_offset", "Output offset", Wire::le32};
constexpr Field outputCount{"smb.out_len", "Output length", Wire::le32};
constexpr Field maxOutput{"smb.max_out", "Largest output in the response", Wire::le32};
constexpr Field controlFlags{"smb.ioctl_flags", "Flags", Wire::leHex32};
constexpr Field infoType{"smb.info_type", "Information", Wire::u8, smbNames::infoTypes};
constexpr Field infoClass{"smb.info_class", "Information class", Wire::u8};
constexpr Field queryFlags{"smb.query_flags", "Flags", Wire::hex8};
constexpr Field fileIndex{"smb.file_index", "File index", Wire::le32};
constexpr Field outputLength{"smb.output_len", "Output length", Wire::le32};
constexpr Field notifyFlags{"smb.notify_flags", "Flags", Wire::leHex16};
constexpr Field notifyFilter{"smb.notify_filter", "Completion filter", Wire::leHex32};
constexpr Field additional{"smb.additional", "Additional information", Wire::leHex32};
constexpr Field infoFlags{"smb.info_flags", "Flags", Wire::leHex32};
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

/// Commands whose block of words begins with the command that follows in the same message (MS-CIFS, 2.2.3.4).
bool isChained(std::uint64_t command)
{
    switch (command) {
    case 0x24:
    case 0x2d:
    case 0x2e:
    case 0x2f:
    case 0x73:
    case 0x74:
    case 0x75:
    case 0xa2: return true;
    default: return false;
    }
}

/// Where the command behind this one begins, counted from the header; an offset of 0 is none.
struct Link {
    std::uint8_t command;
    std::uint16_t offset;
};

/// A command's words and bytes.
Link readBlock1(Layer& smb, std::uint64_t command, bool answers, bool isUnicode, std::uint32_t headerAt)
{
    constexpr std::uint8_t noCommand = 0xff;
    Link next{noCommand, 0};
    const auto words = smb.read(wordCount);
    if (words >= 2 && isChained(command))
        next = {smb.peek8(), static_cast<std::uint16_t>(smb.peek8(2) | smb.peek8(3) << 8)};
    if (smbTransaction::isOne(command, words, answers)) {
        smbTransaction::read(smb, words, answers, isUnicode, headerAt);
        return {noCommand, 0};
    }
    if (words)
        smb.readBytes(parameters, words * 2);
    const auto bytes = smb.read(byteCount);
    const Layer::Window body(smb, std::min<std::size_t>(bytes, smb.left()));
    if (!answers)
        readPath1(smb, command, isUnicode);
    if (smb.more())
        smb.readRest(data);
    return next.command == noCommand ? Link{noCommand, 0} : next;
}

void decode1(Layer& smb)
{
    const auto headerAt = smb.offset() - 4; // the magic number has been read
    const auto command = smb.read(command1);
    smb.read(status);
    const bool reply = smb.readParts(flags1, isReply) & 0x80;
    const bool isUnicode = smb.readParts(flags1More, unicode) & 0x8000;
    smb.read(processHigh);
    smb.readBytes(signature, 8);
    smb.read(reserved, tree16, process, user, multiplex);
    auto next = readBlock1(smb, command, reply, isUnicode, headerAt);
    // A chain only goes forwards, which also bounds it.
    while (next.offset && !smb.stopped() && headerAt + next.offset >= smb.offset()) {
        if (headerAt + next.offset - smb.offset() >= smb.left())
            return;
        smb.skip(headerAt + next.offset - smb.offset());
        smb.add(command1, next.command, smb.offset(), 0);
        next = readBlock1(smb, next.command, reply, isUnicode, headerAt);
    }
}

/// What an NTLM message in a session setup says of the user (MS-NLMP, 2.2.1).
void readCredentials(Layer& smb, Bytes blob, std::size_t at)
{
    constexpr std::string_view mark = "NTLMSSP";
    const auto found = asText(blob).find(mark);
    if (found == std::string_view::npos || blob.size() - found < 12)
        return;
    const auto ntlm = blob.subspan(found);
    smb.add(ntlmType, load::le32(&ntlm[8]), at + found + 8, 4);
    if (load::le32(&ntlm[8]) != 3 || ntlm.size() < 64)
        return;
    const bool isWide = load::le32(&ntlm[60]) & 1;
    const auto name = [&](const Field& wide, const Field& narrow, std::size_t place) {
        const std::size_t size = load::le16(&ntlm[place]), start = load::le32(&ntlm[place + 4]);
        if (size && start <= ntlm.size() && size <= ntlm.size() - start)
            smb.add(isWide ? wide : narrow, 0, at + found + start, size);
    };
    name(domainWide, domain, 28);
    name(userWide, userName, 36);
    name(hostWide, host, 44);
}

/// A name or a blob whose place counts from the message's header: skips to it and reads it.
Bytes readPlaced(Layer& smb, const Field& field, std::uint32_t headerAt, std::uint64_t place, std::uint64_t size)
{
    const std::size_t at = smb.offset() - headerAt;
    if (smb.stopped() || size == 0 || place < at)
        return {};
    smb.skip(place - at);
    return smb.readBytes(field, size);
}

/// What is written to a pipe or read from it is often a remote procedure call.
void readContents(Layer& smb, std::uint32_t headerAt, std::uint64_t place, std::uint64_t size)
{
    const std::size_t at = smb.offset() - headerAt;
    if (smb.stopped() || size == 0 || place < at || smb.left() < place - at)
        return;
    smb.skip(place - at);
    const auto here = std::min<std::size_t>(size, smb.left());
    if (dcerpc::protocol.guess(smb.rest().first(here), Transport::tcp) == Likeness::certain)
        smb.embed(dcerpc::protocol, here);
    else if (here)
        smb.readBytes(contents, here);
}

void readTimes(Layer& smb)
{
    smb.read(created, accessed, written, changed, allocated, fileSize, attributes);
}

/// Requests (MS-SMB2, 2.2), each behind its structure size.
void readRequest2(Layer& smb, std::uint64_t command, std::uint32_t headerAt)
{
    switch (command) {
    case 0: {
        const auto count = smb.read(dialectCount);
        smb.read(securityMode, reserved, capabilities, clientGuid);
        smb.skip(8);
        for (std::uint64_t i = 0; i < count && smb.more(2); ++i)
            smb.read(dialect2);
        break;
    }
    case 1: {
        smb.read(sessionFlags8, securityMode8, capabilities, channel);
        const auto place = smb.read(bufferOffset), size = smb.read(bufferLength);
        smb.read(previousSession);
        const auto at = headerAt + static_cast<std::uint32_t>(place);
        readCredentials(smb, readPlaced(smb, securityBlob, headerAt, place, size), at);
        break;
    }
    case 3: {
        smb.read(treeFlags);
        const auto place = smb.read(bufferOffset), size = smb.read(bufferLength);
        readPlaced(smb, fileName, headerAt, place, size);
        break;
    }
    case 5: {
        smb.read(securityFlags, oplock, impersonation);
        smb.skip(16);
        smb.read(access, attributes, shareAccess, disposition, createOptions);
        const auto place = smb.read(bufferOffset), size = smb.read(bufferLength);
        smb.read(contextsOffset, contextsLength);
        readPlaced(smb, fileName, headerAt, place, size);
        break;
    }
    case 6: smb.read(closeFlags, reserved32, fileId); break;
    case 7: smb.read(reserved, reserved32, fileId); break;
    case 8:
        smb.read(paddingByte, readFlags, dataLength32, fileOffset, fileId);
        smb.read(minimumCount, channel, remaining);
        break;
    case 9: {
        const auto place = smb.read(bufferOffset), size = smb.read(dataLength32);
        smb.read(fileOffset, fileId);
        smb.read(channel, remaining);
        smb.skip(4);
        smb.read(writeFlags);
        readContents(smb, headerAt, place, size);
        break;
    }
    case 10: smb.read(lockCount, lockSequence, fileId); break;
    case 11: {
        smb.read(reserved, controlCode, fileId);
        const auto place = smb.read(inputOffset), size = smb.read(inputCount);
        smb.read(maxInput, outputOffset, outputCount, maxOutput, controlFlags, reserved32);
        readContents(smb, headerAt, place, size);
        break;
    }
    case 14: {
        smb.read(infoClass, queryFlags, fileIndex, fileId);
        const auto place = smb.read(bufferOffset), size = smb.read(bufferLength);
        smb.read(outputLength);
        readPlaced(smb, fileName, headerAt, place, size);
        break;
    }
    case 15: smb.read(notifyFlags, outputLength, fileId, notifyFilter); break;
    case 16:
        smb.read(infoType, infoClass, outputLength, bufferOffset, reserved, inputCount);
        smb.read(additional, infoFlags, fileId);
        break;
    case 17: smb.read(infoType, infoClass, dataLength32, bufferOffset, reserved, additional, fileId); break;
    case 18: smb.read(oplock, reserved8, reserved32, fileId); break;
    default: break;
    }
}

void readResponse2(Layer& smb, std::uint64_t command, std::uint32_t headerAt)
{
    switch (command) {
    case 0:
        smb.read(securityMode, dialect2, reserved, serverGuid, capabilities);
        smb.read(maxTransaction, maxRead, maxWrite, systemTime, startTime);
        break;
    case 1: {
        smb.read(sessionFlags);
        const auto place = smb.read(bufferOffset), size = smb.read(bufferLength);
        const auto at = headerAt + static_cast<std::uint32_t>(place);
        readCredentials(smb, readPlaced(smb, securityBlob, headerAt, place, size), at);
        break;
    }
    case 3: smb.read(shareType, reserved8, shareFlags, capabilities, access); break;
    case 5:
        smb.read(oplock, createFlags, createAction);
        readTimes(smb);
        smb.read(reserved32, fileId);
        break;
    case 6:
        smb.read(closeFlags, reserved32);
        readTimes(smb);
        break;
    case 8: {
        const auto place = smb.read(dataOffset8);
        smb.read(reserved8);
        const auto size = smb.read(dataLength32);
        smb.read(remaining, reserved32);
        readContents(smb, headerAt, place, size);
        break;
    }
    case 9: smb.read(reserved, dataLength32, remaining); break;
    case 11: {
        smb.read(reserved, controlCode, fileId, inputOffset, inputCount);
        const auto place = smb.read(outputOffset), size = smb.read(outputCount);
        smb.read(controlFlags, reserved32);
        readContents(smb, headerAt, place, size);
        break;
    }
    case 14:
    case 15:
    case 16: smb.read(bufferOffset, outputLength); break;
    case 18: smb.read(oplock, reserved8, reserved32, fileId); break;
    default: break;
    }
}

void readBody2(Layer& smb, std::uint64_t command, bool response, std::uint64_t outcome, std::uint32_t headerAt)
{
    if (!smb.more(2))
        return;
    const auto size = smb.read(bodyLength);
    // An error has a structure of its own, which "more processing required" does without.
    constexpr std::uint64_t errorLength = 9, moreProcessing = 0xc0000016;
    const bool isError = response && outcome && outcome != moreProcessing && size == errorLength;
    if (!isError && response)
        readResponse2(smb, command, headerAt);
    else if (!isError)
        readRequest2(smb, command, headerAt);
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
    smb.read(headerLength, charge);
    const auto outcome = smb.read(status);
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
        readBody2(smb, command, bits & 1, outcome, headerAt);
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
    std::size_t count = 0;
    const auto list = [&](const Value& command) { out("{}{}", count++ ? ", " : "", command); };
    smb.each(command1, list);
    smb.each(command2, list);
    if (count)
        out(" {}", smb[isReply] == 1 || smb[isResponse] == 1 ? "response" : "request");
    if (const auto code = smb[status]; code && code.number()) {
        const auto name = nameIn(smbNames::statuses, code.number());
        out(", {}", name.empty() ? "error" : name);
    }
    if (const auto revision = smb[dialect2])
        out(", {}", revision);
    if (const auto who = smb[userWide] ? smb[userWide] : smb[userName])
        out(", user {}\\{}", smb[domainWide] ? smb[domainWide] : smb[domain], who);
    if (const auto name = smb[fileName])
        out(", “{}”", name);
    else if (const auto what = smb[controlCode])
        out(", {}", what);
    else if (const auto bytes = smb[dataLength32])
        out(", {} bytes", bytes);
    else if (const auto path = smb[pathText])
        out(", “{}”", path);
    else if (const auto wide = smb[pathUtf16])
        out(", “{}”", wide);
    smbTransaction::describe(smb, out);
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
