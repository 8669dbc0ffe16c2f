#pragma once
// The script behind `velmora undo`: edits of a document of named text fields, groups,
// undos and redos, run against a fresh undo manager on the main run loop (`pass` ends
// the loop's pass, so the manager's end-of-pass grouping is the real one).
//
// Thread safety: the main thread only; it runs the main run loop until the script ends.
//
//   std::string error = runUndoScript({"set title A", "pass", "undo", "print"}, false, std::cout);
//   if (!error.empty()) fail(error);   // "line 3: ..."

#include <ostream>
#include <string>
#include <vector>

namespace velmora::tool {

// What `print` and the notifications write goes to out. Answers the first error, naming
// its line ("line 2: unknown command 'fly'"), or empty when every line ran.
std::string runUndoScript(std::vector<std::string> lines, bool notifications, std::ostream& out);

}  // namespace velmora::tool
