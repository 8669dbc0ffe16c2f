// decodePng reads images from outside (the tool's input, files a host opens). Any bytes
// must decode or be refused with a reason; what decodes must encode and decode back to
// the same pixels.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "Velmora/imaging/gl/PngFile.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace velmora;
    std::string why;
    // A small pixel limit keeps a forged header from asking for gigabytes.
    const auto image = decodePng(data, size, &why, std::uint64_t{1} << 20);
    if (!image) {
        if (why.empty()) {
            std::abort();  // a refusal always says why
        }
        return 0;
    }
    const auto encoded = encodePng(*image, &why);
    if (!encoded) {
        std::abort();
    }
    const auto again = decodePng(encoded->data(), encoded->size(), &why);
    if (!again || again->width() != image->width() || again->height() != image->height()) {
        std::abort();
    }
    for (int y = 0; y < image->height(); ++y) {
        for (int x = 0; x < image->width(); ++x) {
            if (!(again->pixelAt(x, y) == image->pixelAt(x, y))) {
                std::abort();
            }
        }
    }
    return 0;
}
