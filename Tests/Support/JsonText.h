// A record as its JSON text.
#pragma once

#include "Base/Json.h"

#include <string>

namespace netrondo::test {

template <JsonRecord T> std::string jsonText(const T& record)
{
    std::string text;
    {
        TextOutput out(text);
        JsonWriter json(out);
        json.value(record);
    }
    return text;
}

} // namespace netrondo::test
