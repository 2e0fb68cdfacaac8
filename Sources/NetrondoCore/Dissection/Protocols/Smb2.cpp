// Messages of SMB 2 and 3 (MS-SMB2, 2.2).
#include "Dissection/Protocols/Smb2.h"

#include "Dissection/Protocols/Ntlm.h"
#include "Dissection/Protocols/Protocols.h"
#include "Dissection/Protocols/SmbShared.h"

#include <algorithm>

namespace netrondo::smb2 {
namespace {
using smbShared::command2, smbShared::status, smbShared::data;

constexpr Field signature{"smb.signature", "Signature", Wire::bytes};
constexpr Field reserved{"smb.reserved", "Reserved", Wire::leHex16};
constexpr Field headerLength{"smb.header_len", "Header length", Wire::le16};
constexpr Field charge{"smb.charge", "Credit charge", Wire::le16};
constexpr Field credits{"smb.credits", "Credits", Wire::le16};
constexpr Field flags{"smb.flags", "Flags", Wire::leHex32};
constexpr Field isResponse{"smb.response", "Response", Wire::bit, {}, 0x01};
constexpr Field isAsync{"smb.async", "Asynchronous", Wire::bit, {}, 0x02};
constexpr Field isRelated{"smb.related", "Related to the one before", Wire::bit, {}, 0x04};
constexpr Field isSigned{"smb.signed", "Signed", Wire::bit, {}, 0x08};
constexpr Field nextOffset{"smb.next", "Next command", Wire::le32};
constexpr Field messageId{"smb.message_id", "Message ID", Wire::le64};
constexpr Field process{"smb.process", "Process ID", Wire::leHex32};
constexpr Field tree{"smb.tree", "Tree ID", Wire::leHex32};
constexpr Field asyncId{"smb.async_id", "Asynchronous ID", Wire::leHex64};
constexpr Field session{"smb.session", "Session ID", Wire::leHex64};
constexpr Field bodyLength{"smb.body_len", "Structure size", Wire::le16};
constexpr Field dialect{"smb.dialect_revision", "Dialect revision", Wire::leHex16, smbNames::dialects2};
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
void readRequest(Layer& smb, std::uint64_t command, std::uint32_t headerAt)
{
    switch (command) {
    case 0: {
        const auto count = smb.read(dialectCount);
        smb.read(securityMode, reserved, capabilities, clientGuid);
        smb.skip(8);
        for (std::uint64_t i = 0; i < count && smb.more(2); ++i)
            smb.read(dialect);
        break;
    }
    case 1: {
        smb.read(sessionFlags8, securityMode8, capabilities, channel);
        const auto place = smb.read(bufferOffset), size = smb.read(bufferLength);
        smb.read(previousSession);
        const auto at = headerAt + static_cast<std::uint32_t>(place);
        ntlm::read(smb, readPlaced(smb, securityBlob, headerAt, place, size), at);
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

void readResponse(Layer& smb, std::uint64_t command, std::uint32_t headerAt)
{
    switch (command) {
    case 0:
        smb.read(securityMode, dialect, reserved, serverGuid, capabilities);
        smb.read(maxTransaction, maxRead, maxWrite, systemTime, startTime);
        break;
    case 1: {
        smb.read(sessionFlags);
        const auto place = smb.read(bufferOffset), size = smb.read(bufferLength);
        const auto at = headerAt + static_cast<std::uint32_t>(place);
        ntlm::read(smb, readPlaced(smb, securityBlob, headerAt, place, size), at);
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

void readBody(Layer& smb, std::uint64_t command, bool response, std::uint64_t outcome, std::uint32_t headerAt)
{
    if (!smb.more(2))
        return;
    const auto size = smb.read(bodyLength);
    // An error has a structure of its own, which "more processing required" does without.
    constexpr std::uint64_t errorLength = 9, moreProcessing = 0xc0000016;
    const bool isError = response && outcome && outcome != moreProcessing && size == errorLength;
    if (!isError && response)
        readResponse(smb, command, headerAt);
    else if (!isError)
        readRequest(smb, command, headerAt);
    if (smb.more())
        smb.readRest(data);
}

/// One message of a chain; its length, as `next` says.
void readMessage(Layer& smb)
{
    const auto headerAt = smb.offset();
    const auto next = smb.left() >= 24 ? load::le32(&smb.rest()[20]) : 0;
    const Layer::Group group(smb, message);
    const Layer::Window window(smb, next ? next : smb.leftOnWire());
    smb.read(smbShared::magic);
    smb.read(headerLength, charge);
    const auto outcome = smb.read(status);
    const auto command = smb.read(command2);
    smb.read(credits);
    const auto bits = smb.readParts(flags, isResponse, isAsync, isRelated, isSigned);
    smb.read(nextOffset, messageId);
    if (bits & 2)
        smb.read(asyncId);
    else
        smb.read(process, tree);
    smb.read(session);
    smb.readBytes(signature, 16);
    if (!smb.stopped())
        readBody(smb, command, bits & 1, outcome, headerAt);
}
} // namespace

void read(Layer& smb)
{
    while (smb.more(4) && smb.peek32() == magic)
        readMessage(smb);
    if (smb.more())
        smb.readRest(data);
}

void describe(const LayerView& smb, TextSink& out)
{
    smbShared::describeCommands(smb, out, command2, smb[isResponse] == 1);
    if (const auto revision = smb[dialect])
        out(", {}", revision);
    ntlm::describe(smb, out);
    if (const auto name = smb[fileName])
        out(", “{}”", name);
    else if (const auto what = smb[controlCode])
        out(", {}", what);
    else if (const auto bytes = smb[dataLength32])
        out(", {} bytes", bytes);
}

} // namespace netrondo::smb2
