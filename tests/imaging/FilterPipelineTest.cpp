// Typed configuration values, the pipeline's wiring and its configurations.
#include <cstdio>
#include <fstream>
#include <string>

#include <gtest/gtest.h>

#include "Velmora/imaging/GLImageFilterPipeline.h"
#include "Velmora/imaging/GLImageFilterRegistry.h"
#include "Velmora/imaging/GLImageGaussianBlurFilter.h"
#include "Velmora/imaging/GLImagePicture.h"
#include "Velmora/json/VLJson.h"
#include "Velmora/platform/foundation/Dictionary.h"
#include "Velmora/platform/storage/PropertyList.h"

#include "tests/imaging/GLTestSupport.h"

namespace velmora {
namespace {

using Type = GLImageTypedValue::Type;

TEST(TypedValue, PatternCases) {
    struct Case {
        const char* text;
        std::optional<GLImageTypedValue> plain;
        bool checkedAccepts;
    };
    const Case cases[] = {
        {"float(0.5)", GLImageTypedValue::ofFloat(0.5f), true},
        {"  float( 2.5e1 ) trailing", GLImageTypedValue::ofFloat(25.0f), true},
        {"CGPoint(0.5, 0.25)", GLImageTypedValue::ofPoint({0.5, 0.25}), true},
        {"CGPoint(1,\n 2)", GLImageTypedValue::ofPoint({1, 2}), true},
        {"CGPoint(1, 2, 3)", GLImageTypedValue::ofPoint({1, 3}), false},  // the last is y
        {"CGPoint(7)", GLImageTypedValue::ofPoint({7, 0}), false},
        {"NSString(some name)", GLImageTypedValue::ofString("some name"), true},
        {"NSString()", GLImageTypedValue::ofString(""), true},
        {"float(abc)", GLImageTypedValue::ofFloat(0), false},
        {"float(3px)", GLImageTypedValue::ofFloat(3), false},
        {"xfloat(1)", GLImageTypedValue::ofFloat(1), true},  // searched, not matched whole
        {"double(1)", std::nullopt, false},
        {"float(1", std::nullopt, false},
        {"float(1\n)", std::nullopt, false},
        {"", std::nullopt, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(GLImageTypedValue::parse(c.text), c.plain);
        std::string why;
        const auto checked = GLImageTypedValue::parseChecked(c.text, &why);
        EXPECT_EQ(checked.has_value(), c.checkedAccepts) << why;
        if (checked) {
            EXPECT_EQ(checked, c.plain);
        } else {
            EXPECT_FALSE(why.empty());
        }
    }
    EXPECT_EQ(GLImageTypedValue::ofPoint({1, 2}).description(), "CGPoint(1, 2)");
}

Value entry(const char* name, Dictionary attributes = {}, bool withAttributes = true) {
    Dictionary fields{{"FilterName", name}};
    if (withAttributes) {
        fields.set("Attributes", std::move(attributes));
    }
    return fields;
}

TEST(FilterPipeline, ConfigurationErrorsNameTheEntryKeyAndValue) {
    VELMORA_REQUIRE_EGL();
    struct Case {
        Value configuration;
        const char* reason;
    };
    const Case cases[] = {
        {Dictionary{}, "the configuration has no \"Filters\" array"},
        {Dictionary{{"Filters", "x"}}, "\"Filters\" is not an array"},
        {Dictionary{{"Filters", Array{entry("GLImageNoSuchFilter")}}},
         "filter 1: no filter class named \"GLImageNoSuchFilter\""},
        {Dictionary{{"Filters", Array{entry("GLImageGammaFilter"),
                                      entry("GLImageGammaFilter", {{"setGama:", "float(1)"}})}}},
         "filter 2: GLImageGammaFilter has no setter \"setGama:\""},
        {Dictionary{
             {"Filters", Array{entry("GLImageGammaFilter", {{"setGamma:", "CGPoint(1, 2)"}})}}},
         "filter 1: GLImageGammaFilter setGamma:: \"CGPoint(1, 2)\": setGamma: takes float"},
        {Dictionary{{"Filters", Array{entry("GLImageGammaFilter", {{"setGamma:", "float(x)"}})}}},
         "takes one number, not \"x\""},
        {Dictionary{
             {"Filters", Array{entry("GLImageGammaFilter", {{"setGamma:", Array{"float(1)"}}})}}},
         "setGamma: takes one value, not an array"},
        {Dictionary{{"Filters", Array{Value(3)}}}, "filter 1: the entry is not a dictionary"},
    };
    for (const Case& c : cases) {
        std::string why;
        EXPECT_FALSE(GLImageFilterPipeline::parseConfiguration(c.configuration, &why));
        EXPECT_NE(why.find(c.reason), std::string::npos) << why;
    }
}

TEST(FilterPipeline, ConfigurationWithAndWithoutAttributes) {
    VELMORA_REQUIRE_EGL();
    const Value configuration = Dictionary{
        {"Filters",
         Array{entry("GLImageGaussianBlurFilter", {}, false),
               entry("GLImageGaussianBlurFilter", {{"setBlurRadiusInPixels:", "float(4.4)"}}),
               entry("GLImageToneCurveFilter",
                     {{"setRGBControlPoints:",
                       Array{"CGPoint(0, 0)", "CGPoint(0.5, 0.7)", "CGPoint(1, 1)"}}})}}};
    std::string why;
    const auto filters = GLImageFilterPipeline::parseConfiguration(configuration, &why);
    ASSERT_TRUE(filters) << why;
    ASSERT_EQ(filters->size(), 3u);
    EXPECT_EQ(
        std::dynamic_pointer_cast<GLImageGaussianBlurFilter>((*filters)[0])->blurRadiusInPixels(),
        2.0);  // defaults
    EXPECT_EQ(
        std::dynamic_pointer_cast<GLImageGaussianBlurFilter>((*filters)[1])->blurRadiusInPixels(),
        4.0);
    // The same from JSON and from a binary property list on disk.
    const std::string json = R"json({"Filters": [{"FilterName": "GLImageGammaFilter",
        "Attributes": {"setGamma:": "float(2)"}}]})json";
    const std::string jsonPath = ::testing::TempDir() + "velmora-pipeline.json";
    std::ofstream(jsonPath) << json;
    const auto fromJson = GLImageFilterPipeline::readConfigurationFile(jsonPath, &why);
    ASSERT_TRUE(fromJson) << why;
    EXPECT_TRUE(GLImageFilterPipeline::parseConfiguration(*fromJson, &why)) << why;
    const std::string plistPath = ::testing::TempDir() + "velmora-pipeline.plist";
    const auto binary = PropertyList::binaryData(*fromJson);
    ASSERT_TRUE(binary);
    std::ofstream(plistPath, std::ios::binary)
        .write(reinterpret_cast<const char*>(binary->data()),
               static_cast<std::streamsize>(binary->size()));
    const auto fromPlist = GLImageFilterPipeline::readConfigurationFile(plistPath, &why);
    ASSERT_TRUE(fromPlist) << why;
    EXPECT_TRUE(fromPlist->isEqual(*fromJson));
    EXPECT_FALSE(GLImageFilterPipeline::readConfigurationFile(jsonPath + ".missing", &why));
    EXPECT_NE(why.find("cannot be read"), std::string::npos);
    std::remove(jsonPath.c_str());
    std::remove(plistPath.c_str());
}

