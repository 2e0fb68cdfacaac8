// The grammar, from loosest to tightest: or, and (also between two terms side by side), not, a term or parentheses.
// The nesting lives in a vector rather than on the stack: filters come from scripts and pasted text too.
#include "Dissection/Filter/Parser.h"

#include <optional>

namespace netrondo {
namespace {

using FilterNode = DisplayFilter::Node;
using Error = DisplayFilter::CompileError;
using Kind = FilterToken::Kind;
using Index = std::uint32_t;

class Parser {
public:
    explicit Parser(std::span<const FilterToken> tokens) : tokens_(tokens) { levels_.emplace_back(); }

    Result<std::vector<FilterNode>, Error> run()
    {
        for (;;) {
            if (!opensOperand())
                return std::unexpected(Error::syntax("Invalid display filter"));
            NR_TRY(auto operand, term());
            NR_TRY(const bool isWhole, combine(operand));
            if (isWhole)
                return std::move(nodes_);
        }
    }

private:
    /// What has been read so far inside one pair of parentheses.
    struct Level {
        std::optional<Index> orLeft;
        std::optional<Index> andLeft;
        std::size_t nots = 0; ///< read and waiting for their operand
    };

    bool next(Kind kind) const { return at_ < tokens_.size() && tokens_[at_].kind == kind; }

    Index add(FilterNode node)
    {
        nodes_.push_back(node);
        return static_cast<Index>(nodes_.size() - 1);
    }

    /// Reads the "not"s and opening parentheses in front of a term; false when they nest too deep.
    bool opensOperand()
    {
        for (; next(Kind::not_) || next(Kind::lparen); ++at_) {
            if (++nesting_ > maxFilterNesting)
                return false;
            if (next(Kind::not_))
                ++levels_.back().nots;
            else
                levels_.emplace_back();
        }
        return true;
    }

    /// A name, alone or compared with a value.
    Result<Index, Error> term()
    {
        if (!next(Kind::ident))
            return std::unexpected(Error::syntax("Expected a field or protocol"));
        const auto field = tokens_[at_++].text;
        if (at_ == tokens_.size() || !tokens_[at_].isComparison())
            return add({.kind = FilterNode::Kind::present, .field = field, .value = {}});
        const auto op = static_cast<FilterOp>(static_cast<int>(tokens_[at_++].kind) - static_cast<int>(Kind::eq));
        if (at_ == tokens_.size() || !tokens_[at_].canBeValue())
            return std::unexpected(Error::syntax("Expected a value after " + std::string(field)));
        return add({.kind = FilterNode::Kind::compare, .op = op, .field = field, .value = tokens_[at_++].text});
    }

    /// Puts a finished operand where it belongs and reads on to where the next one starts; true at the end.
    Result<bool, Error> combine(Index operand)
    {
        for (;;) {
            auto& level = levels_.back();
            for (; level.nots > 0; --level.nots, --nesting_)
                operand = add({.kind = FilterNode::Kind::not_, .left = operand, .field = {}, .value = {}});
            level.andLeft = join(FilterNode::Kind::and_, level.andLeft, operand);
            if (next(Kind::and_)) {
                ++at_;
                return false;
            }
            if (next(Kind::ident) || next(Kind::not_) || next(Kind::lparen)) // side by side means "and"
                return false;
            level.orLeft = join(FilterNode::Kind::or_, level.orLeft, *level.andLeft);
            level.andLeft.reset();
            if (next(Kind::or_)) {
                ++at_;
                return false;
            }
            operand = *level.orLeft;
            if (levels_.size() == 1)
                break;
            if (!next(Kind::rparen))
                return std::unexpected(Error::syntax("Missing “)”"));
            ++at_;
            levels_.pop_back();
            --nesting_;
        }
        if (at_ < tokens_.size())
            return std::unexpected(Error::syntax("Unexpected extra tokens"));
        return true;
    }

    Index join(FilterNode::Kind kind, std::optional<Index> left, Index right)
    {
        return left ? add({.kind = kind, .left = *left, .right = right, .field = {}, .value = {}}) : right;
    }

    std::span<const FilterToken> tokens_;
    std::size_t at_ = 0;
    std::size_t nesting_ = 0;
    std::vector<Level> levels_;
    std::vector<FilterNode> nodes_;
};

} // namespace

Result<std::vector<FilterNode>, Error> parse(std::span<const FilterToken> tokens)
{
    return Parser(tokens).run();
}

} // namespace netrondo
