// ONC Remote Procedure Call (RFC 5531): who calls what, and the reply's fate.
#include "Dissection/Protocols/Protocols.h"

#include <array>
#include <cstring>

namespace netrondo::rpc {
namespace {
constexpr NamedValue messageTypes[] = {{0, "Call"}, {1, "Reply"}};
constexpr NamedValue programs[] = {{100000, "Portmap"}, {100001, "RSTAT"},  {100003, "NFS"},         {100004, "YPSERV"},
                                   {100005, "MOUNT"},   {100007, "YPBIND"}, {100011, "RQUOTA"},      {100021, "NLM"},
                                   {100024, "STAT"},    {100227, "NFSACL"}, {400122, "NFS callback"}};
constexpr NamedValue replyStates[] = {{0, "accepted"}, {1, "denied"}};
constexpr NamedValue acceptStates[] = {{0, "success"},           {1, "program unavailable"},
                                       {2, "program mismatch"},  {3, "procedure unavailable"},
                                       {4, "garbage arguments"}, {5, "system error"}};
constexpr NamedValue rejectStates[] = {{0, "RPC version mismatch"}, {1, "authentication error"}};
constexpr NamedValue flavors[] = {{0, "none"}, {1, "Unix"}, {2, "short"}, {3, "DES"}, {6, "GSS"}};
constexpr NamedValue nfs3[] = {{0, "NULL"},      {1, "GETATTR"},  {2, "SETATTR"},      {3, "LOOKUP"},  {4, "ACCESS"},
                               {5, "READLINK"},  {6, "READ"},     {7, "WRITE"},        {8, "CREATE"},  {9, "MKDIR"},
                               {10, "SYMLINK"},  {11, "MKNOD"},   {12, "REMOVE"},      {13, "RMDIR"},  {14, "RENAME"},
                               {15, "LINK"},     {16, "READDIR"}, {17, "READDIRPLUS"}, {18, "FSSTAT"}, {19, "FSINFO"},
                               {20, "PATHCONF"}, {21, "COMMIT"}};
constexpr NamedValue portmap2[] = {{0, "NULL"}, {1, "SET"}, {2, "UNSET"}, {3, "GETPORT"}, {4, "DUMP"}, {5, "CALLIT"}};
constexpr NamedValue portmap3[] = {{0, "NULL"},        {1, "SET"},         {2, "UNSET"},     {3, "GETADDR"},
                                   {4, "DUMP"},        {5, "CALLIT"},      {6, "GETTIME"},   {7, "UADDR2TADDR"},
                                   {8, "TADDR2UADDR"}, {9, "GETVERSADDR"}, {10, "INDIRECT"}, {11, "GETADDRLIST"},
                                   {12, "GETSTAT"}}; // RFC 1833, version 3 and 4
constexpr NamedValue mount3[] = {{0, "NULL"}, {1, "MNT"}, {2, "DUMP"}, {3, "UMNT"}, {4, "UMNTALL"}, {5, "EXPORT"}};

constexpr NamedValue nfs4[] = {{0, "NULL"}, {1, "COMPOUND"}};
constexpr NamedValue operations[] = {{3, "ACCESS"},
                                     {4, "CLOSE"},
                                     {5, "COMMIT"},
                                     {6, "CREATE"},
                                     {9, "GETATTR"},
                                     {10, "GETFH"},
                                     {11, "LINK"},
                                     {12, "LOCK"},
                                     {15, "LOOKUP"},
                                     {16, "LOOKUPP"},
                                     {18, "OPEN"},
                                     {22, "PUTFH"},
                                     {24, "PUTROOTFH"},
                                     {25, "READ"},
                                     {26, "READDIR"},
                                     {27, "READLINK"},
                                     {28, "REMOVE"},
                                     {29, "RENAME"},
                                     {30, "RENEW"},
                                     {31, "RESTOREFH"},
                                     {32, "SAVEFH"},
                                     {33, "SECINFO"},
                                     {34, "SETATTR"},
                                     {35, "SETCLIENTID"},
                                     {36, "SETCLIENTID_CONFIRM"},
                                     {38, "WRITE"},
                                     {42, "EXCHANGE_ID"},
                                     {43, "CREATE_SESSION"},
                                     {44, "DESTROY_SESSION"},
                                     {52, "SECINFO_NO_NAME"},
                                     {53, "SEQUENCE"},
                                     {57, "DESTROY_CLIENTID"},
                                     {58, "RECLAIM_COMPLETE"}};
constexpr NamedValue nfsStatuses[] = {{0, "OK"},
                                      {1, "PERM"},
                                      {2, "NOENT"},
                                      {5, "IO"},
                                      {13, "ACCES"},
                                      {17, "EXIST"},
                                      {20, "NOTDIR"},
                                      {21, "ISDIR"},
                                      {22, "INVAL"},
                                      {27, "FBIG"},
                                      {28, "NOSPC"},
                                      {30, "ROFS"},
                                      {63, "NAMETOOLONG"},
                                      {66, "NOTEMPTY"},
                                      {69, "DQUOT"},
                                      {70, "STALE"},
                                      {10001, "BADHANDLE"},
                                      {10004, "NOTSUPP"},
                                      {10006, "SERVERFAULT"},
                                      {10008, "DELAY"},
                                      {10011, "EXPIRED"},
                                      {10013, "GRACE"},
                                      {10022, "STALE_CLIENTID"},
                                      {10052, "BADSESSION"}};
constexpr NamedValue stabilities[] = {{0, "unstable"}, {1, "data"}, {2, "file"}};
constexpr NamedValue transports[] = {{6, "TCP"}, {17, "UDP"}};

constexpr Field fragment{"rpc.fragment", "Fragment header", Wire::hex32};
constexpr Field isLast{"rpc.last", "Last fragment", Wire::bit, {}, 0x80000000};
constexpr Field fragmentLength{"rpc.fragment_len", "Fragment length", Wire::bits, {}, 0x7fffffff};
constexpr Field transaction{"rpc.xid", "Transaction ID", Wire::hex32};
constexpr Field messageType{"rpc.type", "Message type", Wire::u32, messageTypes};
constexpr Field version{"rpc.version", "RPC version", Wire::u32};
constexpr Field program{"rpc.program", "Program", Wire::u32, programs};
constexpr Field programVersion{"rpc.program_version", "Program version", Wire::u32};
constexpr Field procedure{"rpc.procedure", "Procedure", Wire::u32};
constexpr Field nfsProcedure{"rpc.procedure", "Procedure", Wire::u32, nfs3};
constexpr Field nfs4Procedure{"rpc.procedure", "Procedure", Wire::u32, nfs4};
constexpr Field portmapProcedure{"rpc.procedure", "Procedure", Wire::u32, portmap2};
constexpr Field rpcbindProcedure{"rpc.procedure", "Procedure", Wire::u32, portmap3};
constexpr Field mountProcedure{"rpc.procedure", "Procedure", Wire::u32, mount3};
constexpr Field flavor{"rpc.auth_flavor", "Authentication", Wire::u32, flavors};
constexpr Field authLength{"rpc.auth_len", "Authentication length", Wire::u32};
constexpr Field authData{"rpc.auth_data", "Credentials", Wire::bytes};
constexpr Field replyState{"rpc.reply_state", "Reply", Wire::u32, replyStates};
constexpr Field acceptState{"rpc.accept_state", "Accept state", Wire::u32, acceptStates};
constexpr Field rejectState{"rpc.reject_state", "Reject state", Wire::u32, rejectStates};
constexpr Field handleLength{"rpc.nfs.handle_len", "File handle length", Wire::u32};
constexpr Field handle{"rpc.nfs.handle", "File handle", Wire::bytes};
constexpr Field nameLength{"rpc.nfs.name_len", "Name length", Wire::u32};
constexpr Field name{"rpc.nfs.name", "Name", Wire::text};
constexpr Field path{"rpc.mount.path", "Path", Wire::text};
constexpr Field offset{"rpc.nfs.offset", "File offset", Wire::u64};
constexpr Field count{"rpc.nfs.count", "Count", Wire::u32};
constexpr Field stability{"rpc.nfs.stable", "Stability", Wire::u32, stabilities};
constexpr Field access{"rpc.nfs.access", "Access wanted", Wire::hex32};
constexpr Field nfsStatus{"rpc.nfs.status", "NFS status", Wire::u32, nfsStatuses};
constexpr Field tagLength{"rpc.nfs.tag_len", "Tag length", Wire::u32};
constexpr Field tag{"rpc.nfs.tag", "Tag", Wire::text};
constexpr Field minorVersion{"rpc.nfs.minor", "Minor version", Wire::u32};
constexpr Field operationCount{"rpc.nfs.operations", "Number of operations", Wire::u32};
constexpr Field operation{"rpc.nfs.operation", "Operation", Wire::u32, operations};
constexpr Field stateId{"rpc.nfs.state", "State ID", Wire::bytes};
constexpr Field words{"rpc.nfs.words", "Attribute words", Wire::u32};
constexpr Field attribute{"rpc.nfs.attributes", "Attributes wanted", Wire::hex32};
constexpr Field sessionId{"rpc.nfs.session", "Session", Wire::bytes};
constexpr Field slotSequence{"rpc.nfs.seq", "Sequence", Wire::u32};
constexpr Field slot{"rpc.nfs.slot", "Slot", Wire::u32};
constexpr Field highestSlot{"rpc.nfs.highest_slot", "Highest slot", Wire::u32};
constexpr Field cacheThis{"rpc.nfs.cache", "Cache this", Wire::u32};
constexpr Field asked{"rpc.portmap.program", "Asked program", Wire::u32, programs};
constexpr Field askedVersion{"rpc.portmap.version", "Asked version", Wire::u32};
constexpr Field askedTransport{"rpc.portmap.transport", "Asked transport", Wire::u32, transports};
constexpr Field port{"rpc.portmap.port", "Port", Wire::u32};
constexpr Field mountStatus{"rpc.mount.status", "Mount status", Wire::u32, nfsStatuses};
constexpr Field arguments{"rpc.arguments", "Arguments", Wire::bytes};
constexpr Field results{"rpc.results", "Results", Wire::bytes};
constexpr Field continuation{"rpc.continuation", "Continuation of a message", Wire::bytes};

const Field& procedureOf(std::uint64_t number, std::uint64_t numberVersion)
{
    if (number == 100003 && numberVersion <= 4)
        return numberVersion == 4 ? nfs4Procedure : nfsProcedure;
    if (number == 100000)
        return numberVersion == 2 ? portmapProcedure : rpcbindProcedure;
    return number == 100005 ? mountProcedure : procedure;
}

void readAuthentication(Layer& rpc)
{
    rpc.read(flavor);
    const auto size = rpc.read(authLength);
    if (size)
        rpc.readBytes(authData, (size + 3) / 4 * 4);
}

/// Bytes led by their length and filled up to four (RFC 4506, 4.10).
void readOpaque(Layer& rpc, const Field& length, const Field& field)
{
    const auto size = rpc.read(length);
    if (size)
        rpc.readBytes(field, size);
    if (size % 4)
        rpc.skip(4 - size % 4);
}

/// The file that a call of version 3 is about, and what it wants of it (RFC 1813, 3.3).
void readNfs3(Layer& rpc, std::uint64_t what)
{
    if (what == 0)
        return;
    readOpaque(rpc, handleLength, handle);
    switch (what) {
    case 3:
    case 8:
    case 9:
    case 10:
    case 11:
    case 12:
    case 13:
    case 14: readOpaque(rpc, nameLength, name); break;
    case 4: rpc.read(access); break;
    case 6:
    case 21: rpc.read(offset, count); break;
    case 7: rpc.read(offset, count, stability); break;
    default: break;
    }
    if (what == 14) { // to where it is renamed
        readOpaque(rpc, handleLength, handle);
        readOpaque(rpc, nameLength, name);
    }
}

/// One operation of a compound; false for one whose arguments are not taken apart, with which the list ends.
bool readOperation(Layer& rpc)
{
    switch (rpc.read(operation)) {
    case 3: rpc.read(access); return true;
    case 9: {
        const auto size = rpc.read(words);
        for (std::uint64_t i = 0; i < size && rpc.more(4); ++i)
            rpc.read(attribute);
        return true;
    }
    case 10:
    case 16:
    case 24:
    case 31:
    case 32: return true;
    case 15:
    case 28: readOpaque(rpc, nameLength, name); return true;
    case 22: readOpaque(rpc, handleLength, handle); return true;
    case 25:
        rpc.readBytes(stateId, 16);
        rpc.read(offset, count);
        return true;
    case 53:
        rpc.readBytes(sessionId, 16);
        rpc.read(slotSequence, slot, highestSlot, cacheThis);
        return true;
    default: return false;
    }
}

void readCompound(Layer& rpc)
{
    readOpaque(rpc, tagLength, tag);
    rpc.read(minorVersion);
    const auto number = rpc.read(operationCount);
    for (std::uint64_t i = 0; i < number && rpc.more(4); ++i) {
        if (!readOperation(rpc))
            break;
    }
}

void readArguments(Layer& rpc, std::uint64_t programNumber, std::uint64_t versionNumber, std::uint64_t what)
{
    if (programNumber == 100003 && versionNumber == 3)
        readNfs3(rpc, what);
    else if (programNumber == 100003 && versionNumber == 4 && what == 1)
        readCompound(rpc);
    else if (programNumber == 100005 && (what == 1 || what == 3))
        readOpaque(rpc, nameLength, path);
    else if (programNumber == 100000 && versionNumber == 2 && what == 3)
        rpc.read(asked, askedVersion, askedTransport);
    if (rpc.more())
        rpc.readRest(arguments);
}

/// The calls that wait for their replies, by their transaction numbers.
struct Calls : ProtocolMemory {
    struct Call {
        std::uint32_t transaction = 0, program = 0, version = 0, procedure = 0;
    };
    std::array<Call, 64> calls;

