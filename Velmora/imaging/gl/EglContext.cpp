#include "Velmora/imaging/gl/EglContext.h"

#include <cstring>
#include <mutex>
#include <string_view>

#include <EGL/eglext.h>
#include <fmt/format.h>

#include "Velmora/imaging/gl/ExtensionList.h"

namespace velmora {

// One initialised display per process while any context uses it: eglTerminate is not
// reference counted, so contexts share this holder and the last one terminates.
struct EglContext::Display {
    EGLDisplay display = EGL_NO_DISPLAY;
    bool surfaceless = false;  // contexts need no surface
    bool configless = false;   // contexts may be created without a config
    EGLConfig config = nullptr;

    Display() = default;
    Display(const Display&) = delete;
    Display& operator=(const Display&) = delete;
    ~Display() {
        if (display != EGL_NO_DISPLAY) {
            eglTerminate(display);
        }
    }
};

namespace {

// Every failure text of this component is made here.
std::string eglFailure(std::string_view what) {
    const EGLint code = eglGetError();
    return fmt::format("{} failed (EGL error 0x{:04X})", what, code);
}

bool hasExtension(const char* list, std::string_view name) {
    return list != nullptr && extensionListContains(list, name);
}

std::shared_ptr<EglContext::Display> openSurfaceless(std::string& why) {
    const char* clientExtensions = eglQueryString(EGL_NO_DISPLAY, EGL_EXTENSIONS);
    if (!hasExtension(clientExtensions, "EGL_MESA_platform_surfaceless")) {
        why = "the surfaceless EGL platform is not available";
        return nullptr;
    }
    auto getPlatformDisplay = reinterpret_cast<PFNEGLGETPLATFORMDISPLAYEXTPROC>(
        eglGetProcAddress("eglGetPlatformDisplayEXT"));
    if (getPlatformDisplay == nullptr) {
        why = "eglGetPlatformDisplayEXT is missing";
        return nullptr;
    }
    EGLDisplay display =
        getPlatformDisplay(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
    if (display == EGL_NO_DISPLAY) {
        why = eglFailure("eglGetPlatformDisplayEXT(surfaceless)");
        return nullptr;
    }
    EGLint major = 0;
    EGLint minor = 0;
    if (eglInitialize(display, &major, &minor) != EGL_TRUE) {
        why = eglFailure("eglInitialize(surfaceless)");
        return nullptr;
    }
    auto holder = std::make_shared<EglContext::Display>();
    holder->display = display;
    const char* extensions = eglQueryString(display, EGL_EXTENSIONS);
    if (!hasExtension(extensions, "EGL_KHR_surfaceless_context")) {
        why = "the surfaceless display cannot make contexts current without a surface";
        return nullptr;
    }
    holder->surfaceless = true;
    const EGLint attributes[] = {EGL_RENDERABLE_TYPE, EGL_OPENGL_ES2_BIT, EGL_NONE};
    EGLint count = 0;
    if (eglChooseConfig(display, attributes, &holder->config, 1, &count) != EGL_TRUE || count < 1) {
        holder->config = nullptr;
        holder->configless = hasExtension(extensions, "EGL_KHR_no_config_context") ||
                             hasExtension(extensions, "EGL_MESA_configless_context");
        if (!holder->configless) {
            why = "the surfaceless display offers no OpenGL ES 2 configuration";
            return nullptr;
        }
    }
    return holder;
}

std::shared_ptr<EglContext::Display> openDefault(std::string& why) {
    EGLDisplay display = eglGetDisplay(EGL_DEFAULT_DISPLAY);
    if (display == EGL_NO_DISPLAY) {
        why = eglFailure("eglGetDisplay(default)");
        return nullptr;
    }
    EGLint major = 0;
    EGLint minor = 0;
    if (eglInitialize(display, &major, &minor) != EGL_TRUE) {
        why = eglFailure("eglInitialize(default)");
        return nullptr;
    }
    auto holder = std::make_shared<EglContext::Display>();
    holder->display = display;
    const EGLint attributes[] = {EGL_SURFACE_TYPE,
                                 EGL_PBUFFER_BIT,
                                 EGL_RENDERABLE_TYPE,
                                 EGL_OPENGL_ES2_BIT,
                                 EGL_RED_SIZE,
                                 8,
                                 EGL_GREEN_SIZE,
                                 8,
                                 EGL_BLUE_SIZE,
                                 8,
                                 EGL_ALPHA_SIZE,
                                 8,
                                 EGL_NONE};
    EGLint count = 0;
    if (eglChooseConfig(display, attributes, &holder->config, 1, &count) != EGL_TRUE || count < 1) {
        why = "the default display offers no OpenGL ES 2 pbuffer configuration";
        return nullptr;
    }
    return holder;
}

std::mutex gDisplayMutex;
std::weak_ptr<EglContext::Display> gDisplay;  // guarded by gDisplayMutex

std::shared_ptr<EglContext::Display> sharedDisplay(std::string& why) {
    std::lock_guard lock(gDisplayMutex);
    if (auto display = gDisplay.lock()) {
        return display;
    }
    std::string surfacelessWhy;
    auto display = openSurfaceless(surfacelessWhy);
    if (!display) {
        display = openDefault(why);
        if (!display) {
            why = surfacelessWhy + "; " + why;
            return nullptr;
        }
    }
    gDisplay = display;
    return display;
}

}  // namespace

std::optional<std::string> EglContext::whyNoDisplay() {
    std::string why;
    if (sharedDisplay(why)) {
        return std::nullopt;
    }
    return why;
}

std::shared_ptr<EglContext> EglContext::create(const EglContext* shareWith, std::string* whyNot) {
    std::string why;
    auto display = shareWith != nullptr ? shareWith->display_ : sharedDisplay(why);
    auto fail = [&](std::string reason) -> std::shared_ptr<EglContext> {
        if (whyNot != nullptr) {
            *whyNot = std::move(reason);
        }
        return nullptr;
    };
    if (!display) {
        return fail(why);
    }
    if (eglBindAPI(EGL_OPENGL_ES_API) != EGL_TRUE) {
        return fail(eglFailure("eglBindAPI(OpenGL ES)"));
    }
    const EGLint contextAttributes[] = {EGL_CONTEXT_CLIENT_VERSION, 2, EGL_NONE};
    EGLContext context = eglCreateContext(
        display->display, display->configless ? EGL_NO_CONFIG_KHR : display->config,
        shareWith != nullptr ? shareWith->context_ : EGL_NO_CONTEXT, contextAttributes);
    if (context == EGL_NO_CONTEXT) {
        return fail(eglFailure("eglCreateContext(OpenGL ES 2)"));
    }
    EGLSurface surface = EGL_NO_SURFACE;
    if (!display->surfaceless) {
        const EGLint surfaceAttributes[] = {EGL_WIDTH, 1, EGL_HEIGHT, 1, EGL_NONE};
        surface = eglCreatePbufferSurface(display->display, display->config, surfaceAttributes);
        if (surface == EGL_NO_SURFACE) {
            std::string reason = eglFailure("eglCreatePbufferSurface(1x1)");
            eglDestroyContext(display->display, context);
            return fail(std::move(reason));
        }
    }
    return std::shared_ptr<EglContext>(new EglContext(std::move(display), context, surface));
}

EglContext::EglContext(std::shared_ptr<Display> display, EGLContext context, EGLSurface surface)
    : display_(std::move(display)), context_(context), surface_(surface) {}

EglContext::~EglContext() {
    releaseCurrent();
    if (surface_ != EGL_NO_SURFACE) {
        eglDestroySurface(display_->display, surface_);
    }
    eglDestroyContext(display_->display, context_);
}

EGLDisplay EglContext::display() const {
    return display_->display;
}

bool EglContext::makeCurrent() {
    if (isCurrent()) {
        return true;
    }
    return eglMakeCurrent(display_->display, surface_, surface_, context_) == EGL_TRUE;
}

bool EglContext::isCurrent() const {
    return eglGetCurrentContext() == context_;
}

void EglContext::releaseCurrent() {
    if (isCurrent()) {
        eglMakeCurrent(display_->display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
    }
}

bool EglContext::presentRenderbuffer() {
    if (surface_ == EGL_NO_SURFACE) {
        return false;
    }
    return eglSwapBuffers(display_->display, surface_) == EGL_TRUE;
}

}  // namespace velmora
