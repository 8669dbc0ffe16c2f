// Pipeline configurations come from outside (velmora image filter --pipeline), as JSON or
// binary property lists. Any bytes must be read or refused with a reason, and any value
// must be accepted or refused with a reason by the configuration checks (which make no
// filters, so this runs without GL).
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "Velmora/imaging/GLImageFilterPipeline.h"
#include "Velmora/json/VLJson.h"
#include "Velmora/platform/storage/PropertyList.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace velmora;
    std::string why;
    std::optional<Value> configuration;
    if (size >= 6 && std::string_view(reinterpret_cast<const char*>(data), 6) == "bplist") {
        configuration = PropertyList::read(std::span<const std::uint8_t>(data, size), &why);
    } else {
        configuration =
            parseJson(std::string_view(reinterpret_cast<const char*>(data), size), &why);
    }
    if (!configuration) {
        if (why.empty()) {
            std::abort();
        }
        return 0;
    }
    why.clear();
    if (!GLImageFilterPipeline::validateConfiguration(*configuration, &why) && why.empty()) {
        std::abort();
    }
    return 0;
}
