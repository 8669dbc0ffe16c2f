// velmora image copy: runs a PNG image through the GPU pipeline (a still-image source and
// one pass-through filter) and writes the result, turned, flipped or resized on the way.
// Sizes are checked against the device before anything is allocated. The filter, blend
// and filters subcommands live in ImageFilterCommand.cpp.
//
//   $ velmora image copy data/images/sample.png /tmp/turned.png --rotate 1
//   data/images/sample.png (48x32) -> /tmp/turned.png (32x48), rotation 1
#include <cstdio>
#include <iostream>
#include <memory>
#include <optional>
#include <regex>
#include <string>

#include <fmt/format.h>

#include "Velmora/imaging/GLImageContext.h"
#include "Velmora/imaging/GLImageFilter.h"

#include "tools/velmora/Commands.h"
#include "tools/velmora/ImageCommandSupport.h"
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

// Any number of digits: the device's limit, not the pattern, says what is too large.
const std::regex kSizePattern("([1-9][0-9]{0,8})x([1-9][0-9]{0,8})");

std::optional<GLSize> parseSize(const std::string& text) {
    std::smatch match;
    if (!std::regex_match(text, match, kSizePattern)) {
        return std::nullopt;
    }
    return GLSize{std::stod(match[1].str()), std::stod(match[2].str())};
}

// The size the filter will render at, before anything is allocated.
GLSize outputSizeFor(const ImageCopyOptions& options, const Image& image) {
    const GLSize input = GLImageContext::sizeThatFitsWithinATextureForSize(
        {static_cast<double>(image.width()), static_cast<double>(image.height())});
    const GLSize rotated = rotatedSize(input, static_cast<GLImageRotationMode>(options.rotation));
    if (!options.size.empty()) {
        return *parseSize(options.size);
    }
    if (!options.fit.empty()) {
        const GLSize box = *parseSize(options.fit);
        return aspectFitRect(input, {0, 0, box.width, box.height}).size();
    }
    return rotated;
}

void copyImage(const ImageCopyOptions& options) {
    const Image image = readInputImage(options.input);
    requireImagePipeline();
    if (!options.size.empty()) {
        checkOutputSize("--size", options.size, *parseSize(options.size));
    } else if (!options.fit.empty()) {
        checkOutputSize("--fit", options.fit, *parseSize(options.fit));
        checkOutputSize("--fit", options.fit, outputSizeFor(options, image));
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
    const Image result = filterImage(image, {filter});
    writeOutputImage(result, options.output);
    writeLine(fmt::format("{} ({}) -> {} ({}), rotation {}", options.input, describeSize(image),
                          options.output, describeSize(result), options.rotation));
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
        const ImageLoggingScope logging;
        copyImage(*options);
    });
    addImageFilterCommands(*image);
}

}  // namespace velmora::tool
