#pragma once
// GLProgram: one vertex and one fragment shader compiled and attached to a GL program.
// Attributes are bound by position: the first name added gets location 0. Linking
// deletes the shader objects (their names become 0). Failures are logged, never thrown;
// a program whose link failed stays unlinked and its three logs tell why.
//
// Thread safety: REQUIRES the processing queue with the context current for every
// operation (construction too); destruction goes to the processing queue by itself.
//
//   auto program = std::make_shared<GLProgram>(vertexSource, fragmentSource);
//   program->addAttribute("position");
//   if (program->link()) { program->use(); }

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <GLES2/gl2.h>

#include "Velmora/imaging/gl/GLObjects.h"

namespace velmora {

class GLProgram {
  public:
    // A missing source (nullopt) is logged and leaves that shader uncompiled.
    GLProgram(const std::optional<std::string>& vertexShaderString,
              const std::optional<std::string>& fragmentShaderString);
    // The fragment source from the resource "<name>.fsh" (see setResourceDirectory).
    static std::shared_ptr<GLProgram> withFragmentShaderFilename(
        const std::string& vertexShaderString, const std::string& fragmentShaderFilename);
    // Both sources from resources: "<vertex>.vsh" and "<fragment>.fsh".
    static std::shared_ptr<GLProgram> withShaderFilenames(
        const std::string& vertexShaderFilename, const std::string& fragmentShaderFilename);
    ~GLProgram();
    GLProgram(const GLProgram&) = delete;
    GLProgram& operator=(const GLProgram&) = delete;

    // Where shader resources are looked up; by default the running program's directory.
    static void setResourceDirectory(std::string directory);
    // The text of resource "<name>.<type>", or nothing when it cannot be read.
    static std::optional<std::string> resourceText(std::string_view name, std::string_view type);

    // Binds name to the next location; a name already added keeps its first location.
    void addAttribute(const std::string& name);
    // The location bound to name, or -1 when it was never added.
    GLint attributeIndex(const std::string& name) const;
    // glGetUniformLocation, asked each time.
    GLint uniformIndex(const std::string& name) const;
    bool link();
    void use();
    void validate();

    // The info logs, or nothing when empty. All three deliberately read through the
    // program queries (glGetProgramiv, glGetProgramInfoLog), the shader ones included:
    // callers have always seen these values, so the quirk stays.
    std::optional<std::string> vertexShaderLog() const;
    std::optional<std::string> fragmentShaderLog() const;
    std::optional<std::string> programLog() const;

    bool initialized() const { return initialized_; }
    GLuint program() const { return program_.name(); }
    GLuint vertShader() const { return vertShader_.name(); }
    GLuint fragShader() const { return fragShader_.name(); }
    const std::vector<std::string>& attributes() const { return attributes_; }

  private:
    using InfoCallback = void (*)(GLuint, GLenum, GLint*);
    using LogFunction = void (*)(GLuint, GLsizei, GLsizei*, GLchar*);
    static std::optional<std::string> logForOpenGLObject(GLuint object, InfoCallback infoCallback,
                                                         LogFunction logFunction);
    static bool compileShader(GLShader& shader, GLenum type,
                              const std::optional<std::string>& source);

    std::vector<std::string> attributes_;
    std::vector<std::string> uniforms_;  // kept for subclasses' bookkeeping, unused here
    GLProgramObject program_;
    GLShader vertShader_;
    GLShader fragShader_;
    bool initialized_ = false;
};

}  // namespace velmora
