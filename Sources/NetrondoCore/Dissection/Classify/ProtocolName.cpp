// The texts of protocol names, and the way back from a text.
#include "Dissection/Classify/ProtocolName.h"

#include <algorithm>
#include <array>
#include <utility>

namespace netrondo {
namespace {

constexpr std::string_view texts[] = {
#define NR_NAME(id, text) text,
#include "Dissection/Classify/ProtocolNames.def"
#undef NR_NAME
};
constexpr std::size_t textCount = std::size(texts);
static_assert(textCount == static_cast<std::size_t>(ProtocolName::firstIpProtocol));

constexpr std::string_view ipPrefix = "IP protocol ", ipv6Prefix = "IPv6 protocol ";

// "IP protocol 0" to "IPv6 protocol 255", spelt out by the compiler: a name is a view that never dies.
struct NumberedText {
    char characters[20] = {};
    std::uint8_t length = 0;
    constexpr void append(char c) { characters[length++] = c; }
};

constexpr auto numberedTexts = [] {
    std::array<NumberedText, 512> made;
    for (unsigned i = 0; i < made.size(); ++i) {
        for (const char c : i < 256 ? ipPrefix : ipv6Prefix)
            made[i].append(c);
        const unsigned number = i % 256;
        if (number >= 100)
            made[i].append(static_cast<char>('0' + number / 100));
        if (number >= 10)
            made[i].append(static_cast<char>('0' + number / 10 % 10));
        made[i].append(static_cast<char>('0' + number % 10));
    }
    return made;
}();

constexpr auto byText = [] {
    std::array<std::uint16_t, textCount> order{};
    for (std::size_t i = 0; i < textCount; ++i)
        order[i] = static_cast<std::uint16_t>(i);
    std::sort(order.begin(), order.end(), [](auto a, auto b) { return texts[a] < texts[b]; });
    return order;
}();
static_assert(std::adjacent_find(byText.begin(), byText.end(), [](auto a, auto b) { return texts[a] == texts[b]; })
                  == byText.end(),
              "two protocols have the same name");

} // namespace

std::string_view text(ProtocolName name)
{
    const auto index = static_cast<std::size_t>(name);
    if (index < textCount)
        return texts[index];
    const auto& numbered = numberedTexts[index - textCount];
    return {numbered.characters, numbered.length};
}

std::optional<ProtocolName> protocolName(std::string_view wanted)
{
    const auto at = std::lower_bound(byText.begin(), byText.end(), wanted,
                                     [](auto index, std::string_view other) { return texts[index] < other; });
    if (at != byText.end() && texts[*at] == wanted)
        return static_cast<ProtocolName>(*at);
    if (!wanted.starts_with(ipPrefix) && !wanted.starts_with(ipv6Prefix))
        return {};
    for (std::size_t i = 0; i < numberedTexts.size(); ++i)
        if (const auto name = static_cast<ProtocolName>(textCount + i); text(name) == wanted)
            return name;
    return {};
}

} // namespace netrondo
