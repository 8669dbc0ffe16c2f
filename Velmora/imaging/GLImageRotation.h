#pragma once
// GLImageRotationMode: how a filter turns its input, as the texture coordinates it reads
// for the four corners of the output (bottom-left, bottom-right, top-left, top-right of
// the square (-1,-1)..(1,1), drawn as a triangle strip). Values 1, 2, 5 and 6 turn the
// image a quarter, so width and height swap. Out-of-range values act as no rotation.
//
// Thread safety: pure functions and constants.
//
//   const GLfloat* coordinates = textureCoordinatesForRotation(GLImageRotationMode::RotateLeft);
//   GLSize turned = rotatedSize({640, 480}, GLImageRotationMode::RotateLeft);  // 480 x 640
//   GLPoint p = rotatedPoint({0.25, 0}, GLImageRotationMode::FlipHorizontal);  // (0.75, 0)

#include <cstdint>

#include <GLES2/gl2.h>

#include "Velmora/imaging/gl/GLGeometry.h"

namespace velmora {

enum class GLImageRotationMode : std::int32_t {
    NoRotation = 0,
    RotateLeft = 1,
    RotateRight = 2,
    FlipVertical = 3,
    FlipHorizontal = 4,
    RotateRightFlipVertical = 5,
    RotateRightFlipHorizontal = 6,
    Rotate180 = 7,
};

// Eight floats: (s, t) for the four corners in strip order.
const GLfloat* textureCoordinatesForRotation(GLImageRotationMode mode);
bool rotationSwapsWidthAndHeight(GLImageRotationMode mode);
GLSize rotatedSize(GLSize size, GLImageRotationMode mode);
// A normalised point moved as the rotation moves it.
GLPoint rotatedPoint(GLPoint point, GLImageRotationMode mode);

}  // namespace velmora
