// Image layouts, PNG decoding and encoding, and the all-or-nothing file write.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Velmora/imaging/gl/PngFile.h"

#include "tests/imaging/GLTestSupport.h"

namespace velmora {
namespace {

namespace fs = std::filesystem;
using testing::makeImage;

class TemporaryDirectory {
  public:
    TemporaryDirectory() {
        std::string pattern = (fs::temp_directory_path() / "velmora-png-XXXXXX").string();
        path_ = ::mkdtemp(pattern.data());
    }
    ~TemporaryDirectory() { fs::remove_all(path_); }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
    std::string file(const std::string& name) const { return (path_ / name).string(); }
    std::size_t entries() const {
        return static_cast<std::size_t>(std::distance(fs::directory_iterator(path_), {}));
    }

  private:
    fs::path path_;
};

TEST(Image, LayoutsReadBackAsStraightRgba) {
    // One half-transparent red pixel, stored four ways.
    const std::uint8_t premultipliedBGRA[] = {0, 0, 128, 128};
    const std::uint8_t straightRGBA[] = {255, 0, 0, 128};
    const std::uint8_t skipFirstBGRX[] = {3, 2, 1, 7};
    const Image bgra(1, 1, 8, 32, 4, kImageByteOrder32Little | kImageAlphaPremultipliedFirst,
                     DataProvider::copying(premultipliedBGRA, 4));
    const Image rgba(1, 1, 8, 32, 4, kImageAlphaLast, DataProvider::copying(straightRGBA, 4));
    const Image bgrx(1, 1, 8, 32, 4, kImageByteOrder32Little | kImageAlphaNoneSkipFirst,
                     DataProvider::copying(skipFirstBGRX, 4));
    EXPECT_TRUE(bgra.isBGRA());
    EXPECT_TRUE(bgra.isPremultiplied());
    EXPECT_EQ(bgra.pixelAt(0, 0), (Rgba8{255, 0, 0, 128}));
    EXPECT_EQ(rgba.pixelAt(0, 0), (Rgba8{255, 0, 0, 128}));
    EXPECT_EQ(bgrx.pixelAt(0, 0), (Rgba8{1, 2, 3, 255}));
    EXPECT_EQ(rgba.rgbaBytes(true), (std::vector<std::uint8_t>{128, 0, 0, 128}));
    // Premultiplied to premultiplied is a plain copy, not a lossy round trip.
    EXPECT_EQ(bgra.rgbaBytes(true), (std::vector<std::uint8_t>{128, 0, 0, 128}));
    EXPECT_FALSE(Image::isSupportedLayout(8, 24, kImageAlphaNone));
    EXPECT_FALSE(Image::isSupportedLayout(8, 32, kImageByteOrder32Little | kImageAlphaLast));
}

// rgbaBytes walks rows itself; it must answer what the per-pixel accessors answer, for
// every layout, with padded rows and alphas from 0 to 255.
TEST(Image, RgbaBytesAgreeWithThePixelAccessorsInEveryLayout) {
    constexpr int kWidth = 3;
    constexpr int kHeight = 2;
    constexpr std::size_t kRowBytes = 16;  // 4 bytes of padding a row
    std::vector<std::uint8_t> bytes(kRowBytes * kHeight, 0xEE);
    const std::uint8_t alphas[] = {0, 1, 77, 128, 254, 255};
    for (int i = 0; i < kWidth * kHeight; ++i) {
        std::uint8_t* p = &bytes[(i / kWidth) * kRowBytes + (i % kWidth) * 4];
        const std::uint8_t alpha = alphas[i];
        p[0] = static_cast<std::uint8_t>(alpha * (i + 1) / 7);
        p[1] = static_cast<std::uint8_t>(alpha / 2);
        p[2] = alpha;
        p[3] = alpha;
    }
    const std::uint32_t layouts[] = {
        kImageAlphaPremultipliedLast,
        kImageAlphaLast,
        kImageAlphaNoneSkipLast,
        kImageByteOrder32Little | kImageAlphaPremultipliedFirst,
        kImageByteOrder32Little | kImageAlphaFirst,
        kImageByteOrder32Little | kImageAlphaNoneSkipFirst,
    };
    for (const std::uint32_t layout : layouts) {
        const Image image(kWidth, kHeight, 8, 32, kRowBytes, layout,
                          DataProvider::copying(bytes.data(), bytes.size()));
        for (const bool premultiplied : {true, false}) {
            std::vector<std::uint8_t> expected;
            for (int y = 0; y < kHeight; ++y) {
                for (int x = 0; x < kWidth; ++x) {
                    Rgba8 p = image.pixelAt(x, y);
                    if (premultiplied && image.isPremultiplied()) {
                        // As stored: no round trip through straight alpha.
                        const std::uint8_t* q = &bytes[y * kRowBytes + x * 4];
                        p = image.isBGRA() ? Rgba8{q[2], q[1], q[0], q[3]}
                                           : Rgba8{q[0], q[1], q[2], q[3]};
                    } else if (premultiplied) {
                        const auto times = [&p](std::uint8_t v) {
                            return static_cast<std::uint8_t>((v * p.a + 127) / 255);
                        };
                        p = Rgba8{times(p.r), times(p.g), times(p.b), p.a};
                    }
                    expected.insert(expected.end(), {p.r, p.g, p.b, p.a});
                }
            }
            EXPECT_EQ(image.rgbaBytes(premultiplied), expected)
                << "layout " << layout << (premultiplied ? " premultiplied" : " straight");
        }
    }
}

TEST(Image, ReleaseCallbackRunsOnceWhenTheLastCopyGoes) {
    int released = 0;
    static const std::uint8_t pixel[4] = {1, 2, 3, 4};
    {
        auto provider = std::make_shared<DataProvider>(
            pixel, 4, [&released](const void* data, std::size_t size) {
                EXPECT_EQ(data, pixel);
                EXPECT_EQ(size, 4u);
                ++released;
            });
        Image first(1, 1, 8, 32, 4, kImageAlphaLast, std::move(provider));
        Image second = first;
        { Image third = second; }
        EXPECT_EQ(released, 0);
    }
    EXPECT_EQ(released, 1);
}

TEST(Png, RoundTripKeepsEveryPixelAndAlpha) {
    const Image original = makeImage(5, 3, [](int x, int y) {
        return Rgba8{static_cast<std::uint8_t>(x * 50), static_cast<std::uint8_t>(y * 100),
                     static_cast<std::uint8_t>(x + y), static_cast<std::uint8_t>(255 - x * 60)};
    });
    std::string why;
    const auto encoded = encodePng(original, &why);
    ASSERT_TRUE(encoded) << why;
    const auto decoded = decodePng(encoded->data(), encoded->size(), &why);
    ASSERT_TRUE(decoded) << why;
    ASSERT_EQ(decoded->width(), 5);
    ASSERT_EQ(decoded->height(), 3);
    EXPECT_EQ(decoded->bitmapInfo(), kImageAlphaLast);
    for (int y = 0; y < 3; ++y) {
        for (int x = 0; x < 5; ++x) {
            EXPECT_EQ(decoded->pixelAt(x, y), original.pixelAt(x, y)) << x << "," << y;
        }
    }
}

TEST(Png, BadInputIsRefusedWithAReason) {
    struct Case {
        std::vector<std::uint8_t> bytes;
        std::string reason;
    };
    const auto good = encodePng(makeImage(4, 4, [](int, int) { return Rgba8{1, 2, 3, 255}; }));
    ASSERT_TRUE(good);
    std::vector<std::uint8_t> truncated(good->begin(), good->begin() + 40);
    std::vector<std::uint8_t> corrupted = *good;
    corrupted[20] ^= 0xFF;  // inside IHDR: its CRC no longer matches
    const Case cases[] = {
        {{}, "is not a PNG image"},
        {{'G', 'I', 'F', '8', '9', 'a', 0, 0, 0}, "is not a PNG image"},
        {truncated, "is not a valid PNG image"},
        {corrupted, "is not a valid PNG image"},
    };
    for (const Case& c : cases) {
        std::string why;
        EXPECT_FALSE(decodePng(c.bytes.data(), c.bytes.size(), &why));
        EXPECT_NE(why.find(c.reason), std::string::npos) << why;
    }
    std::string why;
    EXPECT_FALSE(decodePng(good->data(), good->size(), &why, 15));  // 16 pixels > 15
    EXPECT_NE(why.find("too large: 4x4 pixels"), std::string::npos) << why;
}

TEST(PngFile, MissingFileNamesTheFileAndTheReason) {
    std::string why;
    EXPECT_FALSE(readPngFile("/nonexistent/velmora/in.png", &why));
    EXPECT_EQ(why, "cannot open /nonexistent/velmora/in.png: No such file or directory");
    TemporaryDirectory directory;
    EXPECT_FALSE(readPngFile(directory.file(""), &why));
    EXPECT_NE(why.find("not a regular file"), std::string::npos) << why;
}

TEST(PngFile, WriteIsWholeOrNothing) {
    TemporaryDirectory directory;
    const std::string path = directory.file("out.png");
    const Image image = makeImage(3, 2, [](int x, int y) {
        return Rgba8{static_cast<std::uint8_t>(x), static_cast<std::uint8_t>(y), 9, 255};
    });
    std::string why;
    ASSERT_TRUE(writePngFile(image, path, &why)) << why;
    EXPECT_EQ(directory.entries(), 1u);  // no temporary file left behind
    const auto back = readPngFile(path, &why);
    ASSERT_TRUE(back) << why;
    EXPECT_EQ(back->pixelAt(2, 1), (Rgba8{2, 1, 9, 255}));

    // A failed write leaves the existing file as it was, and no temporary file.
    const auto before = fs::file_size(path);
    static const std::uint8_t bytes[4] = {};
    const Image unsupported(1, 1, 8, 32, 4, kImageByteOrder32Little | kImageAlphaLast,
                            DataProvider::copying(bytes, 4));
    EXPECT_FALSE(writePngFile(unsupported, path, &why));
    EXPECT_EQ(fs::file_size(path), before);
    EXPECT_EQ(directory.entries(), 1u);
    EXPECT_FALSE(writePngFile(image, directory.file("missing/out.png"), &why));
    EXPECT_NE(why.find("cannot create"), std::string::npos) << why;
}

}  // namespace
}  // namespace velmora
