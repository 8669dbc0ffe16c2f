#include "Velmora/platform/Application.h"

#include <mutex>

#include "Velmora/platform/NoDestructor.h"

namespace velmora {
namespace {

struct Installed {
    std::mutex mutex;
    std::shared_ptr<Application> application = std::make_shared<HeadlessApplication>();
};

Installed& installed() {
    static NoDestructor<Installed> instance;
    return *instance;
}

}  // namespace

Application::~Application() = default;

std::shared_ptr<Application> Application::shared() {
    std::lock_guard lock(installed().mutex);
    return installed().application;
}

void Application::install(std::shared_ptr<Application> application) {
    if (!application) {
        application = std::make_shared<HeadlessApplication>();
    }
    std::lock_guard lock(installed().mutex);
    installed().application = std::move(application);
}

}  // namespace velmora
