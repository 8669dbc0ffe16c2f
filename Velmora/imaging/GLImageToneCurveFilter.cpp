#include "Velmora/imaging/GLImageToneCurveFilter.h"

#include <algorithm>
#include <cmath>

#include <GLES2/gl2ext.h>

#include "Velmora/imaging/GLImageContext.h"
#include "Velmora/imaging/GLImageFilterRegistry.h"
#include "Velmora/imaging/GLProgram.h"
#include "Velmora/imaging/gl/TextureCache.h"

namespace velmora {

const char* const kGLImageToneCurveFragmentShaderString =
    "varying highp vec2 textureCoordinate; uniform sampler2D inputImageTexture; uniform "
    "sampler2D toneCurveTexture; void main() { lowp vec4 textureColor = "
    "texture2D(inputImageTexture, textureCoordinate); lowp float redCurveValue = "
    "texture2D(toneCurveTexture, vec2(textureColor.r, 0.0)).r; lowp float greenCurveValue = "
    "texture2D(toneCurveTexture, vec2(textureColor.g, 0.0)).g; lowp float blueCurveValue = "
    "texture2D(toneCurveTexture, vec2(textureColor.b, 0.0)).b; gl_FragColor = "
    "vec4(redCurveValue, greenCurveValue, blueCurveValue, textureColor.a); }";

namespace {

const GLImageToneCurveFilter::ControlPoints kIdentityPoints{{0, 0}, {0.5, 0.5}, {1, 1}};
constexpr std::size_t kTableSize = 256;
// Whole x positions a segment may produce: far beyond 0...255, so sane curves are never
// cut, while points far outside (from a configuration) cannot make the loop run for ever.
constexpr double kFarthestX = 65536;

// A level 0...255 truncated towards zero; what is not a number counts as 0.
int levelOf(double value) {
    if (!(value >= 0)) {
        return 0;
    }
    return value > 255 ? 255 : static_cast<int>(value);
}

}  // namespace

GLImageToneCurveFilter::GLImageToneCurveFilter(ConstructionKey key)
    : GLImageFilter(key, kGLImageToneCurveFragmentShaderString) {}

GLImageToneCurveFilter::GLImageToneCurveFilter(ConstructionKey key, const GLImageACVFile& file)
    : GLImageFilter(key, kGLImageToneCurveFragmentShaderString),
      rgbCompositeControlPoints_(file.rgbCompositeCurvePoints()),
      redControlPoints_(file.redCurvePoints()),
      greenControlPoints_(file.greenCurvePoints()),
      blueControlPoints_(file.blueCurvePoints()) {}

GLImageToneCurveFilter::~GLImageToneCurveFilter() {
    runSynchronouslyOnVideoProcessingQueue([this] {
        GLImageContext::useImageProcessingContext();
        toneCurveTexture_.reset();
    });
}

void GLImageToneCurveFilter::initializeProgram() {
    GLImageFilter::initializeProgram();
    runSynchronouslyOnVideoProcessingQueue([this] {
        if (filterProgram_) {
            GLImageContext::useImageProcessingContext();
            toneCurveTextureUniform_ = filterProgram_->uniformIndex("toneCurveTexture");
        }
    });
    if (rgbCompositeControlPoints_.empty()) {
        rgbCompositeControlPoints_ = kIdentityPoints;
        redControlPoints_ = kIdentityPoints;
        greenControlPoints_ = kIdentityPoints;
        blueControlPoints_ = kIdentityPoints;
    }
    rgbCompositeCurve_ = prepared(rgbCompositeControlPoints_);
    redCurve_ = prepared(redControlPoints_);
    greenCurve_ = prepared(greenControlPoints_);
    blueCurve_ = prepared(blueControlPoints_);
    updateToneCurveTexture();
}

void GLImageToneCurveFilter::setPointsWithACV(const GLImageACVFile& file) {
    setRgbCompositeControlPoints(file.rgbCompositeCurvePoints());
    setRedControlPoints(file.redCurvePoints());
    setGreenControlPoints(file.greenCurvePoints());
    setBlueControlPoints(file.blueCurvePoints());
}

std::vector<float> GLImageToneCurveFilter::prepared(const ControlPoints& points) {
    return getPreparedSplineCurve(points).value_or(std::vector<float>{});
}

void GLImageToneCurveFilter::setRGBControlPoints(const ControlPoints& points) {
    redControlPoints_ = points;
    redCurve_ = prepared(points);
    greenControlPoints_ = points;
    greenCurve_ = prepared(points);
    blueControlPoints_ = points;
    blueCurve_ = prepared(points);
    updateToneCurveTexture();
}

void GLImageToneCurveFilter::setRgbCompositeControlPoints(const ControlPoints& points) {
    rgbCompositeControlPoints_ = points;
    rgbCompositeCurve_ = prepared(points);
    updateToneCurveTexture();
}

void GLImageToneCurveFilter::setRedControlPoints(const ControlPoints& points) {
    redControlPoints_ = points;
    redCurve_ = prepared(points);
    updateToneCurveTexture();
}

void GLImageToneCurveFilter::setGreenControlPoints(const ControlPoints& points) {
    greenControlPoints_ = points;
    greenCurve_ = prepared(points);
    updateToneCurveTexture();
}

void GLImageToneCurveFilter::setBlueControlPoints(const ControlPoints& points) {
    blueControlPoints_ = points;
    blueCurve_ = prepared(points);
    updateToneCurveTexture();
}

std::optional<std::vector<float>> GLImageToneCurveFilter::getPreparedSplineCurve(
    const ControlPoints& points) {
    if (points.empty()) {
        return std::nullopt;
    }
    ControlPoints sorted = points;
    std::stable_sort(sorted.begin(), sorted.end(), [](const GLPoint& a, const GLPoint& b) {
        return static_cast<float>(a.x) < static_cast<float>(b.x);
    });
    for (GLPoint& point : sorted) {
        point = {point.x * 255, point.y * 255};
    }
    std::optional<ControlPoints> spline = splineCurve(sorted);
    if (!spline || spline->empty()) {
        return std::vector<float>{};
    }
    ControlPoints curve;
    const GLPoint first = spline->front();
    if (first.x > 0) {
        for (double i = 0; i <= std::min(std::floor(first.x), kFarthestX); ++i) {
            curve.push_back({i, 0});
        }
    }
    curve.insert(curve.end(), spline->begin(), spline->end());
    const GLPoint last = curve.back();
    if (last.x < 255) {
        for (double i = std::max(std::floor(last.x + 1), -kFarthestX); i <= 255; ++i) {
            curve.push_back({i, 255});
        }
    }
    std::vector<float> offsets;
    offsets.reserve(curve.size());
    for (const GLPoint& point : curve) {
        const double distance = std::hypot(0.0, point.y - point.x);
        offsets.push_back(static_cast<float>(point.x > point.y ? -distance : distance));
    }
    return offsets;
}

std::optional<GLImageToneCurveFilter::ControlPoints> GLImageToneCurveFilter::splineCurve(
    const ControlPoints& points) {
    const std::vector<double> s = secondDerivative(points);
    if (s.empty()) {
        return std::nullopt;
    }
    ControlPoints output;
    for (std::size_t i = 0; i + 1 < points.size(); ++i) {
        const GLPoint a = points[i];
        const GLPoint b = points[i + 1];
        const double h = b.x - a.x;
        const double from = std::max(std::trunc(a.x), -kFarthestX);
        const double to = std::min(std::trunc(b.x), kFarthestX);
        for (double x = from; x < to; ++x) {
            const double t = (x - a.x) / h;
            const double u = 1 - t;
            double y = u * a.y + t * b.y +
                       (h * h / 6) * ((u * u * u - u) * s[i] + (t * t * t - t) * s[i + 1]);
            y = y > 255 ? 255 : (y < 0 ? 0 : y);
            output.push_back({x, y});
        }
    }
    output.push_back(points.back());
    return output;
}

std::vector<double> GLImageToneCurveFilter::secondDerivative(const ControlPoints& points) {
    const std::size_t n = points.size();
    if (n < 2) {
        return {};
    }
    std::vector<double> a(n, 0), b(n, 0), c(n, 0), r(n, 0);
    b[0] = 1;
    b[n - 1] = 1;
    for (std::size_t i = 1; i + 1 < n; ++i) {
        const GLPoint p0 = points[i - 1];
        const GLPoint p1 = points[i];
        const GLPoint p2 = points[i + 1];
        a[i] = (p1.x - p0.x) / 6;
        b[i] = (p2.x - p0.x) / 3;
        c[i] = (p2.x - p1.x) / 6;
        r[i] = (p2.y - p1.y) / (p2.x - p1.x) - (p1.y - p0.y) / (p1.x - p0.x);
    }
    for (std::size_t i = 1; i < n; ++i) {
        const double k = a[i] / b[i - 1];
        b[i] -= k * c[i - 1];
        a[i] = 0;
        r[i] -= k * r[i - 1];
    }
    std::vector<double> result(n);
    result[n - 1] = r[n - 1] / b[n - 1];
    for (std::size_t i = n - 1; i-- > 0;) {
        result[i] = (r[i] - c[i] * result[i + 1]) / b[i];
    }
    return result;
}

void GLImageToneCurveFilter::updateToneCurveTexture() {
    runSynchronouslyOnVideoProcessingQueue([this] {
        GLImageContext::useImageProcessingContext();
        glActiveTexture(GL_TEXTURE3);
        if (!toneCurveTexture_) {
            toneCurveTexture_ = generateTexture();
            glBindTexture(GL_TEXTURE_2D, toneCurveTexture_.name());
            glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
            glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
            glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
            glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
        } else {
            glBindTexture(GL_TEXTURE_2D, toneCurveTexture_.name());
        }
        if (redCurve_.size() < kTableSize || greenCurve_.size() < kTableSize ||
            blueCurve_.size() < kTableSize || rgbCompositeCurve_.size() < kTableSize) {
            return;
        }
        const std::vector<float>* channels[3] = {&blueCurve_, &greenCurve_, &redCurve_};
        for (std::size_t i = 0; i < kTableSize; ++i) {
            for (std::size_t c = 0; c < 3; ++c) {
                const int v = levelOf(static_cast<double>(i) + (*channels[c])[i]);
                toneCurveByteArray_[4 * i + c] = static_cast<std::uint8_t>(levelOf(
                    v + static_cast<double>(rgbCompositeCurve_[static_cast<std::size_t>(v)])));
            }
            toneCurveByteArray_[4 * i + 3] = 255;
        }
        glTexImage2D(GL_TEXTURE_2D, 0, textureInternalFormatFor(GL_RGBA, GL_BGRA_EXT), 256, 1, 0,
                     GL_BGRA_EXT, GL_UNSIGNED_BYTE, toneCurveByteArray_.data());
    });
}

void GLImageToneCurveFilter::bindAdditionalInputs() {
    glActiveTexture(GL_TEXTURE3);
    glBindTexture(GL_TEXTURE_2D, toneCurveTexture_.name());
    glUniform1i(toneCurveTextureUniform_, 3);
}

namespace {

const GLImageFilterRegistration kToneCurveRegistration{{
    "GLImageToneCurveFilter",
    "Tone curves per channel and composite, from control points on 0...1",
    1,
    [] { return GLImageFilter::create<GLImageToneCurveFilter>(); },
    {
        GLImageFilterRegistry::pointArraySetter<GLImageToneCurveFilter>(
            "setRGBControlPoints:", "red, green and blue curves alike",
            [](GLImageToneCurveFilter& f, std::vector<GLPoint> v) { f.setRGBControlPoints(v); }),
        GLImageFilterRegistry::pointArraySetter<GLImageToneCurveFilter>(
            "setRgbCompositeControlPoints:", "the curve applied after the channel curves",
            [](GLImageToneCurveFilter& f, std::vector<GLPoint> v) {
                f.setRgbCompositeControlPoints(v);
            }),
        GLImageFilterRegistry::pointArraySetter<GLImageToneCurveFilter>(
            "setRedControlPoints:", "red curve",
            [](GLImageToneCurveFilter& f, std::vector<GLPoint> v) { f.setRedControlPoints(v); }),
        GLImageFilterRegistry::pointArraySetter<GLImageToneCurveFilter>(
            "setGreenControlPoints:", "green curve",
            [](GLImageToneCurveFilter& f, std::vector<GLPoint> v) { f.setGreenControlPoints(v); }),
        GLImageFilterRegistry::pointArraySetter<GLImageToneCurveFilter>(
            "setBlueControlPoints:", "blue curve",
            [](GLImageToneCurveFilter& f, std::vector<GLPoint> v) { f.setBlueControlPoints(v); }),
    },
}};

}  // namespace

}  // namespace velmora
