#include "Velmora/imaging/gl/PngFile.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include <fcntl.h>
#include <fmt/format.h>
#include <png.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Velmora/imaging/gl/UniqueFd.h"
#include "Velmora/platform/storage/AtomicFile.h"

namespace velmora {

namespace {

enum class PngFailure {
    Open,
    Read,
    NotPng,
    Decode,
    TooLarge,
    Encode,
    UnsupportedLayout,
};

// Every failure text of PNG reading and writing is made here.
bool fail(std::string* why, PngFailure failure, std::string_view subject,
          std::string_view detail = {}) {
    if (why == nullptr) {
        return false;
    }
    switch (failure) {
        case PngFailure::Open:
            *why = fmt::format("cannot open {}: {}", subject, detail);
            break;
        case PngFailure::Read:
            *why = fmt::format("cannot read {}: {}", subject, detail);
            break;
        case PngFailure::NotPng:
            *why = fmt::format("{} is not a PNG image", subject);
            break;
        case PngFailure::Decode:
            *why = fmt::format("{} is not a valid PNG image: {}", subject, detail);
            break;
        case PngFailure::TooLarge:
            *why = fmt::format("{} is too large: {}", subject, detail);
            break;
        case PngFailure::Encode:
            *why = fmt::format("cannot encode {}: {}", subject, detail);
            break;
        case PngFailure::UnsupportedLayout:
            *why = fmt::format("cannot encode {}: unsupported pixel layout", subject);
            break;
    }
    return false;
}

// Ends libpng's image state on every path out.
class PngImageScope {
  public:
    explicit PngImageScope(png_image& image) : image_(image) {}
    ~PngImageScope() { png_image_free(&image_); }
    PngImageScope(const PngImageScope&) = delete;
    PngImageScope& operator=(const PngImageScope&) = delete;

  private:
    png_image& image_;
};

std::optional<Image> decode(const std::uint8_t* bytes, std::size_t size, std::string* why,
                            std::uint64_t maximumPixels, std::string_view subject) {
    constexpr std::size_t kSignature = 8;
    if (bytes == nullptr || size < kSignature || png_sig_cmp(bytes, 0, kSignature) != 0) {
        fail(why, PngFailure::NotPng, subject);
        return std::nullopt;
    }
    png_image image;
    std::memset(&image, 0, sizeof image);
    image.version = PNG_IMAGE_VERSION;
    PngImageScope scope(image);
    if (png_image_begin_read_from_memory(&image, bytes, size) == 0) {
        fail(why, PngFailure::Decode, subject, image.message);
        return std::nullopt;
    }
    const std::uint64_t pixels = std::uint64_t{image.width} * image.height;
    if (image.width == 0 || image.height == 0 || pixels > maximumPixels || image.width > 32768 ||
        image.height > 32768) {
        fail(why, PngFailure::TooLarge, subject,
             fmt::format("{}x{} pixels", image.width, image.height));
        return std::nullopt;
    }
    image.format = PNG_FORMAT_RGBA;
    std::vector<std::uint8_t> pixelsOut(PNG_IMAGE_SIZE(image));
    if (png_image_finish_read(&image, nullptr, pixelsOut.data(), 0, nullptr) == 0) {
        fail(why, PngFailure::Decode, subject, image.message);
        return std::nullopt;
    }
    const int width = static_cast<int>(image.width);
    const int height = static_cast<int>(image.height);
    return Image(width, height, 8, 32, static_cast<std::size_t>(width) * 4, kImageAlphaLast,
                 DataProvider::owning(std::move(pixelsOut)));
}

}  // namespace

std::optional<Image> decodePng(const std::uint8_t* bytes, std::size_t size, std::string* why,
                               std::uint64_t maximumPixels) {
    return decode(bytes, size, why, maximumPixels, "the data");
}

std::optional<Image> readPngFile(const std::string& path, std::string* why) {
    UniqueFd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!fd) {
        fail(why, PngFailure::Open, path, std::strerror(errno));
        return std::nullopt;
    }
    struct stat info {};
    if (::fstat(fd.get(), &info) != 0) {
        fail(why, PngFailure::Read, path, std::strerror(errno));
        return std::nullopt;
    }
    if (!S_ISREG(info.st_mode)) {
        fail(why, PngFailure::Read, path, "not a regular file");
        return std::nullopt;
    }
    // Compressed data beyond the pixel limit's worth is refused without reading it.
    if (static_cast<std::uint64_t>(info.st_size) > kPngMaximumPixels * 8) {
        fail(why, PngFailure::TooLarge, path, fmt::format("{} bytes", info.st_size));
        return std::nullopt;
    }
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(info.st_size));
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t count = ::read(fd.get(), bytes.data() + done, bytes.size() - done);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            fail(why, PngFailure::Read, path, std::strerror(errno));
            return std::nullopt;
        }
        if (count == 0) {
            bytes.resize(done);  // the file shrank while being read
            break;
        }
        done += static_cast<std::size_t>(count);
    }
    return decode(bytes.data(), bytes.size(), why, kPngMaximumPixels, path);
}

std::optional<std::vector<std::uint8_t>> encodePng(const Image& image, std::string* why) {
    if (!Image::isSupportedLayout(image.bitsPerComponent(), image.bitsPerPixel(),
                                  image.bitmapInfo()) ||
        image.width() < 1 || image.height() < 1) {
        fail(why, PngFailure::UnsupportedLayout, "the image");
        return std::nullopt;
    }
    const std::vector<std::uint8_t> rgba = image.rgbaBytes(false);
    png_image png;
    std::memset(&png, 0, sizeof png);
    png.version = PNG_IMAGE_VERSION;
    png.width = static_cast<png_uint_32>(image.width());
    png.height = static_cast<png_uint_32>(image.height());
    png.format = PNG_FORMAT_RGBA;
    PngImageScope scope(png);
    png_alloc_size_t size = 0;
    if (png_image_write_to_memory(&png, nullptr, &size, 0, rgba.data(), 0, nullptr) == 0) {
        fail(why, PngFailure::Encode, "the image", png.message);
        return std::nullopt;
    }
    std::vector<std::uint8_t> out(size);
    if (png_image_write_to_memory(&png, out.data(), &size, 0, rgba.data(), 0, nullptr) == 0) {
        fail(why, PngFailure::Encode, "the image", png.message);
        return std::nullopt;
    }
    out.resize(size);
    return out;
}

bool writePngFile(const Image& image, const std::string& path, std::string* why) {
    const auto bytes = encodePng(image, why);
    return bytes && AtomicFile::write(path, *bytes, why);
}

}  // namespace velmora
