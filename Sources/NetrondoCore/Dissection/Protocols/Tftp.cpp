// Trivial File Transfer Protocol (RFC 1350, options RFC 2347).
#include "Dissection/Protocols/Protocols.h"

#include <algorithm>
#include <initializer_list>

namespace netrondo::tftp {
namespace {
constexpr NamedValue opcodes[] = {{1, "Read request"},   {2, "Write request"}, {3, "Data"},
                                  {4, "Acknowledgment"}, {5, "Error"},         {6, "Option acknowledgment"}};
constexpr NamedValue errors[] = {{0, "not defined"}, {1, "file not found"},    {2, "access violation"},
                                 {3, "disk full"},   {4, "illegal operation"}, {5, "unknown transfer"},
                                 {6, "file exists"}, {7, "no such user"},      {8, "bad options"}};

constexpr Field opcode{"tftp.opcode", "Opcode", Wire::u16, opcodes};
constexpr Field file{"tftp.file", "File", Wire::text};
constexpr Field mode{"tftp.mode", "Mode", Wire::text};
constexpr Field option{"tftp.option", "Option", Wire::text};
constexpr Field value{"tftp.value", "Value", Wire::text};
constexpr Field block{"tftp.block", "Block", Wire::u16};
constexpr Field data{"tftp.data", "Data", Wire::bytes};
constexpr Field error{"tftp.error", "Error", Wire::u16, errors};
constexpr Field message{"tftp.message", "Message", Wire::text};

void readOptions(Layer& tftp)
{
    while (tftp.more()) {
        tftp.readZeroText(option);
        if (tftp.more())
            tftp.readZeroText(value);
    }
}

void decode(Layer& tftp)
{
    switch (tftp.read(opcode)) {
    case 1:
    case 2:
        tftp.readZeroText(file);
        tftp.readZeroText(mode);
        readOptions(tftp);
        break;
    case 3:
        if (tftp.read(block) == 1)
            tftp.learn(Transport::udp, protocol);
        if (tftp.more())
            tftp.readRest(data);
        break;
    case 4: tftp.read(block); break;
    case 5: tftp.read(error), tftp.readZeroText(message); break;
    case 6:
        readOptions(tftp);
        tftp.learn(Transport::udp, protocol);
        break;
    default: tftp.reject(opcode);
    }
}

void describe(const LayerView& tftp, TextSink& out)
{
    out("{}", tftp[opcode]);
    if (const auto name = tftp[file])
        out(" “{}” ({})", name, tftp[mode]);
    const auto options = tftp.nodes();
    for (std::size_t i = 0; i + 1 < options.size(); ++i) {
        if (options[i].field == &option && options[i + 1].field == &value)
            out(", {}={}", Value(tftp.tree(), &options[i]), Value(tftp.tree(), &options[i + 1]));
    }
    if (const auto number = tftp[block])
        out(", block {}", number);
    if (const auto bytes = tftp[data])
        out(", {} bytes", bytes.node()->length);
    if (const auto code = tftp[error])
        out(": {} ({})", code, tftp[message]);
}

/// A request tells its mode (RFC 1350, 5).
bool isRequest(Bytes payload)
{
    const auto text = asText(payload.subspan(2));
    const auto modeAt = text.find('\0') + 1;
    return modeAt && (text.substr(modeAt).starts_with("octet") || text.substr(modeAt).starts_with("netascii"));
}

/// An option acknowledgment begins with one of the options that there are (RFC 2348, 2349, 2090, 7440).
bool isAgreement(Bytes payload)
{
    const auto text = asText(payload.subspan(2));
    return std::ranges::any_of(
        std::initializer_list<std::string_view>{"blksize", "tsize", "timeout", "windowsize", "multicast"},
        [&](auto name) { return text.starts_with(name) && text.substr(name.size()).starts_with('\0'); });
}

/// An error says in words what is wrong: text up to a zero that ends the datagram.
bool isError(Bytes payload)
{
    constexpr std::size_t wordsAt = 4;
    constexpr unsigned highestCode = 8;
    const auto words = asText(payload.subspan(wordsAt));
    return load::be16(&payload[2]) <= highestCode && words.find_first_not_of('\0') == 0
        && words.find('\0') == words.size() - 1
        && std::ranges::all_of(words.substr(0, words.size() - 1), [](char c) { return c >= ' ' && c <= '~'; });
}

/// A transfer goes on between two ports that nobody registered: it is known by its beginning, and the rest by that.
Likeness guess(Bytes payload, Transport transport)
{
    if (transport != Transport::udp || payload.size() < 8 || payload[0] != 0)
        return Likeness::none;
    const auto kind = payload[1];
    if (kind == 5)
        return isError(payload) ? Likeness::likely : Likeness::none;
    const bool isFirstBlock = kind == 3 && load::be16(payload.data() + 2) == 1 && payload.size() == 4 + 512;
    const bool isKnown = kind == 1 || kind == 2 ? isRequest(payload) : kind == 6 ? isAgreement(payload) : isFirstBlock;
    return isKnown ? Likeness::certain : Likeness::none;
}

constexpr Claim claims[] = {udpPort(69)};
} // namespace

constexpr Protocol protocol{{"tftp", "TFTP", Wire::layer}, {}, claims, decode, describe, guess,
                            opensWith({Transport::udp}, 0)};
static_assert(wellFormed(protocol));
} // namespace netrondo::tftp
