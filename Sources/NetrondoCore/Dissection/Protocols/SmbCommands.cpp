// Commands of SMB's first version, those in use.
#include "Dissection/Protocols/SmbCommands.h"

#include "Dissection/Protocols/Ntlm.h"
#include "Dissection/Protocols/SmbNames.h"

#include <algorithm>

namespace netrondo::smbCommands {
namespace {
constexpr Field nextCommand{"smb.andx", "Command that follows", Wire::hex8, smbNames::commands1};
constexpr Field andxReserved{"smb.andx_reserved", "Reserved", Wire::hex8};
constexpr Field nextOffset{"smb.andx_offset", "Where it begins", Wire::le16};
constexpr Field file{"smb.fid", "File ID", Wire::leHex16};
constexpr Field count{"smb.count", "Count", Wire::le16};
constexpr Field offset{"smb.offset", "File offset", Wire::le32};
constexpr Field maxCount{"smb.max_count", "Most bytes", Wire::le16};
constexpr Field minCount{"smb.min_count", "Fewest bytes", Wire::le16};
constexpr Field available{"smb.available", "Bytes behind them", Wire::le16};
constexpr Field compaction{"smb.compaction", "Compaction mode", Wire::le16};
constexpr Field reserved8{"smb.reserved", "Reserved", Wire::hex8};
constexpr Field reserved16{"smb.reserved", "Reserved", Wire::leHex16};
constexpr Field reserved32{"smb.reserved", "Reserved", Wire::leHex32};
constexpr Field timeout{"smb.timeout", "Timeout (ms)", Wire::le32};
constexpr Field writeMode{"smb.write_mode", "Write mode", Wire::leHex16};
constexpr Field remaining{"smb.left", "Bytes that follow", Wire::le16};
constexpr Field countHigh{"smb.count_high", "Count, high", Wire::le16};
constexpr Field openFlags{"smb.open_flags", "Flags", Wire::leHex16};
constexpr Field openAccess{"smb.open_access", "Access", Wire::leHex16};
constexpr Field searched{"smb.search_attributes", "Attributes of what is sought", Wire::leHex16};
constexpr Field attributes16{"smb.attributes", "File attributes", Wire::leHex16};
constexpr Field attributes32{"smb.attributes", "File attributes", Wire::leHex32};
constexpr Field utcTime{"smb.utime", "Time (seconds since 1970)", Wire::le32};
constexpr Field openFunction{"smb.open_function", "Open function", Wire::leHex16};
constexpr Field fileSize{"smb.file_size32", "File size", Wire::le32};
constexpr Field maxBuffer{"smb.max_buffer", "Largest message", Wire::le16};
constexpr Field maxBuffer32{"smb.max_buffer", "Largest message", Wire::le32};
constexpr Field maxMultiplex{"smb.max_mpx", "Most requests at once", Wire::le16};
constexpr Field circuit{"smb.vc", "Virtual circuit", Wire::le16};
constexpr Field sessionKey{"smb.session_key", "Session key", Wire::leHex32};
constexpr Field blobLength{"smb.blob_len", "Length of the security blob", Wire::le16};
constexpr Field passwordLength{"smb.password_len", "Length of the password", Wire::le16};
constexpr Field wideLength{"smb.wide_password_len", "Length of the Unicode password", Wire::le16};
constexpr Field capabilities{"smb.capabilities", "Capabilities", Wire::leHex32};
constexpr Field action{"smb.setup_action", "Action", Wire::leHex16};
constexpr Field treeFlags{"smb.tree_flags", "Flags", Wire::leHex16};
constexpr Field dialectIndex{"smb.dialect_index", "Chosen dialect", Wire::le16};
constexpr Field securityMode{"smb.security_mode8", "Security mode", Wire::hex8};
constexpr Field maxCircuits{"smb.max_vcs", "Most virtual circuits", Wire::le16};
constexpr Field maxRaw{"smb.max_raw", "Largest raw block", Wire::le32};
constexpr Field systemTime{"smb.time", "System time", Wire::fileTime};
constexpr Field zone{"smb.zone", "Minutes west of UTC", Wire::le16};
constexpr Field keyLength{"smb.key_len", "Length of the challenge", Wire::u8};
constexpr Field nameLength{"smb.name_len", "Name length", Wire::le16};
constexpr Field createFlags{"smb.nt_create_flags", "Flags", Wire::leHex32};
constexpr Field rootFile{"smb.root_fid", "Root directory ID", Wire::leHex32};
constexpr Field access{"smb.access", "Access mask", Wire::leHex32};
constexpr Field allocation{"smb.allocated", "Allocation size", Wire::le64};
constexpr Field share{"smb.share_access", "Share access", Wire::leHex32};
constexpr Field disposition{"smb.disposition", "Disposition", Wire::le32, smbNames::dispositions};
constexpr Field options{"smb.create_options", "Create options", Wire::leHex32};
constexpr Field impersonation{"smb.impersonation", "Impersonation level", Wire::le32};
constexpr Field oplock{"smb.oplock", "Oplock level", Wire::hex8};
constexpr Field created{"smb.created", "Created", Wire::fileTime};
constexpr Field accessed{"smb.accessed", "Last access", Wire::fileTime};
constexpr Field written{"smb.written", "Last write", Wire::fileTime};
constexpr Field changed{"smb.changed", "Last change", Wire::fileTime};
constexpr Field fileSize64{"smb.file_size", "File size", Wire::le64};
constexpr Field createAction{"smb.create_action", "Action", Wire::le32, smbNames::createActions};
constexpr Field dialect{"smb.dialect", "Dialect", Wire::text};
constexpr Field blob{"smb.security_blob", "Security blob", Wire::bytes};
constexpr Field password{"smb.password", "Password", Wire::bytes};
constexpr Field pathText{"smb.path", "Path", Wire::text};
constexpr Field pathWide{"smb.path", "Path", Wire::utf16};
constexpr Field service{"smb.service", "Service", Wire::text};
constexpr Field systemText{"smb.native", "System", Wire::text};
constexpr Field systemWide{"smb.native", "System", Wire::utf16};
constexpr Field accountText{"smb.account", "Account", Wire::text};
constexpr Field accountWide{"smb.account", "Account", Wire::utf16};
constexpr Field domainText{"smb.domain", "Domain", Wire::text};
constexpr Field domainWide{"smb.domain", "Domain", Wire::utf16};

enum Number : std::uint8_t {
    createDirectory = 0x00,
    deleteDirectory = 0x01,
    openFile = 0x02,
    createFile = 0x03,
    closeFile = 0x04,
    deleteFile = 0x06,
    renameFile = 0x07,
    queryInformation = 0x08,
    setInformation = 0x09,
    readFile = 0x0a,
    writeFile = 0x0b,
    checkDirectory = 0x10,
    readMultiplexed = 0x1b,
    openAndX = 0x2d,
    readAndX = 0x2e,
    writeAndX = 0x2f,
    treeConnect = 0x70,
    negotiate = 0x72,
    sessionSetup = 0x73,
    treeConnectAndX = 0x75,
    search = 0x81,
    createAndX = 0xa2,
};

Sizes readSetupWords(Layer& smb, const Command& command)
{
    Sizes sizes;
    if (command.answers) {
        smb.read(action);
        if (command.words == 4)
            sizes.blob = smb.read(blobLength);
        return sizes;
    }
    smb.read(maxBuffer, maxMultiplex, circuit, sessionKey);
    if (command.words == 12) {
        sizes.blob = smb.read(blobLength);
        smb.read(reserved32, capabilities);
    } else {
        sizes.password = smb.read(passwordLength);
        if (command.words == 13) {
            sizes.widePassword = smb.read(wideLength);
            smb.read(reserved32, capabilities);
        }
    }
    return sizes;
}

Sizes readNegotiated(Layer& smb, const Command& command)
{
    Sizes sizes;
    smb.read(dialectIndex);
    if (command.words != 17)
        return sizes;
    smb.read(securityMode, maxMultiplex, maxCircuits, maxBuffer32, maxRaw, sessionKey, capabilities);
    smb.read(systemTime, zone);
    sizes.password = smb.read(keyLength);
    return sizes;
}

void readRequestWords(Layer& smb, const Command& command, Sizes& sizes)
{
    switch (command.number) {
    case closeFile: smb.read(file); break;
    case readFile:
    case writeFile: smb.read(file, count, offset); break;
    case readMultiplexed: smb.read(file, offset, maxCount, minCount); break;
    case openAndX:
        smb.read(openFlags, openAccess, searched, attributes16, utcTime, openFunction, fileSize, timeout);
        break;
    case readAndX: smb.read(file, offset, maxCount, minCount); break;
    case writeAndX: smb.read(file, offset, timeout, writeMode, remaining, countHigh, count); break;
    case sessionSetup: sizes = readSetupWords(smb, command); break;
    case treeConnectAndX:
        smb.read(treeFlags);
        sizes.password = smb.read(passwordLength);
        break;
    case createAndX:
        smb.read(reserved8, nameLength, createFlags, rootFile, access, allocation, attributes32, share);
        smb.read(disposition, options, impersonation);
        break;
    default: break;
    }
}

void readResponseWords(Layer& smb, const Command& command, Sizes& sizes)
{
    switch (command.number) {
    case negotiate: sizes = readNegotiated(smb, command); break;
    case sessionSetup: sizes = readSetupWords(smb, command); break;
    case openFile:
    case createFile: smb.read(file); break;
    case openAndX: smb.read(file, attributes16, utcTime, fileSize, openAccess); break;
    case readFile:
    case writeFile: smb.read(count); break;
    case readAndX: smb.read(available, compaction, reserved16, count); break;
    case writeAndX: smb.read(count, available); break;
    case createAndX:
        smb.read(oplock, file, createAction, created, accessed, written, changed);
        smb.read(attributes32, allocation, fileSize64);
        break;
    default: break;
    }
}

/// Commands whose words begin with the command that follows in the same message (MS-CIFS, 2.2.3.4).
bool isChained(std::uint64_t number)
{
    switch (number) {
    case 0x24:
    case openAndX:
    case readAndX:
    case writeAndX:
    case sessionSetup:
    case 0x74:
    case treeConnectAndX:
    case createAndX: return true;
    default: return false;
    }
}

/// A text up to its zero, or to the end.
void readText(Layer& smb, const Command& command, const Field& narrow, const Field& wide)
{
    if (!smb.more())
        return;
    if (!command.isUnicode)
        return static_cast<void>(smb.readZeroText(narrow));
    if ((smb.offset() - command.headerAt) % 2)
        smb.skip(1);
    const auto bytes = smb.rest();
    std::size_t size = 0;
    while (size + 2 <= bytes.size() && (bytes[size] || bytes[size + 1]))
        size += 2;
    if (size || smb.more(2))
        smb.readBytes(wide, size);
    smb.skip(std::min<std::size_t>(2, smb.left()));
}

/// Texts that each stand behind a byte which says that they are texts.
void readMarked(Layer& smb, const Command& command)
{
    constexpr std::uint8_t mark = 4;
    while (smb.more(2) && smb.peek8() == mark) {
        smb.skip(1);
        readText(smb, command, pathText, pathWide);
    }
}

void readSetupBytes(Layer& smb, const Command& command, const Sizes& sizes)
{
    if (sizes.blob) {
        const auto at = smb.offset();
        ntlm::read(smb, smb.readBytes(blob, sizes.blob), at);
    }
    if (sizes.password)
        smb.readBytes(password, sizes.password);
    if (sizes.widePassword)
        smb.readBytes(password, sizes.widePassword);
    if (!command.answers && command.words != 12) {
        readText(smb, command, accountText, accountWide);
        readText(smb, command, domainText, domainWide);
    }
    readText(smb, command, systemText, systemWide);
    readText(smb, command, systemText, systemWide);
    if (command.answers)
        readText(smb, command, domainText, domainWide);
}

void readNegotiatedBytes(Layer& smb, const Command& command, const Sizes& sizes)
{
    constexpr std::size_t guid = 16;
    if (command.words != 17)
        return;
    if (sizes.password) {
        smb.readBytes(password, sizes.password);
        readText(smb, command, domainText, domainWide);
    } else if (smb.more(guid)) {
        smb.skip(guid); // of the server; the offered mechanisms follow
        if (smb.more())
            smb.readRest(blob);
    }
}
} // namespace

Sizes readWords(Layer& smb, const Command& command)
{
    Sizes sizes;
    std::uint64_t next = sizes.next, place = 0;
    if (command.words >= 2 && isChained(command.number)) {
        next = smb.read(nextCommand);
        smb.read(andxReserved);
        place = smb.read(nextOffset);
    }
    // An error has no words.
    if (command.words && command.answers)
        readResponseWords(smb, command, sizes);
    else if (command.words)
        readRequestWords(smb, command, sizes);
    sizes.next = next;
    sizes.nextOffset = place;
    return sizes;
}

void readBytes(Layer& smb, const Command& command, const Sizes& sizes)
{
    switch (command.number) {
    case negotiate:
        while (!command.answers && smb.more(2) && smb.peek8() == 2) {
            smb.skip(1);
            smb.readZeroText(dialect);
        }
        if (command.answers)
            readNegotiatedBytes(smb, command, sizes);
        break;
    case sessionSetup:
        if (command.words)
            readSetupBytes(smb, command, sizes);
        break;
    case treeConnectAndX:
        if (sizes.password)
            smb.readBytes(password, sizes.password);
        if (!command.answers)
            readText(smb, command, pathText, pathWide);
        if (smb.more())
            smb.readZeroText(service);
        if (command.answers)
            readText(smb, command, systemText, systemWide);
        break;
    case openAndX:
    case createAndX:
        if (!command.answers)
            readText(smb, command, pathText, pathWide);
        break;
    case createDirectory:
    case deleteDirectory:
    case openFile:
    case createFile:
    case deleteFile:
    case renameFile:
    case queryInformation:
    case setInformation:
    case checkDirectory:
    case treeConnect:
    case search:
        if (!command.answers)
            readMarked(smb, command);
        break;
    default: break;
    }
}

void describe(const LayerView& smb, TextSink& out)
{
    const auto either = [&](const Field& wide, const Field& narrow) { return smb[wide] ? smb[wide] : smb[narrow]; };
    if (const auto who = either(accountWide, accountText)) {
        if (who.node()->length)
            out(", user {}\\{}", either(domainWide, domainText), who);
        else
            out(", anonymous");
    }
    if (const auto path = either(pathWide, pathText))
        out(", “{}”", path);
    if (const auto id = smb[file])
        out(", file {}", id);
    if (const auto place = smb[offset])
        out(", offset {}", place);
    if (const auto size = smb[count] ? smb[count] : smb[maxCount])
        out(", {} bytes", size);
}

} // namespace netrondo::smbCommands
