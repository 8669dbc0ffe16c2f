// Framebuffers and their cache: keys, reuse order, locks, purge, and capture to an Image.
#include <gtest/gtest.h>

#include "Velmora/imaging/GLImageContext.h"
#include "Velmora/imaging/GLImageFramebuffer.h"
#include "Velmora/imaging/GLImageFramebufferCache.h"
#include "Velmora/platform/foundation/NotificationCenter.h"

#include "tests/imaging/GLTestSupport.h"

namespace velmora {
namespace {

GLImageFramebufferCache& cache() {
    return GLImageContext::sharedFramebufferCache();
}

// Waits until what was queued on the processing queue before this call has run.
void drainProcessingQueue() {
    runSynchronouslyOnVideoProcessingQueue([] {});
}

TEST(FramebufferCacheKey, FormatsAndSeparation) {
    const GPUTextureOptions defaults;
    EXPECT_EQ(GLImageFramebufferCache::hashForSize({640, 480}, defaults, false),
              "640.0x480.0-9729:9729:33071:33071:6408:32993:5121");
    EXPECT_EQ(GLImageFramebufferCache::hashForSize({640, 480}, defaults, true),
              "640.0x480.0-9729:9729:33071:33071:6408:32993:5121-NOFB");
    GPUTextureOptions nearest;
    nearest.minFilter = GL_NEAREST;
    EXPECT_EQ(GLImageFramebufferCache::hashForSize({0.25, 1e4}, nearest, false),
              "0.2x10000.0-9728:9729:33071:33071:6408:32993:5121");
    EXPECT_EQ(GLImageFramebufferCache::hashForSize({100.01, 7}, defaults, false),
              GLImageFramebufferCache::hashForSize({100.04, 7}, defaults, false));
    EXPECT_NE(GLImageFramebufferCache::hashForSize({100.01, 7}, defaults, false),
              GLImageFramebufferCache::hashForSize({100.06, 7}, defaults, false));
}

TEST(FramebufferCache, ReturnedFramebuffersComeBackLastInFirstOut) {
    VELMORA_REQUIRE_EGL();
    const GLSize size{41, 17};
    const std::string key = GLImageFramebufferCache::hashForSize(size, GPUTextureOptions{}, false);
    auto a = cache().fetchFramebufferForSize(size, false);
    auto b = cache().fetchFramebufferForSize(size, false);
    ASSERT_NE(a, b);
    EXPECT_EQ(a->framebufferReferenceCount(), 1u);
    EXPECT_NE(a->framebuffer(), 0u);
    EXPECT_NE(a->texture(), 0u);
    EXPECT_TRUE(a->renderTarget());
    a->unlock();
    b->unlock();
    drainProcessingQueue();
    EXPECT_EQ(cache().framebufferTypeCount(key), 2);
    EXPECT_EQ(cache().fetchFramebufferForSize(size, false), b);
    EXPECT_EQ(cache().framebufferTypeCount(key), 1);
    EXPECT_EQ(cache().fetchFramebufferForSize(size, false), a);
    EXPECT_EQ(cache().framebufferTypeCount(key), 0);
    EXPECT_EQ(a->framebufferReferenceCount(), 1u);  // handed out locked once
    // A third fetch finds nothing idle and makes a new one.
    auto c = cache().fetchFramebufferForSize(size, false);
    EXPECT_NE(c, a);
    EXPECT_NE(c, b);
    for (auto* framebuffer : {&a, &b, &c}) {
        (*framebuffer)->unlock();
    }
}

TEST(FramebufferCache, KindsNeverMixAndNearWidthsShare) {
    VELMORA_REQUIRE_EGL();
    auto full = cache().fetchFramebufferForSize({100.01, 9}, false);
    full->unlock();
    drainProcessingQueue();
    auto textureOnly = cache().fetchFramebufferForSize({100.01, 9}, true);
    EXPECT_NE(textureOnly, full);
    EXPECT_TRUE(textureOnly->missingFramebuffer());
    EXPECT_EQ(textureOnly->framebuffer(), 0u);
    EXPECT_FALSE(textureOnly->renderTarget());
    // Same key to one decimal: the framebuffer made for 100.01 serves 100.04.
    auto near = cache().fetchFramebufferForSize({100.04, 9}, false);
    EXPECT_EQ(near, full);
    near->unlock();
    textureOnly->unlock();
}

TEST(FramebufferCache, LockCountingAndOverriddenTextures) {
    VELMORA_REQUIRE_EGL();
    const GLSize size{23, 29};
    const std::string key = GLImageFramebufferCache::hashForSize(size, GPUTextureOptions{}, false);
    auto framebuffer = cache().fetchFramebufferForSize(size, false);
    const long idleBefore = cache().framebufferTypeCount(key);
    framebuffer->lock();
    framebuffer->unlock();
    drainProcessingQueue();
    EXPECT_EQ(cache().framebufferTypeCount(key), idleBefore);  // still locked once
    framebuffer->disableReferenceCounting();
    framebuffer->unlock();
    drainProcessingQueue();
    EXPECT_EQ(framebuffer->framebufferReferenceCount(), 1u);
    framebuffer->enableReferenceCounting();
    framebuffer->unlock();
    drainProcessingQueue();
    EXPECT_EQ(framebuffer->framebufferReferenceCount(), 0u);
    EXPECT_EQ(cache().framebufferTypeCount(key), idleBefore + 1);

    // A wrapper of the caller's texture: locks change nothing, it never reaches the cache,
    // and dropping it leaves the texture alone.
    GLuint name = 0;
    GLTexture owned;
    runSynchronouslyOnVideoProcessingQueue([&] {
        GLImageContext::useImageProcessingContext();
        owned = generateTexture();
        glBindTexture(GL_TEXTURE_2D, owned.name());
        glBindTexture(GL_TEXTURE_2D, 0);
        name = owned.name();
    });
    const std::string wrapperKey =
        GLImageFramebufferCache::hashForSize({8, 8}, GPUTextureOptions{}, false);
    const long wrapperIdle = cache().framebufferTypeCount(wrapperKey);
    {
        auto wrapper = GLImageFramebuffer::createWithOverriddenTexture({8, 8}, name);
        EXPECT_EQ(wrapper->texture(), name);
        EXPECT_FALSE(wrapper->missingFramebuffer());
        wrapper->lock();
        wrapper->unlock();
        wrapper->unlock();
        EXPECT_EQ(wrapper->framebufferReferenceCount(), 0u);
    }
    drainProcessingQueue();
    EXPECT_EQ(cache().framebufferTypeCount(wrapperKey), wrapperIdle);
    runSynchronouslyOnVideoProcessingQueue([&] {
        GLImageContext::useImageProcessingContext();
        EXPECT_EQ(glIsTexture(name), GL_TRUE);
        owned.reset();
    });
}

TEST(FramebufferCache, MemoryWarningEmptiesOnlyTheIdleSet) {
    VELMORA_REQUIRE_EGL();
    const GLSize size{31, 37};
    const std::string key = GLImageFramebufferCache::hashForSize(size, GPUTextureOptions{}, false);
    auto idle = cache().fetchFramebufferForSize(size, false);
    auto busy = cache().fetchFramebufferForSize(size, false);
    const GLImageFramebuffer* idleAddress = idle.get();
    idle->unlock();
    idle.reset();
    drainProcessingQueue();
    ASSERT_EQ(cache().framebufferTypeCount(key), 1);
    NotificationCenter::defaultCenter().post(kMemoryWarningNotification);
    drainProcessingQueue();
    EXPECT_EQ(cache().framebufferTypeCount(key), 0);
    auto fresh = cache().fetchFramebufferForSize(size, false);
    EXPECT_NE(fresh, busy);
    (void)idleAddress;  // the purged one is gone; the new one is made afresh
    // The one in use during the warning still works and returns under a fresh count.
    busy->activateFramebuffer();
    busy->unlock();
    drainProcessingQueue();
    EXPECT_EQ(cache().framebufferTypeCount(key), 1);
    fresh->unlock();
}

// Draws a known colour into a framebuffer on the processing queue.
void clearTo(GLImageFramebuffer& framebuffer, GLfloat r, GLfloat g, GLfloat b, GLfloat a) {
    runSynchronouslyOnVideoProcessingQueue([&] {
        GLImageContext::useImageProcessingContext();
        framebuffer.activateFramebuffer();
        glClearColor(r, g, b, a);
        glClear(GL_COLOR_BUFFER_BIT);
    });
}

TEST(FramebufferCapture, PixelBufferPathSharesMemoryUntilTheImageGoes) {
    VELMORA_REQUIRE_EGL();
    const GLSize size{5, 3};
    const std::string key = GLImageFramebufferCache::hashForSize(size, GPUTextureOptions{}, false);
    auto framebuffer = cache().fetchFramebufferForSize(size, false);
    clearTo(*framebuffer, 1.0f, 0.0f, 0.0f, 1.0f);
    // The byte buffer follows the texture: B, G, R, A.
    runSynchronouslyOnVideoProcessingQueue([&] {
        GLImageContext::useImageProcessingContext();  // the read-back needs the context
        const std::uint8_t* bytes = framebuffer->byteBuffer();
        EXPECT_EQ(bytes[0], 0);
        EXPECT_EQ(bytes[2], 255);
        EXPECT_EQ(bytes[3], 255);
    });
    const long retainsBefore = framebuffer->renderTarget()->retainCount();
    const long idleBefore = cache().framebufferTypeCount(key);
    const std::size_t capturesBefore = cache().activeImageCaptureCount();
    {
        framebuffer->lock();  // the capture uses up one lock
        std::optional<Image> image = framebuffer->newCGImageFromFramebufferContents();
        ASSERT_TRUE(image);
        EXPECT_EQ(image->width(), 5);
        EXPECT_EQ(image->height(), 3);
        EXPECT_EQ(image->bitmapInfo(), 8194u);
        EXPECT_EQ(image->bytesPerRow(), framebuffer->bytesPerRow());
        EXPECT_EQ(image->bytesPerRow() % PixelBuffer::kRowAlignment, 0u);
        EXPECT_EQ(image->bytes(), framebuffer->renderTarget()->baseAddress());  // no copy
        EXPECT_EQ(image->dataProvider()->size(), image->bytesPerRow() * 3);
        EXPECT_EQ(image->pixelAt(4, 2), (Rgba8{255, 0, 0, 255}));
        EXPECT_EQ(framebuffer->renderTarget()->retainCount(), retainsBefore + 1);
        EXPECT_EQ(framebuffer->renderTarget()->lockCount(), 1);
        EXPECT_EQ(framebuffer->framebufferReferenceCount(), 2u);
        EXPECT_EQ(cache().activeImageCaptureCount(), capturesBefore + 1);
    }
    drainProcessingQueue();
    EXPECT_EQ(framebuffer->renderTarget()->retainCount(), retainsBefore);
    EXPECT_EQ(framebuffer->renderTarget()->lockCount(), 0);
    EXPECT_EQ(framebuffer->framebufferReferenceCount(), 1u);
    EXPECT_EQ(cache().activeImageCaptureCount(), capturesBefore);
    framebuffer->unlock();
    drainProcessingQueue();
    EXPECT_EQ(cache().framebufferTypeCount(key), idleBefore + 1);
}

TEST(FramebufferCapture, CopyingPathReadsPixelsAndUnlocksAtOnce) {
    VELMORA_REQUIRE_EGL();
    GLImageContext::setFastTextureUploadEnabledForTesting(false);
    auto framebuffer = GLImageFramebuffer::create({4, 2});
    GLImageContext::setFastTextureUploadEnabledForTesting(true);
    ASSERT_FALSE(framebuffer->renderTarget());
    EXPECT_EQ(framebuffer->bytesPerRow(), 16u);
    EXPECT_EQ(framebuffer->byteBuffer(), nullptr);
    clearTo(*framebuffer, 0.0f, 0.0f, 1.0f, 1.0f);
    framebuffer->lock();
    const std::size_t capturesBefore = cache().activeImageCaptureCount();
    std::optional<Image> image = framebuffer->newCGImageFromFramebufferContents();
    ASSERT_TRUE(image);
    EXPECT_EQ(image->bitmapInfo(), 3u);
    EXPECT_EQ(image->bytesPerRow(), 16u);
    EXPECT_EQ(image->pixelAt(3, 1), (Rgba8{0, 0, 255, 255}));
    EXPECT_EQ(framebuffer->framebufferReferenceCount(), 0u);  // unlocked at once
    EXPECT_EQ(cache().activeImageCaptureCount(), capturesBefore);
}

}  // namespace
}  // namespace velmora
