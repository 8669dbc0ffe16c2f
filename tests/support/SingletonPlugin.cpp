// A plugin (a shared object loaded at run time) that links Velmora on its own, for the
// test that the process-wide singletons are one per process.
#include "Velmora/platform/dispatch/RunLoop.h"
#include "Velmora/platform/foundation/NotificationCenter.h"

extern "C" __attribute__((visibility("default"))) const void* velmoraPluginDefaultCenter() {
    return &velmora::NotificationCenter::defaultCenter();
}

extern "C" __attribute__((visibility("default"))) const void* velmoraPluginMainRunLoop() {
    return &velmora::RunLoop::main();
}
