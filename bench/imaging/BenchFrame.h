#pragma once
// What the imaging benchmarks share: the 1920x1080 test frame, the skip for machines
// without an EGL display and the process CPU time counter.

#include <cstdint>
#include <string>
#include <vector>

#include <GLES2/gl2.h>
#include <benchmark/benchmark.h>
#include <time.h>

#include "Velmora/imaging/GLImageGaussianBlurFilter.h"
#include "Velmora/imaging/gl/EglContext.h"
#include "Velmora/imaging/gl/Image.h"

namespace velmora::bench {

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;

// Opaque RGBA with every channel varying, so that no filter meets a flat image.
inline std::vector<std::uint8_t> frameBytes() {
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(kWidth) * kHeight * 4);
    for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
            std::uint8_t* p = &bytes[(static_cast<std::size_t>(y) * kWidth + x) * 4];
            p[0] = static_cast<std::uint8_t>(x);
            p[1] = static_cast<std::uint8_t>(y);
            p[2] = static_cast<std::uint8_t>(x ^ y);
            p[3] = 255;
        }
    }
    return bytes;
}

inline Image makeFrame() {
    return Image(kWidth, kHeight, 8, 32, kWidth * 4, kImageAlphaLast,
                 DataProvider::owning(frameBytes()));
}

// The sample radius of the programs a GLImageGaussianBlurFilter runs after
// setBlurRadiusInPixels(sigma). A new filter is made with the programs of radius 4 for
// sigma 2 and only a different sigma regenerates them, so at sigma 2 it keeps radius 4
// (a 9-pixel kernel) although the 1/256 rule gives 6. Peers and the plain-GL floor use
// this radius, so that every case does the same work.
inline unsigned blurSampleRadius(double sigma) {
    return sigma == 2.0 ? 4u : GLImageGaussianBlurFilter::sampleRadiusForSigma(sigma);
}

// Attributes 0 (position) and 1 (inputTextureCoordinate) of a quad covering the frame,
// from client memory, as the pipeline's programs read them.
inline void useFullFrameQuad() {
    static const GLfloat vertices[] = {-1, -1, 1, -1, -1, 1, 1, 1};
    static const GLfloat coordinates[] = {0, 0, 1, 0, 0, 1, 1, 1};
    glEnableVertexAttribArray(0);
    glEnableVertexAttribArray(1);
    glVertexAttribPointer(0, 2, GL_FLOAT, GL_FALSE, 0, vertices);
    glVertexAttribPointer(1, 2, GL_FLOAT, GL_FALSE, 0, coordinates);
}

inline bool skipWithoutEgl(benchmark::State& state) {
    if (auto why = EglContext::whyNoDisplay()) {
        state.SkipWithError(("no EGL display: " + *why).c_str());
        return true;
    }
    return false;
}

// Sets the counter "cpu_ms": CPU time of the whole process per iteration over its scope,
// the GL driver's own threads included. Wall time (real_time) is the figure that counts;
// this one says how much of the machine a frame took, which a shared, loaded machine
// disturbs far less.
class ProcessCpuTime {
  public:
    explicit ProcessCpuTime(benchmark::State& state) : state_(state), start_(now()) {}
    ~ProcessCpuTime() {
        if (state_.iterations() > 0) {
            state_.counters["cpu_ms"] =
                (now() - start_) * 1e3 / static_cast<double>(state_.iterations());
        }
    }
    ProcessCpuTime(const ProcessCpuTime&) = delete;
    ProcessCpuTime& operator=(const ProcessCpuTime&) = delete;

  private:
    static double now() {
        timespec time{};
        clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
    }

    benchmark::State& state_;
    double start_;
};

}  // namespace velmora::bench
