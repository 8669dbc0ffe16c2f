#pragma once
// GLImageACVFile: a curves file in the ACV format: big-endian 16-bit numbers, a version,
// a curve count, then per curve a point count and (output, input) pairs on 0...255. Curve
// 0 is the composite curve, 1 to 3 red, green and blue; more are read and ignored. Each
// point becomes (input / 255, output / 255).
//
// The plain constructor reads what is there (a truncated curve and the rest are dropped;
// empty data is logged) and its curve accessors throw std::out_of_range, which ends a
// program that does not catch it, when the file had fewer than four curves. parse checks
// everything up front instead and says what is wrong; use it for files from outside.
//
// Thread safety: a value type.
//
//   std::string why;
//   auto file = GLImageACVFile::parse(bytes, &why);
//   if (file) filter->setPointsWithACV(*file);

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "Velmora/imaging/gl/GLGeometry.h"

namespace velmora {

// A big-endian 16-bit value. REQUIRES: two readable bytes.
std::uint16_t int16WithBytes(const std::uint8_t* bytes);

class GLImageACVFile {
  public:
    explicit GLImageACVFile(std::span<const std::uint8_t> data);

    // The file, or nothing with the reason: shorter than its header or its curves say,
    // or fewer than four curves.
    [[nodiscard]] static std::optional<GLImageACVFile> parse(std::span<const std::uint8_t> data,
                                                             std::string* why);
    // The same for a file on disk; the reason names the path.
    [[nodiscard]] static std::optional<GLImageACVFile> read(const std::string& path,
                                                            std::string* why);

    std::uint16_t version() const { return version_; }
    std::uint16_t totalCurves() const { return totalCurves_; }
    // Throw std::out_of_range when the file had fewer curves.
    const std::vector<GLPoint>& rgbCompositeCurvePoints() const { return curves_.at(0); }
    const std::vector<GLPoint>& redCurvePoints() const { return curves_.at(1); }
    const std::vector<GLPoint>& greenCurvePoints() const { return curves_.at(2); }
    const std::vector<GLPoint>& blueCurvePoints() const { return curves_.at(3); }
    std::size_t curveCount() const { return curves_.size(); }

  private:
    GLImageACVFile() = default;
    // The curves that are whole; *truncated tells whether the data ended inside one.
    void readCurves(std::span<const std::uint8_t> data, bool* truncated);

    std::uint16_t version_ = 0;
    std::uint16_t totalCurves_ = 0;
    std::vector<std::vector<GLPoint>> curves_;
};

}  // namespace velmora
