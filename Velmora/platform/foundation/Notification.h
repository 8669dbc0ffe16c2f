#pragma once
// Notification: what NotificationCenter delivers: a name, the sender that posted it
// (compared by identity; nullptr for none) and a user-info dictionary (nil for none).

#include <string>

#include "Velmora/platform/foundation/Value.h"

namespace velmora {

struct Notification {
    std::string name;
    const void* sender = nullptr;
    Value userInfo;
};

}  // namespace velmora
