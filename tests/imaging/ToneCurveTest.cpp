// ACV files and tone curves: reading, the prepared tables, the lookup bytes and pixels.
#include <cstdint>
#include <stdexcept>
#include <vector>

#include <gtest/gtest.h>

#include "Velmora/imaging/GLImageACVFile.h"
#include "Velmora/imaging/GLImageToneCurveFilter.h"

#include "tests/imaging/GLTestSupport.h"

namespace velmora {
namespace {

using Points = GLImageToneCurveFilter::ControlPoints;

// An ACV file: version 4, then each curve's (output, input) pairs.
std::vector<std::uint8_t> acv(const std::vector<std::vector<std::pair<int, int>>>& curves) {
    std::vector<std::uint8_t> bytes;
    auto put = [&bytes](int v) {
        bytes.push_back(static_cast<std::uint8_t>(v >> 8));
        bytes.push_back(static_cast<std::uint8_t>(v & 0xFF));
    };
    put(4);
    put(static_cast<int>(curves.size()));
    for (const auto& curve : curves) {
        put(static_cast<int>(curve.size()));
        for (const auto& [output, input] : curve) {
            put(output);
            put(input);
        }
    }
    return bytes;
}

TEST(ACVFile, ReadsBigEndianCurvesAndSaysWhatIsWrong) {
    EXPECT_EQ(int16WithBytes(std::vector<std::uint8_t>{0x12, 0x34}.data()), 0x1234);
    const auto identity = std::vector<std::pair<int, int>>{{0, 0}, {255, 255}};
    const auto lift = std::vector<std::pair<int, int>>{{51, 0}, {255, 255}};
    const auto bytes = acv({lift, identity, identity, identity, identity});
    std::string why;
    const auto file = GLImageACVFile::parse(bytes, &why);
    ASSERT_TRUE(file) << why;
    EXPECT_EQ(file->version(), 4);
    EXPECT_EQ(file->totalCurves(), 5);
    ASSERT_EQ(file->rgbCompositeCurvePoints().size(), 2u);
    EXPECT_EQ(file->rgbCompositeCurvePoints()[0].x, 0.0);
    EXPECT_EQ(file->rgbCompositeCurvePoints()[0].y, 51 * (1.0f / 255.0f));
    EXPECT_EQ(file->blueCurvePoints()[1].x, 1.0);

    struct Bad {
        std::vector<std::uint8_t> data;
        const char* reason;
    };
    auto truncated = bytes;
    truncated.resize(truncated.size() - 3);
    const Bad bad[] = {
        {{}, "0 bytes, shorter than the 4-byte header of a curves file"},
        {acv({identity, identity}), "2 curve(s); a curves file needs four"},
        {truncated, "the data ends inside curve 5 of 5"},
    };
    for (const Bad& b : bad) {
        EXPECT_FALSE(GLImageACVFile::parse(b.data, &why));
        EXPECT_NE(why.find(b.reason), std::string::npos) << why;
    }
    // The plain reader takes two curves and fails only when the third is asked for.
    testing::ScopedLogCatcher log;
    const GLImageACVFile two(acv({identity, identity}));
    EXPECT_EQ(two.redCurvePoints().size(), 2u);
    EXPECT_THROW((void)two.greenCurvePoints(), std::out_of_range);
    const GLImageACVFile empty(std::span<const std::uint8_t>{});
    EXPECT_GE(log.find("failed to init ACVFile with data:"), 0);
    EXPECT_EQ(empty.curveCount(), 0u);
}

TEST(ToneCurve, PreparedCurves) {
    const Points identity{{0, 0}, {0.5, 0.5}, {1, 1}};
    const auto flat = GLImageToneCurveFilter::getPreparedSplineCurve(identity);
    ASSERT_TRUE(flat);
    ASSERT_EQ(flat->size(), 256u);
    for (float offset : *flat) {
        EXPECT_EQ(offset, 0.0f);
    }
    EXPECT_FALSE(GLImageToneCurveFilter::getPreparedSplineCurve({}));
    // Starting at x = 0.2 (51): 52 zero-output entries, then the first point again, so
    // from position 52 on the table is one place late.
    const auto shifted = GLImageToneCurveFilter::getPreparedSplineCurve({{0.2, 0}, {1, 1}});
    ASSERT_TRUE(shifted);
    ASSERT_EQ(shifted->size(), 257u);
    for (int i = 0; i <= 51; ++i) {
        EXPECT_FLOAT_EQ((*shifted)[i], -static_cast<float>(i)) << i;
    }
    EXPECT_NEAR((*shifted)[52], -51.0f, 1e-3);  // the first point (51, 0) repeated
    EXPECT_NEAR((*shifted)[256], 0.0f, 1e-3);
    // Unsorted points are sorted; equal x keep their order.
    const auto sorted = GLImageToneCurveFilter::getPreparedSplineCurve({{1, 1}, {0, 0}});
    ASSERT_TRUE(sorted);
    EXPECT_EQ(*sorted, *GLImageToneCurveFilter::getPreparedSplineCurve({{0, 0}, {1, 1}}));
}

TEST(ToneCurve, SplineThroughThreePoints) {
    // Natural spline through (0,0), (1,1), (2,0): S = {0, -3, 0}.
    const Points points{{0, 0}, {1, 1}, {2, 0}};
    const auto s = GLImageToneCurveFilter::secondDerivative(points);
    ASSERT_EQ(s.size(), 3u);
    EXPECT_DOUBLE_EQ(s[0], 0);
    EXPECT_DOUBLE_EQ(s[1], -3);
    EXPECT_DOUBLE_EQ(s[2], 0);
    EXPECT_TRUE(GLImageToneCurveFilter::secondDerivative({{0, 0}}).empty());
    const auto curve = GLImageToneCurveFilter::splineCurve({{0, 0}, {127.5, 200}, {255, 255}});
    ASSERT_TRUE(curve);
    ASSERT_EQ(curve->size(), 256u);
    EXPECT_EQ((*curve)[0].y, 0);
    EXPECT_EQ((*curve)[255].x, 255);
    for (const GLPoint& p : *curve) {
        EXPECT_GE(p.y, 0);
        EXPECT_LE(p.y, 255);
    }
}

TEST(ToneCurveFilter, LookupBytesShortCurvesAndPixels) {
    VELMORA_REQUIRE_EGL();
    auto filter = GLImageFilter::create<GLImageToneCurveFilter>();
    for (int i = 0; i < 256; ++i) {
        ASSERT_EQ(filter->toneCurveBytes()[4 * i], i);
        ASSERT_EQ(filter->toneCurveBytes()[4 * i + 2], i);
        ASSERT_EQ(filter->toneCurveBytes()[4 * i + 3], 255);
    }
    // Red through a lifted straight line: 0 -> 51, 255 -> 255.
    filter->setRedControlPoints({{0, 0.2}, {1, 1}});
    const auto lifted = filter->toneCurveBytes();
    EXPECT_EQ(lifted[2], 51);
    EXPECT_EQ(lifted[0], 0);  // blue unchanged
    // A one-point curve is too short: the bytes (and the texture) stay as they were.
    filter->setGreenControlPoints({{0.5, 0.5}});
    EXPECT_EQ(filter->toneCurveBytes(), lifted);
    filter->setGreenControlPoints({{0, 0}, {1, 1}});
    const Image image = testing::makeImage(4, 1, [](int x, int) {
        const auto v = static_cast<std::uint8_t>(85 * x);
        return Rgba8{v, v, v, 255};
    });
    const auto output = filter->newCGImageByFilteringCGImage(image);
    ASSERT_TRUE(output);
    for (int x = 0; x < 4; ++x) {
        const int level = 85 * x;
        const int expectedRed = 51 + (255 - 51) * level / 255;
        EXPECT_NEAR(output->pixelAt(x, 0).r, expectedRed, 2) << x;
        EXPECT_NEAR(output->pixelAt(x, 0).g, level, 1) << x;
    }
}

}  // namespace
}  // namespace velmora
