#include "Velmora/imaging/GLImageFilterPipeline.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>

#include <fmt/format.h>

#include "Velmora/imaging/GLImageFilterRegistry.h"
#include "Velmora/json/VLJson.h"
#include "Velmora/platform/foundation/Dictionary.h"
#include "Velmora/platform/storage/PropertyList.h"

namespace velmora {

namespace {

constexpr const char* kParsingErrorMessage = "Sorry, a parsing error occurred.";

[[noreturn]] void endWithParsingError(const std::string& why) {
    std::fprintf(stderr, "%s (%s)\n", kParsingErrorMessage, why.c_str());
    std::abort();
}

std::shared_ptr<GLImageInput> inputOf(const GLImageFilterPipeline::Filter& filter) {
    return std::dynamic_pointer_cast<GLImageInput>(filter);
}

// The values of one attribute: a typed string, or an array of them.
std::optional<GLImageFilterRegistry::Arguments> attributeArguments(
    const GLImageFilterRegistry::Setter& setter, const Value& value, std::string* why) {
    std::vector<const std::string*> texts;
    if (const std::string* text = value.asString()) {
        texts.push_back(text);
    } else if (const Array* array = value.asArray()) {
        for (const Value& element : *array) {
            const std::string* elementText = element.asString();
            if (elementText == nullptr) {
                *why = "every element of an array value must be a typed string";
                return std::nullopt;
            }
            texts.push_back(elementText);
        }
    } else {
        *why = "the value must be a typed string or an array of them";
        return std::nullopt;
    }
    const bool isArray = value.isArray();
    if (isArray != setter.takesArray) {
        *why = fmt::format("{} takes {}", setter.selector,
                           setter.takesArray ? "an array of values" : "one value, not an array");
        return std::nullopt;
    }
    GLImageFilterRegistry::Arguments arguments;
    for (const std::string* text : texts) {
        std::string reason;
        auto typed = GLImageTypedValue::parseChecked(*text, &reason);
        if (!typed) {
            *why = fmt::format("\"{}\": {}", *text, reason);
            return std::nullopt;
        }
        if (typed->type != setter.type) {
            *why = fmt::format("\"{}\": {} takes {}", *text, setter.selector,
                               setter.typeDescription());
            return std::nullopt;
        }
        arguments.push_back(std::move(*typed));
    }
    if (arguments.empty()) {
        *why = fmt::format("{} needs at least one value", setter.selector);
        return std::nullopt;
    }
    return arguments;
}

// An entry checked against the registry, its values parsed: everything but the filter.
struct PlannedFilter {
    std::shared_ptr<const GLImageFilterRegistry::FilterClass> filterClass;
    std::vector<std::pair<const GLImageFilterRegistry::Setter*, GLImageFilterRegistry::Arguments>>
        settings;
};

std::optional<PlannedFilter> planEntry(const Value& entry, std::string* why) {
    const Dictionary* fields = entry.asDictionary();
    if (fields == nullptr) {
        *why = "the entry is not a dictionary";
        return std::nullopt;
    }
    const Value* nameValue = fields->find("FilterName");
    const std::string* name = nameValue != nullptr ? nameValue->asString() : nullptr;
    if (name == nullptr) {
        *why = "\"FilterName\" is missing or not a string";
        return std::nullopt;
    }
    PlannedFilter plan;
    plan.filterClass = GLImageFilterRegistry::shared().find(*name);
    if (!plan.filterClass) {
        *why = fmt::format("no filter class named \"{}\"", *name);
        return std::nullopt;
    }
    const Value* attributes = fields->find("Attributes");
    if (attributes == nullptr) {
        return plan;
    }
    const Dictionary* setters = attributes->asDictionary();
    if (setters == nullptr) {
        *why = fmt::format("{}: \"Attributes\" is not a dictionary", *name);
        return std::nullopt;
    }
    for (const auto& [key, value] : *setters) {
        const std::string* selector = key.asString();
        const GLImageFilterRegistry::Setter* setter =
            selector != nullptr ? plan.filterClass->setter(*selector) : nullptr;
        if (setter == nullptr) {
            *why = fmt::format("{} has no setter \"{}\"", *name,
                               selector != nullptr ? *selector : std::string("(not a string)"));
            return std::nullopt;
        }
        std::string reason;
        auto arguments = attributeArguments(*setter, value, &reason);
        if (!arguments) {
            *why = fmt::format("{} {}: {}", *name, *selector, reason);
            return std::nullopt;
        }
        plan.settings.emplace_back(setter, std::move(*arguments));
    }
    return plan;
}

std::optional<std::vector<PlannedFilter>> planConfiguration(const Value& configuration,
                                                            std::string* why) {
    std::string reason;
    const Dictionary* root = configuration.asDictionary();
    const Value* list = root != nullptr ? root->find("Filters") : nullptr;
    std::vector<PlannedFilter> plans;
    if (list == nullptr) {
        reason = "the configuration has no \"Filters\" array";
    } else if (const Array* entries = list->asArray(); entries == nullptr) {
        reason = "\"Filters\" is not an array";
    } else {
        for (std::size_t i = 0; i < entries->size() && reason.empty(); ++i) {
            std::string entryReason;
            auto plan = planEntry((*entries)[i], &entryReason);
            if (plan) {
                plans.push_back(std::move(*plan));
            } else {
                reason = fmt::format("filter {}: {}", i + 1, entryReason);
            }
        }
    }
    if (!reason.empty()) {
        if (why != nullptr) {
            *why = std::move(reason);
        }
        return std::nullopt;
    }
    return plans;
}

}  // namespace

GLImageFilterPipeline::GLImageFilterPipeline(std::vector<Filter> orderedFilters,
                                             std::shared_ptr<GLImageOutput> input,
                                             std::shared_ptr<GLImageInput> output)
    : filters_(std::move(orderedFilters)), input_(std::move(input)), output_(std::move(output)) {
    refreshFilters();
}

GLImageFilterPipeline::GLImageFilterPipeline(const Value& configuration,
                                             std::shared_ptr<GLImageOutput> input,
                                             std::shared_ptr<GLImageInput> output)
    : input_(std::move(input)), output_(std::move(output)) {
    std::string why;
    auto filters = parseConfiguration(configuration, &why);
    if (!filters) {
        endWithParsingError(why);
    }
    filters_ = std::move(*filters);
    refreshFilters();
}

std::unique_ptr<GLImageFilterPipeline> GLImageFilterPipeline::withConfigurationFile(
    const std::string& path, std::shared_ptr<GLImageOutput> input,
    std::shared_ptr<GLImageInput> output) {
    std::string why;
    auto configuration = readConfigurationFile(path, &why);
    if (!configuration) {
        endWithParsingError(why);
    }
    return std::make_unique<GLImageFilterPipeline>(*configuration, std::move(input),
                                                   std::move(output));
}

bool GLImageFilterPipeline::validateConfiguration(const Value& configuration, std::string* why) {
    return planConfiguration(configuration, why).has_value();
}

std::optional<std::vector<GLImageFilterPipeline::Filter>> GLImageFilterPipeline::parseConfiguration(
    const Value& configuration, std::string* why) {
    // Everything is checked before the first filter is made: a bad entry costs no GL work.
    auto plans = planConfiguration(configuration, why);
    if (!plans) {
        return std::nullopt;
    }
    std::vector<Filter> filters;
    for (std::size_t i = 0; i < plans->size(); ++i) {
        const PlannedFilter& plan = (*plans)[i];
        Filter filter = plan.filterClass->create();
        if (!filter || !inputOf(filter)) {
            if (why != nullptr) {
                *why = fmt::format("filter {}: {} could not be made (see the log)", i + 1,
                                   plan.filterClass->name);
            }
            return std::nullopt;
        }
        for (const auto& [setter, arguments] : plan.settings) {
            setter->apply(*filter, arguments);
        }
        filters.push_back(std::move(filter));
    }
    return filters;
}

std::optional<Value> GLImageFilterPipeline::readConfigurationFile(const std::string& path,
                                                                  std::string* why) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        if (why != nullptr) {
            *why = fmt::format("{}: cannot be read", path);
        }
        return std::nullopt;
    }
    const std::vector<std::uint8_t> bytes{std::istreambuf_iterator<char>(in),
                                          std::istreambuf_iterator<char>()};
    constexpr std::string_view kBinaryPlist = "bplist";
    constexpr std::string_view kXmlStart = "<?xml";
    const std::string_view head(reinterpret_cast<const char*>(bytes.data()),
                                std::min(bytes.size(), std::size_t{8}));
    std::string reason;
    std::optional<Value> value;
    if (head.starts_with(kBinaryPlist)) {
        value = PropertyList::read(bytes, &reason);
    } else if (head.starts_with(kXmlStart)) {
        reason =
            "XML property lists are not read; convert it to binary (plistutil -f bin) or "
            "write the configuration as JSON";
    } else {
        value = parseJson(
            std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()), &reason);
    }
    if (!value && why != nullptr) {
        *why = fmt::format("{}: {}", path, reason);
    }
    return value;
}

