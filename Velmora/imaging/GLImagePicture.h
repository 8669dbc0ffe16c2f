#pragma once
// GLImagePicture: a still image as a source. The image is uploaded once into a
// texture-only framebuffer (scaled down first if a side reaches the maximum texture size)
// that the picture keeps for its whole life, with lock counting off; processImage passes
// it to every target once, with the indefinite frame time.
//
// Thread safety: as GLImageOutput; processImage may be called from any thread.
//
//   auto picture = GLImagePicture::create(image);
//   picture->addTarget(filter);
//   picture->processImage();

#include <memory>
#include <string>

#include "Velmora/imaging/GLImageOutput.h"
#include "Velmora/imaging/gl/Image.h"

namespace velmora {

class GLImagePicture : public GLImageOutput {
  public:
    class ConstructionKey {
        friend class GLImagePicture;
        ConstructionKey() = default;
    };

    [[nodiscard]] static std::shared_ptr<GLImagePicture> create(const Image& image);
    // nullptr, with the reason in *why, when the file is not a readable PNG image.
    [[nodiscard]] static std::shared_ptr<GLImagePicture> createWithPngFile(
        const std::string& path, std::string* why = nullptr);

    GLImagePicture(ConstructionKey key, const Image& image);
    ~GLImagePicture() override;

    // The size of the uploaded texture, in pixels.
    GLSize outputImageSize() const { return pixelSizeOfImage_; }

    // Queues one pass of the image to the targets.
    void processImage();
    // The same, waiting until every target has rendered it.
    void processImageSynchronously();

  private:
    void upload(const Image& image);
    void sendImageToTargets();

    GLSize pixelSizeOfImage_;
};

}  // namespace velmora
