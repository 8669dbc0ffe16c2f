// Copying a document's events straight to the writer must give the text its tree gives,
// unless an object repeats a key (which the copier must then report). The first byte
// picks the layout and the chunk size; the rest is the text.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "Velmora/json/VLJson.h"
#include "Velmora/json/VLJsonStreamCopier.h"
#include "Velmora/json/VLJsonStreamParser.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace velmora;
    if (size == 0) {
        return 0;
    }
    const bool pretty = (data[0] & 0x80) != 0;
    const std::size_t chunk = 1 + (data[0] & 0x7F);
    const std::string_view text(reinterpret_cast<const char*>(data + 1), size - 1);

    std::string copied;
    bool repeated = false;
    bool refused = false;
    VLJsonStreamCopier* self = nullptr;
    VLJsonStreamCopier copier([&](std::string_view written) {
        copied = written;
        repeated = self->sawRepeatedKey();
        refused = !self->error().empty();
    });
    self = &copier;
    copier.setHumanReadable(pretty);
    VLJsonStreamParser parser;
    parser.setDelegate(&copier);
    VLJsonParserStatus status = VLJsonParserStatus::WaitingForData;
    for (std::size_t offset = 0;
         offset < text.size() && status == VLJsonParserStatus::WaitingForData; offset += chunk) {
        status = parser.parse(text.substr(offset, chunk));
    }
    const auto tree = parseJson(text);
    if ((status == VLJsonParserStatus::Complete) != tree.has_value()) {
        std::abort();
    }
    if (!tree || repeated) {
        return 0;
    }
    const auto written = writeJson(*tree, {.humanReadable = pretty});
    if (written.has_value() == refused || (written && *written != copied)) {
        std::abort();
    }
    return 0;
}
