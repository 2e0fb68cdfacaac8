// Certificates through OpenSSL's X.509: who is certified by whom, for which names, from when to when, with which key.
#include "Dissection/Protocols/Certificate.h"

#include "Base/Address.h"
#include "Dissection/Protocols/MadeText.h"

#include <ctime>
#include <memory>
#include <openssl/evp.h>
#include <openssl/objects.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

namespace netrondo::certificate {
namespace {

constexpr Field node{"tls.cert", "Certificate", Wire::group};
constexpr Field subject{"tls.cert.subject", "Subject", Wire::madeText};
constexpr Field issuer{"tls.cert.issuer", "Issuer", Wire::madeText};
constexpr Field serial{"tls.cert.serial", "Serial number", Wire::madeText};
constexpr Field names{"tls.cert.name", "Alternative name", Wire::madeText};
constexpr Field notBefore{"tls.cert.not_before", "Valid from", Wire::madeText};
constexpr Field notAfter{"tls.cert.not_after", "Valid until", Wire::madeText};
constexpr Field key{"tls.cert.key", "Public key", Wire::madeText};
constexpr Field signature{"tls.cert.signature", "Signature algorithm", Wire::madeText};
constexpr Field selfSigned{"tls.cert.self_signed", "Self-signed", Wire::none};
constexpr Field bytes{"tls.cert.bytes", "Certificate bytes", Wire::bytes};

template <auto Free> struct Freer {
    template <typename T> void operator()(T* object) const { Free(object); }
};
using Certificate = std::unique_ptr<X509, Freer<X509_free>>;
using Memory = std::unique_ptr<BIO, Freer<BIO_free_all>>;

/// What OpenSSL printed.
std::string_view printed(const Memory& memory)
{
    char* text = nullptr;
    const auto size = BIO_get_mem_data(memory.get(), &text);
    return {text, size > 0 ? static_cast<std::size_t>(size) : 0};
}

void addName(Layer& layer, const Field& field, const X509_NAME* name)
{
    const Memory memory(BIO_new(BIO_s_mem()));
    if (name && X509_NAME_print_ex(memory.get(), name, 0, XN_FLAG_ONELINE & ~ASN1_STRFLGS_ESC_MSB) >= 0)
        layer.addText(field, printed(memory), 0, 0);
}

void addTime(Layer& layer, const Field& field, const ASN1_TIME* time)
{
    std::tm parts{};
    if (!time || !ASN1_TIME_to_tm(time, &parts))
        return;
    MadeText text;
    text.add("{:04}-{:02}-{:02} {:02}:{:02}:{:02} UTC", parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_mday,
             parts.tm_hour, parts.tm_min, parts.tm_sec);
    layer.addText(field, text, 0, 0);
}

/// Judged by the time of the capture, not by today's.
void judgeTime(Layer& layer, const X509* certificate)
{
    const auto captured = static_cast<std::int64_t>(layer.frame().capture.timestampSeconds);
    constexpr std::int64_t year2200 = 7'258'118'400;
    addTime(layer, notBefore, X509_get0_notBefore(certificate));
    if (captured <= 0 || captured > year2200) // a capture without a clock
        return addTime(layer, notAfter, X509_get0_notAfter(certificate));
    if (ASN1_TIME_cmp_time_t(X509_get0_notBefore(certificate), captured) == 1)
        layer.mark(Expert::certificateEarly);
    addTime(layer, notAfter, X509_get0_notAfter(certificate));
    if (ASN1_TIME_cmp_time_t(X509_get0_notAfter(certificate), captured) == -1)
        layer.mark(Expert::certificateExpired);
}

void addAlternativeName(Layer& layer, const GENERAL_NAME& name)
{
    const auto bytesOf = [](const ASN1_STRING* text) {
        return Bytes{ASN1_STRING_get0_data(text), static_cast<std::size_t>(ASN1_STRING_length(text))};
    };
    if (name.type == GEN_DNS || name.type == GEN_EMAIL || name.type == GEN_URI) {
        layer.addText(names, asText(bytesOf(name.d.ia5)), 0, 0);
    } else if (name.type == GEN_IPADD) {
        const auto address = bytesOf(name.d.iPAddress);
        if (address.size() == 4)
            layer.addText(names, Address::ipv4(address.data()).text(), 0, 0);
        else if (address.size() == 16)
            layer.addText(names, Address::ipv6(address.data()).text(), 0, 0);
    }
}

void addAlternativeNames(Layer& layer, const X509* certificate)
{
    auto* const list =
        static_cast<GENERAL_NAMES*>(X509_get_ext_d2i(certificate, NID_subject_alt_name, nullptr, nullptr));
    const std::unique_ptr<GENERAL_NAMES, Freer<GENERAL_NAMES_free>> owner(list);
    for (int i = 0; i < sk_GENERAL_NAME_num(list); ++i)
        addAlternativeName(layer, *sk_GENERAL_NAME_value(list, i));
}

void addKey(Layer& layer, const X509* certificate)
{
    const EVP_PKEY* publicKey = X509_get0_pubkey(certificate);
    if (!publicKey)
        return;
    const char* kind = OBJ_nid2sn(EVP_PKEY_get_base_id(publicKey));
    MadeText text;
    text.add("{}, {} bits", kind ? kind : "unknown", EVP_PKEY_get_bits(publicKey));
    layer.addText(key, text, 0, 0);
}

void addSerial(Layer& layer, const X509* certificate)
{
    const auto* number = X509_get0_serialNumber(certificate);
    MadeText text;
    for (int i = 0; i < ASN1_STRING_length(number); ++i)
        text.add("{:02x}", ASN1_STRING_get0_data(number)[i]);
    layer.addText(serial, text, 0, 0);
}

void addParts(Layer& layer, X509* certificate)
{
    addName(layer, subject, X509_get_subject_name(certificate));
    addName(layer, issuer, X509_get_issuer_name(certificate));
    addSerial(layer, certificate);
    addAlternativeNames(layer, certificate);
    judgeTime(layer, certificate);
    addKey(layer, certificate);
    if (const char* name = OBJ_nid2ln(X509_get_signature_nid(certificate)))
        layer.addText(signature, name, 0, 0);
    // Whether the signature holds is a question for whoever trusts; here it is whose key it names.
    if (X509_get_extension_flags(certificate) & EXFLAG_SS) {
        layer.add(selfSigned, 0);
        layer.mark(Expert::certificateSelfSigned);
    }
}

} // namespace

void read(Layer& layer, std::size_t size)
{
    const Layer::Group group(layer, node);
    const auto content = layer.readBytes(bytes, size);
    if (content.empty())
        return;
    const auto* at = content.data();
    const Certificate certificate(d2i_X509(nullptr, &at, static_cast<long>(content.size())));
    if (certificate)
        addParts(layer, certificate.get());
}

} // namespace netrondo::certificate
