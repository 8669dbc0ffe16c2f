// The stream parser must report the same events, and end in the same status, whatever
// the chunking of its input. The first byte seeds the chunk sizes; the rest is the text.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "Velmora/json/VLJsonNumber.h"
#include "Velmora/json/VLJsonStreamParser.h"
#include "Velmora/platform/foundation/Value.h"

namespace {

using namespace velmora;

struct Recorder : VLJsonStreamParserDelegate {
    void parserFoundObjectStart(VLJsonStreamParser&) override { events += "{"; }
    void parserFoundObjectKey(VLJsonStreamParser&, std::string_view key) override {
        events += "k" + std::to_string(key.size()) + ":" + std::string(key);
    }
    void parserFoundObjectEnd(VLJsonStreamParser&) override { events += "}"; }
    void parserFoundArrayStart(VLJsonStreamParser&) override { events += "["; }
    void parserFoundArrayEnd(VLJsonStreamParser&) override { events += "]"; }
    void parserFoundBoolean(VLJsonStreamParser&, bool value) override {
        events += value ? "T" : "F";
    }
    void parserFoundNull(VLJsonStreamParser&) override { events += "N"; }
    void parserFoundNumber(VLJsonStreamParser&, const VLJsonNumber& text) override {
        const Value number = text.value();
        events += "n" + std::to_string(static_cast<int>(number.kind())) + number.description();
    }
    void parserFoundString(VLJsonStreamParser&, std::string_view string) override {
        events += "s" + std::to_string(string.size()) + ":" + std::string(string);
    }
    std::string events;
};

struct Run {
    std::string events;
    VLJsonParserStatus status;
};

Run parseInChunks(std::string_view text, bool multi, std::uint32_t seed) {
    Recorder recorder;
    VLJsonStreamParser parser;
    parser.setMulti(multi);
    parser.setDelegate(&recorder);
    VLJsonParserStatus status = VLJsonParserStatus::WaitingForData;
    std::size_t offset = 0;
    do {
        std::size_t size = text.size() - offset;
        if (seed != 0) {
            seed = seed * 1103515245u + 12345u;
            size = std::min<std::size_t>(size, 1 + (seed >> 16) % 17);
        }
        status = parser.parse(text.substr(offset, size));
        offset += size;
    } while (status == VLJsonParserStatus::WaitingForData && offset < text.size());
    return {recorder.events, status};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const std::uint32_t seed = data[0] | 1u;
    const bool multi = (data[0] & 0x80) != 0;
    const std::string_view text(reinterpret_cast<const char*>(data + 1), size - 1);
    const Run whole = parseInChunks(text, multi, 0);
    const Run chunked = parseInChunks(text, multi, seed);
    if (whole.events != chunked.events || whole.status != chunked.status) {
        std::abort();
    }
    return 0;
}
