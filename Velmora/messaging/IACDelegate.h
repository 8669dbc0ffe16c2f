#pragma once
// IACDelegate: answers, for an IACManager, the actions that have no registered handler.
// The manager holds it weakly and calls it on the thread that handles the URL.
//
//   struct Answers : IACDelegate {
//       bool supportsIACAction(const std::string& action) override { return action == "ping"; }
//       void performIACAction(...) override { onSuccess(Dictionary{{"pong", "1"}}, false); } };

#include <string>

#include "Velmora/messaging/IACManager.h"

namespace velmora {

class IACDelegate {
  public:
    virtual ~IACDelegate() = default;
    virtual bool supportsIACAction(const std::string& action) = 0;
    virtual void performIACAction(const std::string& action, const Dictionary& parameters,
                                  IACManager::ActionSuccess onSuccess,
                                  IACManager::ActionFailure onFailure) = 0;
};

}  // namespace velmora
