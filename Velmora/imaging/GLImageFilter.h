#pragma once
// GLImageFilter: the single-pass filter, both an output and a target. It receives a
// framebuffer from its source, draws it through one shader program (shared through the
// context's program cache) into a framebuffer fetched from the cache, and hands that on.
// Every other filter derives from it and differs in shaders, uniforms and the hooks
// initializeAttributes and setupFilterForSize.
//
// Make filters with create (create<Subclass>(...) for subclasses): construction finishes
// on the processing queue, where the program is compiled and linked once per distinct
// pair of sources and the subclass's initializeAttributes runs.
//
// Thread safety: as GLImageOutput. Uniform setters may be called from any thread; they
// are queued on the processing queue and replayed before every draw.
//
//   auto filter = GLImageFilter::create(kFragmentShader);  // the standard vertex shader
//   filter->setFloat(0.5f, "intensity");
//   auto image = filter->newCGImageByFilteringCGImage(input);

#include <array>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <semaphore>
#include <string>

#include <GLES2/gl2.h>

#include "Velmora/imaging/GLImageInput.h"
#include "Velmora/imaging/GLImageOutput.h"
#include "Velmora/imaging/GLImageRotation.h"

namespace velmora {

class GLProgram;

extern const char* const kGLImageVertexShaderString;
extern const char* const kGLImagePassthroughFragmentShaderString;

using GPUVector3 = std::array<GLfloat, 3>;
using GPUVector4 = std::array<GLfloat, 4>;
using GPUMatrix3x3 = std::array<GLfloat, 9>;
using GPUMatrix4x4 = std::array<GLfloat, 16>;

class GLImageFilter : public GLImageOutput, public GLImageInput {
  public:
    // Only create() makes one; subclasses take it and pass it on.
    class ConstructionKey {
        friend class GLImageFilter;
        ConstructionKey() = default;
    };

    GLImageFilter(ConstructionKey key, std::string vertexShader, std::string fragmentShader);
    // With the standard vertex shader.
    GLImageFilter(ConstructionKey key, std::string fragmentShader);
    // The pass-through filter.
    explicit GLImageFilter(ConstructionKey key);
    ~GLImageFilter() override;

    template <class T = GLImageFilter, class... Args>
    static std::shared_ptr<T> create(Args&&... args) {
        auto filter = std::make_shared<T>(ConstructionKey{}, std::forward<Args>(args)...);
        static_cast<GLImageFilter&>(*filter).initializeProgram();
        return filter;
    }
    // The fragment shader from the resource "<name>.fsh"; nullptr (logged) if unreadable.
    static std::shared_ptr<GLImageFilter> createWithFragmentShaderFromFile(const std::string& name);

    // Subclass hooks. initializeAttributes adds "position" and "inputTextureCoordinate"
    // (locations 0 and 1); overrides call it first, then add theirs.
    virtual void initializeAttributes();
    virtual void setupFilterForSize(GLSize filterFrameSize);

    // The target side.
    void newFrameReadyAtTime(const FrameTime& frameTime, int textureIndex) override;
    void setInputFramebuffer(std::shared_ptr<GLImageFramebuffer> framebuffer,
                             int textureIndex) override;
    int nextAvailableTextureIndex() const override { return 0; }
    void setInputSize(GLSize newSize, int textureIndex) override;
    void setInputRotation(GLImageRotationMode rotation, int textureIndex) override;
    GLSize maximumOutputSize() const override { return GLSize{}; }
    void endProcessing() override;
    bool shouldIgnoreUpdatesToThisTarget() const override {
        return GLImageOutput::shouldIgnoreUpdatesToThisTarget();
    }
    bool enabled() const override { return GLImageOutput::enabled(); }
    bool wantsMonochromeInput() const override { return false; }
    void setCurrentlyReceivingMonochromeInput(bool receiving) override {
        currentlyReceivingMonochromeInput_ = receiving;
    }
    bool currentlyReceivingMonochromeInput() const { return currentlyReceivingMonochromeInput_; }

    // Sizes: the input after rotation (or the forced size), and what gets rendered.
    virtual GLSize rotatedSize(GLSize sizeToRotate, int textureIndex) const;
    static GLPoint rotatedPoint(GLPoint pointToRotate, GLImageRotationMode rotation);
    GLSize sizeOfFBO() const;
    GLSize outputFrameSize() const { return inputTextureSize_; }
    void forceProcessingAtSize(GLSize frameSize) override;
    void forceProcessingAtSizeRespectingAspectRatio(GLSize frameSize) override;
    static const GLfloat* textureCoordinatesForRotation(GLImageRotationMode rotation);
    // The four corners of the whole output, as a triangle strip.
    static const GLfloat* imageVertices();

    void setBackgroundColor(GLfloat red, GLfloat green, GLfloat blue, GLfloat alpha);

    // Capture: arm before the frame is processed; the capture waits up to 3 s for it.
    void useNextFrameForImageCapture() override;
    [[nodiscard]] std::optional<Image> newCGImageFromCurrentlyProcessedOutput() override;

