#pragma once
// Image: an immutable bitmap (the platform's CGImage): size, bits per component and per
// pixel, bytes per row, a bitmap-info word saying where alpha sits and whether it is
// premultiplied, and a DataProvider that owns (or lends) the bytes. Copies share the
// provider; the provider's release callback runs when the last copy goes.
// OrientedImage adds the scale and orientation of the platform's image object.
//
// Thread safety: Image is immutable and may be read from any thread; the release
// callback runs on whichever thread drops the last reference.
//
//   auto provider = DataProvider::copying(bytes.data(), bytes.size());
//   Image image(2, 1, 8, 32, 8, kImageAlphaLast, provider);
//   Rgba8 first = image.pixelAt(0, 0);

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace velmora {

// Bitmap-info values, as the platform numbers them.
inline constexpr std::uint32_t kImageAlphaNone = 0;
inline constexpr std::uint32_t kImageAlphaPremultipliedLast = 1;
inline constexpr std::uint32_t kImageAlphaPremultipliedFirst = 2;
inline constexpr std::uint32_t kImageAlphaLast = 3;
inline constexpr std::uint32_t kImageAlphaFirst = 4;
inline constexpr std::uint32_t kImageAlphaNoneSkipLast = 5;
inline constexpr std::uint32_t kImageAlphaNoneSkipFirst = 6;
inline constexpr std::uint32_t kImageAlphaInfoMask = 0x1F;
inline constexpr std::uint32_t kImageByteOrder32Little = 2u << 12;
inline constexpr std::uint32_t kImageByteOrderMask = 0x7000;

// The bytes behind an Image. The release callback, if any, gets the data pointer and
// size when the provider is destroyed.
class DataProvider {
  public:
    using ReleaseCallback = std::function<void(const void* data, std::size_t size)>;

    DataProvider(const void* data, std::size_t size, ReleaseCallback release);
    ~DataProvider();
    DataProvider(const DataProvider&) = delete;
    DataProvider& operator=(const DataProvider&) = delete;

    // A provider over a copy of the bytes, owned by the provider.
    [[nodiscard]] static std::shared_ptr<const DataProvider> copying(const void* data,
                                                                     std::size_t size);
    // A provider that takes the vector.
    [[nodiscard]] static std::shared_ptr<const DataProvider> owning(
        std::vector<std::uint8_t> bytes);

    const std::uint8_t* bytes() const { return static_cast<const std::uint8_t*>(data_); }
    std::size_t size() const { return size_; }

  private:
    const void* data_;
    std::size_t size_;
    ReleaseCallback release_;
};

struct Rgba8 {
    std::uint8_t r = 0, g = 0, b = 0, a = 0;
    friend bool operator==(const Rgba8&, const Rgba8&) = default;
};

class Image {
  public:
    // Any layout may be described; the pixel accessors, the pipeline and PNG encoding
    // handle 8 bits per component in 32-bit pixels (isSupportedLayout() tells).
    // REQUIRES: for those, provider holds bytesPerRow * (height - 1) + width * 4 bytes.
    Image(int width, int height, int bitsPerComponent, int bitsPerPixel, std::size_t bytesPerRow,
          std::uint32_t bitmapInfo, std::shared_ptr<const DataProvider> provider);

    int width() const { return width_; }
    int height() const { return height_; }
    int bitsPerComponent() const { return bitsPerComponent_; }
    int bitsPerPixel() const { return bitsPerPixel_; }
    std::size_t bytesPerRow() const { return bytesPerRow_; }
    std::uint32_t bitmapInfo() const { return bitmapInfo_; }
    const std::shared_ptr<const DataProvider>& dataProvider() const { return provider_; }
    const std::uint8_t* bytes() const { return provider_->bytes(); }

    // Whether the byte order in memory is B, G, R, A (32-bit little-endian, alpha first).
    bool isBGRA() const;
    bool isPremultiplied() const;
    static bool isSupportedLayout(int bitsPerComponent, int bitsPerPixel, std::uint32_t bitmapInfo);

    // The pixel at column x, row y (row 0 at the top), unpremultiplied, in R, G, B, A.
    // REQUIRES: a supported layout, 0 <= x < width, 0 <= y < height.
    Rgba8 pixelAt(int x, int y) const;
    // All pixels as tightly packed R, G, B, A rows, straight or premultiplied alpha.
    std::vector<std::uint8_t> rgbaBytes(bool premultiplied) const;

  private:
    Rgba8 rawPixelAt(int x, int y) const;  // as stored, in R, G, B, A order

    int width_;
    int height_;
    int bitsPerComponent_;
    int bitsPerPixel_;
    std::size_t bytesPerRow_;
    std::uint32_t bitmapInfo_;
    std::shared_ptr<const DataProvider> provider_;
};

// Orientation of the platform's image object: how to turn the bitmap to show it upright.
enum class ImageOrientation {
    Up,
    Down,
    Left,
    Right,
    UpMirrored,
    DownMirrored,
    LeftMirrored,
    RightMirrored
};

// The platform's image object: a bitmap with its scale (pixels per point) and orientation.
struct OrientedImage {
    Image image;
    double scale = 1.0;
    ImageOrientation orientation = ImageOrientation::Up;
};

}  // namespace velmora
