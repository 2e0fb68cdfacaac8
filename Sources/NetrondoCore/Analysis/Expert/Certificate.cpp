// X.509 as far as the findings need it.
#include "Analysis/Expert/Certificate.h"

#include "Analysis/Expert/Der.h"

#include <algorithm>
#include <cctype>

namespace netrondo {
namespace {

/// Seconds since 1970 of a UTCTime or GeneralizedTime.
std::optional<double> timeOf(const Der& element)
{
    const auto text = asText(element.content);
    const std::size_t yearDigits = element.tag == 0x17 ? 2 : 4;
    if (text.size() < yearDigits + 10 || (element.tag != 0x17 && element.tag != 0x18))
        return {};
    int parts[6];
    std::size_t at = 0;
    for (int i = 0; i < 6; ++i) {
        const auto digits = i == 0 ? yearDigits : 2;
        parts[i] = 0;
        for (std::size_t d = 0; d < digits; ++d, ++at) {
            if (text[at] < '0' || text[at] > '9')
                return {};
            parts[i] = parts[i] * 10 + (text[at] - '0');
        }
    }
    int year = parts[0];
    if (yearDigits == 2)
        year += year < 50 ? 2000 : 1900; // RFC 5280, 4.1.2.5.1
    // Days since 1970 of a Gregorian date, counting years from March.
    const int month = parts[1], y = year - (month <= 2), era = y / 400;
    const int yearOfEra = y - era * 400, dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + parts[2] - 1;
    const int days = era * 146097 + yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear - 719468;
    return days * 86400.0 + parts[3] * 3600 + parts[4] * 60 + parts[5];
}

bool is(Bytes bytes, std::string_view wanted)
{
    return asText(bytes) == wanted;
}

// Object identifiers as they are encoded.
constexpr std::string_view rsaEncryption("\x2a\x86\x48\x86\xf7\x0d\x01\x01\x01", 9), commonName("\x55\x04\x03", 3),
    subjectAlternativeName("\x55\x1d\x11", 3);
constexpr struct {
    std::string_view identifier;
    const char* name;
} weakSignatures[] = {{std::string_view("\x2a\x86\x48\x86\xf7\x0d\x01\x01\x02", 9), "MD2"},
                      {std::string_view("\x2a\x86\x48\x86\xf7\x0d\x01\x01\x04", 9), "MD5"},
                      {std::string_view("\x2a\x86\x48\x86\xf7\x0d\x01\x01\x05", 9), "SHA-1"},
                      {std::string_view("\x2a\x86\x48\xce\x38\x04\x03", 7), "SHA-1"},
                      {std::string_view("\x2a\x86\x48\xce\x3d\x04\x01", 7), "SHA-1"}};

/// SubjectPublicKeyInfo ::= { { algorithm, … }, BIT STRING { { modulus, exponent } } }
std::size_t rsaBitsOf(const Der& keyInfo)
{
    const auto algorithm = der(keyInfo.content);
    const auto identifier = algorithm ? der(algorithm->content) : std::nullopt;
    const auto bits = algorithm ? der(algorithm->rest) : std::nullopt;
    if (!identifier || !bits || !is(identifier->content, rsaEncryption) || bits->content.empty())
        return 0;
    const auto key = der(bits->content.subspan(1));
    const auto modulus = key ? der(key->content) : std::nullopt;
    if (!modulus)
        return 0;
    auto number = modulus->content;
    while (!number.empty() && number[0] == 0)
        number = number.subspan(1);
    if (number.empty())
        return 0;
    std::size_t unused = 0;
    while (!(number[0] << unused & 0x80))
        ++unused;
    return number.size() * 8 - unused;
}

/// Extension ::= { id, critical?, OCTET STRING { names } }
void readExtension(Bytes extension, Certificate& certificate)
{
    constexpr std::uint8_t octets = 0x04, dnsName = 0x82;
    const auto id = der(extension);
    if (!id || !is(id->content, subjectAlternativeName))
        return;
    auto value = der(id->rest);
    if (value && value->tag != octets)
        value = der(value->rest);
    const auto list = value && value->tag == octets ? der(value->content) : std::nullopt;
    if (!list)
        return;
    for (auto name = der(list->content); name; name = der(name->rest)) {
        if (name->tag == dnsName)
            certificate.names.push_back(name->content);
    }
}

/// Name ::= { SET { { type, value } }, … }
void readCommonName(Bytes subject, Certificate& certificate)
{
    for (auto set = der(subject); set; set = der(set->rest)) {
        const auto pair = der(set->content);
        const auto type = pair ? der(pair->content) : std::nullopt;
        const auto value = type ? der(type->rest) : std::nullopt;
        if (value && is(type->content, commonName))
            certificate.names.push_back(value->content);
    }
}

bool isSameText(std::string_view a, std::string_view b)
{
    return std::ranges::equal(a, b,
                              [](unsigned char x, unsigned char y) { return std::tolower(x) == std::tolower(y); });
}

} // namespace

// Certificate ::= { tbs { [0] version?, serial, algorithm, issuer, validity { from, to }, subject, keyInfo, …,
// [3] extensions? }, algorithm, signature }
std::optional<Certificate> readCertificate(Bytes bytes)
{
    const auto outer = der(bytes);
    const auto tbs = outer ? der(outer->content) : std::nullopt;
    auto serial = tbs ? der(tbs->content) : std::nullopt;
    if (serial && serial->tag == 0xa0)
        serial = der(serial->rest);
    const auto algorithm = serial ? der(serial->rest) : std::nullopt;
    const auto issuer = algorithm ? der(algorithm->rest) : std::nullopt;
    const auto validity = issuer ? der(issuer->rest) : std::nullopt;
    const auto subject = validity ? der(validity->rest) : std::nullopt;
    const auto from = subject ? der(validity->content) : std::nullopt;
    const auto to = from ? der(from->rest) : std::nullopt;
    if (!to)
        return {};
    Certificate certificate;
    certificate.valid = {timeOf(*from), timeOf(*to)};
    certificate.isSelfSigned = std::ranges::equal(issuer->whole, subject->whole);
    if (const auto signature = der(algorithm->content)) {
        for (const auto& [identifier, name] : weakSignatures) {
            if (is(signature->content, identifier))
                certificate.weakSignature = name;
        }
    }
    auto next = der(subject->rest);
    if (next)
        certificate.rsaBits = rsaBitsOf(*next);
    constexpr std::uint8_t extensions = 0xa3;
    for (; next; next = der(next->rest)) {
        const auto list = next->tag == extensions ? der(next->content) : std::nullopt;
        if (!list)
            continue;
        for (auto one = der(list->content); one; one = der(one->rest))
            readExtension(one->content, certificate);
    }
    if (certificate.names.empty())
        readCommonName(subject->content, certificate);
    return certificate;
}

bool isFor(const Certificate& certificate, std::string_view name)
{
    return std::ranges::any_of(certificate.names, [&](Bytes bytes) {
        const auto pattern = asText(bytes);
        if (!pattern.starts_with("*."))
            return isSameText(pattern, name);
        const auto dot = name.find('.'); // the star stands for one label
        return dot != name.npos && dot > 0 && isSameText(pattern.substr(1), name.substr(dot));
    });
}

} // namespace netrondo
