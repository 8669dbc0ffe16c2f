#include "Velmora/platform/host/VLCloudUserDefaults.h"

namespace velmora {

UserDefaults VLCloudUserDefaults::store() {
    return UserDefaults(kSuiteName);
}

Value VLCloudUserDefaults::objectForKey(std::string_view key) {
    return store().objectForKey(key);
}

bool VLCloudUserDefaults::setObject(const Value& value, std::string_view key) {
    return store().setObject(value, key);
}

void VLCloudUserDefaults::removeObjectForKey(std::string_view key) {
    store().removeObjectForKey(key);
}

bool VLCloudUserDefaults::synchronize() {
    return store().synchronize();
}

}  // namespace velmora
