#include "Velmora/platform/host/Application.h"

#include <mutex>
#include <utility>

#include "Velmora/platform/foundation/NoDestructor.h"

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
    std::shared_ptr<Application> previous;  // released outside the lock
    std::lock_guard lock(installed().mutex);
    previous = std::exchange(installed().application, std::move(application));
}

}  // namespace velmora
