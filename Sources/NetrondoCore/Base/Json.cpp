// The rare half of writing JSON: text that needs escaping, and numbers that JSON has no word for.
#include "Base/Json.h"

#include "Base/Utf8.h"

#include <cmath>

namespace netrondo {

void JsonWriter::value(double number)
{
    if (!std::isfinite(number))
        return null();
    putScalar([&](char* at) { return rapidjson::internal::dtoa(number, at); });
}

void JsonWriter::putEscaped(std::string_view text)
{
    auto& out = stream_.out;
    out.put('"');
    for (std::size_t at = 0; at < text.size();) {
        const auto byte = static_cast<std::uint8_t>(text[at]);
        if (byte == '"' || byte == '\\') {
            out.put('\\');
            out.put(text[at++]);
        } else if (byte < ' ') {
            constexpr char shorts[] = "\b\t\n\f\r", letters[] = "btnfr";
            if (const auto* found = std::find(shorts, shorts + 5, text[at]); found != shorts + 5)
                out.print("\\{}", letters[found - shorts]);
            else
                out.print("\\u{:04x}", byte);
            ++at;
        } else {
            const auto character = utf8At(text.substr(at));
            out.put(character.valid ? text.substr(at, character.length) : std::string_view("\uFFFD"));
            at += character.length;
        }
    }
    out.put('"');
}

} // namespace netrondo
