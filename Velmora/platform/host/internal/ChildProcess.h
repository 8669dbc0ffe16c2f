#pragma once
// Starting helper programs (xdg-open, xdg-mime) without waiting for them on the caller's
// thread: the child is reaped on a background queue, so none is left a zombie.
// Internal to the platform's host folder.

#include <string>
#include <vector>

namespace velmora::childprocess {

// Whether program is an executable file in a directory of $PATH.
bool onPath(const std::string& program);
// Starts argv (argv[0] looked up in $PATH) with standard output and error discarded;
// answers whether it started. Never waits for it to finish.
bool spawnDetached(std::vector<std::string> argv);

}  // namespace velmora::childprocess
