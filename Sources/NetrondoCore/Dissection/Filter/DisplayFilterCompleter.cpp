// Which catalogue entries fit, and in which order they are offered.
#include "Dissection/Filter/DisplayFilterCompleter.h"

#include "Dissection/Filter/DisplayFilterCatalog.h"
#include "Dissection/Filter/FilterText.h"
#include "Dissection/Filter/Tokenizer.h"

#include <algorithm>
#include <tuple>

namespace netrondo {
namespace {

/// The trailing run of letters, digits, points and underscores: the name being typed.
std::string_view lastIdentifier(std::string_view text)
{
    const Characters characters(text);
    auto begin = characters.size();
    while (begin > 0
           && (characters.isLetter(begin - 1) || characters.isDigit(begin - 1) || characters.is(begin - 1, '.')
               || characters.is(begin - 1, '_')))
        --begin;
    return text.substr(characters.offset(begin));
}

} // namespace

std::vector<DisplayFilterSuggestion> DisplayFilterCompleter::suggestions(std::string_view text, int limit)
{
    if (limit <= 0 || isInValuePosition(text))
        return {};
    const auto typed = lowerCased(lastIdentifier(text));
    if (typed.empty())
        return {};
    const auto fits = [&](std::string_view name) { return name.starts_with(typed); };

    std::vector<const DisplayFilterField*> fields;
    for (const auto& field : DisplayFilterCatalog::fields())
        if (fits(field.name) || std::ranges::any_of(field.aliases, fits))
            fields.push_back(&field);
    std::ranges::stable_sort(fields, {}, [&](const DisplayFilterField* field) {
        return std::tuple(!fits(field->name), field->name.size(), field->name);
    });

    std::vector<DisplayFilterSuggestion> suggestions;
    for (const auto* field : fields) {
        if (suggestions.size() == static_cast<std::size_t>(limit))
            break;
        suggestions.push_back({field->name, field->name, field->summary});
    }
    return suggestions;
}

bool DisplayFilterCompleter::isInValuePosition(std::string_view text)
{
    const auto tokens = tokenize(text);
    if (tokens.empty())
        return false;
    const auto& last = tokens.back();
    if (last.isComparison() || last.isOpen)
        return true;
    const bool isBeingTyped = last.canBeValue() && last.end == text.size();
    return isBeingTyped && tokens.size() > 1 && tokens[tokens.size() - 2].isComparison();
}

std::string DisplayFilterCompleter::applying(const DisplayFilterSuggestion& suggestion, std::string_view text)
{
    return std::string(text.substr(0, text.size() - lastIdentifier(text).size())).append(suggestion.insertText);
}

void write(JsonWriter& json, const DisplayFilterSuggestion& suggestion)
{
    json.beginObject();
    json.field("insertText", suggestion.insertText);
    json.field("title", suggestion.title);
    json.field("subtitle", suggestion.subtitle);
    json.endObject();
}

} // namespace netrondo