void GLImageFilterPipeline::addFilter(Filter filter) {
    filters_.push_back(std::move(filter));
    refreshFilters();
}

void GLImageFilterPipeline::addFilter(Filter filter, std::size_t index) {
    filters_.insert(filters_.begin() + static_cast<std::ptrdiff_t>(index), std::move(filter));
    refreshFilters();
}

void GLImageFilterPipeline::replaceFilterAtIndex(std::size_t index, Filter filter) {
    filters_.at(index) = std::move(filter);
    refreshFilters();
}

void GLImageFilterPipeline::removeFilterAtIndex(std::size_t index) {
    filters_.erase(filters_.begin() + static_cast<std::ptrdiff_t>(index));
    refreshFilters();
}

void GLImageFilterPipeline::removeAllFilters() {
    filters_.clear();
    refreshFilters();
}

void GLImageFilterPipeline::replaceAllFilters(std::vector<Filter> filters) {
    filters_ = std::move(filters);
    refreshFilters();
}

void GLImageFilterPipeline::refreshFilters() {
    std::shared_ptr<GLImageOutput> previous = input_;
    for (const Filter& filter : filters_) {
        previous->removeAllTargets();
        previous->addTarget(inputOf(filter));
        previous = filter;
    }
    previous->removeAllTargets();
    if (output_) {
        previous->addTarget(output_);
    }
}

std::optional<OrientedImage> GLImageFilterPipeline::currentFilteredFrame() {
    return filters_.empty() ? std::nullopt : filters_.back()->imageFromCurrentFramebuffer();
}

std::optional<OrientedImage> GLImageFilterPipeline::currentFilteredFrameWithOrientation(
    ImageOrientation orientation) {
    return filters_.empty()
               ? std::nullopt
               : filters_.back()->imageFromCurrentFramebufferWithOrientation(orientation);
}

std::optional<Image> GLImageFilterPipeline::newCGImageFromCurrentFilteredFrame() {
    return filters_.empty() ? std::nullopt
                            : filters_.back()->newCGImageFromCurrentlyProcessedOutput();
}

}  // namespace velmora
