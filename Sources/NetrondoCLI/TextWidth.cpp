// Widths by the Unicode character database: the East Asian widths and the general categories.
#include "TextWidth.h"

#include "Base/Utf8.h"

#include <unicode/uchar.h>

namespace netrondo::cli {
namespace {

bool isControl(const Utf8Character& character)
{
    // Format characters include those that turn the writing direction round: they, too, could disguise a name.
    const auto type = u_charType(static_cast<UChar32>(character.value));
    return !character.valid || type == U_CONTROL_CHAR || type == U_FORMAT_CHAR;
}

std::size_t columns(const Utf8Character& character)
{
    if (!character.valid)
        return 1;
    const auto value = static_cast<UChar32>(character.value);
    const auto type = u_charType(value);
    if (type == U_NON_SPACING_MARK || type == U_ENCLOSING_MARK || isControl(character))
        return 0;
    const auto width = u_getIntPropertyValue(value, UCHAR_EAST_ASIAN_WIDTH);
    return width == U_EA_FULLWIDTH || width == U_EA_WIDE ? 2 : 1;
}

} // namespace

std::size_t textWidth(std::string_view text)
{
    std::size_t width = 0;
    while (!text.empty()) {
        const auto character = utf8At(text);
        width += columns(character);
        text.remove_prefix(character.length);
    }
    return width;
}

std::string fitted(std::string_view text, std::size_t width)
{
    if (textWidth(text) <= width)
        return std::string(text);
    if (width == 0)
        return {};
    std::string cut;
    std::size_t used = 1; // the ellipsis
    while (!text.empty()) {
        const auto character = utf8At(text);
        used += columns(character);
        if (used > width)
            break;
        cut += text.substr(0, character.length);
        text.remove_prefix(character.length);
    }
    return cut + "…";
}

std::string printable(std::string_view text)
{
    std::string shown;
    while (!text.empty()) {
        const auto character = utf8At(text);
        shown += isControl(character) ? "\xEF\xBF\xBD" : text.substr(0, character.length); // U+FFFD
        text.remove_prefix(character.length);
    }
    return shown;
}

} // namespace netrondo::cli
