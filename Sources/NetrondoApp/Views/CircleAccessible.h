// The circle for those who do not see it: every host and every conversation is an object with a name and a place.
#pragma once

namespace netrondo {

/// Makes the circle's accessible objects known to the desktop's readers; once is enough.
void installCircleAccessibility();

} // namespace netrondo
