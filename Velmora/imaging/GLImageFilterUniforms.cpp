// The uniform setters of GLImageFilter: each queues, on the processing queue, a block that
// sets one uniform, stores it for replay before every draw and runs it once.
#include <utility>

#include "Velmora/imaging/GLImageContext.h"
#include "Velmora/imaging/GLImageFilter.h"
#include "Velmora/imaging/GLProgram.h"

namespace velmora {

namespace {

// Queues the setting of one uniform of program, kept alive by filter until it runs.
void queueUniform(std::shared_ptr<GLImageFilter> filter, std::shared_ptr<GLProgram> program,
                  GLint uniform, std::function<void()> block) {
    runAsynchronouslyOnVideoProcessingQueue([filter = std::move(filter),
                                             program = std::move(program), uniform,
                                             block = std::move(block)]() mutable {
        GLImageContext::setActiveShaderProgram(program);
        filter->setAndExecuteUniformStateCallbackAtIndex(uniform, program.get(), std::move(block));
    });
}

}  // namespace

void GLImageFilter::setInteger(GLint value, GLint uniform, std::shared_ptr<GLProgram> program) {
    queueUniform(sharedFilter(), std::move(program), uniform,
                 [uniform, value] { glUniform1i(uniform, value); });
}

void GLImageFilter::setFloat(GLfloat value, GLint uniform, std::shared_ptr<GLProgram> program) {
    queueUniform(sharedFilter(), std::move(program), uniform,
                 [uniform, value] { glUniform1f(uniform, value); });
}

void GLImageFilter::setPoint(GLPoint value, GLint uniform, std::shared_ptr<GLProgram> program) {
    queueUniform(sharedFilter(), std::move(program), uniform, [uniform, value] {
        const GLfloat pair[2] = {static_cast<GLfloat>(value.x), static_cast<GLfloat>(value.y)};
        glUniform2fv(uniform, 1, pair);
    });
}

void GLImageFilter::setSize(GLSize value, GLint uniform, std::shared_ptr<GLProgram> program) {
    queueUniform(sharedFilter(), std::move(program), uniform, [uniform, value] {
        const GLfloat pair[2] = {static_cast<GLfloat>(value.width),
                                 static_cast<GLfloat>(value.height)};
        glUniform2fv(uniform, 1, pair);
    });
}

void GLImageFilter::setVec3(GPUVector3 value, GLint uniform, std::shared_ptr<GLProgram> program) {
    queueUniform(sharedFilter(), std::move(program), uniform,
                 [uniform, value] { glUniform3fv(uniform, 1, value.data()); });
}

void GLImageFilter::setVec4(GPUVector4 value, GLint uniform, std::shared_ptr<GLProgram> program) {
    queueUniform(sharedFilter(), std::move(program), uniform,
                 [uniform, value] { glUniform4fv(uniform, 1, value.data()); });
}

void GLImageFilter::setMatrix3f(GPUMatrix3x3 value, GLint uniform,
                                std::shared_ptr<GLProgram> program) {
    queueUniform(sharedFilter(), std::move(program), uniform,
                 [uniform, value] { glUniformMatrix3fv(uniform, 1, GL_FALSE, value.data()); });
}

void GLImageFilter::setMatrix4f(GPUMatrix4x4 value, GLint uniform,
                                std::shared_ptr<GLProgram> program) {
    queueUniform(sharedFilter(), std::move(program), uniform,
                 [uniform, value] { glUniformMatrix4fv(uniform, 1, GL_FALSE, value.data()); });
}

void GLImageFilter::setFloatArray(const GLfloat* values, GLsizei length, GLint uniform,
                                  std::shared_ptr<GLProgram> program) {
    queueUniform(sharedFilter(), std::move(program), uniform,
                 [uniform, values, length] { glUniform1fv(uniform, length, values); });
}

// The by-name forms look the location up on the processing queue, where GL may be called,
// then set it through the location form (inline there, being on the queue already).
template <class Set>
void setByName(std::shared_ptr<GLImageFilter> filter, std::string uniformName, Set set) {
    runAsynchronouslyOnVideoProcessingQueue(
        [filter = std::move(filter), uniformName = std::move(uniformName), set] {
            GLImageContext::useImageProcessingContext();  // before asking GL for the location
            const std::shared_ptr<GLProgram> program = filter->filterProgram();
            const GLint uniform = program ? program->uniformIndex(uniformName) : -1;
            set(*filter, uniform, program);
        });
}

void GLImageFilter::setInteger(GLint value, const std::string& uniformName) {
    setByName(sharedFilter(), uniformName,
              [value](GLImageFilter& filter, GLint uniform, std::shared_ptr<GLProgram> program) {
                  filter.setInteger(value, uniform, std::move(program));
              });
}

void GLImageFilter::setFloat(GLfloat value, const std::string& uniformName) {
    setByName(sharedFilter(), uniformName,
              [value](GLImageFilter& filter, GLint uniform, std::shared_ptr<GLProgram> program) {
                  filter.setFloat(value, uniform, std::move(program));
              });
}

void GLImageFilter::setSize(GLSize value, const std::string& uniformName) {
    setByName(sharedFilter(), uniformName,
              [value](GLImageFilter& filter, GLint uniform, std::shared_ptr<GLProgram> program) {
                  filter.setSize(value, uniform, std::move(program));
              });
}

void GLImageFilter::setPoint(GLPoint value, const std::string& uniformName) {
    setByName(sharedFilter(), uniformName,
              [value](GLImageFilter& filter, GLint uniform, std::shared_ptr<GLProgram> program) {
                  filter.setPoint(value, uniform, std::move(program));
              });
}

void GLImageFilter::setFloatVec3(GPUVector3 value, const std::string& uniformName) {
    setByName(sharedFilter(), uniformName,
              [value](GLImageFilter& filter, GLint uniform, std::shared_ptr<GLProgram> program) {
                  filter.setVec3(value, uniform, std::move(program));
              });
}

void GLImageFilter::setFloatVec4(GPUVector4 value, const std::string& uniformName) {
    setByName(sharedFilter(), uniformName,
              [value](GLImageFilter& filter, GLint uniform, std::shared_ptr<GLProgram> program) {
                  filter.setVec4(value, uniform, std::move(program));
              });
}

void GLImageFilter::setMatrix4f(GPUMatrix4x4 value, const std::string& uniformName) {
    setByName(sharedFilter(), uniformName,
              [value](GLImageFilter& filter, GLint uniform, std::shared_ptr<GLProgram> program) {
                  filter.setMatrix4f(value, uniform, std::move(program));
              });
}

void GLImageFilter::setFloatArray(const GLfloat* values, GLsizei length,
                                  const std::string& uniformName) {
    setByName(
        sharedFilter(), uniformName,
        [values, length](GLImageFilter& filter, GLint uniform, std::shared_ptr<GLProgram> program) {
            filter.setFloatArray(values, length, uniform, std::move(program));
        });
}

}  // namespace velmora
