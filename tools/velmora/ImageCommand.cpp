// velmora image copy: runs a PNG image through the GPU pipeline (a still-image source and
// one pass-through filter) and writes the result, turned, flipped or resized on the way.
//
//   $ velmora image copy data/images/sample.png /tmp/turned.png --rotate 1
//   data/images/sample.png (48x32) -> /tmp/turned.png (32x48), rotation 1
#include <cstdio>
#include <iostream>
#include <memory>
#include <optional>
#include <regex>
#include <string>

#include "Velmora/imaging/GLImageFilter.h"
#include "Velmora/imaging/gl/EglContext.h"
#include "Velmora/imaging/gl/PngFile.h"
#include "Velmora/platform/logging/Log.h"
#include "Velmora/services/VelmoraLogging.h"

#include "tools/velmora/Commands.h"
#include "tools/velmora/ToolSupport.h"

namespace velmora::tool {
namespace {

struct ImageCopyOptions {
    std::string input;
    std::string output;
    int rotation = 0;
    std::string size;
    std::string fit;
};

const std::regex kSizePattern("([1-9][0-9]{0,4})x([1-9][0-9]{0,4})");

std::optional<GLSize> parseSize(const std::string& text) {
    std::smatch match;
    if (!std::regex_match(text, match, kSizePattern)) {
        return std::nullopt;
    }
    return GLSize{std::stod(match[1].str()), std::stod(match[2].str())};
}

void copyImage(const ImageCopyOptions& options) {
    std::string why;
    const std::optional<Image> image = readPngFile(options.input, &why);
    if (!image) {
        fail(why);
    }
    if (auto noDisplay = EglContext::whyNoDisplay()) {
        fail("no GPU context can be made: " + *noDisplay);
    }
    auto filter = GLImageFilter::create();
    if (!filter->filterProgram()) {
        fail("the pass-through filter could not be built (see the log above)");
    }
    filter->setInputRotation(static_cast<GLImageRotationMode>(options.rotation), 0);
    if (!options.size.empty()) {
        filter->forceProcessingAtSize(*parseSize(options.size));
    } else if (!options.fit.empty()) {
        filter->forceProcessingAtSizeRespectingAspectRatio(*parseSize(options.fit));
    }
    const std::optional<Image> result = filter->newCGImageByFilteringCGImage(*image);
    if (!result) {
        fail("the image could not be processed");
    }
    if (!writePngFile(*result, options.output, &why)) {
        fail(why);
    }
    std::cout << options.input << " (" << image->width() << "x" << image->height() << ") -> "
              << options.output << " (" << result->width() << "x" << result->height()
              << "), rotation " << options.rotation << '\n';
}

}  // namespace

void addImageCommand(CLI::App& app, int& /*exitCode*/) {
    CLI::App* image = app.add_subcommand("image", "Process images on the GPU pipeline");
    image->require_subcommand(1);
    auto options = std::make_shared<ImageCopyOptions>();
    CLI::App* copy = image->add_subcommand(
        "copy", "Run a PNG image through one pass-through filter and write the result");
    copy->add_option("FILE", options->input, "The PNG image to read")->required();
    copy->add_option("OUTPUT", options->output,
                     "Where to write the result (written whole or not at all)")
        ->required();
    copy->add_option("--rotate", options->rotation,
                     "Input rotation: 0 none, 1 left, 2 right, 3 flip vertical, 4 flip "
                     "horizontal, 5 right + flip vertical, 6 right + flip horizontal, 7 180")
        ->transform(integerIn(0, 7))
        ->capture_default_str();
    const auto sizeCheck = CLI::Validator(
        [](std::string& text) {
            return parseSize(text) ? std::string() : "expected WIDTHxHEIGHT, e.g. 640x480";
        },
        "WxH");
    CLI::Option* size =
        copy->add_option("--size", options->size, "Process at exactly this size")->check(sizeCheck);
    copy->add_option("--fit", options->fit,
                     "Process at the largest size with the image's proportions inside this one")
        ->check(sizeCheck)
        ->excludes(size);
    copy->callback([options] {
        LoggingOptions logging;
        logging.consoleLevel = LogLevel::Warning;
        configureLogging(logging);
        // Loggers go before the tool's error line is printed, whichever way this ends.
        const struct LoggerScope {
            ~LoggerScope() { Log::removeAllLoggers(); }
        } loggers;
        copyImage(*options);
    });
}

}  // namespace velmora::tool
