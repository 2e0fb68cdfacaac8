#include "Support/FilterTree.h"

#include "Dissection/Filter/DisplayFilter.h"

#include <fmt/format.h>
#include <vector>

namespace netrondo::test {

std::string treeOf(std::string_view text)
{
    const auto filter = DisplayFilter::compile(text);
    if (!filter)
        return "error: " + filter.error().description();
    using Kind = DisplayFilter::Node::Kind;
    std::vector<std::string> made; // a node's text is made from its children's, which stand before it
    for (const auto& node : filter->nodes()) {
        const std::string field(node.field), value(node.value);
        switch (node.kind) {
        case Kind::present: made.push_back(field); break;
        case Kind::compare: made.push_back(fmt::format("{} {} \"{}\"", field, caseName(node.op), value)); break;
        case Kind::not_: made.push_back("not(" + made.at(node.left) + ")"); break;
        case Kind::and_: made.push_back("and(" + made.at(node.left) + ", " + made.at(node.right) + ")"); break;
        case Kind::or_: made.push_back("or(" + made.at(node.left) + ", " + made.at(node.right) + ")"); break;
        }
    }
    return made.back();
}

} // namespace netrondo::test
