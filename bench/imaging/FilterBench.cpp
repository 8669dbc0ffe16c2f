// The filters against OpenCV on the CPU, in one run, on a 1920x1080 RGBA frame:
//   Gaussian blur at sigma 2 and 8: BM_Blur_Velmora uploads the frame once, before timing,
//   then each iteration blurs (both passes) and reads the whole result back into CPU memory
//   (the capture); BM_Blur_VelmoraWithUpload also makes the picture each iteration
//   (premultiplying and uploading the straight-alpha RGBA frame); OpenCV's GaussianBlur
//   with the same kernel width reads and writes CPU memory, on one thread and on all;
//   the tone curve against OpenCV's LUT with the same table;
//   a five-filter pipeline end to end, upload and read-back included.
// Items are pixels, so items_per_second is pixels per second.
#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <GLES2/gl2.h>
#include <benchmark/benchmark.h>

#include "Velmora/imaging/GLImageContext.h"
#include "Velmora/imaging/GLImageFilterPipeline.h"
#include "Velmora/imaging/GLImageFilterRegistry.h"
#include "Velmora/imaging/GLImageGaussianBlurFilter.h"
#include "Velmora/imaging/GLImagePicture.h"
#include "Velmora/imaging/GLImageToneCurveFilter.h"

#include "bench/imaging/BenchFrame.h"

#if VELMORA_BENCH_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

