// Arbitrary text as expert preferences.
#pragma once

#include "Analysis/Expert/ExpertPreferences.h"
#include "Base/Json.h"

#include <string>

namespace netrondo::fuzz {

/// What is taken over reads back the same once it is saved; what is not says why.
inline void expertPreferences(Bytes input)
{
    const auto read = parseExpertPreferences(asText(input));
    if (!read) {
        NR_ASSERT(!read.error().description().empty());
        return;
    }
    std::string text;
    {
        TextOutput out(text);
        JsonWriter json(out);
        write(json, *read);
    }
    const auto again = parseExpertPreferences(text);
    NR_ASSERT(again && again->mutes.size() == read->mutes.size());
}

} // namespace netrondo::fuzz
