// The Redis serialization protocol, versions 2 and 3.
#include "Dissection/Protocols/Protocols.h"
#include "Dissection/Protocols/TextLines.h"

namespace netrondo::redis {
namespace {
constexpr NamedValue kinds[] = {
    {'+', "status"},     {'-', "error"},      {':', "integer"},         {'$', "bulk string"},
    {'*', "array"},      {'_', "null"},       {'#', "boolean"},         {',', "double"},
    {'(', "big number"}, {'!', "bulk error"}, {'=', "verbatim string"}, {'%', "map"},
    {'~', "set"},        {'>', "push"}};

constexpr Field element{"redis.element", "Element", Wire::number, kinds};
constexpr Field line{"redis.line", "Line", Wire::text};
constexpr Field text{"redis.text", "Text", Wire::text};
constexpr Field inlineCommand{"redis.inline", "Inline command", Wire::text};
constexpr Field data{"redis.data", "Data", Wire::bytes};

/// The number behind the kind, or -1.
std::int64_t sizeIn(std::string_view digits)
{
    std::int64_t size = 0;
    if (digits.size() < 2 || digits.size() > 10)
        return -1;
    for (const char c : digits.substr(1)) {
        if (c < '0' || c > '9')
            return -1;
        size = size * 10 + (c - '0');
    }
    return size;
}

void decode(Layer& redis)
{
    while (redis.more()) {
        const auto kind = redis.peek8();
        redis.beginMessage();
        if (nameIn(kinds, kind).empty()) {
            if (textLines::isText(redis.rest()))
                redis.readLine(inlineCommand);
            else
                redis.readRest(data);
            continue;
        }
        const Layer::Group group(redis, element, kind);
        const auto head = redis.readLine(line);
        const auto size = kind == '$' || kind == '!' || kind == '=' ? sizeIn(head) : -1;
        if (size >= 0) {
            redis.expect(static_cast<std::uint64_t>(size) + 2);
            redis.readText(text, static_cast<std::size_t>(size));
            redis.skip(2);
        }
    }
}

void describe(const LayerView& redis, TextSink& out)
{
    const auto first = redis[line];
    if (!first)
        return out("{}", redis[inlineCommand]);
    std::size_t count = 0;
    redis.each(text, [&](const Value& word) {
        if (++count <= 6)
            out("{}{}", count > 1 ? " " : "", word);
    });
    if (count > 6)
        out(" and {} more", count - 6);
    if (!count)
        out("{}", first);
}

Likeness guess(Bytes payload, Transport transport)
{
    if (transport != Transport::tcp || !asText(payload).starts_with('*'))
        return Likeness::none;
    const auto head = textLines::firstLine(payload);
    return head.size() >= 2 && sizeIn(head) > 0 && payload.size() > head.size() + 3 && payload[head.size() + 2] == '$'
        ? Likeness::certain
        : Likeness::none;
}

constexpr Claim claims[] = {tcpPort(6379)};
} // namespace

constexpr Protocol protocol{{"redis", "Redis", Wire::layer}, {}, claims, decode, describe, guess,
                            opensWith({Transport::tcp}, '*')};
static_assert(wellFormed(protocol));
} // namespace netrondo::redis
