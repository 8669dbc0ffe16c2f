#pragma once
// GLImageFilterPipeline: an ordered chain of filters between one source and one target.
// Every change to the list re-wires the whole chain (input -> filters... -> output); with
// no filters the input feeds the output directly.
//
// A chain can be built from a configuration: a dictionary whose "Filters" array holds
// entries with a "FilterName" (a class in GLImageFilterRegistry) and optional
// "Attributes", a dictionary from setter names ("setIntensity:") to typed values
// ("float(0.5)", see GLImageTypedValue) or arrays of them. The configuration may come from
// a binary property list or from JSON. parseConfiguration says what is wrong (entry, key,
// value); the configuration constructors end the process with "Sorry, a parsing error
// occurred." instead, for callers that treat a bad configuration as a programming error.
//
// Thread safety: build and change a pipeline from one thread at a time.
//
//   std::string why;
//   auto filters = GLImageFilterPipeline::parseConfiguration(config, &why);
//   GLImageFilterPipeline pipeline(*filters, picture, view);
//   picture->processImage();

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Velmora/imaging/GLImageInput.h"
#include "Velmora/imaging/GLImageOutput.h"
#include "Velmora/platform/foundation/Value.h"

namespace velmora {

class GLImageFilterPipeline {
  public:
    // Each filter is both an output and a GLImageInput.
    using Filter = std::shared_ptr<GLImageOutput>;

    GLImageFilterPipeline(std::vector<Filter> orderedFilters, std::shared_ptr<GLImageOutput> input,
                          std::shared_ptr<GLImageInput> output);
    // Ends the process on a configuration that does not parse.
    GLImageFilterPipeline(const Value& configuration, std::shared_ptr<GLImageOutput> input,
                          std::shared_ptr<GLImageInput> output);
    [[nodiscard]] static std::unique_ptr<GLImageFilterPipeline> withConfigurationFile(
        const std::string& path, std::shared_ptr<GLImageOutput> input,
        std::shared_ptr<GLImageInput> output);

    // The filters of a configuration, made and set up, or nothing with what is wrong.
    [[nodiscard]] static std::optional<std::vector<Filter>> parseConfiguration(
        const Value& configuration, std::string* why);
    // The same checks without making anything (no GL needed).
    [[nodiscard]] static bool validateConfiguration(const Value& configuration, std::string* why);
    // A configuration file: a binary property list, or JSON text.
    [[nodiscard]] static std::optional<Value> readConfigurationFile(const std::string& path,
                                                                    std::string* why);

    void addFilter(Filter filter);
    void addFilter(Filter filter, std::size_t index);
    void replaceFilterAtIndex(std::size_t index, Filter filter);
    void removeFilterAtIndex(std::size_t index);
    void removeAllFilters();
    void replaceAllFilters(std::vector<Filter> filters);

    const std::vector<Filter>& filters() const { return filters_; }
    const std::shared_ptr<GLImageOutput>& input() const { return input_; }
    const std::shared_ptr<GLImageInput>& output() const { return output_; }

    // The last filter's current output (nothing without filters or output).
    [[nodiscard]] std::optional<OrientedImage> currentFilteredFrame();
    [[nodiscard]] std::optional<OrientedImage> currentFilteredFrameWithOrientation(
        ImageOrientation orientation);
    [[nodiscard]] std::optional<Image> newCGImageFromCurrentFilteredFrame();

  private:
    void refreshFilters();

    std::vector<Filter> filters_;
    std::shared_ptr<GLImageOutput> input_;
    std::shared_ptr<GLImageInput> output_;
};

}  // namespace velmora
