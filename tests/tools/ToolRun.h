#pragma once
// Runs the built `velmora` program with arguments and collects its exit status, standard
// output and standard error. A run that takes longer than the limit is killed and fails
// the test instead of hanging it.

#include <chrono>
#include <string>
#include <vector>

namespace velmora::testing {

struct ToolResult {
    int status = -1;  // exit status; 128 + N when ended by signal N
    std::string out;
    std::string err;
};

// stdoutPath: where standard output goes ("" for a pipe the result collects, such as
// "/dev/full" to see a failed write). The environment pins TZ=UTC and LC_ALL=C.UTF-8.
ToolResult runTool(const std::vector<std::string>& arguments, const std::string& stdoutPath = "",
                   std::chrono::seconds limit = std::chrono::seconds(30));

}  // namespace velmora::testing
