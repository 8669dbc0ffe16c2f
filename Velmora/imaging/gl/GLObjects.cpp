#include "Velmora/imaging/gl/GLObjects.h"

namespace velmora {

namespace gl_detail {
void deleteTexture(GLuint name) {
    glDeleteTextures(1, &name);
}
void deleteFramebuffer(GLuint name) {
    glDeleteFramebuffers(1, &name);
}
void deleteShader(GLuint name) {
    glDeleteShader(name);
}
void deleteProgram(GLuint name) {
    glDeleteProgram(name);
}
}  // namespace gl_detail

GLTexture generateTexture() {
    GLuint name = 0;
    glGenTextures(1, &name);
    return GLTexture(name);
}

GLFramebufferObject generateFramebufferObject() {
    GLuint name = 0;
    glGenFramebuffers(1, &name);
    return GLFramebufferObject(name);
}

GLShader createShader(GLenum type) {
    return GLShader(glCreateShader(type));
}

GLProgramObject createProgram() {
    return GLProgramObject(glCreateProgram());
}

}  // namespace velmora
