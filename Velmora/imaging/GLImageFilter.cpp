#include "Velmora/imaging/GLImageFilter.h"

#include <chrono>

#include "Velmora/imaging/GLImageContext.h"
#include "Velmora/imaging/GLImageFramebuffer.h"
#include "Velmora/imaging/GLImageFramebufferCache.h"
#include "Velmora/imaging/GLProgram.h"
#include "Velmora/platform/logging/Log.h"

namespace velmora {

const char* const kGLImageVertexShaderString =
    "attribute vec4 position; attribute vec4 inputTextureCoordinate; varying vec2 "
    "textureCoordinate; void main() { gl_Position = position; textureCoordinate = "
    "inputTextureCoordinate.xy; }";

const char* const kGLImagePassthroughFragmentShaderString =
    "varying highp vec2 textureCoordinate; uniform sampler2D inputImageTexture; void main() { "
    "gl_FragColor = texture2D(inputImageTexture, textureCoordinate); }";

namespace {
constexpr auto kImageCaptureTimeout = std::chrono::seconds(3);
constexpr GLfloat kImageVertices[] = {-1.0f, -1.0f, 1.0f, -1.0f, -1.0f, 1.0f, 1.0f, 1.0f};
}  // namespace

GLImageFilter::GLImageFilter(ConstructionKey, std::string vertexShader, std::string fragmentShader)
    : vertexShader_(std::move(vertexShader)), fragmentShader_(std::move(fragmentShader)) {}

GLImageFilter::GLImageFilter(ConstructionKey key, std::string fragmentShader)
    : GLImageFilter(key, kGLImageVertexShaderString, std::move(fragmentShader)) {}

GLImageFilter::GLImageFilter(ConstructionKey key)
    : GLImageFilter(key, kGLImageVertexShaderString, kGLImagePassthroughFragmentShaderString) {}

GLImageFilter::~GLImageFilter() = default;

std::shared_ptr<GLImageFilter> GLImageFilter::createWithFragmentShaderFromFile(
    const std::string& name) {
    std::optional<std::string> source = GLProgram::resourceText(name, "fsh");
    if (!source) {
        log::error("Could not read the fragment shader resource {}.fsh", name);
        return nullptr;
    }
    return create(std::move(*source));
}

std::shared_ptr<GLImageFilter> GLImageFilter::sharedFilter() {
    return std::static_pointer_cast<GLImageFilter>(shared_from_this());
}

std::shared_ptr<GLProgram> GLImageFilter::linkedProgram(
    const std::string& vertexShader, const std::string& fragmentShader,
    const std::function<void(const std::shared_ptr<GLProgram>&)>& addAttributes) {
    GLImageContext::useImageProcessingContext();
    GLImageContext& context = GLImageContext::sharedImageProcessingContext();
    std::shared_ptr<GLProgram> program =
        context.programForVertexShaderString(vertexShader, fragmentShader);
    if (program->initialized()) {
        return program;
    }
    addAttributes(program);
    if (!program->link()) {
        log::error("Program link log: {}", program->programLog().value_or("(null)"));
        log::error("Fragment shader compile log: {}",
                   program->fragmentShaderLog().value_or("(null)"));
        log::error("Vertex shader compile log: {}", program->vertexShaderLog().value_or("(null)"));
        return nullptr;
    }
    return program;
}

void GLImageFilter::initializeProgram() {
    runSynchronouslyOnVideoProcessingQueue([this] {
        filterProgram_ = linkedProgram(
            vertexShader_, fragmentShader_, [this](const std::shared_ptr<GLProgram>& program) {
                filterProgram_ = program;  // initializeAttributes adds to it
                initializeAttributes();
            });
        if (filterProgram_) {
            filterPositionAttribute_ = filterProgram_->attributeIndex("position");
            filterTextureCoordinateAttribute_ =
                filterProgram_->attributeIndex("inputTextureCoordinate");
            filterInputTextureUniform_ = filterProgram_->uniformIndex("inputImageTexture");
        }
        GLImageContext::setActiveShaderProgram(filterProgram_);
        glEnableVertexAttribArray(static_cast<GLuint>(filterPositionAttribute_));
        glEnableVertexAttribArray(static_cast<GLuint>(filterTextureCoordinateAttribute_));
    });
}

void GLImageFilter::initializeAttributes() {
    filterProgram_->addAttribute("position");
    filterProgram_->addAttribute("inputTextureCoordinate");
}

void GLImageFilter::setupFilterForSize(GLSize) {}

void GLImageFilter::newFrameReadyAtTime(const FrameTime& frameTime, int) {
    renderToTextureWithVertices(kImageVertices, textureCoordinatesForRotation(inputRotation_));
    informTargetsAboutNewFrameAtTime(frameTime);
}

void GLImageFilter::setInputFramebuffer(std::shared_ptr<GLImageFramebuffer> framebuffer, int) {
    firstInputFramebuffer_ = std::move(framebuffer);
    if (firstInputFramebuffer_) {
        firstInputFramebuffer_->lock();
    }
}

void GLImageFilter::setInputSize(GLSize newSize, int textureIndex) {
    if (preventRendering_) {
        return;
    }
    if (overrideInputSize_) {
        if (!forcedMaximumSize_.isZero()) {
            const GLRect inside{0, 0, forcedMaximumSize_.width, forcedMaximumSize_.height};
            inputTextureSize_ = aspectFitRect(newSize, inside).size();
        }
    } else {
        const GLSize rotated = rotatedSize(newSize, textureIndex);
        if (rotated.isZero()) {
            inputTextureSize_ = rotated;
        } else if (!(inputTextureSize_ == rotated)) {
            inputTextureSize_ = rotated;
        }
    }
    setupFilterForSize(sizeOfFBO());
}

void GLImageFilter::setInputRotation(GLImageRotationMode rotation, int) {
    inputRotation_ = rotation;
}

GLSize GLImageFilter::rotatedSize(GLSize sizeToRotate, int) const {
    return velmora::rotatedSize(sizeToRotate, inputRotation_);
}

GLPoint GLImageFilter::rotatedPoint(GLPoint pointToRotate, GLImageRotationMode rotation) {
    return velmora::rotatedPoint(pointToRotate, rotation);
}

const GLfloat* GLImageFilter::imageVertices() {
    return kImageVertices;
}

const GLfloat* GLImageFilter::textureCoordinatesForRotation(GLImageRotationMode rotation) {
    return velmora::textureCoordinatesForRotation(rotation);
}

GLSize GLImageFilter::sizeOfFBO() const {
    const GLSize outputSize = maximumOutputSize();
    if (outputSize.isZero() || inputTextureSize_.width < outputSize.width) {
        return inputTextureSize_;
    }
    return outputSize;
}

void GLImageFilter::forceProcessingAtSize(GLSize frameSize) {
    if (frameSize.isZero()) {
        overrideInputSize_ = false;
        return;
    }
    overrideInputSize_ = true;
    inputTextureSize_ = frameSize;
    forcedMaximumSize_ = GLSize{};
}

void GLImageFilter::forceProcessingAtSizeRespectingAspectRatio(GLSize frameSize) {
    if (frameSize.isZero()) {
        overrideInputSize_ = false;
        inputTextureSize_ = GLSize{};
        forcedMaximumSize_ = GLSize{};
        return;
    }
    overrideInputSize_ = true;
    forcedMaximumSize_ = frameSize;
}

void GLImageFilter::setBackgroundColor(GLfloat red, GLfloat green, GLfloat blue, GLfloat alpha) {
    backgroundColorRed_ = red;
    backgroundColorGreen_ = green;
    backgroundColorBlue_ = blue;
    backgroundColorAlpha_ = alpha;
}

void GLImageFilter::endProcessing() {
    if (isEndProcessing_) {
        return;
    }
    isEndProcessing_ = true;
    for (const auto& target : targets_) {
        target->endProcessing();
    }
}

void GLImageFilter::useNextFrameForImageCapture() {
    usingNextFrameForImageCapture_ = true;
    // Taken if free, so that the capture waits for the next render to give it back.
    (void)imageCaptureSemaphore_.try_acquire();
}

std::optional<Image> GLImageFilter::newCGImageFromCurrentlyProcessedOutput() {
    if (!imageCaptureSemaphore_.try_acquire_for(kImageCaptureTimeout)) {
        return std::nullopt;
    }
    std::shared_ptr<GLImageFramebuffer> framebuffer;
    runSynchronouslyOnVideoProcessingQueue(
        [this, &framebuffer] { framebuffer = framebufferForOutput(); });
    usingNextFrameForImageCapture_ = false;
    imageCaptureSemaphore_.release();
    if (!framebuffer) {
        return std::nullopt;
    }
    return framebuffer->newCGImageFromFramebufferContents();
}

void GLImageFilter::renderToTextureWithVertices(const GLfloat* vertices,
                                                const GLfloat* textureCoordinates) {
    if (preventRendering_) {
        unlockInputFramebuffers();
        return;
    }
    GLImageContext::setActiveShaderProgram(filterProgram_);
    outputFramebuffer_ = GLImageContext::sharedFramebufferCache().fetchFramebufferForSize(
        sizeOfFBO(), outputTextureOptions_, false);
    outputFramebuffer_->activateFramebuffer();
    if (usingNextFrameForImageCapture_) {
        outputFramebuffer_->lock();
    }
    setUniformsForProgramAtIndex(0);
    glClearColor(backgroundColorRed_, backgroundColorGreen_, backgroundColorBlue_,
                 backgroundColorAlpha_);
    glClear(GL_COLOR_BUFFER_BIT);
    glActiveTexture(GL_TEXTURE2);
    glBindTexture(GL_TEXTURE_2D, firstInputFramebuffer_ ? firstInputFramebuffer_->texture() : 0);
    glUniform1i(filterInputTextureUniform_, 2);
    glVertexAttribPointer(static_cast<GLuint>(filterPositionAttribute_), 2, GL_FLOAT, GL_FALSE, 0,
                          vertices);
    glVertexAttribPointer(static_cast<GLuint>(filterTextureCoordinateAttribute_), 2, GL_FLOAT,
                          GL_FALSE, 0, textureCoordinates);
    bindAdditionalInputs();
    glDrawArrays(GL_TRIANGLE_STRIP, 0, 4);
    unlockInputFramebuffers();
    if (usingNextFrameForImageCapture_) {
        imageCaptureSemaphore_.release();
    }
}

void GLImageFilter::unlockInputFramebuffers() {
    if (firstInputFramebuffer_) {
        firstInputFramebuffer_->unlock();
    }
}

void GLImageFilter::informTargetsAboutNewFrameAtTime(const FrameTime& frameTime) {
    if (frameProcessingCompletionBlock_) {
        frameProcessingCompletionBlock_(*this, frameTime);
    }
    // Targets may add or remove targets while being told; walk a copy.
    const auto targets = targets_;
    const auto indices = targetTextureIndices_;
    for (std::size_t i = 0; i < targets.size(); ++i) {
        if (targets[i].get() != targetToIgnoreForUpdates_) {
            setInputFramebufferForTarget(*targets[i], indices[i]);
            targets[i]->setInputSize(outputFrameSize(), indices[i]);
        }
    }
    if (outputFramebuffer_) {
        outputFramebuffer_->unlock();
    }
    if (!usingNextFrameForImageCapture_) {
        removeOutputFramebuffer();
    }
    for (std::size_t i = 0; i < targets.size(); ++i) {
        if (targets[i].get() != targetToIgnoreForUpdates_) {
            targets[i]->newFrameReadyAtTime(frameTime, indices[i]);
        }
    }
}

void GLImageFilter::setAndExecuteUniformStateCallbackAtIndex(GLint uniform, const GLProgram*,
                                                             std::function<void()> block) {
    auto& stored = uniformStateRestorationBlocks_[uniform];
    stored = std::move(block);
    stored();
}

void GLImageFilter::setUniformsForProgramAtIndex(unsigned) {
    for (const auto& [uniform, block] : uniformStateRestorationBlocks_) {
        block();
    }
}

}  // namespace velmora
