#pragma once
// FrameTime: the time stamp a frame travels with (the platform's media time): a rational
// value/timescale, flags, and an epoch. The pipeline passes it through unchanged; still
// images carry the indefinite time.
//
// Thread safety: a value type.
//
//   FrameTime time = FrameTime::make(1001, 30000);
//   FrameTime still = FrameTime::indefinite();
//   bool ok = time.isValid() && !still.isNumeric();

#include <cstdint>

namespace velmora {

struct FrameTime {
    static constexpr std::uint32_t kValid = 1u << 0;
    static constexpr std::uint32_t kHasBeenRounded = 1u << 1;
    static constexpr std::uint32_t kPositiveInfinity = 1u << 2;
    static constexpr std::uint32_t kNegativeInfinity = 1u << 3;
    static constexpr std::uint32_t kIndefinite = 1u << 4;

    std::int64_t value = 0;
    std::int32_t timescale = 0;
    std::uint32_t flags = 0;
    std::int64_t epoch = 0;

    static constexpr FrameTime make(std::int64_t value, std::int32_t timescale) {
        return FrameTime{value, timescale, kValid, 0};
    }
    static constexpr FrameTime indefinite() { return FrameTime{0, 0, kValid | kIndefinite, 0}; }
    static constexpr FrameTime invalid() { return FrameTime{}; }

    constexpr bool isValid() const { return (flags & kValid) != 0; }
    constexpr bool isIndefinite() const { return isValid() && (flags & kIndefinite) != 0; }
    // Valid and an ordinary number (not indefinite nor infinite).
    constexpr bool isNumeric() const {
        return isValid() && (flags & (kIndefinite | kPositiveInfinity | kNegativeInfinity)) == 0;
    }
    friend constexpr bool operator==(const FrameTime&, const FrameTime&) = default;
};

}  // namespace velmora
