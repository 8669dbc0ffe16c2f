// velmora image filter / blend / filters: run a PNG image through a chain of filters from
// the catalogue (a blur, a tone curve file, a pipeline configuration, or filters named on
// the command line), blend two images, and list the catalogue.
//
//   $ velmora image filter in.png out.png --filter 'GLImageContrastFilter:setContrast=1.4'
//   in.png (48x32) -> out.png (48x32) through GLImageContrastFilter
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "Velmora/imaging/GLImageACVFile.h"
#include "Velmora/imaging/GLImageFilterPipeline.h"
#include "Velmora/imaging/GLImageFilterRegistry.h"
#include "Velmora/imaging/GLImageGaussianBlurFilter.h"
#include "Velmora/imaging/GLImagePicture.h"
#include "Velmora/imaging/GLImageToneCurveFilter.h"
#include "Velmora/imaging/GLImageTwoInputFilter.h"

#include "tools/velmora/Commands.h"
#include "tools/velmora/ImageCommandSupport.h"
#include "tools/velmora/ToolSupport.h"

namespace velmora::tool {
namespace {

using Filter = std::shared_ptr<GLImageOutput>;

struct FilterOptions {
    std::string input;
    std::string output;
    double blur = -1;
    std::string curve;
    std::string pipeline;
    std::vector<std::string> filters;
};

struct BlendOptions {
    std::string base;
    std::string layer;
    std::string output;
    std::string mode;
    double mix = -1;
};

const std::pair<const char*, const char*> kBlendModes[] = {
    {"alpha", "GLImageAlphaBlendFilter"},   {"multiply", "GLImageMultiplyBlendFilter"},
    {"screen", "GLImageScreenBlendFilter"}, {"overlay", "GLImageOverlayBlendFilter"},
    {"add", "GLImageAddBlendFilter"},       {"difference", "GLImageDifferenceBlendFilter"},
    {"darken", "GLImageDarkenBlendFilter"}, {"lighten", "GLImageLightenBlendFilter"},
};

// A class by its name, or by the short form without "GLImage" and "Filter".
std::shared_ptr<const GLImageFilterRegistry::FilterClass> findClass(const std::string& name) {
    const GLImageFilterRegistry& registry = GLImageFilterRegistry::shared();
    auto found = registry.find(name);
    return found ? found : registry.find("GLImage" + name + "Filter");
}

// Splits at separator outside parentheses, so "CGPoint(1, 2)" stays whole.
std::vector<std::string> splitOutsideParentheses(std::string_view text, char separator) {
    std::vector<std::string> parts;
    std::string current;
    int depth = 0;
    for (const char c : text) {
        depth += c == '(' ? 1 : (c == ')' && depth > 0 ? -1 : 0);
        if (c == separator && depth == 0) {
            parts.push_back(current);
            current.clear();
        } else {
            current += c;
        }
    }
    parts.push_back(current);
    return parts;
}

// One value for setter: a typed value, or a bare number for a float setter.
GLImageTypedValue settingValue(const std::string& where,
                               const GLImageFilterRegistry::Setter& setter,
                               const std::string& text) {
    const bool bare = text.find('(') == std::string::npos;
    const std::string typed =
        bare && setter.type == GLImageTypedValue::Type::Float ? "float(" + text + ")" : text;
    std::string why;
    auto value = GLImageTypedValue::parseChecked(typed, &why);
    if (!value) {
        fail(fmt::format("{} \"{}\": {}", where, text, why));
    }
    if (value->type != setter.type) {
        fail(fmt::format("{} \"{}\" is not a {} value", where, text, setter.typeDescription()));
    }
    return *value;
}

// "NAME[:SETTER=VALUE,...]"; array values are separated by ';'.
Filter filterFromText(const std::string& filterText) {
    const std::size_t colon = filterText.find(':');
    const std::string name = filterText.substr(0, colon);
    const auto filterClass = findClass(name);
    if (!filterClass) {
        fail(fmt::format("--filter {}: no filter named \"{}\" (velmora image filters lists them)",
                         filterText, name));
    }
    if (filterClass->inputCount != 1) {
        fail(fmt::format("--filter {}: {} takes two images; use velmora image blend", filterText,
                         filterClass->name));
    }
    Filter filter = filterClass->create();
    if (colon == std::string::npos || colon + 1 == filterText.size()) {
        return filter;
    }
    for (const std::string& setting :
         splitOutsideParentheses(std::string_view(filterText).substr(colon + 1), ',')) {
        const std::size_t equals = setting.find('=');
        std::string selector = setting.substr(0, equals);
        if (!selector.ends_with(':')) {
            selector += ':';
        }
        const auto* setter = filterClass->setter(selector);
        if (setter == nullptr || equals == std::string::npos) {
            fail(fmt::format("--filter {}: {} {}", filterText, filterClass->name,
                             setter == nullptr
                                 ? "has no setter \"" + selector + "\""
                                 : "needs " + selector.substr(0, selector.size() - 1) + "=VALUE"));
        }
        const std::string where = fmt::format("--filter {}: {}", filterText, selector);
        GLImageFilterRegistry::Arguments arguments;
        const std::string values = setting.substr(equals + 1);
        if (setter->takesArray) {
            for (const std::string& element : splitOutsideParentheses(values, ';')) {
                arguments.push_back(settingValue(where, *setter, element));
            }
        } else {
            arguments.push_back(settingValue(where, *setter, values));
        }
        setter->apply(*filter, arguments);
    }
    return filter;
}

std::vector<Filter> chainFor(const FilterOptions& options) {
    std::vector<Filter> chain;
    std::string why;
    if (options.blur >= 0) {
        auto blur = GLImageFilter::create<GLImageGaussianBlurFilter>();
        blur->setBlurRadiusInPixels(options.blur);
        chain.push_back(blur);
    } else if (!options.curve.empty()) {
        const auto file = GLImageACVFile::read(options.curve, &why);
        if (!file) {
            fail("--curve " + why);
        }
        auto curve = GLImageFilter::create<GLImageToneCurveFilter>();
        curve->setPointsWithACV(*file);
        chain.push_back(curve);
    } else if (!options.pipeline.empty()) {
        const auto configuration =
            GLImageFilterPipeline::readConfigurationFile(options.pipeline, &why);
        if (!configuration) {
            fail("--pipeline " + why);
        }
        auto filters = GLImageFilterPipeline::parseConfiguration(*configuration, &why);
        if (!filters) {
            fail(fmt::format("--pipeline {}: {}", options.pipeline, why));
        }
        for (const Filter& filter : *filters) {
            if (std::dynamic_pointer_cast<GLImageTwoInputFilter>(filter)) {
                fail(
                    fmt::format("--pipeline {}: a filter of two images cannot run on one; use "
                                "velmora image blend",
                                options.pipeline));
            }
        }
        chain = std::move(*filters);
    } else {
        for (const std::string& filterText : options.filters) {
            chain.push_back(filterFromText(filterText));
        }
    }
    return chain;
}

std::string chainDescription(const FilterOptions& options, const std::vector<Filter>& chain) {
    if (options.blur >= 0) {
        return fmt::format("a Gaussian blur of sigma {}", options.blur);
    }
    if (!options.curve.empty()) {
        return "the curves of " + options.curve;
    }
    if (!options.pipeline.empty()) {
        return fmt::format("{} ({} filters)", options.pipeline, chain.size());
    }
    std::vector<std::string> names;
    for (const std::string& filterText : options.filters) {
        names.push_back(findClass(filterText.substr(0, filterText.find(':')))->name);
    }
    return fmt::format("{}", fmt::join(names, ", "));
}

void runFilter(const FilterOptions& options) {
    const Image image = readInputImage(options.input);
    requireImagePipeline();
    const std::vector<Filter> chain = chainFor(options);
    const Image result = filterImage(image, chain);
    writeOutputImage(result, options.output);
    writeLine(fmt::format("{} ({}) -> {} ({}) through {}", options.input, describeSize(image),
                          options.output, describeSize(result), chainDescription(options, chain)));
}

void runBlend(const BlendOptions& options) {
    const Image base = readInputImage(options.base);
    const Image layer = readInputImage(options.layer);
    requireImagePipeline();
    const char* className = nullptr;
    for (const auto& [mode, name] : kBlendModes) {
        className = options.mode == mode ? name : className;
    }
    const auto filterClass = GLImageFilterRegistry::shared().find(className);
    Filter filter = filterClass->create();
    if (options.mix >= 0) {
        filterClass->setter("setMix:")->apply(
            *filter, {GLImageTypedValue::ofFloat(static_cast<float>(options.mix))});
    }
    auto target = std::dynamic_pointer_cast<GLImageInput>(filter);
    auto basePicture = GLImagePicture::create(base);
    auto layerPicture = GLImagePicture::create(layer);
    basePicture->addTarget(target, 0);
    layerPicture->addTarget(target, 1);
    filter->useNextFrameForImageCapture();
    layerPicture->processImageSynchronously();
    basePicture->processImageSynchronously();
    std::optional<Image> result = filter->newCGImageFromCurrentlyProcessedOutput();
    basePicture->removeAllTargets();
    layerPicture->removeAllTargets();
    if (!result) {
        fail("the images could not be blended");
    }
    writeOutputImage(*result, options.output);
    writeLine(fmt::format("{} ({}) {} {} ({}) -> {} ({})", options.base, describeSize(base),
                          options.mode, options.layer, describeSize(layer), options.output,
                          describeSize(*result)));
}

void listFilters() {
    for (const auto& filterClass : GLImageFilterRegistry::shared().all()) {
        writeLine(fmt::format("{}{}: {}", filterClass->name,
                              filterClass->inputCount == 2 ? " (two images)" : "",
                              filterClass->help));
        for (const auto& setter : filterClass->setters) {
            writeLine(
                fmt::format("  {} {}  {}", setter.selector, setter.typeDescription(), setter.help));
        }
    }
}

}  // namespace

void addImageFilterCommands(CLI::App& image) {
    auto filterOptions = std::make_shared<FilterOptions>();
    CLI::App* filter = image.add_subcommand(
        "filter", "Run a PNG image through a blur, a curves file, a pipeline or named filters");
    filter->add_option("FILE", filterOptions->input, "The PNG image to read")->required();
    filter
        ->add_option("OUTPUT", filterOptions->output,
                     "Where to write the result (written whole or not at all)")
        ->required();
    CLI::Option* blur =
        filter->add_option("--blur", filterOptions->blur, "Gaussian blur of this sigma in pixels")
            ->transform(numberIn(0, 100));
    CLI::Option* curve =
        filter->add_option("--curve", filterOptions->curve, "Tone curves from an ACV curves file");
    CLI::Option* pipeline =
        filter->add_option("--pipeline", filterOptions->pipeline,
                           "A pipeline configuration: JSON or a binary property list with "
                           "\"Filters\"");
    CLI::Option* named = filter->add_option(
        "--filter", filterOptions->filters,
        "NAME[:SETTER=VALUE,...] from `velmora image filters`; repeat to chain in order. "
        "VALUE is a number or float(N), CGPoint(X, Y), NSString(TEXT); arrays use ';'");
    blur->excludes(curve, pipeline, named);
    curve->excludes(pipeline, named);
    pipeline->excludes(named);
    filter->callback([filterOptions] {
        const ImageLoggingScope logging;
        if (filterOptions->blur < 0 && filterOptions->curve.empty() &&
            filterOptions->pipeline.empty() && filterOptions->filters.empty()) {
            usageError("one of --blur, --curve, --pipeline or --filter is needed");
        }
        runFilter(*filterOptions);
    });

    auto blendOptions = std::make_shared<BlendOptions>();
    CLI::App* blend =
        image.add_subcommand("blend", "Blend a second PNG image onto a first (stretched to it)");
    blend->add_option("BASE", blendOptions->base, "The PNG image blended onto")->required();
    blend->add_option("LAYER", blendOptions->layer, "The PNG image blended on")->required();
    blend
        ->add_option("OUTPUT", blendOptions->output,
                     "Where to write the result (written whole or not at all)")
        ->required();
    std::vector<std::string> modes;
    for (const auto& [mode, name] : kBlendModes) {
        modes.emplace_back(mode);
    }
    blend->add_option("--mode", blendOptions->mode, "How to blend")
        ->required()
        ->check(CLI::IsMember(modes));
    blend
        ->add_option("--mix", blendOptions->mix,
                     "0 keeps the base ... 1 the full blend (1; alpha 0.5)")
        ->transform(numberIn(0, 1));
    blend->callback([blendOptions] {
        const ImageLoggingScope logging;
        runBlend(*blendOptions);
    });

    image.add_subcommand("filters", "List the filters with their setters and value types")
        ->callback([] { listFilters(); });
}

}  // namespace velmora::tool
