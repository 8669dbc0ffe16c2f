// The image pipeline against plain GL, in one run:
//   picture -> pass-through filter -> capture at 1920x1080 (frames per second), with and
//   without reading the pixels back to the CPU;
//   the same draw and read-back in plain GL on one context, no pipeline (the floor);
//   one fetch and return of the framebuffer cache.
#include <cstdint>
#include <string>
#include <vector>

#include <GLES2/gl2.h>
#include <GLES2/gl2ext.h>
#include <benchmark/benchmark.h>

#include "Velmora/imaging/GLImageContext.h"
#include "Velmora/imaging/GLImageFilter.h"
#include "Velmora/imaging/GLImageFramebuffer.h"
#include "Velmora/imaging/GLImageFramebufferCache.h"
#include "Velmora/imaging/GLImagePicture.h"
#include "Velmora/imaging/GLProgram.h"
#include "Velmora/imaging/gl/EglContext.h"

#include "bench/imaging/BenchFrame.h"

namespace {

using namespace velmora;

using bench::kHeight;
using bench::kWidth;
using bench::makeFrame;
using bench::skipWithoutEgl;

void BM_Pipeline_PictureFilterCapture_1080p(benchmark::State& state) {
    if (skipWithoutEgl(state)) {
        return;
    }
    auto picture = GLImagePicture::create(makeFrame());
    auto filter = GLImageFilter::create();
    picture->addTarget(filter);
    std::uint64_t checksum = 0;
    for (auto _ : state) {
        filter->useNextFrameForImageCapture();
        picture->processImage();
        std::optional<Image> image = filter->newCGImageFromCurrentlyProcessedOutput();
        if (!image) {
            state.SkipWithError("capture failed");
            break;
        }
        checksum += image->bytes()[image->bytesPerRow() * (kHeight / 2) + 4 * (kWidth / 2)];
    }
    benchmark::DoNotOptimize(checksum);
    state.SetItemsProcessed(state.iterations());
    state.counters["fps"] =
        benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}
BENCHMARK(BM_Pipeline_PictureFilterCapture_1080p)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_Pipeline_PictureFilterNoReadback_1080p(benchmark::State& state) {
    if (skipWithoutEgl(state)) {
        return;
    }
    auto picture = GLImagePicture::create(makeFrame());
    auto filter = GLImageFilter::create();
    picture->addTarget(filter);
    for (auto _ : state) {
        picture->processImageSynchronously();
        runSynchronouslyOnVideoProcessingQueue([] { glFinish(); });
    }
    state.counters["fps"] =
        benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}
BENCHMARK(BM_Pipeline_PictureFilterNoReadback_1080p)->Unit(benchmark::kMillisecond)->UseRealTime();

// The floor: one context, one program, one texture in, one framebuffer out, glReadPixels.
void BM_PlainGL_DrawAndReadPixels_1080p(benchmark::State& state) {
    if (skipWithoutEgl(state)) {
        return;
    }
    auto context = EglContext::create();
    if (!context || !context->makeCurrent()) {
        state.SkipWithError("no context");
        return;
    }
    const Image frame = makeFrame();
    GLTexture input = generateTexture();
    glBindTexture(GL_TEXTURE_2D, input.name());
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, kWidth, kHeight, 0, GL_RGBA, GL_UNSIGNED_BYTE,
                 frame.bytes());
    GLTexture output = generateTexture();
    glBindTexture(GL_TEXTURE_2D, output.name());
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    // BGRA storage read back as BGRA, as the pipeline's pixel buffers are: no swizzle.
    glTexImage2D(GL_TEXTURE_2D, 0, GL_BGRA_EXT, kWidth, kHeight, 0, GL_BGRA_EXT, GL_UNSIGNED_BYTE,
                 nullptr);
    GLFramebufferObject framebuffer = generateFramebufferObject();
    glBindFramebuffer(GL_FRAMEBUFFER, framebuffer.name());
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, output.name(), 0);
    {
        // The program object is this context's own, outside the pipeline's cache.
        GLShader vertex = createShader(GL_VERTEX_SHADER);
        GLShader fragment = createShader(GL_FRAGMENT_SHADER);
        const char* sources[2] = {kGLImageVertexShaderString,
                                  kGLImagePassthroughFragmentShaderString};
        glShaderSource(vertex.name(), 1, &sources[0], nullptr);
        glShaderSource(fragment.name(), 1, &sources[1], nullptr);
        glCompileShader(vertex.name());
        glCompileShader(fragment.name());
        GLProgramObject program = createProgram();
        glAttachShader(program.name(), vertex.name());
        glAttachShader(program.name(), fragment.name());
        glBindAttribLocation(program.name(), 0, "position");
        glBindAttribLocation(program.name(), 1, "inputTextureCoordinate");
        glLinkProgram(program.name());
        glUseProgram(program.name());
        glUniform1i(glGetUniformLocation(program.name(), "inputImageTexture"), 2);
        bench::useFullFrameQuad();
        glActiveTexture(GL_TEXTURE2);
        glBindTexture(GL_TEXTURE_2D, input.name());
        glViewport(0, 0, kWidth, kHeight);
        std::vector<std::uint8_t> pixels(static_cast<std::size_t>(kWidth) * kHeight * 4);
        std::uint64_t checksum = 0;
        for (auto _ : state) {
            glClear(GL_COLOR_BUFFER_BIT);
            glDrawArrays(GL_TRIANGLE_STRIP, 0, 4);
            glReadPixels(0, 0, kWidth, kHeight, GL_BGRA_EXT, GL_UNSIGNED_BYTE, pixels.data());
            checksum += pixels[pixels.size() / 2];
        }
        benchmark::DoNotOptimize(checksum);
        glUseProgram(0);
    }
    input.reset();
    output.reset();
    framebuffer.reset();
    context->releaseCurrent();
    state.counters["fps"] =
        benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}
BENCHMARK(BM_PlainGL_DrawAndReadPixels_1080p)->Unit(benchmark::kMillisecond)->UseRealTime();

// One fetch (a synchronous trip to the processing queue) and one return (queued there).
void BM_FramebufferCache_FetchAndReturn(benchmark::State& state) {
    if (skipWithoutEgl(state)) {
        return;
    }
    auto& cache = GLImageContext::sharedFramebufferCache();
    const GLSize size{256, 256};
    cache.fetchFramebufferForSize(size, false)->unlock();  // one idle framebuffer to reuse
    for (auto _ : state) {
        auto framebuffer = cache.fetchFramebufferForSize(size, false);
        framebuffer->unlock();
    }
    runSynchronouslyOnVideoProcessingQueue([] {});
}
BENCHMARK(BM_FramebufferCache_FetchAndReturn)->UseRealTime();

// The same, from the processing queue itself, where both run inline (as filters do).
void BM_FramebufferCache_FetchAndReturnOnQueue(benchmark::State& state) {
    if (skipWithoutEgl(state)) {
        return;
    }
    auto& cache = GLImageContext::sharedFramebufferCache();
    const GLSize size{256, 256};
    runSynchronouslyOnVideoProcessingQueue([&] {
        cache.fetchFramebufferForSize(size, false)->unlock();
        for (auto _ : state) {
            auto framebuffer = cache.fetchFramebufferForSize(size, false);
            framebuffer->unlock();
        }
    });
}
BENCHMARK(BM_FramebufferCache_FetchAndReturnOnQueue)->UseRealTime();

}  // namespace