TEST(FilterPipelineDeathTest, UnparsableConfigurationEndsTheProcess) {
    VELMORA_REQUIRE_EGL();
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(GLImageFilterPipeline(Value(Dictionary{}), nullptr, nullptr),
                 "Sorry, a parsing error occurred\\.");
}

// The targets of each node, by identity.
std::vector<const void*> targetsOf(const std::shared_ptr<GLImageOutput>& node) {
    std::vector<const void*> result;
    for (const auto& target : node->targets()) {
        result.push_back(target.get());
    }
    return result;
}

TEST(FilterPipeline, RewiresAfterEveryChange) {
    VELMORA_REQUIRE_EGL();
    auto make = [](const char* name) {
        return GLImageFilterRegistry::shared().find(name)->create();
    };
    auto asInput = [](const std::shared_ptr<GLImageOutput>& f) -> const void* {
        return std::dynamic_pointer_cast<GLImageInput>(f).get();
    };
    const Image image = testing::makeImage(2, 2, [](int, int) {
        return Rgba8{100, 150, 200, 255};
    });
    auto picture = GLImagePicture::create(image);
    auto sink = std::dynamic_pointer_cast<GLImageInput>(make("GLImageColorInvertFilter"));
    auto a = make("GLImageBrightnessFilter");
    auto b = make("GLImageContrastFilter");
    auto c = make("GLImageGammaFilter");
    GLImageFilterPipeline pipeline({a, b, c}, picture, sink);
    EXPECT_EQ(targetsOf(picture), std::vector<const void*>{asInput(a)});
    EXPECT_EQ(targetsOf(c), std::vector<const void*>{sink.get()});
    auto replacement = make("GLImageExposureFilter");
    pipeline.replaceFilterAtIndex(1, replacement);
    EXPECT_EQ(targetsOf(a), std::vector<const void*>{asInput(replacement)});
    EXPECT_EQ(targetsOf(replacement), std::vector<const void*>{asInput(c)});
    EXPECT_EQ(targetsOf(b), std::vector<const void*>{asInput(c)});  // untouched
    pipeline.removeFilterAtIndex(0);
    EXPECT_EQ(targetsOf(picture), std::vector<const void*>{asInput(replacement)});
    pipeline.addFilter(a, 0);
    EXPECT_EQ(pipeline.filters().front(), a);
    pipeline.removeAllFilters();
    EXPECT_EQ(targetsOf(picture), std::vector<const void*>{sink.get()});
    EXPECT_FALSE(pipeline.newCGImageFromCurrentFilteredFrame());
    // Filters again, and a frame through them.
    pipeline.replaceAllFilters({make("GLImageColorInvertFilter")});
    pipeline.filters().back()->useNextFrameForImageCapture();
    picture->processImage();
    const auto output = pipeline.newCGImageFromCurrentFilteredFrame();
    ASSERT_TRUE(output);
    EXPECT_EQ(output->pixelAt(1, 1), (Rgba8{155, 105, 55, 255}));
}

}  // namespace
}  // namespace velmora
