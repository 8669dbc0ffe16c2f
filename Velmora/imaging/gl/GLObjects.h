#pragma once
// GLObject: move-only owners of GL object names (textures, framebuffers, shaders,
// programs). These wrappers and GLObjects.cpp are the only places that generate or
// delete GL names; everything else holds one of these.
//
// Thread safety: none of its own. Creating, resetting or destroying an owner calls GL, so
// it must happen on a thread where the owning context is current (for the image
// pipeline: on the processing queue). Moving an owner touches no GL state.
//
//   GLTexture texture = generateTexture();
//   glBindTexture(GL_TEXTURE_2D, texture.name());
//   texture.reset();  // glDeleteTextures, with the context current

#include <utility>

#include <GLES2/gl2.h>

namespace velmora {

namespace gl_detail {
void deleteTexture(GLuint name);
void deleteFramebuffer(GLuint name);
void deleteShader(GLuint name);
void deleteProgram(GLuint name);
}  // namespace gl_detail

template <void (*Delete)(GLuint)>
class GLObject {
  public:
    GLObject() = default;
    explicit GLObject(GLuint name) : name_(name) {}
    GLObject(GLObject&& other) noexcept : name_(std::exchange(other.name_, 0)) {}
    GLObject& operator=(GLObject&& other) noexcept {
        if (this != &other) {
            reset();
            name_ = std::exchange(other.name_, 0);
        }
        return *this;
    }
    GLObject(const GLObject&) = delete;
    GLObject& operator=(const GLObject&) = delete;
    ~GLObject() { reset(); }

    GLuint name() const { return name_; }
    explicit operator bool() const { return name_ != 0; }

    // Deletes the object now (if any); the owner is empty afterwards.
    void reset() {
        if (name_ != 0) {
            Delete(std::exchange(name_, 0));
        }
    }

  private:
    GLuint name_ = 0;
};

using GLTexture = GLObject<&gl_detail::deleteTexture>;
using GLFramebufferObject = GLObject<&gl_detail::deleteFramebuffer>;
using GLShader = GLObject<&gl_detail::deleteShader>;
using GLProgramObject = GLObject<&gl_detail::deleteProgram>;

// Each REQUIRES a current context; an empty owner means GL refused.
[[nodiscard]] GLTexture generateTexture();
[[nodiscard]] GLFramebufferObject generateFramebufferObject();
[[nodiscard]] GLShader createShader(GLenum type);
[[nodiscard]] GLProgramObject createProgram();

}  // namespace velmora
