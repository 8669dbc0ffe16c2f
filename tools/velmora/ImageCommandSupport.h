#pragma once
// What the `velmora image` subcommands share: reading the input PNG, making sure the GPU
// pipeline can run, checking a requested size against the device before anything is
// allocated, running a still image through a chain of filters, and writing the result
// (whole or not at all). Each reports a problem through fail() / usageError().
//
// Thread safety: the tool's main thread only.
//
//   const Image image = readInputImage(path);
//   const Image result = filterImage(image, filters);
//   writeOutputImage(result, output);

#include <memory>
#include <string>
#include <vector>

#include "Velmora/imaging/GLImageOutput.h"
#include "Velmora/imaging/gl/GLGeometry.h"
#include "Velmora/imaging/gl/Image.h"

namespace velmora::tool {

// Console logging at warning level for the life of the scope, removed before the tool
// prints its error line.
class ImageLoggingScope {
  public:
    ImageLoggingScope();
    ~ImageLoggingScope();
    ImageLoggingScope(const ImageLoggingScope&) = delete;
    ImageLoggingScope& operator=(const ImageLoggingScope&) = delete;
};

Image readInputImage(const std::string& path);
// Fails when no GL context can be made.
void requireImagePipeline();
// A usage error naming option and the device's limit when size does not fit in a
// texture; a failure when it comes to less than a pixel on a side.
void checkOutputSize(const std::string& option, const std::string& text, GLSize size);
// The image through the chain (each filter feeds the next; the last is captured).
Image filterImage(const Image& image, const std::vector<std::shared_ptr<GLImageOutput>>& chain);
void writeOutputImage(const Image& image, const std::string& path);
std::string describeSize(const Image& image);  // "48x32"

}  // namespace velmora::tool
