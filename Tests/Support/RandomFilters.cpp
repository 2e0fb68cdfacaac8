#include "Support/RandomFilters.h"

#include "Support/PlainFilter.h"

namespace netrondo::test {
namespace {

constexpr std::string_view ops[] = {"==", "!=", ">", "<", ">=", "<=", "contains"};
constexpr std::string_view oddValues[] = {"0",    "1",  "yes",      "no", "true", "FALSE", "80",       "443",
                                          "0x10", "-1", "10.0.0.1", "é",  "",     "inf",   "12 bytes", "a"};

} // namespace

void RandomFilters::learn(const DecodedFrame& frame)
{
    const auto fields = DisplayFilterCatalog::fields();
    values_.resize(fields.size());
    for (std::size_t i = 0; i < fields.size(); ++i)
        for (auto& value : plainValues(fields[i], frame))
            if (values_[i].size() < 40)
                values_[i].push_back(std::move(value));
}

DisplayFilter RandomFilters::next()
{
    return DisplayFilter::compile(expression(3)).value();
}

std::string RandomFilters::expression(int depth)
{
    if (depth == 0 || upTo(3) == 0)
        return term();
    switch (upTo(4)) {
    case 0: return "not (" + expression(depth - 1) + ")";
    case 1: return "(" + expression(depth - 1) + ") or " + expression(depth - 1);
    case 2: return "(" + expression(depth - 1) + ") and (" + expression(depth - 1) + ")";
    default: return term() + " " + term();
    }
}

std::string RandomFilters::term()
{
    const auto fields = DisplayFilterCatalog::fields();
    auto field = upTo(fields.size());
    if (values_.size() == fields.size() && values_[field].empty()) // most names are absent from most captures
        field = upTo(fields.size());
    std::string name(fields[field].name);
    if (upTo(4) == 0)
        return name;
    auto target = value(field);
    const char quote = target.find('"') == target.npos ? '"' : '\'';
    std::erase(target, quote);
    return name + " " + std::string(ops[upTo(std::size(ops))]) + " " + quote + target + quote;
}

std::string RandomFilters::value(std::size_t field)
{
    if (upTo(4) == 0 || field >= values_.size() || values_[field].empty())
        return std::string(oddValues[upTo(std::size(oddValues))]);
    auto value = values_[field][upTo(values_[field].size())];
    if (upTo(3) == 0 && value.size() < 200) // a piece of it, on whole characters
        value = std::string(validUtf8(value.substr(upTo(value.size()), upTo(value.size()) + 1)));
    return value;
}

} // namespace netrondo::test
