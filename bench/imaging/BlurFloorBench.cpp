// What bounds the Gaussian blur on the GL device, in the same run as the blur itself:
//   BM_Blur_PlainGL/SIGMA: the programs the pipeline's blur runs at that sigma, drawn in
//     plain GL on one context (the frame uploaded once, vertical pass, horizontal pass,
//     glReadPixels of the whole result as BGRA), no pipeline around it: the floor that
//     BM_Blur_Velmora/SIGMA cannot go below on this device;
//   BM_PlainGL_BilinearTaps/N: one full-frame pass whose fragment shader takes N linearly
//     filtered taps and sums them, read back the same way; the slope over N is the cost of
//     one tap per frame, the device's fragment throughput per tap.
// Items are pixels, and for the tap sweep pixel-taps.
#include <cstdint>
#include <string>
#include <vector>

#include <GLES2/gl2.h>
#include <GLES2/gl2ext.h>
#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include "Velmora/imaging/GLImageGaussianBlurFilter.h"
#include "Velmora/imaging/gl/EglContext.h"
#include "Velmora/imaging/gl/GLObjects.h"

#include "bench/imaging/BenchFrame.h"

namespace {

using namespace velmora;
using bench::kHeight;
using bench::kWidth;

constexpr std::int64_t kPixels = std::int64_t{kWidth} * kHeight;

GLuint compiledProgram(GLProgramObject& program, const std::string& vertexText,
                       const std::string& fragmentText) {
    GLShader vertex = createShader(GL_VERTEX_SHADER);
    GLShader fragment = createShader(GL_FRAGMENT_SHADER);
    const char* vertexSource = vertexText.c_str();
    const char* fragmentSource = fragmentText.c_str();
    glShaderSource(vertex.name(), 1, &vertexSource, nullptr);
    glShaderSource(fragment.name(), 1, &fragmentSource, nullptr);
    glCompileShader(vertex.name());
    glCompileShader(fragment.name());
    program = createProgram();
    glAttachShader(program.name(), vertex.name());
    glAttachShader(program.name(), fragment.name());
    glBindAttribLocation(program.name(), 0, "position");
    glBindAttribLocation(program.name(), 1, "inputTextureCoordinate");
    glLinkProgram(program.name());
    GLint linked = GL_FALSE;
    glGetProgramiv(program.name(), GL_LINK_STATUS, &linked);
    return linked == GL_TRUE ? program.name() : 0;
}

// A 1920x1080 texture sampled as the pipeline samples its textures (linear, clamped).
GLTexture frameTexture(GLenum format, const void* bytes) {
    GLTexture texture = generateTexture();
    glBindTexture(GL_TEXTURE_2D, texture.name());
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    glTexImage2D(GL_TEXTURE_2D, 0, static_cast<GLint>(format), kWidth, kHeight, 0, format,
                 GL_UNSIGNED_BYTE, bytes);
    return texture;
}

// One context with the frame uploaded and BGRA render targets, as the pipeline keeps them.
struct PlainGLFrame {
    std::shared_ptr<EglContext> context;
    GLTexture input;
    GLTexture targets[2];
    GLFramebufferObject framebuffers[2];
    std::vector<std::uint8_t> pixels = std::vector<std::uint8_t>(kPixels * 4);

    // Opens the frame, or marks the benchmark skipped and answers false.
    bool openOrSkip(benchmark::State& state) {
        if (bench::skipWithoutEgl(state)) {
            return false;
        }
        if (!open()) {
            state.SkipWithError("no context");
            return false;
        }
        return true;
    }

    // Makes a linked program current, reading the frame's texture unit; otherwise marks
    // the benchmark skipped, closes the frame and answers false.
    bool useProgramOrSkip(GLuint program, benchmark::State& state, const char* why) {
        if (program == 0) {
            state.SkipWithError(why);
            close();
            return false;
        }
        glUseProgram(program);
        glUniform1i(glGetUniformLocation(program, "inputImageTexture"), 2);
        return true;
    }

    bool open() {
        context = EglContext::create();
        if (!context || !context->makeCurrent()) {
            return false;
        }
        const std::vector<std::uint8_t> bytes = bench::frameBytes();
        input = frameTexture(GL_RGBA, bytes.data());
        for (int i = 0; i < 2; ++i) {
            targets[i] = frameTexture(GL_BGRA_EXT, nullptr);
            framebuffers[i] = generateFramebufferObject();
            glBindFramebuffer(GL_FRAMEBUFFER, framebuffers[i].name());
            glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D,
                                   targets[i].name(), 0);
        }
        bench::useFullFrameQuad();
        glViewport(0, 0, kWidth, kHeight);
        glActiveTexture(GL_TEXTURE2);
        return true;
    }

