// The header of SMB's first version, and the chain of commands behind it (MS-CIFS, 2.2.3).
#include "Dissection/Protocols/Smb1.h"

#include "Dissection/Protocols/Ntlm.h"
#include "Dissection/Protocols/SmbCommands.h"
#include "Dissection/Protocols/SmbShared.h"
#include "Dissection/Protocols/SmbTransaction.h"

#include <algorithm>

namespace netrondo::smb1 {
namespace {
using smbShared::command1, smbShared::status, smbShared::data;

constexpr Field flags{"smb.flags", "Flags", Wire::hex8};
constexpr Field isReply{"smb.reply", "Reply", Wire::bit, {}, 0x80};
constexpr Field moreFlags{"smb.flags2", "More flags", Wire::leHex16};
constexpr Field unicode{"smb.unicode", "Unicode", Wire::bit, {}, 0x8000};
constexpr Field processHigh{"smb.pid_high", "Process ID, high", Wire::le16};
constexpr Field signature{"smb.signature", "Signature", Wire::bytes};
constexpr Field reserved{"smb.reserved", "Reserved", Wire::leHex16};
constexpr Field tree{"smb.tid", "Tree ID", Wire::leHex16};
constexpr Field process{"smb.pid", "Process ID", Wire::leHex16};
constexpr Field user{"smb.uid", "User ID", Wire::leHex16};
constexpr Field multiplex{"smb.mid", "Multiplex ID", Wire::le16};
constexpr Field wordCount{"smb.words", "Word count", Wire::u8};
constexpr Field parameters{"smb.parameters", "Parameters", Wire::group};
constexpr Field parameterBytes{"smb.parameter_bytes", "More parameters", Wire::bytes};
constexpr Field byteCount{"smb.bytes", "Byte count", Wire::le16};

/// Where the command behind this one begins, counted from the header; an offset of 0 is none.
struct Link {
    std::uint64_t command = 0, offset = 0;
};

/// A command's words and bytes.
Link readBlock(Layer& smb, smbCommands::Command command)
{
    command.words = smb.read(wordCount);
    if (smbTransaction::isOne(command.number, command.words, command.answers)) {
        smbTransaction::read(smb, command.words, command.answers, command.isUnicode, command.headerAt);
        return {};
    }
    smbCommands::Sizes sizes;
    if (command.words) {
        const Layer::Group group(smb, parameters);
        const Layer::Window words(smb, command.words * 2);
        sizes = smbCommands::readWords(smb, command);
        if (smb.more())
            smb.readRest(parameterBytes);
    }
    const auto bytes = smb.read(byteCount);
    const Layer::Window body(smb, std::min<std::size_t>(bytes, smb.leftOnWire()));
    smbCommands::readBytes(smb, command, sizes);
    if (smb.more())
        smb.readRest(data);
    constexpr std::uint64_t noCommand = 0xff;
    return sizes.next == noCommand ? Link() : Link{sizes.next, sizes.nextOffset};
}
} // namespace

void read(Layer& smb)
{
    const auto headerAt = smb.offset();
    smb.read(smbShared::magic);
    const auto first = smb.read(command1);
    smb.read(status);
    const bool answers = smb.readParts(flags, isReply) & 0x80;
    const bool isUnicode = smb.readParts(moreFlags, unicode) & 0x8000;
    smb.read(processHigh);
    smb.readBytes(signature, 8);
    smb.read(reserved, tree, process, user, multiplex);
    auto next = readBlock(smb, {first, 0, answers, isUnicode, headerAt});
    // A chain only goes forwards, which also bounds it.
    while (next.offset && !smb.stopped() && headerAt + next.offset >= smb.offset()) {
        if (headerAt + next.offset - smb.offset() >= smb.left())
            return;
        smb.skip(headerAt + next.offset - smb.offset());
        smb.add(command1, next.command, smb.offset(), 0);
        next = readBlock(smb, {next.command, 0, answers, isUnicode, headerAt});
    }
}

void describe(const LayerView& smb, TextSink& out)
{
    smbShared::describeCommands(smb, out, command1, smb[isReply] == 1);
    ntlm::describe(smb, out);
    smbCommands::describe(smb, out);
    smbTransaction::describe(smb, out);
}

} // namespace netrondo::smb1
