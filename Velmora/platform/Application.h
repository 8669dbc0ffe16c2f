#pragma once
// Application: the host's services, as the framework sees them. A host installs its own
// implementation at start-up; tools and tests get HeadlessApplication, which keeps the
// state it is told.
//
// Thread safety: shared() and install() may be used from any thread; an installed
// application must answer its queries from any thread.
//
//   auto app = std::make_shared<HeadlessApplication>();
//   Application::install(app);
//   app->setApplicationState(ApplicationState::Background);

#include <atomic>
#include <memory>

namespace velmora {

enum class ApplicationState { Active, Inactive, Background };

class Application {
  public:
    virtual ~Application();

    // The installed application (a HeadlessApplication until a host installs one).
    static std::shared_ptr<Application> shared();
    // Replaces the installed application; nullptr restores a new headless one.
    static void install(std::shared_ptr<Application> application);

    virtual ApplicationState applicationState() const = 0;

  protected:
    Application() = default;
};

class HeadlessApplication : public Application {
  public:
    ApplicationState applicationState() const override { return state_.load(); }
    void setApplicationState(ApplicationState state) { state_.store(state); }

  private:
    std::atomic<ApplicationState> state_{ApplicationState::Active};
};

}  // namespace velmora
