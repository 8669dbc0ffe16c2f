#include "Velmora/imaging/GLImageACVFile.h"

#include <fstream>
#include <iterator>

#include <fmt/format.h>

#include "Velmora/platform/logging/Log.h"

namespace velmora {

namespace {
constexpr float kLevelScale = 1.0f / 255.0f;
constexpr std::size_t kHeaderSize = 4;
constexpr std::size_t kCurvesNeeded = 4;
}  // namespace

std::uint16_t int16WithBytes(const std::uint8_t* bytes) {
    return static_cast<std::uint16_t>((bytes[0] << 8) | bytes[1]);
}

GLImageACVFile::GLImageACVFile(std::span<const std::uint8_t> data) {
    if (data.empty()) {
        log::error("failed to init ACVFile with data:<>");
        return;
    }
    bool truncated = false;
    readCurves(data, &truncated);
}

void GLImageACVFile::readCurves(std::span<const std::uint8_t> data, bool* truncated) {
    *truncated = data.size() < kHeaderSize;
    if (*truncated) {
        return;
    }
    version_ = int16WithBytes(data.data());
    totalCurves_ = int16WithBytes(data.data() + 2);
    std::size_t at = kHeaderSize;
    for (unsigned curve = 0; curve < totalCurves_; ++curve) {
        if (data.size() - at < 2) {
            *truncated = true;
            return;
        }
        const std::uint16_t pointCount = int16WithBytes(data.data() + at);
        at += 2;
        if ((data.size() - at) / 4 < pointCount) {
            *truncated = true;
            return;
        }
        std::vector<GLPoint> points;
        points.reserve(pointCount);
        for (unsigned point = 0; point < pointCount; ++point, at += 4) {
            const std::uint16_t output = int16WithBytes(data.data() + at);
            const std::uint16_t input = int16WithBytes(data.data() + at + 2);
            points.push_back({input * kLevelScale, output * kLevelScale});
        }
        curves_.push_back(std::move(points));
    }
}

std::optional<GLImageACVFile> GLImageACVFile::parse(std::span<const std::uint8_t> data,
                                                    std::string* why) {
    GLImageACVFile file;
    bool truncated = false;
    file.readCurves(data, &truncated);
    std::string reason;
    if (data.size() < kHeaderSize) {
        reason =
            fmt::format("{} bytes, shorter than the 4-byte header of a curves file", data.size());
    } else if (truncated) {
        reason = fmt::format("the data ends inside curve {} of {}", file.curves_.size() + 1,
                             file.totalCurves_);
    } else if (file.curves_.size() < kCurvesNeeded) {
        reason =
            fmt::format("{} curve(s); a curves file needs four (composite, red, green and blue)",
                        file.curves_.size());
    }
    if (!reason.empty()) {
        if (why != nullptr) {
            *why = std::move(reason);
        }
        return std::nullopt;
    }
    return file;
}

std::optional<GLImageACVFile> GLImageACVFile::read(const std::string& path, std::string* why) {
    std::ifstream in(path, std::ios::binary);
    std::vector<std::uint8_t> bytes;
    if (in) {
        bytes.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }
    if (!in && !in.eof()) {
        if (why != nullptr) {
            *why = fmt::format("{}: cannot be read", path);
        }
        return std::nullopt;
    }
    std::string reason;
    auto file = parse(bytes, &reason);
    if (!file && why != nullptr) {
        *why = fmt::format("{}: {}", path, reason);
    }
    return file;
}

}  // namespace velmora
