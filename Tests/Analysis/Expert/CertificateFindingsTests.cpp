// What is said of the certificates that servers show, also where they come in pieces.
#include "Analysis/Expert/Certificate.h"
#include "Support/Findings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace netrondo::test {
namespace {
using testing::HasSubstr;

std::string element(int tag, std::string_view content)
{
    std::string out(1, static_cast<char>(tag));
    if (content.size() >= 0x80) {
        out += '\x82';
        out += static_cast<char>(content.size() >> 8);
    }
    out += static_cast<char>(content.size());
    return out += content;
}

struct CertificateFields {
    std::string from = "230101000000Z", to = "331231000000Z"; // the tests capture in November 2023
    std::string dnsName = "www.example", commonName = "www.example";
    std::string issuer = "an authority";
    std::size_t keyBytes = 256;
    std::string_view signature = "\x2a\x86\x48\x86\xf7\x0d\x01\x01\x0b"; // SHA-256 with RSA
};

std::string certificate(const CertificateFields& fields = {})
{
    const auto name = [](const std::string& text) {
        return element(0x30, element(0x31, element(0x30, element(0x06, "\x55\x04\x03") + element(0x0c, text))));
    };
    const auto algorithm = element(0x30, element(0x06, fields.signature));
    const auto key = element(0x30,
                             element(0x02, std::string(1, '\0') + std::string(fields.keyBytes, '\xc1'))
                                 + element(0x02, std::string("\x01\x00\x01", 3)));
    const auto keyInfo = element(0x30,
                                 element(0x30, element(0x06, "\x2a\x86\x48\x86\xf7\x0d\x01\x01\x01"))
                                     + element(0x03, std::string(1, '\0') + key));
    const auto extensions = fields.dnsName.empty()
        ? std::string()
        : element(0xa3,
                  element(0x30,
                          element(0x30,
                                  element(0x06, "\x55\x1d\x11")
                                      + element(0x04, element(0x30, element(0x82, fields.dnsName))))));
    const auto tbs =
        element(0x30,
                element(0xa0, element(0x02, "\x02")) + element(0x02, "\x07") + algorithm + name(fields.issuer)
                    + element(0x30, element(0x17, fields.from) + element(0x17, fields.to)) + name(fields.commonName)
                    + keyInfo + extensions);
    return element(0x30, tbs + algorithm + element(0x03, std::string(65, '\0')));
}

std::string number(std::size_t value, int bytes)
{
    std::string out;
    while (bytes-- > 0)
        out += static_cast<char>(value >> 8 * bytes & 0xff);
    return out;
}

std::string record(const std::string& messages)
{
    return std::string("\x16\x03\x03", 3) + number(messages.size(), 2) + messages;
}

std::string certificateMessage(const std::string& one)
{
    return "\x0b" + number(one.size() + 6, 3) + number(one.size() + 3, 3) + number(one.size(), 3) + one;
}

std::string clientHello(const std::string& name)
{
    const auto extension =
        number(0, 2) + number(name.size() + 5, 2) + number(name.size() + 3, 2) + '\0' + number(name.size(), 2) + name;
    const auto body = std::string("\x03\x03", 2) + std::string(32, 'r') + '\0' + number(2, 2)
        + std::string("\xc0\x2f", 2) + '\x01' + '\0' + number(extension.size(), 2) + extension;
    return record("\x01" + number(body.size(), 3) + body);
}

/// A client asks for www.example and the server shows this certificate, in segments of so many bytes.
std::vector<std::string> said(const CertificateFields& fields, std::size_t piece = 100'000, bool isOneLost = false,
                              const std::string& name = "www.example")
{
    Trouble capture;
    std::uint32_t clientSeq = 100, serverSeq = 100;
    const auto send = [&](const std::string& bytes, bool fromServer, double at) {
        auto& seq = fromServer ? serverSeq : clientSeq;
        const TcpFields header{.sourcePort = static_cast<std::uint16_t>(fromServer ? 443 : 51000),
                               .destinationPort = static_cast<std::uint16_t>(fromServer ? 51000 : 443),
                               .seq = seq,
                               .ack = fromServer ? clientSeq : serverSeq};
        capture.add(ethernet(ipv4({.source = fromServer ? "10.0.0.2" : "10.0.0.1",
                                   .destination = fromServer ? "10.0.0.1" : "10.0.0.2",
                                   .identification = static_cast<std::uint16_t>(seq)},
                                  tcp(header, bytes))),
                    at);
        seq += static_cast<std::uint32_t>(bytes.size());
    };
    send(clientHello(name), false, 0);
    const auto answer = record(certificateMessage(certificate(fields)));
    double at = 0.01;
    for (std::size_t i = 0; i < answer.size(); i += piece, at += 0.0001) {
        if (isOneLost && i == piece)
            serverSeq += static_cast<std::uint32_t>(piece);
        else
            send(answer.substr(i, piece), true, at);
    }
    std::vector<std::string> details;
    for (const auto& finding : capture.summary().findings) {
        if (finding.finding == Finding::tlsCert || finding.finding == Finding::tlsWeak)
            details.push_back(finding.detail);
    }
    return details;
}

struct CertificateCase {
    std::string_view name;
    CertificateFields fields;
    std::vector<std::string> details;
};

class ShownCertificate : public testing::TestWithParam<CertificateCase> { };
} // namespace

