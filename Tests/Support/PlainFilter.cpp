#include "Support/PlainFilter.h"

#include "Dissection/Decode/Render.h"

#include <algorithm>
#include <array>

namespace netrondo::test {
namespace {

using Kind = DisplayFilterExtractor::Kind;
using FilterNode = DisplayFilter::Node;

struct TreeValue {
    std::string id, value;
};

/// The decode tree as its nodes' ids and texts, names as children of their numbers, the way a script sees it in JSON.
std::vector<TreeValue> treeOf(const DecodedFrame& frame)
{
    std::vector<TreeValue> all;
    for (const auto& node : frame.tree.nodes()) {
        const std::string id(node.field->id);
        TextSink value, name;
        Render::value(frame.tree, node, value);
        all.push_back({id, std::string(value.text())});
        if (Render::name(frame.tree, node, name))
            all.push_back({id + ".name", std::string(name.text())});
    }
    return all;
}

std::string addressText(const Address& address)
{
    return address ? address.text() : "";
}

std::vector<std::string> flagValues(std::string_view word, const DecodedFrame& frame)
{
    std::vector<std::string> values;
    for (const auto& node : frame.tree.nodes()) {
        if (node.field->id != "tcp.flags")
            continue;
        TextSink names;
        Render::name(frame.tree, node, names);
        values.emplace_back(names.text().find(word) != std::string_view::npos ? "true" : "false");
    }
    return values;
}

bool isOneOf(std::string word, const std::array<std::string_view, 3>& words)
{
    word = lowerCased(word);
    return std::ranges::find(words, word) != words.end();
}

bool plainEquals(std::string_view a, std::string_view b)
{
    if (folded(a) == folded(b))
        return true;
    const auto first = leadingNumber(a), second = leadingNumber(b);
    if (first && second && *first == *second)
        return true;
    constexpr std::array<std::string_view, 3> yes = {"1", "true", "yes"}, no = {"0", "false", "no"};
    if (isOneOf(std::string(a), yes))
        return isOneOf(std::string(b), yes);
    if (isOneOf(std::string(a), no))
        return isOneOf(std::string(b), no);
    return false;
}

template <typename T> bool ordered(T difference, FilterOp op)
{
    switch (op) {
    case FilterOp::gt: return difference > 0;
    case FilterOp::lt: return difference < 0;
    case FilterOp::ge: return difference >= 0;
    default: return difference <= 0;
    }
}

bool matchesAt(std::uint32_t index, const DisplayFilter& filter, const DecodedFrame& frame)
{
    const auto& node = filter.nodes()[index];
    switch (node.kind) {
    case FilterNode::Kind::and_: return matchesAt(node.left, filter, frame) && matchesAt(node.right, filter, frame);
    case FilterNode::Kind::or_: return matchesAt(node.left, filter, frame) || matchesAt(node.right, filter, frame);
    case FilterNode::Kind::not_: return !matchesAt(node.left, filter, frame);
    case FilterNode::Kind::present: {
        const auto& field = *DisplayFilterCatalog::field(node.field);
        const auto values = plainValues(field, frame);
        return field.extractor.kind == Kind::proto
            ? !values.empty()
            : std::ranges::any_of(values, [](const auto& value) { return !value.empty(); });
    }
    case FilterNode::Kind::compare: break;
    }
    const auto values = plainValues(*DisplayFilterCatalog::field(node.field), frame);
    if (values.empty())
        return node.op == FilterOp::ne;
    return std::ranges::any_of(values, [&](const auto& value) { return plainHolds(value, node.op, node.value); });
}

} // namespace

std::vector<std::string> plainValues(const DisplayFilterField& field, const DecodedFrame& frame)
{
    std::vector<std::string> values;
    const auto add = [&](std::string value) {
        if (!value.empty())
            values.push_back(std::move(value));
    };
    const auto& summary = frame.summary;
    const auto& payload = field.extractor.payload;
    const bool isTransport = !payload.empty() && transportKey(summary.transport) == payload.front();
    switch (field.extractor.kind) {
    case Kind::proto:
        for (const auto& layer : frame.tree.layers())
            if (layer.protocol->field.id == payload.front())
                add("true");
        break;
    case Kind::tree:
    case Kind::trees: {
        const auto tree = treeOf(frame);
        for (const auto id : payload)
            for (const auto& node : tree)
                if (node.id == id || node.id.starts_with(std::string(id) + "."))
                    add(node.value.empty() ? "true" : node.value);
        break;
    }
    case Kind::summarySrcPort:
    case Kind::summaryDstPort:
    case Kind::summaryEitherPort:
        if (isTransport && field.extractor.kind != Kind::summaryDstPort)
            add(std::to_string(summary.sourcePort));
        if (isTransport && field.extractor.kind != Kind::summarySrcPort)
            add(std::to_string(summary.destinationPort));
        break;
    case Kind::flagsContains: values = flagValues(payload.front(), frame); break;
    case Kind::expert:
    case Kind::experts:
        for (const auto& node : frame.tree.nodes())
            if (std::ranges::find(payload, expertId(node.expert)) != payload.end())
                add("true");
        break;
    case Kind::summarySource: add(addressText(summary.source)); break;
    case Kind::summaryDest: add(addressText(summary.destination)); break;
    case Kind::summaryEitherHost:
        add(addressText(summary.source));
        add(addressText(summary.destination));
        break;
    case Kind::summaryLength: add(std::to_string(summary.length)); break;
    case Kind::summaryTime: {
        TextSink time;
        Render::time(summary.nanoseconds, time);
        add(std::string(time.text()));
        break;
    }
    case Kind::summaryNumber: add(std::to_string(summary.number)); break;
    }
    return values;
}

bool plainHolds(std::string_view value, FilterOp op, std::string_view target)
{
    if (op == FilterOp::eq || op == FilterOp::ne)
        return plainEquals(value, target) == (op == FilterOp::eq);
    if (op == FilterOp::contains)
        return TextOrder::ofUser().containsByCollator(value, target);
    const auto first = leadingNumber(value), second = leadingNumber(target);
    if (!first || !second)
        return ordered(TextOrder::ofUser().compareByCollator(value, target), op);
    return *first == *first && *second == *second && ordered(*first < *second ? -1 : *first > *second, op);
}

bool plainMatches(const DisplayFilter& filter, const DecodedFrame& frame)
{
    return matchesAt(static_cast<std::uint32_t>(filter.nodes().size() - 1), filter, frame);
}

} // namespace netrondo::test
