// velmora image filter / blend / filters end to end: outputs, and for every bad input the
// one error line, exit status 1 and no output file.
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Velmora/imaging/gl/PngFile.h"

#include "tests/support/ScopedVelmoraHome.h"
#include "tests/tools/ToolRun.h"

namespace velmora::testing {
namespace {

const std::string kSample = std::string(VELMORA_SOURCE_DIR) + "/data/images/sample.png";
const std::string kCurves = std::string(VELMORA_SOURCE_DIR) + "/data/images/warm.acv";
const std::string kPipeline = std::string(VELMORA_SOURCE_DIR) + "/data/images/pipeline.json";

bool gpuMissing(const ToolResult& result) {
    return result.err.find("no GPU context") != std::string::npos;
}

TEST(ImageTool, FilterBlendAndListWriteImages) {
    ScopedVelmoraHome scratch;
    const std::string out = (scratch.path() / "out.png").string();
    struct Case {
        std::vector<std::string> arguments;
        std::string expectedOut;
        int width, height;
    };
    const Case cases[] = {
        {{"image", "filter", kSample, out, "--blur", "2"},
         kSample + " (48x32) -> " + out + " (48x32) through a Gaussian blur of sigma 2\n",
         48,
         32},
        {{"image", "filter", kSample, out, "--curve", kCurves},
         kSample + " (48x32) -> " + out + " (48x32) through the curves of " + kCurves + "\n",
         48,
         32},
        {{"image", "filter", kSample, out, "--pipeline", kPipeline},
         kSample + " (48x32) -> " + out + " (48x32) through " + kPipeline + " (4 filters)\n",
         48,
         32},
        {{"image", "filter", kSample, out, "--filter", "Crop:setCropRegion=0;0;0.5;0.25",
          "--filter", "GLImageGammaFilter:setGamma:=float(1.2)"},
         kSample + " (48x32) -> " + out + " (24x8) through GLImageCropFilter, GLImageGammaFilter\n",
         24,
         8},
        {{"image", "blend", kSample, kSample, out, "--mode", "screen", "--mix", "0.5"},
         kSample + " (48x32) screen " + kSample + " (48x32) -> " + out + " (48x32)\n",
         48,
         32},
    };
    for (const Case& c : cases) {
        std::filesystem::remove(out);
        const ToolResult result = runTool(c.arguments);
        if (gpuMissing(result)) {
            GTEST_SKIP() << result.err;
        }
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(result.out, c.expectedOut);
        std::string why;
        const auto image = readPngFile(out, &why);
        ASSERT_TRUE(image) << why;
        EXPECT_EQ(image->width(), c.width);
        EXPECT_EQ(image->height(), c.height);
    }
    const ToolResult list = runTool({"image", "filters"});
    EXPECT_EQ(list.status, 0);
    EXPECT_NE(list.out.find("GLImageToneCurveFilter: "), std::string::npos);
    EXPECT_NE(list.out.find("  setRGBControlPoints: [CGPoint]  "), std::string::npos);
    EXPECT_NE(list.out.find("GLImageOverlayBlendFilter (two images): "), std::string::npos);
}

TEST(ImageTool, BadInputsSayWhyAndLeaveNoOutput) {
    ScopedVelmoraHome scratch;
    const std::filesystem::path dir = scratch.path();
    const std::string out = (dir / "out.png").string();
    const std::string shortCurves = (dir / "short.acv").string();
    std::ofstream(shortCurves, std::ios::binary).write("\0\4\0\1\0\2\0\0\0\0\0\xff\0\xff", 14);
    const std::string truncated = (dir / "truncated.png").string();
    {
        std::ifstream in(kSample, std::ios::binary);
        std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        std::ofstream(truncated, std::ios::binary) << bytes.substr(0, bytes.size() / 2);
    }
    const std::string noFilters = (dir / "empty.json").string();
    std::ofstream(noFilters) << R"({"Steps": []})";
    const std::string filter = "error: velmora image filter: ";
    struct Case {
        std::vector<std::string> arguments;
        int status;
        std::string error;  // the whole line, or its start when it ends in "..."
    };
    const Case cases[] = {
        {{"image", "filter", (dir / "missing.png").string(), out, "--blur", "2"},
         1,
         filter + "cannot open " + (dir / "missing.png").string() + ": No such file or directory"},
        {{"image", "filter", truncated, out, "--blur", "2"}, 1, filter + "..."},
        {{"image", "filter", kSample, out, "--curve", shortCurves},
         1,
         filter + "--curve " + shortCurves +
             ": 1 curve(s); a curves file needs four (composite, red, green and blue)"},
        {{"image", "filter", kSample, out, "--filter", "Sparkle"},
         1,
         filter +
             "--filter Sparkle: no filter named \"Sparkle\" (velmora image filters lists them)"},
        {{"image", "filter", kSample, out, "--filter", "Gamma:setBrightness=1"},
         1,
         filter +
             "--filter Gamma:setBrightness=1: GLImageGammaFilter has no setter \"setBrightness:\""},
        {{"image", "filter", kSample, out, "--filter", "Gamma:setGamma=CGPoint(1, 2)"},
         1,
         filter + "--filter Gamma:setGamma=CGPoint(1, 2): setGamma: \"CGPoint(1, 2)\" is not a "
                  "float value"},
        {{"image", "filter", kSample, out, "--pipeline", noFilters},
         1,
         filter + "--pipeline " + noFilters + ": the configuration has no \"Filters\" array"},
        {{"image", "filter", kSample, out},
         2,
         filter + "one of --blur, --curve, --pipeline or --filter is needed"},
        {{"image", "blend", kSample, kSample, out, "--mode", "burn"},
         2,
         "error: velmora image blend: ..."},
        {{"image", "copy", kSample, out, "--size", "40000x10"},
         2,
         "error: velmora image copy: --size: 40000x10 is larger than this device's largest image, "
         "..."},
        {{"image", "copy", kSample, out, "--fit", "1x1000"},
         1,
         "error: velmora image copy: --fit 1x1000 makes an image of 1.00x0.67 pixels; each side "
         "needs at least one"},
    };
    for (const Case& c : cases) {
        const ToolResult result = runTool(c.arguments);
        if (gpuMissing(result)) {
            GTEST_SKIP() << result.err;
        }
        SCOPED_TRACE(c.arguments.back());
        EXPECT_EQ(result.status, c.status) << result.err;
        if (c.error.ends_with("...")) {
            EXPECT_TRUE(result.err.starts_with(c.error.substr(0, c.error.size() - 3)))
                << result.err;
            EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
        } else {
            EXPECT_EQ(result.err, c.error + "\n");
        }
        EXPECT_TRUE(result.out.empty()) << result.out;
        EXPECT_FALSE(std::filesystem::exists(out));
    }
}

}  // namespace
}  // namespace velmora::testing
