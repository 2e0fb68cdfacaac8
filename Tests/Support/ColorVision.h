// How far apart two colours look, also to people with a colour-vision deficiency.
#pragma once

#include "Circle/ProtocolColors.h"

#include <array>

namespace netrondo::test {

enum class Vision { normal, protanopia, deuteranopia, tritanopia };
inline constexpr std::array visions{Vision::normal, Vision::protanopia, Vision::deuteranopia, Vision::tritanopia};

/// The colour difference CIEDE2000 (ISO/CIE 11664-6) of two screen colours as seen with a vision. The deficiencies are
/// those of Machado, Oliveira and Fernandes (2009) at full severity.
double difference(ProtocolColors::RGB a, ProtocolColors::RGB b, Vision vision);

/// The contrast of two screen colours as WCAG 2.2 defines it, 1 to 21.
double contrast(ProtocolColors::RGB a, ProtocolColors::RGB b);

} // namespace netrondo::test