    // Draws into framebuffer `target` from `source`.
    void pass(GLuint source, int target) const {
        glBindFramebuffer(GL_FRAMEBUFFER, framebuffers[target].name());
        glBindTexture(GL_TEXTURE_2D, source);
        glDrawArrays(GL_TRIANGLE_STRIP, 0, 4);
    }

    std::uint8_t readBack(int target) {
        glBindFramebuffer(GL_FRAMEBUFFER, framebuffers[target].name());
        glReadPixels(0, 0, kWidth, kHeight, GL_BGRA_EXT, GL_UNSIGNED_BYTE, pixels.data());
        return pixels[pixels.size() / 2];
    }

    void close() {
        glUseProgram(0);
        input.reset();
        for (int i = 0; i < 2; ++i) {
            targets[i].reset();
            framebuffers[i].reset();
        }
        context->releaseCurrent();
    }
};

std::string rendererLabel() {
    const auto* text = reinterpret_cast<const char*>(glGetString(GL_RENDERER));
    return text != nullptr ? text : "unknown renderer";
}

void BM_Blur_PlainGL(benchmark::State& state) {
    PlainGLFrame frame;
    if (!frame.openOrSkip(state)) {
        return;
    }
    const double sigma = static_cast<double>(state.range(0));
    const unsigned radius = bench::blurSampleRadius(sigma);
    GLProgramObject owner;
    const GLuint program = compiledProgram(
        owner, GLImageGaussianBlurFilter::vertexShaderForOptimizedBlurOfRadius(radius, sigma),
        GLImageGaussianBlurFilter::fragmentShaderForOptimizedBlurOfRadius(radius, sigma));
    if (!frame.useProgramOrSkip(program, state, "the generated program did not link")) {
        return;
    }
    const GLint width = glGetUniformLocation(program, "texelWidthOffset");
    const GLint height = glGetUniformLocation(program, "texelHeightOffset");
    auto blurOnce = [&] {
        glUniform1f(width, 0.0f);
        glUniform1f(height, 1.0f / kHeight);
        frame.pass(frame.input.name(), 0);
        glUniform1f(width, 1.0f / kWidth);
        glUniform1f(height, 0.0f);
        frame.pass(frame.targets[0].name(), 1);
        return frame.readBack(1);
    };
    std::uint64_t checksum = blurOnce();  // untimed: the driver compiles at the first draw
    {
        const bench::ProcessCpuTime cpu(state);
        for (auto _ : state) {
            checksum += blurOnce();
        }
    }
    benchmark::DoNotOptimize(checksum);
    state.SetItemsProcessed(state.iterations() * kPixels);
    state.SetLabel(rendererLabel());
    frame.close();
}
BENCHMARK(BM_Blur_PlainGL)->Arg(2)->Arg(8)->Unit(benchmark::kMillisecond)->UseRealTime();

// N taps along the row, a texel and a half apart, so that each one filters four texels.
std::string tapShader(int taps) {
    std::string text =
        "varying highp vec2 textureCoordinate; uniform sampler2D inputImageTexture; "
        "uniform highp float texelWidthOffset; void main() { lowp vec4 sum = vec4(0.0);\n";
    for (int i = 0; i < taps; ++i) {
        text += fmt::format(
            "sum += texture2D(inputImageTexture, textureCoordinate + vec2(texelWidthOffset * "
            "{}.5, 0.5 / 1080.0));\n",
            i);
    }
    text += fmt::format("gl_FragColor = sum * {:f}; }}", 1.0 / taps);
    return text;
}

void BM_PlainGL_BilinearTaps(benchmark::State& state) {
    PlainGLFrame frame;
    if (!frame.openOrSkip(state)) {
        return;
    }
    const int taps = static_cast<int>(state.range(0));
    GLProgramObject owner;
    const GLuint program =
        compiledProgram(owner,
                        "attribute vec4 position; attribute vec4 inputTextureCoordinate; varying "
                        "vec2 textureCoordinate; void main() { gl_Position = position; "
                        "textureCoordinate = inputTextureCoordinate.xy; }",
                        tapShader(taps));
    if (!frame.useProgramOrSkip(program, state, "the tap program did not link")) {
        return;
    }
    glUniform1f(glGetUniformLocation(program, "texelWidthOffset"), 1.0f / kWidth);
    frame.pass(frame.input.name(), 0);
    std::uint64_t checksum = frame.readBack(0);  // untimed: the first draw compiles
    {
        const bench::ProcessCpuTime cpu(state);
        for (auto _ : state) {
            frame.pass(frame.input.name(), 0);
            checksum += frame.readBack(0);
        }
    }
    benchmark::DoNotOptimize(checksum);
    state.SetItemsProcessed(state.iterations() * kPixels * taps);
    state.SetLabel(rendererLabel());
    frame.close();
}
BENCHMARK(BM_PlainGL_BilinearTaps)
    ->Arg(1)
    ->Arg(4)
    ->Arg(8)
    ->Arg(16)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace
