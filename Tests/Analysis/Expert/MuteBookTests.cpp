// Mutes: offered, added, taken away, and taken back.
#include "Analysis/Expert/MuteBook.h"

#include "Support/FindingLists.h"

#include <gtest/gtest.h>

namespace netrondo::test {
namespace {

std::vector<std::string> subjects(const std::vector<ExpertMute>& mutes)
{
    std::vector<std::string> texts;
    for (const auto& mute : mutes)
        texts.push_back(subjectOf(mute));
    return texts;
}

const Address a = *Address::parse("10.0.0.1"), b = *Address::parse("10.0.0.2");

} // namespace

TEST(Mutes, AreOfferedFromTheNarrowestToTheWidest)
{
    EXPECT_EQ(
        subjects(mutesFor(finding("tcp.rst note 10.0.0.1 10.0.0.2"))),
        (std::vector<std::string>{"tcp.rst between 10.0.0.1 and 10.0.0.2", "everything between 10.0.0.1 and 10.0.0.2",
                                  "everything about 10.0.0.1", "everything about 10.0.0.2", "tcp.rst everywhere"}));
    EXPECT_EQ(subjects(mutesFor(finding("tcp.rst note - 10.0.0.2"))),
              (std::vector<std::string>{"tcp.rst about 10.0.0.2", "everything about 10.0.0.2", "tcp.rst everywhere"}));
    EXPECT_EQ(subjects(mutesFor(finding("cap.time note"))), (std::vector<std::string>{"cap.time everywhere"}));
}

TEST(Mutes, ThatAreOfferedMuteTheFinding)
{
    for (const auto* line : {"tcp.rst note 10.0.0.1 10.0.0.2", "tcp.rst note - 10.0.0.2", "cap.time note",
                             "tcp.rst note 10.0.0.1 10.0.0.1"})
        for (const auto& mute : mutesFor(finding(line)))
            EXPECT_TRUE(muteOf(finding(line), std::span(&mute, 1))) << line << ": " << subjectOf(mute);
}

TEST(MuteBook, TakesEveryChangeBackAndDoesItAgain)
{
    MuteBook book;
    EXPECT_FALSE(book.canUndo());
    EXPECT_TRUE(book.add({Finding::tcpRst, a, b, "known"}));
    EXPECT_TRUE(book.add({Finding::none, a, {}, "a test machine"}));
    book.remove(0);
    EXPECT_EQ(subjects(book.mutes()), (std::vector<std::string>{"everything about 10.0.0.1"}));
    book.undo();
    EXPECT_EQ(book.mutes().size(), 2u);
    book.undo();
    book.undo();
    EXPECT_TRUE(book.mutes().empty());
    EXPECT_FALSE(book.canUndo());
    book.undo();
    EXPECT_TRUE(book.mutes().empty());
    book.redo();
    book.redo();
    book.redo();
    EXPECT_EQ(book.mutes().size(), 1u);
    EXPECT_FALSE(book.canRedo());
}

TEST(MuteBook, ForgetsWhatWasTakenBackOnceSomethingElseIsDone)
{
    MuteBook book;
    book.add({Finding::tcpRst, a, b, "known"});
    book.undo();
    book.add({Finding::tcpRto, a, b, "known"});
    EXPECT_FALSE(book.canRedo());
    EXPECT_EQ(book.mutes().front().finding, Finding::tcpRto);
}

TEST(MuteBook, KeepsOneMuteOfASubjectWithItsLatestReason)
{
    MuteBook book({{Finding::tcpRst, a, b, "known"}});
    EXPECT_FALSE(book.add({Finding::tcpRst, a, b, "known"}));
    EXPECT_FALSE(book.canUndo());
    EXPECT_TRUE(book.add({Finding::tcpRst, b, a, "the old backup"}));
    ASSERT_EQ(book.mutes().size(), 1u);
    EXPECT_EQ(book.mutes().front().reason, "the old backup");
}

} // namespace netrondo::test
