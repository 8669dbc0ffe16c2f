#pragma once
// IACRequest: one request to another program, kept by the IACManager until its answer
// arrives: a fresh UUID, the target client, the action, its parameters and the callbacks.
// The callback names keep their historical one-l spelling (successCalback, errorCalback)
// deliberately, so code written against the original reads the same.
//
// Thread safety: a request is filled by one thread and then handed to the manager, which
// only reads it.
//
//   auto request = std::make_shared<IACRequest>();
//   request->setAction("add");
//   request->setSuccessCalback([](const std::optional<Dictionary>& result) { ... });

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "Velmora/messaging/IACError.h"
#include "Velmora/platform/foundation/Dictionary.h"

namespace velmora {

class IACClient;

class IACRequest {
  public:
    // The result of a successful request; nothing when the other side cancelled.
    using SuccessBlock = std::function<void(const std::optional<Dictionary>& result)>;
    using ErrorBlock = std::function<void(const IACError& error)>;

    IACRequest();  // with a new requestID

    const std::string& requestID() const { return requestID_; }
    const std::shared_ptr<const IACClient>& client() const { return client_; }
    void setClient(std::shared_ptr<const IACClient> client) { client_ = std::move(client); }
    const std::string& action() const { return action_; }
    void setAction(std::string action) { action_ = std::move(action); }
    const Dictionary& parameters() const { return parameters_; }
    void setParameters(Dictionary parameters) { parameters_ = std::move(parameters); }
    const SuccessBlock& successCalback() const { return successCalback_; }
    void setSuccessCalback(SuccessBlock block) { successCalback_ = std::move(block); }
    const ErrorBlock& errorCalback() const { return errorCalback_; }
    void setErrorCalback(ErrorBlock block) { errorCalback_ = std::move(block); }

  private:
    std::string requestID_;
    std::shared_ptr<const IACClient> client_;
    std::string action_;
    Dictionary parameters_;
    SuccessBlock successCalback_;
    ErrorBlock errorCalback_;
};

}  // namespace velmora