    Call& at(std::uint64_t number) { return calls[number % calls.size()]; }
};

Transport transportOf(Layer& rpc)
{
    return rpc.summary().transport;
}

void readCall(Layer& rpc, std::uint64_t number)
{
    rpc.read(version);
    const auto programNumber = rpc.read(program), versionNumber = rpc.read(programVersion);
    const auto called = rpc.read(procedureOf(programNumber, versionNumber));
    if (auto* const calls = rpc.stopped() ? nullptr : rpc.memory<Calls>(transportOf(rpc), Layer::Ways::both))
        calls->at(number) = {static_cast<std::uint32_t>(number), static_cast<std::uint32_t>(programNumber),
                             static_cast<std::uint32_t>(versionNumber), static_cast<std::uint32_t>(called)};
    readAuthentication(rpc);
    readAuthentication(rpc);
    readArguments(rpc, programNumber, versionNumber, called);
}

/// A reply does not say what it answers (RFC 5531, 9); its call does.
Calls::Call callOf(Layer& rpc, std::uint64_t number)
{
    Calls::Call call;
    if (const auto kept = rpc.kept(); kept && kept->size() == sizeof call)
        std::memcpy(&call, kept->data(), sizeof call);
    else if (auto* const calls = rpc.memory<Calls>(transportOf(rpc), Layer::Ways::both))
        call = calls->at(number);
    if (call.transaction != number)
        call = {};
    rpc.keep({reinterpret_cast<const std::uint8_t*>(&call), sizeof call});
    return call;
}

void readReply(Layer& rpc, std::uint64_t number)
{
    const auto call = callOf(rpc, number);
    if (call.program) {
        rpc.add(program, call.program);
        rpc.add(programVersion, call.version);
        rpc.add(procedureOf(call.program, call.version), call.procedure);
    }
    if (rpc.read(replyState) == 0) {
        readAuthentication(rpc);
        if (rpc.read(acceptState) == 0 && rpc.more(4) && call.procedure) {
            if (call.program == 100003)
                rpc.read(nfsStatus);
            else if (call.program == 100005 && call.procedure == 1)
                rpc.read(mountStatus);
            else if (call.program == 100000 && call.version == 2 && call.procedure == 3)
                rpc.read(port);
        }
    } else {
        rpc.read(rejectState);
    }
    if (rpc.more())
        rpc.readRest(results);
}

/// `at` is where the transaction ID stands.
bool looksRight(Bytes bytes, std::size_t at)
{
    if (bytes.size() < at + 12)
        return false;
    const auto kind = load::be32(&bytes[at + 4]);
    if (kind == 1)
        return load::be32(&bytes[at + 8]) <= 1;
    return kind == 0 && load::be32(&bytes[at + 8]) == 2 && bytes.size() >= at + 24
        && load::be32(&bytes[at + 12]) >= 100000 && load::be32(&bytes[at + 12]) < 0x60000000
        && load::be32(&bytes[at + 16]) < 20;
}

void readMessage(Layer& rpc)
{
    const auto number = rpc.read(transaction);
    const auto kind = rpc.read(messageType);
    if (rpc.stopped())
        return;
    if (kind == 0)
        readCall(rpc, number);
    else if (kind == 1)
        readReply(rpc, number);
    else
        rpc.reject(messageType);
}

void decode(Layer& rpc)
{
    if (!rpc.isStream())
        return readMessage(rpc);
    while (rpc.more()) {
        if (!looksRight(rpc.rest(), 4)) {
            rpc.readRest(continuation);
            return;
        }
        rpc.beginMessage();
        const auto size = rpc.readParts(fragment, isLast, fragmentLength) & 0x7fffffff;
        rpc.expect(size);
        const Layer::Window record(rpc, size);
        readMessage(rpc);
    }
}

void describe(const LayerView& rpc, TextSink& out)
{
    if (const auto kind = rpc[messageType]) {
        if (const auto number = rpc[program]) {
            const auto& field = procedureOf(number.number(), rpc[programVersion].number());
            out("{} v{} {} ", number, rpc[programVersion], rpc[field]);
        }
        out("{} xid=0x", kind);
        out.putHex(rpc[transaction].number(), 8);
        if (const auto state = rpc[acceptState]; state && state.number())
            out(", {}", state);
        if (const auto state = rpc[rejectState])
            out(", {}", state);
        rpc.each(operation, [&](const Value& entry) { out(" {}", entry); });
        if (const auto file = rpc[name] ? rpc[name] : rpc[path])
            out(", “{}”", file);
        if (const auto place = rpc[offset])
            out(", offset {}, {} bytes", place, rpc[count]);
        if (const auto outcome = rpc[nfsStatus] ? rpc[nfsStatus] : rpc[mountStatus])
            out(", {}", outcome);
        if (const auto what = rpc[asked])
            out(", {} v{} {}", what, rpc[askedVersion], rpc[askedTransport]);
        else if (const auto where = rpc[port])
            out(", port {}", where);
    } else if (const auto rest = rpc[continuation]) {
        out("Continuation, {} bytes", rest.node()->length);
    }
}

Likeness guess(Bytes payload, Transport transport)
{
    if (transport == Transport::udp) {
        if (!looksRight(payload, 0))
            return Likeness::none;
        // A reply alone is little to go by: its state and a sane verifier must fit as well.
        if (load::be32(&payload[4]) == 0)
            return Likeness::certain;
        return payload.size() >= 24 && payload.size() % 4 == 0 && load::be32(&payload[12]) <= 6
                && load::be32(&payload[16]) <= 400
            ? Likeness::likely
            : Likeness::none;
    }
    if (transport != Transport::tcp || payload.size() < 16 || payload[0] != 0x80 || payload[1] > 0x10)
        return Likeness::none;
    return looksRight(payload, 4) ? Likeness::likely : Likeness::none;
}

constexpr Claim claims[] = {tcpPort(111), udpPort(111), tcpPort(2049), udpPort(2049)};
} // namespace

constexpr Protocol protocol{
    {"rpc", "RPC", Wire::layer}, {}, claims, decode, describe, guess, opensOn({Transport::tcp, Transport::udp})};
static_assert(wellFormed(protocol));
} // namespace netrondo::rpc