namespace {

using namespace velmora;
using bench::kHeight;
using bench::kWidth;

constexpr std::int64_t kPixels = std::int64_t{kWidth} * kHeight;
const GLImageToneCurveFilter::ControlPoints kCurve{{0, 0}, {0.3, 0.4}, {0.7, 0.8}, {1, 1}};

// Captures the chain's last filter for one processed frame; false when it fails.
bool captureOnce(GLImagePicture& picture, GLImageOutput& last, std::uint64_t& checksum) {
    last.useNextFrameForImageCapture();
    picture.processImageSynchronously();
    std::optional<Image> image = last.newCGImageFromCurrentlyProcessedOutput();
    if (!image) {
        return false;
    }
    checksum += image->bytes()[image->bytesPerRow() * (kHeight / 2) + 4 * (kWidth / 2)];
    return true;
}

// The GL renderer the pipeline runs on ("llvmpipe ..." without a GPU), as the label of
// each GL case, so that a figure says which device made it.
std::string rendererName() {
    std::string name;
    runSynchronouslyOnVideoProcessingQueue([&name] {
        GLImageContext::useImageProcessingContext();
        const auto* text = reinterpret_cast<const char*>(glGetString(GL_RENDERER));
        name = text != nullptr ? text : "unknown renderer";
    });
    return name;
}

void finish(benchmark::State& state, std::uint64_t checksum, bool onGl = true) {
    benchmark::DoNotOptimize(checksum);
    state.SetItemsProcessed(state.iterations() * kPixels);
    if (onGl) {
        state.SetLabel(rendererName());
    }
    state.counters["fps"] =
        benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}

void BM_Blur_Velmora(benchmark::State& state) {
    if (bench::skipWithoutEgl(state)) {
        return;
    }
    auto picture = GLImagePicture::create(bench::makeFrame());
    auto blur = GLImageFilter::create<GLImageGaussianBlurFilter>();
    blur->setBlurRadiusInPixels(static_cast<double>(state.range(0)));
    picture->addTarget(blur);
    std::uint64_t checksum = 0;
    // Untimed: the driver compiles a program at its first draw.
    if (!captureOnce(*picture, *blur, checksum)) {
        state.SkipWithError("capture failed");
        return;
    }
    {
        const bench::ProcessCpuTime cpu(state);
        for (auto _ : state) {
            if (!captureOnce(*picture, *blur, checksum)) {
                state.SkipWithError("capture failed");
                break;
            }
        }
    }
    finish(state, checksum);
}
BENCHMARK(BM_Blur_Velmora)->Arg(2)->Arg(8)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_Blur_VelmoraWithUpload(benchmark::State& state) {
    if (bench::skipWithoutEgl(state)) {
        return;
    }
    const Image frame = bench::makeFrame();
    auto blur = GLImageFilter::create<GLImageGaussianBlurFilter>();
    blur->setBlurRadiusInPixels(static_cast<double>(state.range(0)));
    std::uint64_t checksum = 0;
    {
        auto picture = GLImagePicture::create(frame);
        picture->addTarget(blur);
        (void)captureOnce(*picture, *blur, checksum);  // untimed: the first draw compiles
        picture->removeAllTargets();
    }
    {
        const bench::ProcessCpuTime cpu(state);
        for (auto _ : state) {
            auto picture = GLImagePicture::create(frame);
            picture->addTarget(blur);
            const bool captured = captureOnce(*picture, *blur, checksum);
            picture->removeAllTargets();
            if (!captured) {
                state.SkipWithError("capture failed");
                break;
            }
        }
    }
    finish(state, checksum);
}
BENCHMARK(BM_Blur_VelmoraWithUpload)->Arg(2)->Arg(8)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_ToneCurve_Velmora(benchmark::State& state) {
    if (bench::skipWithoutEgl(state)) {
        return;
    }
    auto picture = GLImagePicture::create(bench::makeFrame());
    auto curve = GLImageFilter::create<GLImageToneCurveFilter>();
    curve->setRGBControlPoints(kCurve);
    picture->addTarget(curve);
    std::uint64_t checksum = 0;
    for (auto _ : state) {
        if (!captureOnce(*picture, *curve, checksum)) {
            state.SkipWithError("capture failed");
            break;
        }
    }
    finish(state, checksum);
}
BENCHMARK(BM_ToneCurve_Velmora)->Unit(benchmark::kMillisecond)->UseRealTime();

// Upload, brightness, contrast, saturation, tone curve, blur at sigma 2, read-back.
void BM_FiveFilterPipeline_Velmora(benchmark::State& state) {
    if (bench::skipWithoutEgl(state)) {
        return;
    }
    const Image frame = bench::makeFrame();
    std::vector<std::shared_ptr<GLImageOutput>> filters;
    for (const char* name :
         {"GLImageBrightnessFilter", "GLImageContrastFilter", "GLImageSaturationFilter",
          "GLImageToneCurveFilter", "GLImageGaussianBlurFilter"}) {
        filters.push_back(GLImageFilterRegistry::shared().find(name)->create());
    }
    std::static_pointer_cast<GLImageToneCurveFilter>(filters[3])->setRGBControlPoints(kCurve);
    std::uint64_t checksum = 0;
    for (auto _ : state) {
        auto picture = GLImagePicture::create(frame);
        GLImageFilterPipeline pipeline(filters, picture, nullptr);
        if (!captureOnce(*picture, *filters.back(), checksum)) {
            state.SkipWithError("capture failed");
            break;
        }
        pipeline.removeAllFilters();
    }
    finish(state, checksum);
}
BENCHMARK(BM_FiveFilterPipeline_Velmora)->Unit(benchmark::kMillisecond)->UseRealTime();

#if VELMORA_BENCH_OPENCV

// threads 0: OpenCV's default (all cores).
void BM_Blur_OpenCV(benchmark::State& state) {
    const int threads = static_cast<int>(state.range(1));
    const int previous = cv::getNumThreads();
    cv::setNumThreads(threads == 0 ? -1 : threads);
    std::vector<std::uint8_t> bytes = bench::frameBytes();
    const cv::Mat source(kHeight, kWidth, CV_8UC4, bytes.data());
    cv::Mat blurred;
    const double sigma = static_cast<double>(state.range(0));
    // The same kernel width as the filter's programs.
    const int radius = static_cast<int>(bench::blurSampleRadius(sigma));
    const cv::Size kernel(2 * radius + 1, 2 * radius + 1);
    std::uint64_t checksum = 0;
    {
        const bench::ProcessCpuTime cpu(state);
        for (auto _ : state) {
            cv::GaussianBlur(source, blurred, kernel, sigma, sigma, cv::BORDER_REPLICATE);
            checksum += blurred.ptr<std::uint8_t>(kHeight / 2)[4 * (kWidth / 2)];
        }
    }
    cv::setNumThreads(previous);
    state.counters["threads"] = threads == 0 ? cv::getNumberOfCPUs() : threads;
    finish(state, checksum, false);
}
BENCHMARK(BM_Blur_OpenCV)
    ->ArgsProduct({{2, 8}, {1, 0}})
    ->ArgNames({"sigma", "threads"})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

void BM_ToneCurve_OpenCVLut(benchmark::State& state) {
    const int threads = static_cast<int>(state.range(0));
    const int previous = cv::getNumThreads();
    cv::setNumThreads(threads == 0 ? -1 : threads);
    std::vector<std::uint8_t> bytes = bench::frameBytes();
    const cv::Mat source(kHeight, kWidth, CV_8UC4, bytes.data());
    auto offsets = GLImageToneCurveFilter::getPreparedSplineCurve(kCurve).value();
    cv::Mat table(1, 256, CV_8UC4);
    for (int i = 0; i < 256; ++i) {
        const auto v = static_cast<std::uint8_t>(
            std::clamp(static_cast<double>(i) + offsets[static_cast<std::size_t>(i)], 0.0, 255.0));
        table.at<cv::Vec4b>(0, i) = {v, v, v, static_cast<std::uint8_t>(i)};
    }
    cv::Mat mapped;
    std::uint64_t checksum = 0;
    for (auto _ : state) {
        cv::LUT(source, table, mapped);
        checksum += mapped.ptr<std::uint8_t>(kHeight / 2)[4 * (kWidth / 2)];
    }
    cv::setNumThreads(previous);
    finish(state, checksum, false);
}
BENCHMARK(BM_ToneCurve_OpenCVLut)
    ->Arg(1)
    ->Arg(0)
    ->ArgNames({"threads"})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

#endif

}  // namespace
