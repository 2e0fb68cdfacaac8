// The order of the tests, and a test put to a decoded frame.
#include "Dissection/Filter/FilterProgram.h"

#include "Dissection/Filter/FrameValues.h"

namespace netrondo {
namespace {

using FilterNode = DisplayFilter::Node;

/// Where a node's answer leads.
struct Exits {
    std::uint32_t ifTrue, ifFalse;
};

bool holds(const FilterTest& test, const DecodedFrame& frame, TextSink& scratch)
{
    if (!test.comparison)
        return anyValue(*test.field, frame, scratch, [](auto) { return true; });
    bool hasValue = false;
    const bool found = anyValue(*test.field, frame, scratch, [&](auto value) {
        hasValue = true;
        return test.comparison->holdsFor(value);
    });
    return found || (!hasValue && test.comparison->op() == FilterOp::ne);
}

} // namespace

FilterProgram::FilterProgram(std::span<const FilterNode> nodes)
{
    // Children stand before their parents and left before right: going backwards, a node's exits are known when it is
    // met, and a right side's first test is the one behind all tests of the left side.
    std::vector<std::uint32_t> testsUpTo(nodes.size());
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        const auto& node = nodes[i];
        if (node.kind == FilterNode::Kind::present || node.kind == FilterNode::Kind::compare) {
            const auto* field = DisplayFilterCatalog::field(node.field);
            auto& test = tests_.emplace_back(FilterTest{field, GlanceField(*field), {}});
            if (node.kind == FilterNode::Kind::compare)
                test.comparison.emplace(node.op, node.value);
        }
        testsUpTo[i] = static_cast<std::uint32_t>(tests_.size());
    }
    std::vector<Exits> exits(nodes.size());
    exits.back() = {accept, reject};
    for (auto i = nodes.size(); i-- > 0;) {
        const auto& node = nodes[i];
        const auto [ifTrue, ifFalse] = exits[i];
        switch (node.kind) {
        case FilterNode::Kind::and_:
            exits[node.right] = exits[i];
            exits[node.left] = {testsUpTo[node.left], ifFalse};
            break;
        case FilterNode::Kind::or_:
            exits[node.right] = exits[i];
            exits[node.left] = {ifTrue, testsUpTo[node.left]};
            break;
        case FilterNode::Kind::not_: exits[node.left] = {ifFalse, ifTrue}; break;
        case FilterNode::Kind::present:
        case FilterNode::Kind::compare:
            tests_[testsUpTo[i] - 1].ifTrue = ifTrue;
            tests_[testsUpTo[i] - 1].ifFalse = ifFalse;
            break;
        }
    }
}

bool FilterProgram::matches(const DecodedFrame& frame) const
{
    thread_local TextSink scratch; // kept, so that a frame's values take no memory
    return run([&](const FilterTest& test) { return std::optional(holds(test, frame, scratch)); }).value();
}

} // namespace netrondo
