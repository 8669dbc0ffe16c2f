#pragma once
// EglContext: an OpenGL ES 2.0 context that needs no window system. It prefers Mesa's
// surfaceless platform (no surface at all; rendering goes to framebuffer objects) and
// falls back to a 1x1 pbuffer on the default display. Contexts created with shareWith
// share textures, shaders and programs with that context (one share group); framebuffer
// objects are never shared, as in every GL.
//
// Thread safety: create() may be called from any thread. An EGL context can be current on
// one thread at a time: makeCurrent() fails while it is current on another thread, so
// whoever uses it from several threads must releaseCurrent() before another thread takes
// it (the image pipeline does this at the end of every processing-queue block).
//
//   std::string why;
//   auto context = EglContext::create(nullptr, &why);
//   if (context && context->makeCurrent()) { glClear(GL_COLOR_BUFFER_BIT); }

#include <memory>
#include <optional>
#include <string>

#include <EGL/egl.h>

namespace velmora {

class EglContext {
  public:
    struct Display;  // a shared, initialised EGLDisplay (internal)

    // A new context, or nullptr with the reason in *whyNot (when whyNot is not null).
    [[nodiscard]] static std::shared_ptr<EglContext> create(const EglContext* shareWith = nullptr,
                                                            std::string* whyNot = nullptr);
    // Whether an EGL display can be opened at all on this machine; the reason if not.
    [[nodiscard]] static std::optional<std::string> whyNoDisplay();

    ~EglContext();
    EglContext(const EglContext&) = delete;
    EglContext& operator=(const EglContext&) = delete;

    // Makes this context current on the calling thread (nothing to do when it already
    // is). False when EGL refuses, typically because it is current on another thread.
    bool makeCurrent();
    // Whether this context is the calling thread's current context.
    [[nodiscard]] bool isCurrent() const;
    // Leaves the calling thread without a context, if this one is current here.
    void releaseCurrent();
    // Presents the surface's back buffer; with no surface (surfaceless) there is nothing
    // to present and it answers false.
    bool presentRenderbuffer();

    [[nodiscard]] bool isSurfaceless() const { return surface_ == EGL_NO_SURFACE; }
    [[nodiscard]] EGLContext handle() const { return context_; }
    [[nodiscard]] EGLDisplay display() const;

  private:
    EglContext(std::shared_ptr<Display> display, EGLContext context, EGLSurface surface);

    std::shared_ptr<Display> display_;
    EGLContext context_;
    EGLSurface surface_;
};

}  // namespace velmora
