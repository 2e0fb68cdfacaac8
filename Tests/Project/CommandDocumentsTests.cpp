// The man page and the shell completions know every subcommand and every option that the command's own help knows.
#include "Support/Command.h"

#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <regex>
#include <set>
#include <sstream>

namespace netrondo::test {
namespace {

using testing::HasSubstr;

std::string textOf(const std::string& name)
{
    std::ostringstream text;
    text << std::ifstream(NETRONDO_SOURCE_DIR "/" + name).rdbuf();
    EXPECT_NE(text.str(), "") << name;
    return text.str();
}

/// The man page without the backslashes that troff wants.
std::string manPage()
{
    auto text = textOf("man/netrondo.1");
    std::erase(text, '\\');
    return text;
}

std::set<std::string> optionsIn(const std::string& help)
{
    static const std::regex option("--([a-z0-9-]+)");
    std::set<std::string> found;
    for (std::sregex_iterator match(help.begin(), help.end(), option), end; match != end; ++match)
        found.insert((*match)[1]);
    return found;
}

/// Fish writes `-l json`, the others `--json`.
bool knowsOption(const std::string& document, const std::string& option)
{
    const std::regex written("(--| -l )" + option + "($|[^a-z0-9-])", std::regex::multiline);
    return std::regex_search(document, written);
}

class CommandDocument : public testing::TestWithParam<const char*> { };

TEST_P(CommandDocument, NamesEverySubcommandAndOption)
{
    const auto document = std::string_view(GetParam()) == "man/netrondo.1" ? manPage() : textOf(GetParam());
    auto help = netrondo({"--help"}).output;
#define NR_SUBCOMMAND(name, summary)                                                                                   \
    EXPECT_THAT(document, HasSubstr(#name)) << GetParam();                                                             \
    help += netrondo({#name, "--help"}).output;
#include "NetrondoCLI/Subcommands.def"
#undef NR_SUBCOMMAND
    const auto options = optionsIn(help);
    EXPECT_TRUE(options.contains("json")) << help;
    for (const auto& option : options)
        EXPECT_TRUE(knowsOption(document, option)) << GetParam() << " does not know --" << option;
}

INSTANTIATE_TEST_SUITE_P(All, CommandDocument,
                         testing::Values("man/netrondo.1", "completions/netrondo.bash", "completions/_netrondo",
                                         "completions/netrondo.fish"),
                         [](const auto& row) {
                             std::string name = row.param;
                             for (auto& c : name)
                                 if (!std::isalnum(static_cast<unsigned char>(c)))
                                     c = '_';
                             return name;
                         });

TEST(ManPage, IsOfThisVersion)
{
    EXPECT_THAT(manPage(), HasSubstr("netrondo " NETRONDO_VERSION));
}

TEST(Changelog, KnowsThisVersion)
{
    EXPECT_THAT(textOf("CHANGELOG.md"), HasSubstr("## " NETRONDO_VERSION));
}

} // namespace
} // namespace netrondo::test
