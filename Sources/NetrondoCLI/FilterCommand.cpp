// `netrondo filter`: what a display filter compiles to, what could be meant by half of one, and which names there are.
#include "Dissection/Filter/DisplayFilter.h"
#include "Dissection/Filter/DisplayFilterCatalog.h"
#include "Dissection/Filter/DisplayFilterCompleter.h"
#include "FilterOption.h"
#include "Outcome.h"
#include "Subcommands.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <unistd.h>

namespace netrondo::cli {
namespace {

template <typename T> int print(const T& content)
{
    TextOutput out(STDOUT_FILENO);
    JsonWriter json(out);
    json.value(content);
    json.endLine();
    return finish(out);
}

int check(const std::string& text)
{
    const auto filter = DisplayFilter::compile(text);
    return filter ? Exit::done : fail(filter.error());
}

int tree(const std::string& text)
{
    const auto filter = DisplayFilter::compile(text);
    return filter ? print(*filter) : fail(filter.error());
}

/// The text that a part of the command takes. One that begins with "-" looks like an option, and is taken all the same,
/// with "--" before it or without.
void addText(CLI::App& app, const char* name, const char* description, const std::shared_ptr<std::string>& text)
{
    auto* option = app.add_option(name, *text, description)->type_name("");
    app.allow_extras();
    app.callback([&app, option, text] {
        auto extras = app.remaining();
        if (const auto mark = std::ranges::find(extras, "--"); mark != extras.end())
            extras.erase(mark);
        if (option->empty() && extras.empty())
            throw CLI::RequiredError(option->get_name());
        if (option->empty()) {
            *text = extras.front();
            extras.erase(extras.begin());
        }
        if (!extras.empty())
            throw CLI::ExtrasError(app.get_name(), extras);
    });
}

} // namespace

Action subcommand::filter(CLI::App& app)
{
    struct Wishes {
        std::shared_ptr<std::string> text = std::make_shared<std::string>();
        int limit = std::numeric_limits<int>::max();
    };
    auto wishes = std::make_shared<Wishes>();
    app.footer("\nA filter that does not compile gives its message on standard error and exit status 2.\n"
               "Examples:\n  netrondo filter check 'tcp.port == 443 and not arp'\n  netrondo filter complete tcp.fl");

    auto* check = app.add_subcommand("check", "Whether a display filter compiles");
    addText(*check, "EXPR", "The filter", wishes->text);
    auto* tree = app.add_subcommand("tree", "The compiled filter as JSON");
    addText(*tree, "EXPR", "The filter", wishes->text);
    auto* complete = app.add_subcommand("complete", "The names that could be meant at the end of a text, as JSON");
    addText(*complete, "TEXT", "The filter as far as it is typed", wishes->text);
    complete->add_option("--limit", wishes->limit, "At most so many names; all unless given")
        ->type_name("N")
        ->check(CLI::NonNegativeNumber);
    app.add_subcommand("fields", "All names of display filters, as JSON");
    app.require_subcommand(1);

    return [=] {
        if (check->parsed())
            return cli::check(*wishes->text);
        if (tree->parsed())
            return cli::tree(*wishes->text);
        if (complete->parsed())
            return print(DisplayFilterCompleter::suggestions(*wishes->text, wishes->limit));
        const auto all = DisplayFilterCatalog::fields();
        return print(std::vector(all.begin(), all.end()));
    };
}

} // namespace netrondo::cli
