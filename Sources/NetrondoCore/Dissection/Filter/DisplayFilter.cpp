// Compiling a filter, and writing one out again.
#include "Dissection/Filter/DisplayFilter.h"

#include "Dissection/Filter/DisplayFilterCatalog.h"
#include "Dissection/Filter/FilterProgram.h"
#include "Dissection/Filter/Parser.h"

#include <algorithm>
#include <limits>

namespace netrondo {
namespace {

using FilterNode = DisplayFilter::Node;
using Error = DisplayFilter::CompileError;

bool isJunction(const FilterNode& node)
{
    return node.kind == FilterNode::Kind::and_ || node.kind == FilterNode::Kind::or_;
}

bool isTerm(const FilterNode& node)
{
    return node.kind == FilterNode::Kind::present || node.kind == FilterNode::Kind::compare;
}

Error emptyFilter()
{
    return Error::syntax("Empty filter");
}

std::string_view sign(FilterOp op)
{
    static constexpr std::string_view signs[] = {"==", "!=", ">", "<", ">=", "<=", "contains"};
    return signs[static_cast<std::size_t>(op)];
}

/// Writes a filter's text. What is still to be written waits on a stack of its own.
class Printer {
public:
    explicit Printer(std::span<const FilterNode> nodes) : nodes_(nodes) { }

    std::string run()
    {
        pending_.push_back({static_cast<std::uint32_t>(nodes_.size() - 1), {}});
        while (!pending_.empty()) {
            const auto [index, text] = pending_.back();
            pending_.pop_back();
            if (text.empty())
                print(nodes_[index]);
            else
                out_ += text;
        }
        return std::move(out_);
    }

private:
    struct Pending {
        std::uint32_t node;
        std::string_view text; ///< written instead of the node when not empty
    };

    void print(const FilterNode& node)
    {
        switch (node.kind) {
        case FilterNode::Kind::present: out_ += node.field; break;
        case FilterNode::Kind::compare: {
            // A value holds one kind of quote at most: it was typed within the other one, or without any.
            const char quote = node.value.find('"') == node.value.npos ? '"' : '\'';
            ((((out_ += node.field) += ' ') += sign(node.op)) += ' ') += quote;
            (out_ += node.value) += quote;
            break;
        }
        case FilterNode::Kind::not_:
            out_ += "not ";
            push(node.left, isJunction(nodes_[node.left]));
            break;
        case FilterNode::Kind::and_:
            push(node.right, isJunction(nodes_[node.right]));
            pending_.push_back({0, " and "});
            push(node.left, nodes_[node.left].kind == FilterNode::Kind::or_);
            break;
        case FilterNode::Kind::or_:
            push(node.right, nodes_[node.right].kind == FilterNode::Kind::or_);
            pending_.push_back({0, " or "});
            push(node.left, false);
            break;
        }
    }

    void push(std::uint32_t node, bool inParentheses)
    {
        if (inParentheses)
            pending_.push_back({0, ")"});
        pending_.push_back({node, {}});
        if (inParentheses)
            pending_.push_back({0, "("});
    }

    std::span<const FilterNode> nodes_;
    std::vector<Pending> pending_;
    std::string out_;
};

void writeTerm(JsonWriter& json, const FilterNode& node)
{
    json.beginObject();
    if (node.kind == FilterNode::Kind::present) {
        json.field("present", node.field);
    } else {
        json.key("compare");
        json.beginObject();
        json.field("field", node.field);
        json.field("op", caseName(node.op));
        json.field("value", node.value);
        json.endObject();
    }
    json.endObject();
}

} // namespace

struct DisplayFilter::Content {
    std::string text; ///< what the nodes' names and values point into
    std::vector<FilterNode> nodes;
    FilterProgram program;
};

std::string Error::description() const
{
    return kind == Kind::syntax ? payload
                                : "Unknown field “" + payload + "” — not in Netrondo’s display-filter catalog";
}

Result<DisplayFilter, Error> DisplayFilter::compile(std::string_view text)
{
    // A tree's indices are 32-bit numbers, and ICU's lengths are signed ones.
    if (text.size() > std::numeric_limits<std::int32_t>::max())
        return std::unexpected(Error::syntax("Invalid display filter"));
    auto content = std::make_shared<Content>();
    content->text = validUtf8(trimmed(text));
    if (content->text.empty())
        return std::unexpected(emptyFilter());
    NR_TRY(content->nodes, parse(tokenize(content->text)));
    for (const auto& node : content->nodes)
        if (isTerm(node) && !DisplayFilterCatalog::isKnown(node.field))
            return std::unexpected(Error::unknownField(node.field));
    content->program = FilterProgram(content->nodes);
    return DisplayFilter(std::move(content));
}

Result<std::optional<DisplayFilter>, Error> DisplayFilter::compileOptional(std::string_view text)
{
    auto filter = compile(text);
    if (filter)
        return std::move(*filter);
    if (filter.error() == emptyFilter())
        return std::nullopt;
    return std::unexpected(std::move(filter).error());
}

bool DisplayFilter::matches(const DecodedFrame& frame) const
{
    return content_->program.matches(frame);
}

std::span<const FilterNode> DisplayFilter::nodes() const
{
    return content_->nodes;
}

bool DisplayFilter::readsFindings() const
{
    using Kind = DisplayFilterExtractor::Kind;
    return std::ranges::any_of(program().tests(), [](const FilterTest& test) {
        return test.field->extractor.kind == Kind::expert || test.field->extractor.kind == Kind::experts;
    });
}

const FilterProgram& DisplayFilter::program() const
{
    return content_->program;
}

std::string DisplayFilter::text() const
{
    return Printer(nodes()).run();
}

void write(JsonWriter& json, const DisplayFilter& filter)
{
    const auto nodes = filter.nodes();
    enum class Step : std::uint8_t { node, endNot, endJunction };
    std::vector<std::pair<Step, std::uint32_t>> steps = {{Step::node, static_cast<std::uint32_t>(nodes.size() - 1)}};
    while (!steps.empty()) {
        const auto [step, index] = steps.back();
        steps.pop_back();
        if (step != Step::node) {
            if (step == Step::endJunction)
                json.endArray();
            json.endObject();
            continue;
        }
        const auto& node = nodes[index];
        if (isTerm(node)) {
            writeTerm(json, node);
            continue;
        }
        json.beginObject();
        if (node.kind == FilterNode::Kind::not_) {
            json.key("not");
            steps.emplace_back(Step::endNot, 0);
        } else {
            json.key(node.kind == FilterNode::Kind::and_ ? JsonKey("and") : JsonKey("or"));
            json.beginArray();
            steps.emplace_back(Step::endJunction, 0);
            steps.emplace_back(Step::node, node.right);
        }
        steps.emplace_back(Step::node, node.left);
    }
}

} // namespace netrondo
