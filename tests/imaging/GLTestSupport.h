#pragma once
// Helpers of the imaging suites: skipping when the machine has no EGL display at all,
// images made from a pixel function, and a log catcher.

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Velmora/imaging/gl/EglContext.h"
#include "Velmora/imaging/gl/Image.h"
#include "Velmora/platform/logging/Log.h"
#include "Velmora/platform/logging/MemoryLogger.h"

// GL tests run everywhere Mesa's llvmpipe (or a GPU driver) offers an EGL display; only a
// machine with no display at all skips them.
#define VELMORA_REQUIRE_EGL()                                              \
    do {                                                                   \
        if (auto whyNot = ::velmora::EglContext::whyNoDisplay()) {         \
            GTEST_SKIP() << "no EGL display on this machine: " << *whyNot; \
        }                                                                  \
    } while (false)

namespace velmora::testing {

// A straight-alpha RGBA image whose pixel (x, y) is pixel(x, y); row 0 is the top.
inline Image makeImage(int width, int height, const std::function<Rgba8(int, int)>& pixel) {
    std::vector<std::uint8_t> bytes;
    bytes.reserve(static_cast<std::size_t>(width) * height * 4);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const Rgba8 p = pixel(x, y);
            bytes.insert(bytes.end(), {p.r, p.g, p.b, p.a});
        }
    }
    return Image(width, height, 8, 32, static_cast<std::size_t>(width) * 4, kImageAlphaLast,
                 DataProvider::owning(std::move(bytes)));
}

// An opaque image in which every pixel differs from every other.
inline Image makeDistinctImage(int width, int height) {
    return makeImage(width, height, [](int x, int y) {
        return Rgba8{static_cast<std::uint8_t>(30 + 40 * x), static_cast<std::uint8_t>(20 + 70 * y),
                     static_cast<std::uint8_t>(200 - 9 * (x + 5 * y)), 255};
    });
}

// Collects log lines for the scope's life.
class ScopedLogCatcher {
  public:
    ScopedLogCatcher() : logger_(std::make_shared<MemoryLogger>(200)) { Log::addLogger(logger_); }
    ~ScopedLogCatcher() { Log::removeLogger(logger_); }
    ScopedLogCatcher(const ScopedLogCatcher&) = delete;
    ScopedLogCatcher& operator=(const ScopedLogCatcher&) = delete;

    // Index of the first line (at or after from) containing text, or -1.
    int find(const std::string& text, int from = 0) const {
        const auto lines = logger_->lines();
        for (int i = from; i < static_cast<int>(lines.size()); ++i) {
            if (lines[static_cast<std::size_t>(i)].find(text) != std::string::npos) {
                return i;
            }
        }
        return -1;
    }
    std::vector<std::string> lines() const { return logger_->lines(); }

  private:
    std::shared_ptr<MemoryLogger> logger_;
};

}  // namespace velmora::testing
