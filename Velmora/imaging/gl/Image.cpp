#include "Velmora/imaging/gl/Image.h"

#include <cassert>
#include <cstring>

namespace velmora {

DataProvider::DataProvider(const void* data, std::size_t size, ReleaseCallback release)
    : data_(data), size_(size), release_(std::move(release)) {}

DataProvider::~DataProvider() {
    if (release_) {
        release_(data_, size_);
    }
}

std::shared_ptr<const DataProvider> DataProvider::copying(const void* data, std::size_t size) {
    std::vector<std::uint8_t> bytes(size);
    if (size > 0) {
        std::memcpy(bytes.data(), data, size);
    }
    return owning(std::move(bytes));
}

std::shared_ptr<const DataProvider> DataProvider::owning(std::vector<std::uint8_t> bytes) {
    auto storage = std::make_shared<std::vector<std::uint8_t>>(std::move(bytes));
    const void* data = storage->data();
    const std::size_t size = storage->size();
    return std::make_shared<DataProvider>(
        data, size, [storage](const void*, std::size_t) mutable { storage.reset(); });
}

Image::Image(int width, int height, int bitsPerComponent, int bitsPerPixel, std::size_t bytesPerRow,
             std::uint32_t bitmapInfo, std::shared_ptr<const DataProvider> provider)
    : width_(width),
      height_(height),
      bitsPerComponent_(bitsPerComponent),
      bitsPerPixel_(bitsPerPixel),
      bytesPerRow_(bytesPerRow),
      bitmapInfo_(bitmapInfo),
      provider_(std::move(provider)) {
    assert(provider_ != nullptr);
    assert(!isSupportedLayout(bitsPerComponent, bitsPerPixel, bitmapInfo) || width_ < 1 ||
           height_ < 1 ||
           provider_->size() >= bytesPerRow_ * static_cast<std::size_t>(height_ - 1) +
                                    static_cast<std::size_t>(width_) * 4);
}

bool Image::isSupportedLayout(int bitsPerComponent, int bitsPerPixel, std::uint32_t bitmapInfo) {
    if (bitsPerComponent != 8 || bitsPerPixel != 32) {
        return false;
    }
    const std::uint32_t alpha = bitmapInfo & kImageAlphaInfoMask;
    const std::uint32_t order = bitmapInfo & kImageByteOrderMask;
    if (order == kImageByteOrder32Little) {
        return alpha == kImageAlphaPremultipliedFirst || alpha == kImageAlphaFirst ||
               alpha == kImageAlphaNoneSkipFirst;
    }
    return order == 0 && (alpha == kImageAlphaPremultipliedLast || alpha == kImageAlphaLast ||
                          alpha == kImageAlphaNoneSkipLast);
}

bool Image::isBGRA() const {
    return (bitmapInfo_ & kImageByteOrderMask) == kImageByteOrder32Little;
}

bool Image::isPremultiplied() const {
    const std::uint32_t alpha = bitmapInfo_ & kImageAlphaInfoMask;
    return alpha == kImageAlphaPremultipliedFirst || alpha == kImageAlphaPremultipliedLast;
}

namespace {

std::uint8_t unpremultiply(std::uint8_t value, std::uint8_t alpha) {
    if (alpha == 0) {
        return 0;
    }
    const unsigned result = (static_cast<unsigned>(value) * 255 + alpha / 2) / alpha;
    return static_cast<std::uint8_t>(result > 255 ? 255 : result);
}

std::uint8_t premultiply(std::uint8_t value, std::uint8_t alpha) {
    return static_cast<std::uint8_t>((static_cast<unsigned>(value) * alpha + 127) / 255);
}

}  // namespace

Rgba8 Image::rawPixelAt(int x, int y) const {
    assert(x >= 0 && x < width_ && y >= 0 && y < height_);
    const std::uint8_t* p =
        bytes() + static_cast<std::size_t>(y) * bytesPerRow_ + static_cast<std::size_t>(x) * 4;
    Rgba8 pixel = isBGRA() ? Rgba8{p[2], p[1], p[0], p[3]} : Rgba8{p[0], p[1], p[2], p[3]};
    const std::uint32_t alpha = bitmapInfo_ & kImageAlphaInfoMask;
    if (alpha == kImageAlphaNoneSkipFirst || alpha == kImageAlphaNoneSkipLast) {
        pixel.a = 255;
    }
    return pixel;
}

Rgba8 Image::pixelAt(int x, int y) const {
    Rgba8 pixel = rawPixelAt(x, y);
    if (isPremultiplied()) {
        pixel.r = unpremultiply(pixel.r, pixel.a);
        pixel.g = unpremultiply(pixel.g, pixel.a);
        pixel.b = unpremultiply(pixel.b, pixel.a);
    }
    return pixel;
}

// Row by row over the bytes, without rawPixelAt's per-pixel layout tests: a picture
// converts every frame it uploads through here, and this loop is several times faster.
// The results are those of rawPixelAt and pixelAt.
std::vector<std::uint8_t> Image::rgbaBytes(bool premultiplied) const {
    const auto width = static_cast<std::size_t>(width_ > 0 ? width_ : 0);
    const auto height = static_cast<std::size_t>(height_ > 0 ? height_ : 0);
    std::vector<std::uint8_t> out(width * height * 4);
    const std::uint32_t alphaInfo = bitmapInfo_ & kImageAlphaInfoMask;
    const bool opaque =
        alphaInfo == kImageAlphaNoneSkipFirst || alphaInfo == kImageAlphaNoneSkipLast;
    const bool stored = isPremultiplied();
    const bool multiply = premultiplied && !stored && !opaque;
    const bool divide = !premultiplied && stored;
    const std::size_t red = isBGRA() ? 2 : 0;
    const std::size_t blue = 2 - red;
    for (std::size_t y = 0; y < height; ++y) {
        const std::uint8_t* in = bytes() + y * bytesPerRow_;
        std::uint8_t* to = out.data() + y * width * 4;
        for (std::size_t x = 0; x < width; ++x, in += 4, to += 4) {
            const std::uint8_t a = opaque ? std::uint8_t{255} : in[3];
            std::uint8_t r = in[red];
            std::uint8_t g = in[1];
            std::uint8_t b = in[blue];
            if (multiply) {
                r = premultiply(r, a);
                g = premultiply(g, a);
                b = premultiply(b, a);
            } else if (divide) {
                r = unpremultiply(r, a);
                g = unpremultiply(g, a);
                b = unpremultiply(b, a);
            }
            to[0] = r;
            to[1] = g;
            to[2] = b;
            to[3] = a;
        }
    }
    return out;
}

}  // namespace velmora
