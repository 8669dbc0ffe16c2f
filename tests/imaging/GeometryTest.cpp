// Pure geometry of the pipeline: texture-size fitting, rotations and the aspect fit.
#include <gtest/gtest.h>

#include "Velmora/imaging/GLImageContext.h"
#include "Velmora/imaging/GLImageRotation.h"
#include "Velmora/imaging/gl/GLGeometry.h"

namespace velmora {
namespace {

TEST(SizeThatFitsWithinATexture, TableWithMaximum4096) {
    struct Case {
        GLSize in;
        GLSize out;
    };
    const Case cases[] = {
        {{1000, 500}, {1000, 500}},              // fits
        {{8192, 4096}, {4096, 2048}},            // wide
        {{4096, 100}, {4096, 100}},              // equal to the maximum counts as too large
        {{3000, 6000}, {2048, 4096}},            // tall
        {{5000, 5000}, {4096, 4096}},            // square takes the height branch
        {{4095, 4095}, {4095, 4095}},            // just fits
        {{100, 4096}, {100, 4096}},              // height on the boundary
        {{4097, 3}, {4096, 3 * 4096.0 / 4097}},  // no rounding
    };
    for (const Case& c : cases) {
        const GLSize got = GLImageContext::sizeThatFitsWithinATextureForSize(c.in, 4096);
        EXPECT_EQ(got, c.out) << c.in.width << "x" << c.in.height;
    }
}

TEST(Rotation, CoordinatesSwapsAndPoints) {
    const GLfloat expected[8][8] = {{0, 0, 1, 0, 0, 1, 1, 1}, {1, 0, 1, 1, 0, 0, 0, 1},
                                    {0, 1, 0, 0, 1, 1, 1, 0}, {0, 1, 1, 1, 0, 0, 1, 0},
                                    {1, 0, 0, 0, 1, 1, 0, 1}, {0, 0, 0, 1, 1, 0, 1, 1},
                                    {1, 1, 1, 0, 0, 1, 0, 0}, {1, 1, 0, 1, 1, 0, 0, 0}};
    const bool swaps[8] = {false, true, true, false, false, true, true, false};
    for (int mode = 0; mode < 8; ++mode) {
        const auto rotation = static_cast<GLImageRotationMode>(mode);
        const GLfloat* got = textureCoordinatesForRotation(rotation);
        for (int i = 0; i < 8; ++i) {
            EXPECT_EQ(got[i], expected[mode][i]) << "mode " << mode << " value " << i;
        }
        EXPECT_EQ(rotationSwapsWidthAndHeight(rotation), swaps[mode]) << mode;
        EXPECT_EQ(rotatedSize({640, 480}, rotation),
                  (swaps[mode] ? GLSize{480, 640} : GLSize{640, 480}));
        // Each corner's texture coordinate is where rotatedPoint sends that corner.
        const GLPoint corners[4] = {{0, 0}, {1, 0}, {0, 1}, {1, 1}};
        for (int corner = 0; corner < 4; ++corner) {
            const GLPoint moved = rotatedPoint(corners[corner], rotation);
            EXPECT_EQ(moved.x, got[2 * corner]) << "mode " << mode << " corner " << corner;
            EXPECT_EQ(moved.y, got[2 * corner + 1]) << "mode " << mode << " corner " << corner;
        }
    }
    // Out of range reads as no rotation.
    const GLfloat* outside = textureCoordinatesForRotation(static_cast<GLImageRotationMode>(9));
    EXPECT_EQ(outside, textureCoordinatesForRotation(GLImageRotationMode::NoRotation));
    EXPECT_FALSE(rotationSwapsWidthAndHeight(static_cast<GLImageRotationMode>(-1)));
}

TEST(AspectFit, LargestCentredRectangle) {
    EXPECT_EQ(aspectFitRect({400, 200}, {0, 0, 100, 100}), (GLRect{0, 25, 100, 50}));
    EXPECT_EQ(aspectFitRect({200, 400}, {0, 0, 100, 100}), (GLRect{25, 0, 50, 100}));
    EXPECT_EQ(aspectFitRect({3, 3}, {10, 10, 20, 40}), (GLRect{10, 20, 20, 20}));
    EXPECT_EQ(aspectFitRect({0, 5}, {0, 0, 10, 10}).size(), (GLSize{0, 0}));
}

}  // namespace
}  // namespace velmora
