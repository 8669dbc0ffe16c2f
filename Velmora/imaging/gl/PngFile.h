#pragma once
// PNG reading and writing over libpng's simplified interface. Decoding gives an Image of
// straight (unpremultiplied) R, G, B, A bytes (bitmap info kImageAlphaLast), whatever the
// file's colour type and depth; encoding takes any Image layout and writes 8-bit RGBA.
// Files are written whole or not at all, through AtomicFile (which also says which
// targets it refuses: symbolic links, devices, FIFOs, directories).
//
// Thread safety: every function may be called from any thread.
//
//   std::string why;
//   auto image = readPngFile("in.png", &why);
//   if (!image || !writePngFile(*image, "out.png", &why)) { report(why); }

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Velmora/imaging/gl/Image.h"

namespace velmora {

// Images with more pixels than this are refused before any pixel memory is taken.
inline constexpr std::uint64_t kPngMaximumPixels = std::uint64_t{1} << 26;

// Each answers nothing (or false) on failure, with the reason in *why when why is set.
[[nodiscard]] std::optional<Image> decodePng(const std::uint8_t* bytes, std::size_t size,
                                             std::string* why = nullptr,
                                             std::uint64_t maximumPixels = kPngMaximumPixels);
[[nodiscard]] std::optional<Image> readPngFile(const std::string& path, std::string* why = nullptr);
[[nodiscard]] std::optional<std::vector<std::uint8_t>> encodePng(const Image& image,
                                                                 std::string* why = nullptr);
[[nodiscard]] bool writePngFile(const Image& image, const std::string& path,
                                std::string* why = nullptr);

}  // namespace velmora
