#pragma once
// VLCloudUserDefaults: the stand-in for the cloud-synced key/value store. Here it is a
// second, local defaults suite named "VLCloudUserDefaults" (the file
// "VLCloudUserDefaults.plist" beside the other defaults), with the same persistence and
// observation as UserDefaults; a host with a real synced store can mirror this suite.
//
// Thread safety: every operation may be used from any thread.
//
//   VLCloudUserDefaults::setObject("dark", "Theme");
//   VLCloudUserDefaults::synchronize();
//   Value theme = VLCloudUserDefaults::objectForKey("Theme");

#include <string_view>

#include "Velmora/platform/host/UserDefaults.h"

namespace velmora {

class VLCloudUserDefaults {
  public:
    static constexpr std::string_view kSuiteName = "VLCloudUserDefaults";

    VLCloudUserDefaults() = delete;

    // The underlying defaults, for observers and the typed getters.
    static UserDefaults store();

    static Value objectForKey(std::string_view key);
    // A nil value removes the key; values need a property-list form.
    static bool setObject(const Value& value, std::string_view key);
    static void removeObjectForKey(std::string_view key);
    static bool synchronize();
};

}  // namespace velmora