TEST_P(ShownCertificate, IsJudgedAtTheTimeOfCapture)
{
    EXPECT_EQ(said(GetParam().fields), GetParam().details);
    EXPECT_EQ(said(GetParam().fields, 200), GetParam().details) << "in several segments";
    EXPECT_EQ(said(GetParam().fields, 3), GetParam().details) << "in very many";
}

INSTANTIATE_TEST_SUITE_P(Kinds, ShownCertificate,
                         testing::Values(CertificateCase{"Good", {}, {}}, //
                                         CertificateCase{"Expired", {.to = "231101000000Z"}, {"expired"}},
                                         CertificateCase{"Early", {.from = "240101000000Z"}, {"not yet valid"}},
                                         CertificateCase{"AboutToExpire", {.to = "231201000000Z"}, {"about to expire"}},
                                         CertificateCase{"OtherName",
                                                         {.dnsName = "mail.example"},
                                                         {"made for another name than the one asked for"}},
                                         CertificateCase{"SelfSigned", {.issuer = "www.example"}, {"signed by itself"}},
                                         CertificateCase{"ShortKey", {.keyBytes = 128}, {"an RSA key of 1024 bits"}},
                                         CertificateCase{"OldSignature",
                                                         {.signature = "\x2a\x86\x48\x86\xf7\x0d\x01\x01\x05"},
                                                         {"a certificate signed with SHA-1"}}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(ShownCertificate, IsNotJudgedWhereAPieceOfItIsMissing)
{
    EXPECT_THAT(said({.to = "231101000000Z"}, 200, true), testing::IsEmpty());
}

TEST(ShownCertificate, IsComparedWithNamesAndNotWithAddresses)
{
    EXPECT_EQ(said({}, 1000, false, "intranet").size(), 1u);
    EXPECT_THAT(said({}, 1000, false, "10.0.0.2"), testing::IsEmpty());
    EXPECT_THAT(said({}, 1000, false, ""), testing::IsEmpty());
}

struct NameCase {
    std::string_view pattern, name;
    bool fits;
};

class CertificateName : public testing::TestWithParam<NameCase> { };

TEST_P(CertificateName, FitsWholeNamesAndOneLabelForAStar)
{
    CertificateFields fields;
    fields.dnsName = GetParam().pattern;
    const auto bytes = certificate(fields);
    const auto read = readCertificate({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
    ASSERT_TRUE(read);
    EXPECT_EQ(isFor(*read, GetParam().name), GetParam().fits) << GetParam().pattern << " for " << GetParam().name;
}

INSTANTIATE_TEST_SUITE_P(Names, CertificateName,
                         testing::Values(NameCase{"www.example", "WWW.Example", true},
                                         NameCase{"www.example", "www.example.org", false},
                                         NameCase{"*.example", "www.example", true},
                                         NameCase{"*.example", "a.www.example", false},
                                         NameCase{"*.example", ".example", false},
                                         NameCase{"*.example", "example", false}, NameCase{"", "www.example", true}));

TEST(Certificate, OfEveryPrefixReadsNothingOutside)
{
    const auto bytes = certificate();
    for (std::size_t length = 0; length < bytes.size(); ++length) {
        const ByteVector part(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(length));
        EXPECT_FALSE(readCertificate(part)) << length << " bytes";
    }
}

} // namespace netrondo::test
