#include "tools/velmora/MessagingCommandSupport.h"

#include <chrono>
#include <cstdio>

#include <fmt/format.h>

#include "Velmora/json/VLJson.h"
#include "Velmora/platform/dispatch/RunLoop.h"

namespace velmora::tool {

std::optional<Value> parseJsonValue(std::string_view text, std::string* error) {
    // The parser reads documents (arrays and objects); a scalar is read inside an array.
    const auto wrapped = parseJson(fmt::format("[{}]", text), error);
    const Array* array = wrapped ? wrapped->asArray() : nullptr;
    if (array == nullptr || array->size() != 1) {
        if (error != nullptr && wrapped) {
            *error = "expected one JSON value";
        }
        return std::nullopt;
    }
    return (*array)[0];
}

std::optional<std::string> jsonText(const Value& value) {
    const auto text = writeJson(Array{value}, {.sortKeys = true});
    if (!text || text->size() < 2) {
        return std::nullopt;
    }
    return text->substr(1, text->size() - 2);
}

bool printLine(std::string_view line) {
    const bool written = std::fwrite(line.data(), 1, line.size(), stdout) == line.size() &&
                         std::fputc('\n', stdout) != EOF;
    return std::fflush(stdout) == 0 && written;
}

bool runMainLoop(const std::function<bool()>& done, double limitSeconds) {
    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::duration<double>(limitSeconds);
    while (!done()) {
        double wait = 0.1;
        if (limitSeconds > 0) {
            const double left =
                std::chrono::duration<double>(deadline - std::chrono::steady_clock::now()).count();
            if (left <= 0) {
                return done();
            }
            wait = std::min(wait, left);
        }
        RunLoop::main().runOnePass(RunLoop::kDefaultMode, wait);
    }
    return true;
}

}  // namespace velmora::tool
