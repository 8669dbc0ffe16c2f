#include "Velmora/imaging/gl/TextureCache.h"

#include <cstdio>
#include <cstring>
#include <mutex>
#include <vector>

#include <GLES2/gl2ext.h>
#include <fmt/format.h>

namespace velmora {

namespace {
constexpr GLenum kPackRowLength = 0x0D02;    // GL ES 3: GL_PACK_ROW_LENGTH
constexpr GLenum kUnpackRowLength = 0x0CF2;  // GL ES 3: GL_UNPACK_ROW_LENGTH

std::string textureFailure(std::string_view what) {
    return fmt::format("texture cache: {}", what);
}

// Whether the context takes GL_PACK_ROW_LENGTH / GL_UNPACK_ROW_LENGTH (ES 3 and later).
bool hasRowLengths() {
    const auto* version = reinterpret_cast<const char*>(glGetString(GL_VERSION));
    if (version == nullptr) {
        return false;
    }
    int major = 0;
    return std::sscanf(version, "OpenGL ES %d", &major) == 1 && major >= 3;
}

// GL errors are sticky until read: drop those left by earlier calls, so that the check
// after a call sees that call's own.
void clearGLErrors() {
    for (int i = 0; i < 16 && glGetError() != GL_NO_ERROR; ++i) {
    }
}

// Saves and restores the bindings a copy disturbs.
class BindingRestorer {
  public:
    BindingRestorer() {
        glGetIntegerv(GL_FRAMEBUFFER_BINDING, &framebuffer_);
        glGetIntegerv(GL_TEXTURE_BINDING_2D, &texture_);
    }
    ~BindingRestorer() {
        glBindFramebuffer(GL_FRAMEBUFFER, static_cast<GLuint>(framebuffer_));
        glBindTexture(GL_TEXTURE_2D, static_cast<GLuint>(texture_));
    }
    BindingRestorer(const BindingRestorer&) = delete;
    BindingRestorer& operator=(const BindingRestorer&) = delete;

  private:
    GLint framebuffer_ = 0;
    GLint texture_ = 0;
};
}  // namespace

struct TextureCache::Shared {
    EGLContext context = EGL_NO_CONTEXT;
    bool rowLengths = false;
    mutable std::mutex mutex;  // guards the two lists
    std::vector<GLTexture> deadTextures;
    std::vector<GLFramebufferObject> deadFramebuffers;

