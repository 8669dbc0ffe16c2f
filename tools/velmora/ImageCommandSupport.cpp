#include "tools/velmora/ImageCommandSupport.h"

#include <cmath>

#include <fmt/format.h>

#include "Velmora/imaging/GLImageContext.h"
#include "Velmora/imaging/GLImageFilterPipeline.h"
#include "Velmora/imaging/GLImagePicture.h"
#include "Velmora/imaging/gl/EglContext.h"
#include "Velmora/imaging/gl/PngFile.h"
#include "Velmora/platform/logging/Log.h"
#include "Velmora/services/VelmoraLogging.h"

#include "tools/velmora/ToolSupport.h"

namespace velmora::tool {

ImageLoggingScope::ImageLoggingScope() {
    LoggingOptions logging;
    logging.consoleLevel = LogLevel::Warning;
    configureLogging(logging);
}

ImageLoggingScope::~ImageLoggingScope() {
    Log::removeAllLoggers();
}

Image readInputImage(const std::string& path) {
    std::string why;
    std::optional<Image> image = readPngFile(path, &why);
    if (!image) {
        fail(why);
    }
    return std::move(*image);
}

void requireImagePipeline() {
    if (auto noDisplay = EglContext::whyNoDisplay()) {
        fail("no GPU context can be made: " + *noDisplay);
    }
}

void checkOutputSize(const std::string& option, const std::string& text, GLSize size) {
    const GLint largest = GLImageContext::maximumTextureSizeForThisDevice();
    if (size.width > largest || size.height > largest) {
        usageError(
            fmt::format("{}: {} is larger than this device's largest image, {} pixels a "
                        "side",
                        option, text, largest));
    }
    if (size.width < 1 || size.height < 1) {
        fail(
            fmt::format("{} {} makes an image of {:.2f}x{:.2f} pixels; each side needs at least "
                        "one",
                        option, text, size.width, size.height));
    }
}

Image filterImage(const Image& image, const std::vector<std::shared_ptr<GLImageOutput>>& chain) {
    auto picture = GLImagePicture::create(image);
    if (chain.empty()) {
        return image;
    }
    GLImageFilterPipeline pipeline(chain, picture, nullptr);
    chain.back()->useNextFrameForImageCapture();
    picture->processImageSynchronously();
    std::optional<Image> result = chain.back()->newCGImageFromCurrentlyProcessedOutput();
    pipeline.removeAllFilters();
    if (!result) {
        fail("the image could not be processed");
    }
    return std::move(*result);
}

void writeOutputImage(const Image& image, const std::string& path) {
    std::string why;
    if (!writePngFile(image, path, &why)) {
        fail(why);
    }
}

std::string describeSize(const Image& image) {
    return fmt::format("{}x{}", image.width(), image.height());
}

}  // namespace velmora::tool
