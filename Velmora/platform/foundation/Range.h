#pragma once
// Range and NotFound: a span of indexes (location, length) and the "no such index"
// answer of every search in the framework.

#include <cstddef>
#include <limits>

namespace velmora {

// The index answered by searches that find nothing.
inline constexpr std::size_t NotFound = std::numeric_limits<std::size_t>::max();

struct Range {
    std::size_t location = 0;
    std::size_t length = 0;

    constexpr std::size_t end() const { return location + length; }
    constexpr bool contains(std::size_t index) const {
        return index >= location && index - location < length;
    }
    constexpr bool operator==(const Range&) const = default;
};

}  // namespace velmora
