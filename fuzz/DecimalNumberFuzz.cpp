// DecimalNumber::parse reads numbers from outside text (JSON, archives). Any bytes must
// parse or be refused without harm, and what parses must keep its invariants.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "Velmora/platform/foundation/DecimalNumber.h"
#include "Velmora/platform/foundation/Value.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using velmora::DecimalNumber;
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto number = DecimalNumber::parse(text);
    if (!number) {
        return 0;
    }
    const auto again = DecimalNumber::parse(number->description());
    if (!again || again->compare(*number) != 0 || number->compare(*number) != 0) {
        std::abort();  // the description must read back as the same number
    }
    if (const auto whole = number->toInt64()) {
        if (DecimalNumber::fromInteger(*whole).compare(*number) != 0) {
            std::abort();
        }
    }
    const velmora::Value value(*number);
    if (!value.isEqual(velmora::Value(*again)) || value.hash() != velmora::Value(*again).hash()) {
        std::abort();
    }
    (void)value.integerValue();
    (void)value.doubleValue();
    return 0;
}
