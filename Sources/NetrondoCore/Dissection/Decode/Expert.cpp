// The identifiers and sentences of Expert.def.
#include "Dissection/Decode/Expert.h"

namespace netrondo {
namespace {
struct Row {
    std::string_view id, text;
};
constexpr Row rows[] = {
    {"", ""},
#define NR_EXPERT(identifier, id, text) {id, text},
#include "Dissection/Decode/Expert.def"
#undef NR_EXPERT
};
} // namespace

std::string_view expertId(Expert expert)
{
    return rows[static_cast<std::size_t>(expert)].id;
}

std::string_view expertText(Expert expert)
{
    return rows[static_cast<std::size_t>(expert)].text;
}

} // namespace netrondo
