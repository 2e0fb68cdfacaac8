// The remote framebuffer protocol of VNC (RFC 6143): how its two sides come to agree.
#include "Dissection/Protocols/Protocols.h"
#include "Dissection/Protocols/Remembered.h"
#include "Dissection/Protocols/TextLines.h"
#include "Dissection/Protocols/VncMessages.h"

namespace netrondo::vnc {
namespace {
constexpr Field version{"vnc.version", "Protocol version", Wire::text};
constexpr Field offer{"vnc.security_types", "Security types", Wire::u8};
constexpr Field security{"vnc.security", "Security type", Wire::u8, vncNames::securityTypes};
constexpr Field decided{"vnc.security_decided", "Security type", Wire::u32, vncNames::securityTypes};
constexpr Field chosen{"vnc.security_chosen", "Security type chosen", Wire::u8, vncNames::securityTypes};
constexpr Field challenge{"vnc.challenge", "Authentication challenge", Wire::bytes};
constexpr Field response{"vnc.response", "Authentication response", Wire::bytes};
constexpr Field result{"vnc.result", "Security result", Wire::u32, vncNames::results};
constexpr Field reasonLength{"vnc.reason_len", "Reason length", Wire::u32};
constexpr Field reason{"vnc.reason", "Reason", Wire::text};
constexpr Field shared{"vnc.shared", "Shared", Wire::u8};
constexpr Field serverInit{"vnc.server_init", "Server init", Wire::group};
constexpr Field nameLength{"vnc.name_len", "Name length", Wire::u32};
constexpr Field name{"vnc.name", "Name", Wire::text};

/// What comes next; with `messages`, whatever each way knows of its own.
enum class Step : std::uint8_t {
    messages,
    nextClientVersion,
    nextSecurityTypes,
    nextSecurityChoice,
    nextChallenge,
    nextResponse,
    nextResult,
    nextClientInit,
    nextServerInit
};

struct Connection {
    vncMessages::State state;
    Step step = Step::messages;
    std::uint8_t server = 0; ///< its way and 1; 0 where nobody knows
    std::uint8_t minor = 0;  ///< of the version: 3, 7 or 8
    std::uint8_t unused = 0;

