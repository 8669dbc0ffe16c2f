#pragma once
// IACError: the error an inter-app request fails with (the platform's error object): a
// domain, an integer code and a localised description. A plain value.
//
//   IACError error{"com.iac.manager.error", 1, "App with scheme 'todo' is not installed"};
//   if (error.domain == IACError::kManagerDomain && error.code == 1) offerInstall();
//   log::info("{} {}: {}", error.domain, error.code, error.localizedDescription);

#include <cstdint>
#include <string>

namespace velmora {

struct IACError {
    // Errors of the manager itself: 1 the target is not installed, 2 the action is not
    // supported by the answering program.
    static constexpr const char* kManagerDomain = "com.iac.manager.error";
    // The domain of an error received without one.
    static constexpr const char* kClientDomain = "com.iac.client.error";
    static constexpr std::int64_t kAppNotInstalled = 1;
    static constexpr std::int64_t kActionNotSupported = 2;

    std::string domain;
    std::int64_t code = 0;
    std::string localizedDescription;

    bool operator==(const IACError&) const = default;
};

}  // namespace velmora
