// Between the core's UTF-8 and Qt's text.
#pragma once

#include <QString>
#include <string>
#include <string_view>

namespace netrondo {

inline QString asQt(std::string_view text)
{
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

} // namespace netrondo
