#pragma once
// One-call JSON: parseJson reads a whole text into a Value, writeJson writes a Value as
// text. Both use the streaming parser and writer underneath, with the same rules and
// error texts; use those directly for text that arrives in pieces or for event-driven
// reading.
//
// Thread safety: both functions may be called from any thread at once.
//
//   std::string error;
//   auto value = parseJson(R"({"b": 1, "a": [true, null]})", &error);
//   auto text = writeJson(*value, {.sortKeys = true});  // {"a":[true,null],"b":1}

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Velmora/platform/foundation/Value.h"

namespace velmora {

// The document (an array or a dictionary), or nothing with the reason in *error. Text
// after the document is not read. A text that ends inside the document fails with
// "Unexpected end of input".
[[nodiscard]] std::optional<Value> parseJson(std::string_view text, std::string* error = nullptr,
                                             std::uint64_t maxDepth = 512);

struct JsonWriteOptions {
    bool humanReadable = false;
    bool sortKeys = false;
    std::uint64_t maxDepth = 512;
};

// The text, or nothing with the writer's reason in *error.
[[nodiscard]] std::optional<std::string> writeJson(const Value& value,
                                                   const JsonWriteOptions& options = {},
                                                   std::string* error = nullptr);

}  // namespace velmora
