// Numbers as people read them, for the commands.
#pragma once

#include "Base/Units.h"

namespace netrondo::cli {
using namespace units; // NOLINT(google-build-using-namespace): the words of every page the commands print
} // namespace netrondo::cli