    // Rendering. REQUIRES: the processing queue.
    virtual void renderToTextureWithVertices(const GLfloat* vertices,
                                             const GLfloat* textureCoordinates);
    void informTargetsAboutNewFrameAtTime(const FrameTime& frameTime);

    // Uniforms by location, for a program (queued; the value is applied now and before
    // every later draw). The array form keeps the pointer: the floats must outlive use.
    void setInteger(GLint value, GLint uniform, std::shared_ptr<GLProgram> program);
    void setFloat(GLfloat value, GLint uniform, std::shared_ptr<GLProgram> program);
    void setPoint(GLPoint value, GLint uniform, std::shared_ptr<GLProgram> program);
    void setSize(GLSize value, GLint uniform, std::shared_ptr<GLProgram> program);
    void setVec3(GPUVector3 value, GLint uniform, std::shared_ptr<GLProgram> program);
    void setVec4(GPUVector4 value, GLint uniform, std::shared_ptr<GLProgram> program);
    void setMatrix3f(GPUMatrix3x3 value, GLint uniform, std::shared_ptr<GLProgram> program);
    void setMatrix4f(GPUMatrix4x4 value, GLint uniform, std::shared_ptr<GLProgram> program);
    void setFloatArray(const GLfloat* values, GLsizei length, GLint uniform,
                       std::shared_ptr<GLProgram> program);
    // Uniforms by name, in this filter's program.
    void setInteger(GLint value, const std::string& uniformName);
    void setFloat(GLfloat value, const std::string& uniformName);
    void setSize(GLSize value, const std::string& uniformName);
    void setPoint(GLPoint value, const std::string& uniformName);
    void setFloatVec3(GPUVector3 value, const std::string& uniformName);
    void setFloatVec4(GPUVector4 value, const std::string& uniformName);
    void setMatrix4f(GPUMatrix4x4 value, const std::string& uniformName);
    void setFloatArray(const GLfloat* values, GLsizei length, const std::string& uniformName);

    // Stores block for the uniform location (replacing an earlier one, whatever its
    // program) and runs it. REQUIRES: the processing queue.
    virtual void setAndExecuteUniformStateCallbackAtIndex(GLint uniform, const GLProgram* program,
                                                          std::function<void()> block);
    virtual void setUniformsForProgramAtIndex(unsigned programIndex);
    std::size_t uniformStateBlockCount() const { return uniformStateRestorationBlocks_.size(); }

    bool preventRendering() const { return preventRendering_; }
    void setPreventRendering(bool value) { preventRendering_ = value; }
    const std::shared_ptr<GLProgram>& filterProgram() const { return filterProgram_; }
    GLImageRotationMode inputRotation() const { return inputRotation_; }
    const std::shared_ptr<GLImageFramebuffer>& firstInputFramebuffer() const {
        return firstInputFramebuffer_;
    }

  protected:
    // Compiles, links and binds the program; runs the subclass's initializeAttributes.
    // Overrides call it first. Runs once, from create().
    virtual void initializeProgram();
    // The cached program for the sources, linked (addAttributes gets it first) unless it
    // was already; nullptr after logging the three logs when linking fails. REQUIRES: the
    // processing queue.
    static std::shared_ptr<GLProgram> linkedProgram(
        const std::string& vertexShader, const std::string& fragmentShader,
        const std::function<void(const std::shared_ptr<GLProgram>&)>& addAttributes);
    // Inputs beyond the first: bound after it, before the draw, and unlocked with it (also
    // when rendering is prevented). REQUIRES: the processing queue.
    virtual void bindAdditionalInputs() {}
    // New sources for the next initializeProgram (programs switched at run time).
    void replaceShaderSources(std::string vertexShader, std::string fragmentShader) {
        vertexShader_ = std::move(vertexShader);
        fragmentShader_ = std::move(fragmentShader);
    }
    virtual void unlockInputFramebuffers();
    std::shared_ptr<GLImageFilter> sharedFilter();

    std::shared_ptr<GLImageFramebuffer> firstInputFramebuffer_;
    std::shared_ptr<GLProgram> filterProgram_;
    GLint filterPositionAttribute_ = 0;
    GLint filterTextureCoordinateAttribute_ = 1;
    GLint filterInputTextureUniform_ = -1;
    GLfloat backgroundColorRed_ = 0;
    GLfloat backgroundColorGreen_ = 0;
    GLfloat backgroundColorBlue_ = 0;
    GLfloat backgroundColorAlpha_ = 0;
    bool isEndProcessing_ = false;
    GLSize currentFilterSize_;
    GLImageRotationMode inputRotation_ = GLImageRotationMode::NoRotation;
    bool currentlyReceivingMonochromeInput_ = false;
    std::map<GLint, std::function<void()>> uniformStateRestorationBlocks_;
    std::counting_semaphore<> imageCaptureSemaphore_{1};
    bool preventRendering_ = false;

  private:
    std::string vertexShader_;
    std::string fragmentShader_;
};

}  // namespace velmora
