// Curves files come from outside (velmora image filter --curve). Any bytes must parse or
// be refused with a reason; what parses has four curves that the plain reader sees alike,
// and every curve prepares into a table without harm.
#include <cstdint>
#include <cstdlib>
#include <span>
#include <stdexcept>
#include <string>

#include "Velmora/imaging/GLImageACVFile.h"
#include "Velmora/imaging/GLImageToneCurveFilter.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace velmora;
    const std::span<const std::uint8_t> bytes(data, size);
    std::string why;
    const auto checked = GLImageACVFile::parse(bytes, &why);
    const GLImageACVFile plain(size > 0 ? bytes : std::span<const std::uint8_t>{});
    if (!checked) {
        if (why.empty()) {
            std::abort();  // a refusal always says why
        }
        return 0;
    }
    if (checked->curveCount() < 4 || plain.curveCount() != checked->curveCount()) {
        std::abort();
    }
    try {
        const std::vector<GLPoint>* curves[] = {&plain.rgbCompositeCurvePoints(),
                                                &plain.redCurvePoints(), &plain.greenCurvePoints(),
                                                &plain.blueCurvePoints()};
        for (const auto* curve : curves) {
            const auto table = GLImageToneCurveFilter::getPreparedSplineCurve(*curve);
            if (!curve->empty() && !table) {
                std::abort();
            }
        }
    } catch (const std::out_of_range&) {
        std::abort();  // four curves were promised
    }
    return 0;
}
