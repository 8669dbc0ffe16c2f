#pragma once
// Extension lists as EGL and GL report them: names separated by single spaces. One
// splitter for both, so that the EGL context's checks and the device queries agree on
// what a name is.
//
// Thread safety: stateless.
//
//   auto names = splitExtensionList("GL_EXT_a GL_EXT_b");   // {"GL_EXT_a", "GL_EXT_b"}
//   bool has = extensionListContains("GL_EXT_a GL_EXT_b", "GL_EXT_b");   // true

#include <string>
#include <string_view>
#include <vector>

namespace velmora {

// The names in order; empty pieces (doubled or trailing spaces) are dropped.
std::vector<std::string> splitExtensionList(std::string_view list);
// Whether name is one whole entry of list (not a prefix of one).
bool extensionListContains(std::string_view list, std::string_view name);

}  // namespace velmora
