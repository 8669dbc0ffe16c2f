#include "Velmora/imaging/GLImagePicture.h"

#include <algorithm>
#include <vector>

#include "Velmora/imaging/GLImageContext.h"
#include "Velmora/imaging/GLImageFramebuffer.h"
#include "Velmora/imaging/GLImageFramebufferCache.h"
#include "Velmora/imaging/gl/PngFile.h"
#include "Velmora/imaging/gl/TextureCache.h"

namespace velmora {

namespace {

// Nearest-neighbour resampling, used only for images too large for a texture.
std::vector<std::uint8_t> resampled(const std::vector<std::uint8_t>& rgba, int width, int height,
                                    int newWidth, int newHeight) {
    std::vector<std::uint8_t> out(static_cast<std::size_t>(newWidth) * newHeight * 4);
    for (int y = 0; y < newHeight; ++y) {
        const int sourceY = static_cast<int>(static_cast<long long>(y) * height / newHeight);
        for (int x = 0; x < newWidth; ++x) {
            const int sourceX = static_cast<int>(static_cast<long long>(x) * width / newWidth);
            const std::size_t from = (static_cast<std::size_t>(sourceY) * width + sourceX) * 4;
            const std::size_t to = (static_cast<std::size_t>(y) * newWidth + x) * 4;
            for (int c = 0; c < 4; ++c) {
                out[to + c] = rgba[from + c];
            }
        }
    }
    return out;
}

}  // namespace

std::shared_ptr<GLImagePicture> GLImagePicture::create(const Image& image) {
    return std::make_shared<GLImagePicture>(ConstructionKey{}, image);
}

std::shared_ptr<GLImagePicture> GLImagePicture::createWithPngFile(const std::string& path,
                                                                  std::string* why) {
    std::optional<Image> image = readPngFile(path, why);
    if (!image) {
        return nullptr;
    }
    return create(*image);
}

GLImagePicture::GLImagePicture(ConstructionKey, const Image& image) {
    upload(image);
}

GLImagePicture::~GLImagePicture() {
    if (outputFramebuffer_) {
        outputFramebuffer_->enableReferenceCounting();
        outputFramebuffer_->unlock();
    }
}

void GLImagePicture::upload(const Image& image) {
    const GLSize imageSize{static_cast<double>(image.width()), static_cast<double>(image.height())};
    const GLSize fitted = GLImageContext::sizeThatFitsWithinATextureForSize(imageSize);
    const int width = std::max(1, static_cast<int>(fitted.width));
    const int height = std::max(1, static_cast<int>(fitted.height));
    pixelSizeOfImage_ = GLSize{static_cast<double>(width), static_cast<double>(height)};

    // Textures hold premultiplied colour, as the platform's drawing does. Tightly packed
    // premultiplied BGRA goes up as it is; everything else is converted first.
    const bool direct = image.isBGRA() && image.isPremultiplied() &&
                        image.bytesPerRow() == static_cast<std::size_t>(image.width()) * 4 &&
                        width == image.width() && height == image.height();
    std::vector<std::uint8_t> converted;
    if (!direct) {
        converted = image.rgbaBytes(true);
        if (width != image.width() || height != image.height()) {
            converted = resampled(converted, image.width(), image.height(), width, height);
        }
    }
    runSynchronouslyOnVideoProcessingQueue([&] {
        GLImageContext::useImageProcessingContext();
        outputFramebuffer_ = GLImageContext::sharedFramebufferCache().fetchFramebufferForSize(
            pixelSizeOfImage_, outputTextureOptions_, true);
        outputFramebuffer_->disableReferenceCounting();
        glBindTexture(GL_TEXTURE_2D, outputFramebuffer_->texture());
        glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
        if (direct) {
            glTexImage2D(GL_TEXTURE_2D, 0, textureInternalFormatFor(GL_RGBA, GL_BGRA_EXT), width,
                         height, 0, GL_BGRA_EXT, GL_UNSIGNED_BYTE, image.bytes());
        } else {
            glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, width, height, 0, GL_RGBA, GL_UNSIGNED_BYTE,
                         converted.data());
        }
        glBindTexture(GL_TEXTURE_2D, 0);
    });
}

void GLImagePicture::sendImageToTargets() {
    const auto targets = targets_;
    const auto indices = targetTextureIndices_;
    for (std::size_t i = 0; i < targets.size(); ++i) {
        if (targets[i].get() == targetToIgnoreForUpdates_) {
            continue;
        }
        targets[i]->setCurrentlyReceivingMonochromeInput(false);
        targets[i]->setInputFramebuffer(outputFramebuffer_, indices[i]);
        targets[i]->setInputSize(pixelSizeOfImage_, indices[i]);
    }
    for (std::size_t i = 0; i < targets.size(); ++i) {
        if (targets[i].get() != targetToIgnoreForUpdates_) {
            targets[i]->newFrameReadyAtTime(FrameTime::indefinite(), indices[i]);
        }
    }
}

void GLImagePicture::processImage() {
    auto self = std::static_pointer_cast<GLImagePicture>(shared_from_this());
    runAsynchronouslyOnVideoProcessingQueue([self] { self->sendImageToTargets(); });
}

void GLImagePicture::processImageSynchronously() {
    runSynchronouslyOnVideoProcessingQueue([this] { sendImageToTargets(); });
}

}  // namespace velmora
