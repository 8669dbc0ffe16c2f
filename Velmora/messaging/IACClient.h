#pragma once
// IACClient: another program, named by the URL scheme it listens on, and the actions
// sent to it. Requests go through the client's manager, or the shared one when none is
// set. A subclass may map the error codes the other program answers with.
//
// Thread safety: a client is set up by one thread; then its const operations may be
// used from any thread. Send from the main thread (see IACManager).
//
//   auto todo = IACClient::clientWithURLScheme("todo");
//   todo->performAction("add", Dictionary{{"title", "Milk"}},
//                       [](const std::optional<Dictionary>& result) { ... },
//                       [](const IACError& error) { ... });

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "Velmora/messaging/IACRequest.h"
#include "Velmora/platform/foundation/Dictionary.h"

namespace velmora {

class IACManager;

class IACClient : public std::enable_shared_from_this<IACClient> {
  public:
    IACClient() = default;
    explicit IACClient(std::string URLScheme) : URLScheme_(std::move(URLScheme)) {}
    virtual ~IACClient() = default;

    static std::shared_ptr<IACClient> client();
    static std::shared_ptr<IACClient> clientWithURLScheme(std::string URLScheme);

    const std::string& URLScheme() const { return URLScheme_; }
    void setURLScheme(std::string scheme) { URLScheme_ = std::move(scheme); }
    // The manager to send through (not owned; it must outlive the client); nullptr means
    // IACManager::sharedManager().
    IACManager* manager() const { return manager_; }
    void setManager(IACManager* manager) { manager_ = manager; }

    // Whether the platform can open "<scheme>://Test".
    bool isAppInstalled() const;

    void performAction(std::string action) const;
    void performAction(std::string action, Dictionary parameters) const;
    void performAction(std::string action, Dictionary parameters,
                       IACRequest::SuccessBlock onSuccess, IACRequest::ErrorBlock onFailure) const;

    // The code of a received error from its "error-Code" text: its integer value (the
    // text's leading integer, 0 when there is none).
    virtual std::int64_t NSErrorCodeForXCUErrorCode(std::string_view errorCode) const;

  private:
    std::string URLScheme_;
    IACManager* manager_ = nullptr;
};

}  // namespace velmora
