// The containment tests, the fuzzy match and the direction estimate read characters
// (through ICU) rather than bytes: any bytes must give an answer, without a crash and in
// bounded time, whatever the query's characters mean to the expression engine.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "Velmora/text/NSString-More.h"

#include "fuzz/text/ExactInput.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 1) {
        return 0;
    }
    // The first byte splits the rest into a query (at most 15 bytes) and a text.
    const std::size_t querySize = std::min<std::size_t>(data[0] % 16, size - 1);
    const velmora::fuzzing::ExactInput query(data + 1, querySize);
    const velmora::fuzzing::ExactInput text(data + 1 + querySize, size - 1 - querySize);

    const bool contains = velmora::doesContain(text.view(), query.view());
    const bool containsExactly = velmora::doesContainIgnoreLower(text.view(), query.view());
    const bool startsWith = velmora::doesStartWith(text.view(), query.view());
    if ((startsWith && !containsExactly) || (containsExactly && !contains)) {
        std::abort();  // each answer implies the weaker one
    }
    if (!text.view().empty() && !velmora::doesContain(text.view(), text.view())) {
        std::abort();
    }
    (void)velmora::doesContainCharactersInString(text.view(), query.view(), data[0] & 16);
    (void)velmora::isTextRTL(text.view());
    return 0;
}
