// What the findings ask of an X.509 certificate (RFC 5280).
#pragma once

#include "Base/Bytes.h"

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

namespace netrondo {

/// Views into the bytes it was read from.
struct Certificate {
    std::array<std::optional<double>, 2> valid; ///< from and to, seconds since 1970
    bool isSelfSigned = false;
    std::size_t rsaBits = 0;             ///< 0 for keys of other kinds
    const char* weakSignature = nullptr; ///< "SHA-1", "MD5" or "MD2"
    std::vector<Bytes> names;            ///< DNS names; the common name where there is none
};

/// Nothing for what is no certificate.
std::optional<Certificate> readCertificate(Bytes bytes);
/// Whether it may be shown by a server that was asked for under this name (RFC 9525).
bool isFor(const Certificate& certificate, std::string_view name);

} // namespace netrondo
