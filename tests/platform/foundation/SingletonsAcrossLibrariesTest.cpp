// The process-wide singletons are one per process: a plugin that links Velmora by itself
// and is loaded at run time sees the same notification center and main run loop as the
// program. With static libraries each plugin would carry its own copies.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include "Velmora/platform/dispatch/RunLoop.h"
#include "Velmora/platform/foundation/NotificationCenter.h"

namespace velmora {
namespace {

TEST(SingletonsAcrossLibrariesTest, APluginSeesTheProgramsSingletons) {
#ifndef VELMORA_SINGLETON_PLUGIN
    GTEST_SKIP() << "static build: each plugin carries its own copy by design";
#else
    void* plugin = dlopen(VELMORA_SINGLETON_PLUGIN, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(plugin, nullptr) << dlerror();
    using Getter = const void* (*)();
    const auto center = reinterpret_cast<Getter>(dlsym(plugin, "velmoraPluginDefaultCenter"));
    const auto loop = reinterpret_cast<Getter>(dlsym(plugin, "velmoraPluginMainRunLoop"));
    ASSERT_NE(center, nullptr);
    ASSERT_NE(loop, nullptr);
    EXPECT_EQ(center(), &NotificationCenter::defaultCenter());
    EXPECT_EQ(loop(), &RunLoop::main());
    dlclose(plugin);
#endif
}

}  // namespace
}  // namespace velmora
