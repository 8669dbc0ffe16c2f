#include "Velmora/imaging/GLImageRotation.h"

namespace velmora {

namespace {
constexpr GLfloat kCoordinates[8][8] = {
    {0, 0, 1, 0, 0, 1, 1, 1},  // no rotation
    {1, 0, 1, 1, 0, 0, 0, 1},  // rotate left
    {0, 1, 0, 0, 1, 1, 1, 0},  // rotate right
    {0, 1, 1, 1, 0, 0, 1, 0},  // flip vertical
    {1, 0, 0, 0, 1, 1, 0, 1},  // flip horizontal
    {0, 0, 0, 1, 1, 0, 1, 1},  // rotate right, flip vertical
    {1, 1, 1, 0, 0, 1, 0, 0},  // rotate right, flip horizontal
    {1, 1, 0, 1, 1, 0, 0, 0},  // rotate 180
};

int indexOf(GLImageRotationMode mode) {
    const auto value = static_cast<std::int32_t>(mode);
    return value >= 1 && value <= 7 ? value : 0;
}
}  // namespace

const GLfloat* textureCoordinatesForRotation(GLImageRotationMode mode) {
    return kCoordinates[indexOf(mode)];
}

bool rotationSwapsWidthAndHeight(GLImageRotationMode mode) {
    switch (mode) {
        case GLImageRotationMode::RotateLeft:
        case GLImageRotationMode::RotateRight:
        case GLImageRotationMode::RotateRightFlipVertical:
        case GLImageRotationMode::RotateRightFlipHorizontal:
            return true;
        default:
            return false;
    }
}

GLSize rotatedSize(GLSize size, GLImageRotationMode mode) {
    return rotationSwapsWidthAndHeight(mode) ? GLSize{size.height, size.width} : size;
}

GLPoint rotatedPoint(GLPoint point, GLImageRotationMode mode) {
    const double x = point.x;
    const double y = point.y;
    switch (mode) {
        case GLImageRotationMode::RotateLeft:
            return {1 - y, x};
        case GLImageRotationMode::RotateRight:
            return {y, 1 - x};
        case GLImageRotationMode::FlipVertical:
            return {x, 1 - y};
        case GLImageRotationMode::FlipHorizontal:
            return {1 - x, y};
        case GLImageRotationMode::RotateRightFlipVertical:
            return {y, x};
        case GLImageRotationMode::RotateRightFlipHorizontal:
            return {1 - y, 1 - x};
        case GLImageRotationMode::Rotate180:
            return {1 - x, 1 - y};
        default:
            return {x, y};
    }
}

}  // namespace velmora
