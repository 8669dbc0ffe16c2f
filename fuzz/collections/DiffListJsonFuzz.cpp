// The result lists `velmora diff` reads from JSON files. Any text must give a list or an
// error naming what was wrong; a list read must write back to text that reads into a list
// which writes back to the very same text.
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

#include "Velmora/json/VLJson.h"

#include "tools/velmora/DiffCommandSupport.h"

namespace {

using namespace velmora;

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

// The list's text, or nothing when the document is refused (with a reason).
std::optional<std::string> roundTrip(std::string_view text) {
    const std::optional<Value> document = parseJson(text);
    if (!document) {
        return std::nullopt;
    }
    std::string error;
    const auto list = tool::listFromJson(*document, error);
    if (!list) {
        require(!error.empty() && error[0] == '$');
        return std::nullopt;
    }
    std::optional<std::string> written = writeJson(tool::listToJson(*list));
    require(written.has_value());
    return written;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::optional<std::string> once =
        roundTrip(std::string_view(reinterpret_cast<const char*>(data), size));
    if (once) {
        const std::optional<std::string> twice = roundTrip(*once);
        require(twice && *twice == *once);
    }
    return 0;
}
