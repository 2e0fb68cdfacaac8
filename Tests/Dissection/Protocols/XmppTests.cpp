// Tags of a stream of XML.
#include "Support/Segments.h"

#include <gtest/gtest.h>

namespace netrondo::test {
namespace {

struct Stanza {
    std::string_view name, text, info;
};

class Stanzas : public testing::TestWithParam<Stanza> { };

TEST_P(Stanzas, SayWhatTheyAre)
{
    Capture capture;
    const auto frame = capture.tcp(5222, 40000, 1, asBytes(GetParam().text));
    EXPECT_EQ(capture.protocol(frame), "XMPP");
    EXPECT_EQ(capture.info(frame), GetParam().info);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, Stanzas,
    testing::Values(Stanza{"Query", "<iq type='get' to='a@example.net'><ping xmlns='urn:xmpp:ping'/></iq>",
                           "iq get to a@example.net, ping"},
                    Stanza{"Presence", "<presence/>", "presence"},
                    Stanza{"EndWithinQuotes", "<presence note='a > b' type=\"away\"/>", "presence away"},
                    Stanza{"EndOfTheStream", "</stream:stream>", "End of stream:stream"},
                    Stanza{"Declaration", "<?xml version='1.0'?>", "XML declaration"}, Stanza{"Blanks", " \n", "Text"},
                    Stanza{"OtherBytes", "\x01\x02", "Bytes that are no XML"},
                    Stanza{"AttributeWithoutItsEnd", "<iq type='get x", "Bytes that are no XML"},
                    Stanza{"AttributeWithoutQuotes", "<iq type=get>", "iq"},
                    Stanza{"NoName", "<>", "Bytes that are no XML"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(Xmpp, ATagOverTwoSegmentsIsPutTogether)
{
    Capture capture;
    capture.tcp(5222, 40000, 1, asBytes("<iq type='get' id"));
    const auto frame = capture.tcp(5222, 40000, 18, asBytes("='7'><query/></iq>"));
    EXPECT_EQ(capture.info(frame), "iq get, query");
    EXPECT_EQ(capture.values(frame, "xmpp.id"), "7");
}

TEST(Xmpp, IsKnownByTheBeginningOfItsStreamOnAnyPort)
{
    Capture capture;
    capture.tcp(15222, 40000, 1, asBytes("<stream:stream xmlns:stream='http://etherx.jabber.org/streams' to='a'>"));
    const auto frame = capture.tcp(40000, 15222, 1, asBytes("<presence/>"));
    EXPECT_EQ(capture.protocol(frame), "XMPP");
    const auto other = capture.tcp(15223, 40000, 1, asBytes("<?xml version='1.0'?><note/>"));
    EXPECT_EQ(capture.protocol(other), "TCP");
}

TEST(Xmpp, ATextThatNeverEndsItsTagIsNotAwaited)
{
    Capture capture;
    const auto frame = capture.tcp(5222, 40000, 1, asBytes("<" + std::string(20'000, 'a')));
    EXPECT_EQ(capture.values(frame, "decode.continues"), "");
}

} // namespace
} // namespace netrondo::test
