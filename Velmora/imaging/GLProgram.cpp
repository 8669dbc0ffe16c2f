#include "Velmora/imaging/GLProgram.h"

#include <algorithm>
#include <fstream>
#include <mutex>
#include <sstream>

#include <unistd.h>

#include "Velmora/imaging/GLImageContext.h"
#include "Velmora/platform/logging/Log.h"

namespace velmora {

namespace {

std::mutex gResourceMutex;
std::string gResourceDirectory;  // guarded by gResourceMutex; empty: the program's folder

std::string executableDirectory() {
    std::string path(4096, '\0');
    const ssize_t length = ::readlink("/proc/self/exe", path.data(), path.size());
    if (length <= 0) {
        return ".";
    }
    path.resize(static_cast<std::size_t>(length));
    const auto slash = path.rfind('/');
    return slash == std::string::npos ? "." : path.substr(0, slash);
}

}  // namespace

void GLProgram::setResourceDirectory(std::string directory) {
    std::lock_guard lock(gResourceMutex);
    gResourceDirectory = std::move(directory);
}

std::optional<std::string> GLProgram::resourceText(std::string_view name, std::string_view type) {
    std::string directory;
    {
        std::lock_guard lock(gResourceMutex);
        directory = gResourceDirectory;
    }
    if (directory.empty()) {
        directory = executableDirectory();
    }
    std::ifstream file(directory + "/" + std::string(name) + "." + std::string(type),
                       std::ios::binary);
    if (!file) {
        return std::nullopt;
    }
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

std::shared_ptr<GLProgram> GLProgram::withFragmentShaderFilename(
    const std::string& vertexShaderString, const std::string& fragmentShaderFilename) {
    return std::make_shared<GLProgram>(vertexShaderString,
                                       resourceText(fragmentShaderFilename, "fsh"));
}

std::shared_ptr<GLProgram> GLProgram::withShaderFilenames(
    const std::string& vertexShaderFilename, const std::string& fragmentShaderFilename) {
    return std::make_shared<GLProgram>(resourceText(vertexShaderFilename, "vsh"),
                                       resourceText(fragmentShaderFilename, "fsh"));
}

GLProgram::GLProgram(const std::optional<std::string>& vertexShaderString,
                     const std::optional<std::string>& fragmentShaderString)
    : program_(createProgram()) {
    if (!compileShader(vertShader_, GL_VERTEX_SHADER, vertexShaderString)) {
        log::error("Failed to compile vertex shader");
    }
    if (!compileShader(fragShader_, GL_FRAGMENT_SHADER, fragmentShaderString)) {
        log::error("Failed to compile fragment shader");
    }
    // Attached even after a failure: the link then fails and its log says why.
    glAttachShader(program_.name(), vertShader_.name());
    glAttachShader(program_.name(), fragShader_.name());
}

GLProgram::~GLProgram() {
    runSynchronouslyOnVideoProcessingQueue([this] {
        GLImageContext::useImageProcessingContext();
        vertShader_.reset();
        fragShader_.reset();
        program_.reset();
    });
}

bool GLProgram::compileShader(GLShader& shader, GLenum type,
                              const std::optional<std::string>& source) {
    if (!source) {
        // The same words for either type, as the log has always read.
        log::error("Failed to load vertex shader");
        return false;
    }
    shader = createShader(type);
    const GLchar* text = source->c_str();
    glShaderSource(shader.name(), 1, &text, nullptr);
    glCompileShader(shader.name());
    GLint status = GL_FALSE;
    glGetShaderiv(shader.name(), GL_COMPILE_STATUS, &status);
    if (status != GL_TRUE) {
        GLint length = 0;
        glGetShaderiv(shader.name(), GL_INFO_LOG_LENGTH, &length);
        if (length >= 1) {
            std::string compileLog(static_cast<std::size_t>(length), '\0');
            glGetShaderInfoLog(shader.name(), length, &length, compileLog.data());
            compileLog.resize(static_cast<std::size_t>(std::max(length, 0)));
            log::error("Shader compile log:\n{}", compileLog);
        }
    }
    return status == GL_TRUE;
}

void GLProgram::addAttribute(const std::string& name) {
    for (const std::string& known : attributes_) {
        if (known == name) {
            return;
        }
    }
    attributes_.push_back(name);
    glBindAttribLocation(program_.name(), static_cast<GLuint>(attributes_.size() - 1),
                         name.c_str());
}

GLint GLProgram::attributeIndex(const std::string& name) const {
    for (std::size_t i = 0; i < attributes_.size(); ++i) {
        if (attributes_[i] == name) {
            return static_cast<GLint>(i);
        }
    }
    return -1;
}

GLint GLProgram::uniformIndex(const std::string& name) const {
    return glGetUniformLocation(program_.name(), name.c_str());
}

bool GLProgram::link() {
    glLinkProgram(program_.name());
    GLint status = GL_FALSE;
    glGetProgramiv(program_.name(), GL_LINK_STATUS, &status);
    if (status == GL_FALSE) {
        return false;
    }
    vertShader_.reset();
    fragShader_.reset();
    initialized_ = true;
    return true;
}

void GLProgram::use() {
    glUseProgram(program_.name());
}

void GLProgram::validate() {
    glValidateProgram(program_.name());
    GLint length = 0;
    glGetProgramiv(program_.name(), GL_INFO_LOG_LENGTH, &length);
    if (length >= 1) {
        std::string text(static_cast<std::size_t>(length), '\0');
        glGetProgramInfoLog(program_.name(), length, &length, text.data());
        text.resize(static_cast<std::size_t>(std::max(length, 0)));
        log::warning("Program validate log:\n{}", text);
    }
}

std::optional<std::string> GLProgram::logForOpenGLObject(GLuint object, InfoCallback infoCallback,
                                                         LogFunction logFunction) {
    GLint length = 0;
    infoCallback(object, GL_INFO_LOG_LENGTH, &length);
    if (length < 1) {
        return std::nullopt;
    }
    std::string text(static_cast<std::size_t>(length), '\0');
    GLsizei written = 0;
    logFunction(object, length, &written, text.data());
    text.resize(static_cast<std::size_t>(std::max(written, 0)));
    return text;
}

std::optional<std::string> GLProgram::vertexShaderLog() const {
    return logForOpenGLObject(vertShader_.name(), glGetProgramiv, glGetProgramInfoLog);
}

std::optional<std::string> GLProgram::fragmentShaderLog() const {
    return logForOpenGLObject(fragShader_.name(), glGetProgramiv, glGetProgramInfoLog);
}

std::optional<std::string> GLProgram::programLog() const {
    return logForOpenGLObject(program_.name(), glGetProgramiv, glGetProgramInfoLog);
}

}  // namespace velmora