    bool isCurrent() const { return eglGetCurrentContext() == context; }
};

GLint textureInternalFormatFor(GLint internalFormat, GLenum format) {
    if (format == GL_BGRA_EXT && internalFormat == GL_RGBA) {
        return GL_BGRA_EXT;
    }
    return internalFormat;
}

std::unique_ptr<TextureCache> TextureCache::create(std::shared_ptr<EglContext> context) {
    if (!context || !context->isCurrent()) {
        return nullptr;
    }
    auto shared = std::make_shared<Shared>();
    shared->context = context->handle();
    shared->rowLengths = hasRowLengths();
    return std::unique_ptr<TextureCache>(new TextureCache(std::move(context), std::move(shared)));
}

TextureCache::TextureCache(std::shared_ptr<EglContext> context, std::shared_ptr<Shared> shared)
    : context_(std::move(context)), shared_(std::move(shared)) {}

TextureCache::~TextureCache() {
    // Textures still alive keep shared_; what is queued can only be deleted here with the
    // context current, otherwise it goes with the context.
    if (shared_->isCurrent()) {
        flush();
    }
}

std::unique_ptr<TextureCacheTexture> TextureCache::createTexture(
    std::shared_ptr<PixelBuffer> buffer, GLenum target, GLint internalFormat, GLsizei width,
    GLsizei height, GLenum format, GLenum type, std::size_t plane, std::string* whyNot) {
    auto fail = [whyNot](std::string_view why) -> std::unique_ptr<TextureCacheTexture> {
        if (whyNot != nullptr) {
            *whyNot = textureFailure(why);
        }
        return nullptr;
    };
    if (!buffer) {
        return fail("no pixel buffer");
    }
    if (!shared_->isCurrent()) {
        return fail("the context is not current on this thread");
    }
    if (target != GL_TEXTURE_2D || plane != 0) {
        return fail("only plane 0 of a GL_TEXTURE_2D");
    }
    if (width != buffer->width() || height != buffer->height()) {
        return fail("the size differs from the pixel buffer's");
    }
    if ((format != GL_BGRA_EXT && format != GL_RGBA) || type != GL_UNSIGNED_BYTE) {
        return fail("the format is not 32-bit BGRA or RGBA");
    }
    flush();
    clearGLErrors();
    GLTexture texture = generateTexture();
    GLint previous = 0;
    glGetIntegerv(GL_TEXTURE_BINDING_2D, &previous);
    glBindTexture(GL_TEXTURE_2D, texture.name());
    // Storage only: the pixel buffer's bytes reach the texture at a ReadWrite unlock.
    glTexImage2D(GL_TEXTURE_2D, 0, textureInternalFormatFor(internalFormat, format), width, height,
                 0, format, type, nullptr);
    const GLenum error = glGetError();
    // Such textures sample linearly and clamp unless told otherwise (GL's own default
    // minification filter wants mipmaps, which these never have).
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    glBindTexture(GL_TEXTURE_2D, static_cast<GLuint>(previous));
    if (error != GL_NO_ERROR) {
        return fail(fmt::format("glTexImage2D refused the format (GL error 0x{:04X})", error));
    }
    auto result = std::unique_ptr<TextureCacheTexture>(
        new TextureCacheTexture(shared_, std::move(buffer), target, std::move(texture)));
    result->buffer_->setMirror(result.get());
    return result;
}

void TextureCache::flush() {
    std::vector<GLTexture> textures;
    std::vector<GLFramebufferObject> framebuffers;
    {
        std::lock_guard lock(shared_->mutex);
        textures.swap(shared_->deadTextures);
        framebuffers.swap(shared_->deadFramebuffers);
    }
    // The owners delete their names as they go out of scope, with the context current.
}

std::size_t TextureCache::pendingDeletions() const {
    std::lock_guard lock(shared_->mutex);
    return shared_->deadTextures.size();
}

TextureCacheTexture::TextureCacheTexture(std::shared_ptr<TextureCache::Shared> cache,
                                         std::shared_ptr<PixelBuffer> buffer, GLenum target,
                                         GLTexture texture)
    : cache_(std::move(cache)),
      buffer_(std::move(buffer)),
      target_(target),
      texture_(std::move(texture)) {}

TextureCacheTexture::~TextureCacheTexture() {
    buffer_->setMirror(nullptr);
    std::lock_guard lock(cache_->mutex);
    cache_->deadTextures.push_back(std::move(texture_));
    if (readFramebuffer_) {
        cache_->deadFramebuffers.push_back(std::move(readFramebuffer_));
    }
}

bool TextureCacheTexture::copyToBuffer(std::uint8_t* bytes, std::size_t bytesPerRow) {
    if (!cache_->isCurrent()) {
        return false;
    }
    clearGLErrors();
    BindingRestorer restorer;
    if (!readFramebuffer_) {
        readFramebuffer_ = generateFramebufferObject();
        glBindFramebuffer(GL_FRAMEBUFFER, readFramebuffer_.name());
        glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, target_, texture_.name(), 0);
    } else {
        glBindFramebuffer(GL_FRAMEBUFFER, readFramebuffer_.name());
    }
    const GLsizei width = buffer_->width();
    const GLsizei height = buffer_->height();
    const std::size_t tight = static_cast<std::size_t>(width) * 4;
    GLint previousAlignment = 4;
    glGetIntegerv(GL_PACK_ALIGNMENT, &previousAlignment);
    glPixelStorei(GL_PACK_ALIGNMENT, 4);
    if (bytesPerRow == tight) {
        glReadPixels(0, 0, width, height, GL_BGRA_EXT, GL_UNSIGNED_BYTE, bytes);
    } else if (cache_->rowLengths) {
        glPixelStorei(kPackRowLength, static_cast<GLint>(bytesPerRow / 4));
        glReadPixels(0, 0, width, height, GL_BGRA_EXT, GL_UNSIGNED_BYTE, bytes);
        glPixelStorei(kPackRowLength, 0);
    } else {
        for (GLsizei row = 0; row < height; ++row) {
            glReadPixels(0, row, width, 1, GL_BGRA_EXT, GL_UNSIGNED_BYTE,
                         bytes + static_cast<std::size_t>(row) * bytesPerRow);
        }
    }
    glPixelStorei(GL_PACK_ALIGNMENT, previousAlignment);
    return glGetError() == GL_NO_ERROR;
}

bool TextureCacheTexture::copyFromBuffer(const std::uint8_t* bytes, std::size_t bytesPerRow) {
    if (!cache_->isCurrent()) {
        return false;
    }
    clearGLErrors();
    BindingRestorer restorer;
    glBindTexture(target_, texture_.name());
    const GLsizei width = buffer_->width();
    const GLsizei height = buffer_->height();
    const std::size_t tight = static_cast<std::size_t>(width) * 4;
    GLint previousAlignment = 4;
    glGetIntegerv(GL_UNPACK_ALIGNMENT, &previousAlignment);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
    if (bytesPerRow == tight) {
        glTexSubImage2D(target_, 0, 0, 0, width, height, GL_BGRA_EXT, GL_UNSIGNED_BYTE, bytes);
    } else if (cache_->rowLengths) {
        glPixelStorei(kUnpackRowLength, static_cast<GLint>(bytesPerRow / 4));
        glTexSubImage2D(target_, 0, 0, 0, width, height, GL_BGRA_EXT, GL_UNSIGNED_BYTE, bytes);
        glPixelStorei(kUnpackRowLength, 0);
    } else {
        for (GLsizei row = 0; row < height; ++row) {
            glTexSubImage2D(target_, 0, 0, row, width, 1, GL_BGRA_EXT, GL_UNSIGNED_BYTE,
                            bytes + static_cast<std::size_t>(row) * bytesPerRow);
        }
    }
    glPixelStorei(GL_UNPACK_ALIGNMENT, previousAlignment);
    return glGetError() == GL_NO_ERROR;
}

}  // namespace velmora
