// ONC Remote Procedure Call (RFC 5531): who calls what, and the reply's fate.
#include "Dissection/Protocols/Protocols.h"

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
constexpr NamedValue mount3[] = {{0, "NULL"}, {1, "MNT"}, {2, "DUMP"}, {3, "UMNT"}, {4, "UMNTALL"}, {5, "EXPORT"}};

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
constexpr Field portmapProcedure{"rpc.procedure", "Procedure", Wire::u32, portmap2};
constexpr Field mountProcedure{"rpc.procedure", "Procedure", Wire::u32, mount3};
constexpr Field flavor{"rpc.auth_flavor", "Authentication", Wire::u32, flavors};
constexpr Field authLength{"rpc.auth_len", "Authentication length", Wire::u32};
constexpr Field authData{"rpc.auth_data", "Credentials", Wire::bytes};
constexpr Field replyState{"rpc.reply_state", "Reply", Wire::u32, replyStates};
constexpr Field acceptState{"rpc.accept_state", "Accept state", Wire::u32, acceptStates};
constexpr Field rejectState{"rpc.reject_state", "Reject state", Wire::u32, rejectStates};
constexpr Field arguments{"rpc.arguments", "Arguments", Wire::bytes};
constexpr Field results{"rpc.results", "Results", Wire::bytes};
constexpr Field continuation{"rpc.continuation", "Continuation of a message", Wire::bytes};

const Field& procedureOf(std::uint64_t number, std::uint64_t numberVersion)
{
    if (number == 100003 && numberVersion == 3)
        return nfsProcedure;
    if (number == 100000 && numberVersion == 2)
        return portmapProcedure;
    return number == 100005 ? mountProcedure : procedure;
}

void readAuthentication(Layer& rpc)
{
    rpc.read(flavor);
    const auto size = rpc.read(authLength);
    if (size)
        rpc.readBytes(authData, (size + 3) / 4 * 4);
}

void readCall(Layer& rpc)
{
    rpc.read(version);
    const auto number = rpc.read(program), numberVersion = rpc.read(programVersion);
    rpc.read(procedureOf(number, numberVersion));
    readAuthentication(rpc);
    readAuthentication(rpc);
    if (rpc.more())
        rpc.readRest(arguments);
}

void readReply(Layer& rpc)
{
    if (rpc.read(replyState) == 0) {
        readAuthentication(rpc);
        rpc.read(acceptState);
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
    rpc.read(transaction);
    const auto kind = rpc.read(messageType);
    if (rpc.stopped())
        return;
    if (kind == 0)
        readCall(rpc);
    else if (kind == 1)
        readReply(rpc);
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

constexpr Protocol protocol{{"rpc", "RPC", Wire::layer}, {}, claims, decode, describe, guess};
static_assert(wellFormed(protocol));
} // namespace netrondo::rpc
