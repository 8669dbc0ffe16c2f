#pragma once
// GPUTextureOptions: how a framebuffer's texture is sampled and stored — filters, wrap
// modes, internal format, data format and component type, as GL enums. The defaults are
// the ones every filter uses unless told otherwise. Part of the framebuffer cache's key.
//
// Thread safety: a value type.
//
//   GPUTextureOptions options;            // linear, clamped, RGBA stored from BGRA bytes
//   options.minFilter = GL_NEAREST;
//   auto framebuffer = cache.fetchFramebufferForSize({64, 64}, options, false);

#include <GLES2/gl2.h>
#include <GLES2/gl2ext.h>

namespace velmora {

struct GPUTextureOptions {
    GLenum minFilter = GL_LINEAR;
    GLenum magFilter = GL_LINEAR;
    GLenum wrapS = GL_CLAMP_TO_EDGE;
    GLenum wrapT = GL_CLAMP_TO_EDGE;
    GLenum internalFormat = GL_RGBA;
    GLenum format = GL_BGRA_EXT;
    GLenum type = GL_UNSIGNED_BYTE;

    friend bool operator==(const GPUTextureOptions&, const GPUTextureOptions&) = default;
};

}  // namespace velmora
