// A display filter's text turned into what a test can read: its tree, or the sentence that refuses it.
#pragma once

#include <string>
#include <string_view>

namespace netrondo::test {

/// The compiled tree as terms in brackets, `and(tcp, not(udp))`, `tcp.port eq "443"`; or "error: " and the description.
std::string treeOf(std::string_view filter);

} // namespace netrondo::test
