// Typed values ("float(0.5)", "CGPoint(1, 2)", "NSString(x)") come from configurations
// and the command line. Any text must give a value or nothing without harm; a value the
// checked reader accepts is the plain reader's too, and numbers written back read back the
// same.
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "Velmora/imaging/GLImageTypedValue.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace velmora;
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto plain = GLImageTypedValue::parse(text);
    std::string why;
    const auto checked = GLImageTypedValue::parseChecked(text, &why);
    if (!checked) {
        if (why.empty()) {
            std::abort();
        }
        return 0;
    }
    if (!plain || !(*plain == *checked || std::isnan(plain->number) || std::isnan(plain->point.x) ||
                    std::isnan(plain->point.y))) {
        std::abort();
    }
    const bool finite = std::isfinite(checked->number) && std::isfinite(checked->point.x) &&
                        std::isfinite(checked->point.y);
    if (checked->type != GLImageTypedValue::Type::String && finite) {
        const auto again = GLImageTypedValue::parseChecked(checked->description(), &why);
        if (!again || !(*again == *checked)) {
            std::abort();
        }
    }
    return 0;
}
