#pragma once
// IACManager: requests between programs carried in x-callback-url URLs.
//
// Sending: "<target>://x-callback-url/<action>?<parameters>&x-source=<this app's name>",
// plus, when this program listens on callbackURLScheme, "x-success", "x-cancel" (both
// when the request has a success callback) and "x-error" (when it has an error callback),
// each "<callbackURLScheme>://x-callback-url/IACRequestResponse?IACRequestID=<id>&
// IACResponseType=<0 success, 2 cancel, 1 error>". The request waits in the outstanding
// table until its answer arrives; there is no time-out (a target that never answers
// leaves its request there until the process ends; outstandingRequestIDs() shows them).
//
// Receiving (handleOpenURL): URLs of callbackURLScheme with host "x-callback-url".
// "IACRequestResponse" answers one of our requests; any other action is a request to us,
// answered by the handler registered for its lower-cased name, else by the delegate.
// Handlers and delegates receive the parameters without the protocol's ("x-..." and
// "IAC..."), except "x-source". URLs go out through Application::shared()->openURL.
//
// A callback, handler or delegate that throws is logged at error level with its what()
// and dropped; the request is settled and the manager carries on.
//
// Thread safety: meant for the main thread, where URLs are opened and delivered; a mutex
// keeps the tables consistent if other threads use it, and is never held while a
// caller's block runs.
//
//   IACManager::sharedManager().setCallbackURLScheme("todo");
//   IACManager::sharedManager().handleAction("add", [](const Dictionary& input,
//       IACManager::ActionSuccess ok, IACManager::ActionFailure) { ok(Dictionary{}, false); });
//   bool handled = IACManager::sharedManager().handleOpenURL(url);

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Velmora/messaging/IACRequest.h"
#include "Velmora/platform/foundation/Dictionary.h"
#include "Velmora/platform/foundation/Value.h"

namespace velmora {

class IACDelegate;

class IACManager {
  public:
    // Given to an action's handler: answer with a result (or nothing) and whether the
    // user cancelled, or with an error.
    using ActionSuccess =
        std::function<void(const std::optional<Dictionary>& result, bool cancelled)>;
    using ActionFailure = std::function<void(const IACError& error)>;
    using ActionHandler = std::function<void(const Dictionary& inputParameters,
                                             ActionSuccess onSuccess, ActionFailure onFailure)>;

    static IACManager& sharedManager();

    IACManager() = default;
    IACManager(const IACManager&) = delete;
    IACManager& operator=(const IACManager&) = delete;

    // The scheme this program listens on for answers; empty means no callbacks.
    std::string callbackURLScheme() const;
    void setCallbackURLScheme(std::string scheme);
    std::shared_ptr<IACDelegate> delegate() const;
    void setDelegate(const std::shared_ptr<IACDelegate>& delegate);

    void sendIACRequest(const std::shared_ptr<IACRequest>& request);
    // The request URL that sendIACRequest opens for request.
    std::string requestURL(const IACRequest& request) const;
    // Answers whether the URL was ours; options, when not nil, reach the handler under
    // "options".
    bool handleOpenURL(std::string_view url, const Value& options = {});
    // Registers (or replaces) the handler of action, matched without regard to case.
    void handleAction(std::string_view action, ActionHandler handler);

    // The parameters without those of the protocol: keys starting with "x-" or "IAC" go,
    // except "x-source".
    static Dictionary removeProtocolParamsFromDictionary(const Dictionary& parameters);
    // The application's localised display name.
    static std::string localizedAppName();

    std::vector<std::string> outstandingRequestIDs() const;
    std::shared_ptr<IACRequest> outstandingRequest(std::string_view requestID) const;

  private:
    bool handleResponse(const Dictionary& all, const Dictionary& actionParameters);
    bool handleRequest(const std::string& action, const Dictionary& all,
                       const Dictionary& actionParameters);

    mutable std::mutex mutex_;  // guards the members below
    std::string callbackURLScheme_;
    std::weak_ptr<IACDelegate> delegate_;
    std::map<std::string, std::shared_ptr<IACRequest>, std::less<>> sessions_;
    std::map<std::string, std::shared_ptr<const ActionHandler>, std::less<>> actionHandlers_;
};

}  // namespace velmora
