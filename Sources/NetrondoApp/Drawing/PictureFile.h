// A scene as a file: PNG, SVG or PDF.
#pragma once

#include "Base/Result.h"
#include "Circle/CircleScene.h"

#include <QByteArray>
#include <cstdint>
#include <string>

namespace netrondo {

enum class PictureFormat : std::uint8_t { png, svg, pdf };

struct PictureError {
    std::string description; ///< the sentence the user reads
};

/// The picture's bytes. The same scene gives the same SVG, byte for byte, wherever the same fonts are installed.
Result<QByteArray, PictureError> encode(const CircleScene& scene, PictureFormat format, const std::string& title);
/// Writes bytes to a file, whole or not at all; "-" is standard output.
Result<void, PictureError> save(const QByteArray& bytes, const std::string& path);

} // namespace netrondo
