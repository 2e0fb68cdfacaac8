#include "Support/Conversations.h"

#include <gtest/gtest.h>

namespace netrondo::test {

TEST(CommPairLabels, NamesAreShownWhenAskedForAndKnown)
{
    auto conversation = pair("10.0.0.1 10.0.0.2");
    conversation.resolvedSrc = "printer.office.example";
    EXPECT_EQ(conversation.displaySrc(true, 40), "printer.office.example");
    EXPECT_EQ(conversation.displaySrc(false, 40), "10.0.0.1");
    EXPECT_EQ(conversation.displayDst(true, 40), "10.0.0.2");
    EXPECT_EQ(conversation.displaySrc(true, 18), "printer.…e.example");
}

TEST(CommPairLabels, APairCarriesItsTopProtocolItsPayloadProtocolsAndTheServicesOfItsPorts)
{
    auto conversation = pair("10.0.0.1 10.0.0.2 TLS");
    conversation.payloadProtocols = {"DNS"};
    conversation.dstPorts = {{22, {5, true, false}}, {51000, {1, true, false}}};
    EXPECT_TRUE(conversation.carries("TLS"));
    EXPECT_TRUE(conversation.carries("DNS"));
    EXPECT_TRUE(conversation.carries("SSH"));
    EXPECT_FALSE(conversation.carries("HTTP"));
    EXPECT_FALSE(conversation.carries("ssh")) << "names are compared as they are written";
    EXPECT_FALSE(conversation.carries("")) << "a port without a service is not the service without a name";
}

} // namespace netrondo::test
