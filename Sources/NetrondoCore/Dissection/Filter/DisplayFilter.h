// A display filter: compiled once from the user's text, then asked of every frame.
#pragma once

#include "Base/Json.h"
#include "Base/Result.h"
#include "Dissection/Filter/FilterComparison.h"
#include "Dissection/Filter/Tokenizer.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace netrondo {

struct DecodedFrame;
class FilterProgram;

/// Immutable; copies share their content, and any thread may use them.
class DisplayFilter {
public:
    using Op = FilterOp;
    using Token = FilterToken;

    /// One node of the tree. The nodes lie in one vector, children before their parent and left before right, so that
    /// neither a chain of many thousand terms nor its destruction needs a stack.
    struct Node {
        /// The trailing underscores keep the three words of logic apart from C++'s own.
        enum class Kind : std::uint8_t { and_, or_, not_, present, compare };

        Kind kind;
        Op op = Op::eq;          ///< of `compare`
        std::uint32_t left = 0;  ///< of `and_`, `or_` and `not_`: the child's index
        std::uint32_t right = 0; ///< of `and_` and `or_`
        std::string_view field;  ///< of `present` and `compare`: the name as typed
        std::string_view value;  ///< of `compare`

        friend bool operator==(const Node&, const Node&) = default;
    };

    struct CompileError {
        enum class Kind : std::uint8_t { syntax, unknownField };

        Kind kind;
        std::string payload; ///< the message, or the unknown name as typed

        static CompileError syntax(std::string message) { return {Kind::syntax, std::move(message)}; }
        static CompileError unknownField(std::string_view name) { return {Kind::unknownField, std::string(name)}; }

        /// The sentence for the user.
        std::string description() const;

        friend bool operator==(const CompileError&, const CompileError&) = default;
    };

    static Result<DisplayFilter, CompileError> compile(std::string_view text);
    /// Like `compile`, but a blank text is no error: it is no filter, and shows every frame.
    static Result<std::optional<DisplayFilter>, CompileError> compileOptional(std::string_view text);

    /// Whether the frame is one of those the filter selects.
    bool matches(const DecodedFrame& frame) const;

    /// Whether it asks for findings, some of which only the frames before can tell.
    bool readsFindings() const;

    std::span<const Node> nodes() const;
    const Node& root() const { return nodes().back(); }
    const FilterProgram& program() const;

    /// The filter in a spelling of its own, which compiles to the same filter.
    std::string text() const;

    friend bool operator==(const DisplayFilter& a, const DisplayFilter& b)
    {
        return std::ranges::equal(a.nodes(), b.nodes());
    }

private:
    struct Content;

    explicit DisplayFilter(std::shared_ptr<const Content> content) : content_(std::move(content)) { }

    std::shared_ptr<const Content> content_;
};

/// The tree as JSON: {"and":[L,R]}, {"or":[L,R]}, {"not":N}, {"present":"tcp"},
/// {"compare":{"field":…,"op":…,"value":…}}.
void write(JsonWriter& json, const DisplayFilter& filter);

} // namespace netrondo
