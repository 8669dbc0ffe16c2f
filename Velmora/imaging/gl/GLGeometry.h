#pragma once
// Plain geometry values of the image pipeline: sizes and points in doubles (pixels, or
// normalised texture coordinates), and the aspect-fit rectangle.
//
// Thread safety: value types.
//
//   GLSize input{400, 200};
//   GLRect fitted = aspectFitRect(input, GLRect{0, 0, 100, 100});  // 100 x 50, centred
//   bool none = GLSize{}.isZero();

namespace velmora {

struct GLSize {
    double width = 0;
    double height = 0;
    bool isZero() const { return width == 0 && height == 0; }
    friend bool operator==(const GLSize&, const GLSize&) = default;
};

struct GLPoint {
    double x = 0;
    double y = 0;
    friend bool operator==(const GLPoint&, const GLPoint&) = default;
};

struct GLRect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;
    GLSize size() const { return {width, height}; }
    friend bool operator==(const GLRect&, const GLRect&) = default;
};

// The largest rectangle with aspectRatio's proportions that fits inside bounds, centred
// in it. A zero-sized aspect ratio gives a zero rectangle at the centre.
inline GLRect aspectFitRect(GLSize aspectRatio, GLRect bounds) {
    if (aspectRatio.width <= 0 || aspectRatio.height <= 0) {
        return {bounds.x + bounds.width / 2, bounds.y + bounds.height / 2, 0, 0};
    }
    const double scale = bounds.width / aspectRatio.width < bounds.height / aspectRatio.height
                             ? bounds.width / aspectRatio.width
                             : bounds.height / aspectRatio.height;
    const double width = aspectRatio.width * scale;
    const double height = aspectRatio.height * scale;
    return {bounds.x + (bounds.width - width) / 2, bounds.y + (bounds.height - height) / 2, width,
            height};
}

}  // namespace velmora
