#pragma once
// GLImageToneCurveFilter: remaps red, green and blue each through its own curve and then
// all three through a composite curve. Curves are given as control points on 0...1,
// interpolated with a natural cubic spline into 256-entry tables, and applied through a
// 256x1 lookup texture on texture unit 3. While any curve has fewer than 256 entries
// (fewer than two distinct points), updates leave the texture as it was.
//
// Thread safety: as GLImageFilter; set curves while no frame is in flight.
//
//   auto curve = GLImageFilter::create<GLImageToneCurveFilter>();
//   curve->setRGBControlPoints({{0, 0}, {0.5, 0.65}, {1, 1}});   // brighter midtones
//   auto result = curve->newCGImageByFilteringCGImage(image);

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Velmora/imaging/GLImageACVFile.h"
#include "Velmora/imaging/GLImageFilter.h"
#include "Velmora/imaging/gl/GLObjects.h"

namespace velmora {

extern const char* const kGLImageToneCurveFragmentShaderString;

class GLImageToneCurveFilter : public GLImageFilter {
  public:
    using ControlPoints = std::vector<GLPoint>;

    // The identity curves (0, 0), (0.5, 0.5), (1, 1).
    explicit GLImageToneCurveFilter(ConstructionKey key);
    // The curves of the file. Throws std::out_of_range when it has fewer than four.
    GLImageToneCurveFilter(ConstructionKey key, const GLImageACVFile& file);
    ~GLImageToneCurveFilter() override;

    // The curves of the file. Throws std::out_of_range when it has fewer than four.
    void setPointsWithACV(const GLImageACVFile& file);

    // Red, green and blue alike, with one texture update.
    void setRGBControlPoints(const ControlPoints& points);
    void setRgbCompositeControlPoints(const ControlPoints& points);
    void setRedControlPoints(const ControlPoints& points);
    void setGreenControlPoints(const ControlPoints& points);
    void setBlueControlPoints(const ControlPoints& points);
    const ControlPoints& rgbCompositeControlPoints() const { return rgbCompositeControlPoints_; }
    const ControlPoints& redControlPoints() const { return redControlPoints_; }
    const ControlPoints& greenControlPoints() const { return greenControlPoints_; }
    const ControlPoints& blueControlPoints() const { return blueControlPoints_; }

    // The table for points: per position, the output minus the input in levels 0...255
    // (nothing for no points). Position, not x, is the lookup index; a curve that starts
    // above x = 0 gets a flat start plus its first point again.
    static std::optional<std::vector<float>> getPreparedSplineCurve(const ControlPoints& points);
    // The spline through points (sorted, on 0...255) at every whole x, then the last point;
    // nothing for fewer than two points.
    static std::optional<ControlPoints> splineCurve(const ControlPoints& points);
    // The natural cubic spline's second derivatives at points (empty for fewer than two).
    static std::vector<double> secondDerivative(const ControlPoints& points);

    const std::vector<float>& redCurve() const { return redCurve_; }
    const std::vector<float>& rgbCompositeCurve() const { return rgbCompositeCurve_; }
    // The lookup texture's bytes, BGRA per entry.
    const std::array<std::uint8_t, 1024>& toneCurveBytes() const { return toneCurveByteArray_; }
    // Recomputes the bytes and uploads them when every curve is long enough.
    void updateToneCurveTexture();

  protected:
    void initializeProgram() override;
    void bindAdditionalInputs() override;

  private:
    static std::vector<float> prepared(const ControlPoints& points);

    GLint toneCurveTextureUniform_ = -1;
    GLTexture toneCurveTexture_;
    std::array<std::uint8_t, 1024> toneCurveByteArray_{};
    std::vector<float> redCurve_, greenCurve_, blueCurve_, rgbCompositeCurve_;
    ControlPoints rgbCompositeControlPoints_, redControlPoints_, greenControlPoints_,
        blueControlPoints_;
};

}  // namespace velmora
