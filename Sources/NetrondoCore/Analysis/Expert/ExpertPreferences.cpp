// The table of thresholds, and preferences from and to JSON.
#include "Analysis/Expert/ExpertPreferences.h"

#include "Base/Json.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fmt/format.h>
#include <fstream>
#include <rapidjson/document.h>
#include <rapidjson/error/en.h>

namespace netrondo {
namespace {

using Error = ExpertPreferencesError;
using Kind = Error::Kind;

constexpr ExpertThreshold thresholds[] = {
#define NR_THRESHOLD(key, normal, least, most, finding, unit, meaning)                                                 \
    {#key, &ExpertPreferences::key, normal, least, most, Finding::finding, unit, meaning},
#include "Analysis/Expert/ExpertThresholds.def"
#undef NR_THRESHOLD
};

std::string_view textOf(const rapidjson::Value& value)
{
    return {value.GetString(), value.GetStringLength()};
}

std::string kindInWords(const rapidjson::Value& value)
{
    constexpr std::string_view names[] = {"null", "false", "true", "an object", "a list", "a text", "a number"};
    return std::string(names[value.GetType()]);
}

Result<Address, Error> address(const rapidjson::Value& value, const std::string& key)
{
    if (!value.IsString())
        return std::unexpected(Error{Kind::wrongType, key, "an address is wanted, not " + kindInWords(value)});
    const auto parsed = Address::parse(textOf(value));
    if (!parsed)
        return std::unexpected(Error{Kind::wrongType, key, fmt::format("“{}” is no IP or MAC address", textOf(value))});
    return *parsed;
}

Result<ExpertMute, Error> mute(const rapidjson::Value& value, const std::string& key)
{
    if (!value.IsObject())
        return std::unexpected(Error{Kind::wrongType, key, "an object is wanted, not " + kindInWords(value)});
    ExpertMute mute;
    for (const auto& [memberName, content] : value.GetObject()) {
        const auto name = textOf(memberName);
        const auto place = fmt::format("{}.{}", key, name);
        if (name == "finding") {
            mute.finding = content.IsString() ? findingOf(textOf(content)) : Finding::none;
            if (mute.finding == Finding::none)
                return std::unexpected(Error{Kind::wrongType, place, "the id of a finding is wanted"});
        } else if (name == "host") {
            NR_TRY(mute.host, address(content, place));
        } else if (name == "peer") {
            NR_TRY(mute.peer, address(content, place));
        } else if (name == "reason") {
            if (!content.IsString())
                return std::unexpected(Error{Kind::wrongType, place, "a text is wanted, not " + kindInWords(content)});
            mute.reason = textOf(content);
        } else {
            return std::unexpected(Error{Kind::unknownKey, place, {}});
        }
    }
    if (mute.finding == Finding::none && !mute.host)
        return std::unexpected(Error{Kind::wrongType, key, "a finding or a host is wanted"});
    return mute;
}

} // namespace

std::span<const ExpertThreshold> expertThresholds()
{
    return thresholds;
}

std::string ExpertPreferencesError::description() const
{
    switch (kind) {
    case Kind::unreadable: return fmt::format("The expert preferences {} cannot be read: {}.", key, detail);
    case Kind::notJson: return fmt::format("The expert preferences are not JSON: {}.", detail);
    case Kind::unknownKey: return fmt::format("The expert preferences have no key “{}”.", key);
    case Kind::wrongType: return fmt::format("The expert preference “{}” cannot be used: {}.", key, detail);
    case Kind::outOfRange:
        return fmt::format("The expert preference “{}” is {}, but must lie between {} and {}.", key, detail, least,
                           most);
    }
    return {};
}

Result<ExpertPreferences, Error> parseExpertPreferences(std::string_view json)
{
    rapidjson::Document document;
    document.Parse<rapidjson::kParseIterativeFlag>(json.data(), json.size());
    if (document.HasParseError())
        return std::unexpected(Error{Kind::notJson,
                                     {},
                                     fmt::format("{} At byte {}", rapidjson::GetParseError_En(document.GetParseError()),
                                                 document.GetErrorOffset())});
    if (!document.IsObject())
        return std::unexpected(Error{Kind::notJson, {}, "an object is wanted, not " + kindInWords(document)});
    ExpertPreferences preferences;
    for (const auto& [name, content] : document.GetObject()) {
        const auto key = textOf(name);
        if (key == "mutes") {
            if (!content.IsArray())
                return std::unexpected(
                    Error{Kind::wrongType, "mutes", "a list is wanted, not " + kindInWords(content)});
            for (const auto& element : content.GetArray()) {
                NR_TRY(auto made, mute(element, fmt::format("mutes[{}]", preferences.mutes.size())));
                preferences.mutes.push_back(std::move(made));
            }
            continue;
        }
        const auto row = std::find_if(std::begin(thresholds), std::end(thresholds),
                                      [&](const auto& threshold) { return threshold.key == key; });
        if (row == std::end(thresholds))
            return std::unexpected(Error{Kind::unknownKey, std::string(key), {}});
        if (!content.IsNumber())
            return std::unexpected(
                Error{Kind::wrongType, std::string(key), "a number is wanted, not " + kindInWords(content)});
        const auto value = content.GetDouble();
        if (!(value >= row->least && value <= row->most))
            return std::unexpected(
                Error{Kind::outOfRange, std::string(key), fmt::format("{}", value), row->least, row->most});
        preferences.*row->value = value;
    }
    return preferences;
}

Result<ExpertPreferences, Error> loadExpertPreferences(const std::string& path)
{
    constexpr std::size_t mostBytes = 1 << 20;
    errno = 0;
    std::ifstream file(path, std::ios::binary);
    std::string text(mostBytes + 1, '\0');
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    if (!file.is_open() || file.bad())
        return std::unexpected(Error{Kind::unreadable, path, std::strerror(errno ? errno : EIO)});
    text.resize(static_cast<std::size_t>(file.gcount()));
    if (text.size() > mostBytes)
        return std::unexpected(Error{Kind::unreadable, path, "it is larger than a megabyte"});
    return parseExpertPreferences(text);
}

std::string textOf(const ExpertPreferences& preferences)
{
    std::string text;
    TextOutput out(text);
    JsonWriter json(out);
    write(json, preferences);
    json.endLine();
    out.flush();
    return text;
}

void write(JsonWriter& json, const ExpertPreferences& preferences)
{
    json.beginObject();
    for (const auto& threshold : thresholds)
        json.field(threshold.key, preferences.*threshold.value);
    json.key("mutes");
    json.beginArray();
    for (const auto& mute : preferences.mutes) {
        json.beginObject();
        if (mute.finding != Finding::none)
            json.field("finding", kindOf(mute.finding).id);
        if (mute.host)
            json.field("host", mute.host.text());
        if (mute.peer)
            json.field("peer", mute.peer.text());
        json.field("reason", mute.reason);
        json.endObject();
    }
    json.endArray();
    json.endObject();
}

} // namespace netrondo