    friend bool operator==(const Connection&, const Connection&) = default;
};

constexpr std::size_t versionSize = 12;

bool isVersion(Bytes bytes)
{
    return bytes.size() >= versionSize && asText(bytes).starts_with("RFB 0") && bytes[versionSize - 1] == '\n';
}

/// The server listens on ports from 5900 on; a client that waits for a server does on 5500.
bool isServerByPort(const FrameSummary& summary)
{
    return (summary.sourcePort >= 5900 && summary.sourcePort < 6000) || summary.destinationPort == 5500;
}

bool isSpokenByServer(Step step)
{
    return step == Step::nextSecurityTypes || step == Step::nextChallenge || step == Step::nextResult
        || step == Step::nextServerInit;
}

void readVersion(Layer& vnc, bool fromServer, Connection& connection)
{
    const auto text = vnc.readText(version, versionSize - 1);
    vnc.skip(1);
    connection.server = static_cast<std::uint8_t>((vnc.way(Transport::tcp) ^ (fromServer ? 0 : 1)) + 1);
    if (fromServer) {
        connection.step = Step::nextClientVersion;
        return;
    }
    // Any other version is taken as 3.3 (7.1.1), but for those that count on from 3.8.
    const auto minor = text.substr(8);
    connection.minor = minor == "007" ? 7 : minor >= "008" ? 8 : 3;
    connection.step = Step::nextSecurityTypes;
}

/// Why it ends here.
void readReason(Layer& vnc)
{
    const auto size = vnc.read(reasonLength);
    vncMessages::readContent(vnc, reason, size);
}

/// Other types have dialogues of their own, behind which nobody knows where a message begins.
Step stepBehind(std::uint64_t type, std::uint8_t minor)
{
    if (type == 2)
        return Step::nextChallenge;
    return type != 1 ? Step::messages : minor == 8 ? Step::nextResult : Step::nextClientInit;
}

void readSecurityTypes(Layer& vnc, Connection& connection)
{
    std::uint64_t any = 0;
    if (connection.minor == 3) {
        any = vnc.read(decided);
        connection.step = stepBehind(any, connection.minor);
    } else {
        any = vnc.read(offer);
        for (auto count = any; count && !vnc.stopped(); --count)
            vnc.read(security);
        connection.step = Step::nextSecurityChoice;
    }
    if (any || vnc.stopped())
        return;
    readReason(vnc);
    connection.step = Step::messages;
}

void readServerInit(Layer& vnc, Connection& connection)
{
    const Layer::Group group(vnc, serverInit);
    auto& state = connection.state;
    state.width = static_cast<std::uint16_t>(vnc.read(vncMessages::width));
    state.height = static_cast<std::uint16_t>(vnc.read(vncMessages::height));
    vncMessages::readPixelFormat(vnc, state);
    const auto size = vnc.read(nameLength);
    vncMessages::readContent(vnc, name, size);
    state.isServerInStep = state.isClientInStep = true;
    connection.step = Step::messages;
}

void readStep(Layer& vnc, Connection& connection)
{
    switch (connection.step) {
    case Step::nextSecurityTypes: return readSecurityTypes(vnc, connection);
    case Step::nextSecurityChoice: connection.step = stepBehind(vnc.read(chosen), connection.minor); return;
    case Step::nextChallenge:
        vnc.readBytes(challenge, 16);
        connection.step = Step::nextResponse;
        return;
    case Step::nextResponse:
        vnc.readBytes(response, 16);
        connection.step = Step::nextResult;
        return;
    case Step::nextResult: {
        const auto outcome = vnc.read(result);
        connection.step = outcome ? Step::messages : Step::nextClientInit;
        if (outcome && connection.minor == 8)
            readReason(vnc);
        return;
    }
    case Step::nextClientInit:
        vnc.read(shared);
        connection.step = Step::nextServerInit;
        return;
    case Step::nextServerInit: return readServerInit(vnc, connection);
    default: return;
    }
}

/// False where the bytes are nothing that is known.
bool readNext(Layer& vnc, Connection& connection)
{
    const bool mayBeVersion = connection.step == Step::messages || connection.step == Step::nextClientVersion;
    bool fromServer =
        connection.server ? connection.server == vnc.way(Transport::tcp) + 1 : isServerByPort(vnc.summary());
    vnc.beginMessage();
    if (mayBeVersion && isVersion(vnc.rest())) {
        const auto& summary = vnc.summary();
        const bool tellsPort = isServerByPort(summary)
            || (summary.destinationPort >= 5900 && summary.destinationPort < 6000) || summary.sourcePort == 5500;
        if (!connection.server && !tellsPort)
            fromServer = true; // which speaks first
        readVersion(vnc, fromServer, connection);
        return true;
    }
    if (connection.step != Step::messages) {
        if (fromServer != isSpokenByServer(connection.step) || connection.step == Step::nextClientVersion)
            return false;
        readStep(vnc, connection);
        return true;
    }
    auto& state = connection.state;
    const bool isKnown = fromServer ? vncMessages::readFromServer(vnc, state) : vncMessages::readFromClient(vnc, state);
    // What the capture cut off may have been the start of another message.
    if (!isKnown || vnc.isCut())
        (fromServer ? state.isServerInStep : state.isClientInStep) = false;
    return isKnown;
}

void decode(Layer& vnc)
{
    Remembered<Connection> connection(vnc);
    while (vnc.more()) {
        const bool isKnown = readNext(vnc, *connection);
        if (!vnc.stopped() || vnc.isCut())
            connection.commit();
        if (!isKnown && vnc.more())
            vnc.readRest(vncMessages::data);
    }
}

void describeSecurity(const LayerView& vnc, TextSink& out)
{
    out("Security types");
    bool isFirst = true;
    vnc.each(security, [&](const Value& type) {
        out("{}{}", isFirst ? ": " : ", ", type);
        isFirst = false;
    });
}

void describe(const LayerView& vnc, TextSink& out)
{
    const auto before = out.size();
    if (const auto text = vnc[version])
        out("Protocol version {}", text);
    else if (vnc.has(offer))
        describeSecurity(vnc, out);
    else if (const auto type = vnc[decided])
        out("Security type: {}", type);
    else if (const auto choice = vnc[chosen])
        out("Security type chosen: {}", choice);
    else if (const auto outcome = vnc[result])
        out("Security result: {}", outcome);
    else if (const auto flag = vnc[shared])
        out("Client init, {}", flag.number() ? "shared" : "exclusive");
    else if (vnc.has(serverInit))
        out("Server init, {} × {}, {} bits per pixel, “{}”", vnc[vncMessages::width], vnc[vncMessages::height],
            vnc[vncMessages::bitsPerPixel], vnc[name]);
    else if (!vnc.has(challenge) && !vnc.has(response))
        vncMessages::describe(vnc, out);
    if (vnc.has(challenge))
        out("{}Authentication challenge", out.size() > before ? ", " : "");
    if (vnc.has(response))
        out("{}Authentication response", out.size() > before ? ", " : "");
    if (const auto why = vnc[reason])
        out(": {}", why);
    const auto bytes = vnc[vncMessages::data];
    if (out.size() == before && bytes)
        out("Data, {} bytes", bytes.node()->length);
}

Likeness guess(Bytes payload, Transport transport)
{
    return transport == Transport::tcp && isVersion(payload) ? Likeness::certain : Likeness::none;
}

constexpr Claim claims[] = {tcpPorts(5900, 5909), tcpPort(5500)};
} // namespace

constexpr Protocol protocol{{"vnc", "VNC", Wire::layer},     {}, claims, decode, describe, guess,
                            opensWith({Transport::tcp}, 'R')};
static_assert(wellFormed(protocol));
} // namespace netrondo::vnc
