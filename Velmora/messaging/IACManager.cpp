#include "Velmora/messaging/IACManager.h"

#include <cctype>
#include <exception>

#include <fmt/format.h>

#include "Velmora/messaging/IACClient.h"
#include "Velmora/messaging/IACDelegate.h"
#include "Velmora/platform/foundation/NoDestructor.h"
#include "Velmora/platform/host/Application.h"
#include "Velmora/platform/host/Bundle.h"
#include "Velmora/platform/logging/Log.h"
#include "Velmora/text/NSString+URLParams.h"

namespace velmora {
namespace {

constexpr std::string_view kHost = "x-callback-url";
constexpr std::string_view kResponseAction = "IACRequestResponse";
constexpr const char* kNotInstalled = "App with scheme '%@' is not installed in this device";
constexpr const char* kNotSupported = "'%@' is not an x-callback-url action supported by %@";

std::string lowercase(std::string_view text) {
    std::string lower(text);
    for (char& c : lower) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return lower;
}

// The message looked up in the string table, its "%@" placeholders filled in order.
std::string localizedMessage(const char* key, std::initializer_list<std::string_view> arguments) {
    const std::string format = Bundle::main().localizedString(key, "");
    std::string text;
    auto argument = arguments.begin();
    for (std::size_t at = 0; at < format.size(); ++at) {
        if (format.compare(at, 2, "%@") == 0 && argument != arguments.end()) {
            text += *argument++;
            ++at;
        } else {
            text += format[at];
        }
    }
    return text;
}

struct ParsedURL {
    std::string_view scheme, host, path, query;
};

// scheme ":" [ "//" host ] path [ "?" query ] [ "#" fragment ]
std::optional<ParsedURL> parseURL(std::string_view url) {
    const auto colon = url.find(':');
    if (colon == std::string_view::npos || colon == 0) {
        return std::nullopt;
    }
    ParsedURL parts;
    parts.scheme = url.substr(0, colon);
    std::string_view rest = url.substr(colon + 1);
    rest = rest.substr(0, rest.find('#'));
    if (const auto question = rest.find('?'); question != std::string_view::npos) {
        parts.query = rest.substr(question + 1);
        rest = rest.substr(0, question);
    }
    if (rest.starts_with("//")) {
        rest.remove_prefix(2);
        const auto slash = rest.find('/');
        parts.host = rest.substr(0, slash);
        rest = slash == std::string_view::npos ? std::string_view{} : rest.substr(slash);
    }
    parts.path = rest;
    return parts;
}

std::string stringParameter(const Dictionary& parameters, std::string_view key) {
    const Value* value = parameters.find(Value(key));
    return value != nullptr ? value->stringValue() : std::string();
}

std::optional<std::string> presentParameter(const Dictionary& parameters, std::string_view key) {
    const Value* value = parameters.find(Value(key));
    return value != nullptr ? std::optional(value->stringValue()) : std::nullopt;
}

template <class Block>
void runCallersBlock(std::string_view what, Block&& block) {
    try {
        block();
    } catch (const std::exception& error) {
        log::error("IACManager: {} threw: {}", what, error.what());
    } catch (...) {
        log::error("IACManager: {} threw", what);
    }
}

void openURL(const std::string& url) {
    if (!Application::shared()->openURL(url)) {
        log::warning("IACManager: nothing could open {}", url);
    }
}

}  // namespace

IACManager& IACManager::sharedManager() {
    static NoDestructor<IACManager> manager;
    return *manager;
}

std::string IACManager::callbackURLScheme() const {
    std::lock_guard lock(mutex_);
    return callbackURLScheme_;
}

void IACManager::setCallbackURLScheme(std::string scheme) {
    std::lock_guard lock(mutex_);
    callbackURLScheme_ = std::move(scheme);
}

std::shared_ptr<IACDelegate> IACManager::delegate() const {
    std::lock_guard lock(mutex_);
    return delegate_.lock();
}

void IACManager::setDelegate(const std::shared_ptr<IACDelegate>& delegate) {
    std::lock_guard lock(mutex_);
    delegate_ = delegate;
}

std::string IACManager::requestURL(const IACRequest& request) const {
    const std::string scheme = request.client() ? request.client()->URLScheme() : std::string();
    std::string url = fmt::format("{}://{}/{}?", scheme, kHost, request.action());
    url = stringByAppendingURLParams(url, request.parameters());
    url = stringByAppendingURLParams(url, Dictionary{{"x-source", localizedAppName()}});
    const std::string callbackScheme = callbackURLScheme();
    if (callbackScheme.empty()) {
        return url;
    }
    const std::string callback = stringByAppendingURLParams(
        fmt::format("{}://{}/{}?", callbackScheme, kHost, kResponseAction),
        Dictionary{{"IACRequestID", request.requestID()}});
    Dictionary callbacks;
    if (request.successCalback()) {
        callbacks.set("x-success",
                      stringByAppendingURLParams(callback, Dictionary{{"IACResponseType", 0}}));
        callbacks.set("x-cancel",
                      stringByAppendingURLParams(callback, Dictionary{{"IACResponseType", 2}}));
    }
    if (request.errorCalback()) {
        callbacks.set("x-error",
                      stringByAppendingURLParams(callback, Dictionary{{"IACResponseType", 1}}));
    }
    return stringByAppendingURLParams(url, callbacks);
}

void IACManager::sendIACRequest(const std::shared_ptr<IACRequest>& request) {
    if (!request || !request->client()) {
        return;
    }
    if (!request->client()->isAppInstalled()) {
        if (request->errorCalback()) {
            const IACError error{IACError::kManagerDomain, IACError::kAppNotInstalled,
                                 localizedMessage(kNotInstalled, {request->client()->URLScheme()})};
            runCallersBlock("error callback", [&] { request->errorCalback()(error); });
        }
        return;
    }
    if (callbackURLScheme().empty() && (request->successCalback() || request->errorCalback())) {
        log::warning(
            "WARNING: If you want to support callbacks from the remote app you must define a URL "
            "Scheme for this app to listen on");
    }
    const std::string url = requestURL(*request);
    {
        std::lock_guard lock(mutex_);
        sessions_[request->requestID()] = request;
    }
    openURL(url);
}

bool IACManager::handleOpenURL(std::string_view url, const Value& options) {
    const auto parts = parseURL(url);
    const std::string callbackScheme = callbackURLScheme();
    if (!parts || callbackScheme.empty() || lowercase(parts->scheme) != lowercase(callbackScheme) ||
        parts->host != kHost || parts->path.size() < 2) {
        return false;
    }
    const std::string action(parts->path.substr(1));
    const Dictionary all = parseURLParams(parts->query);
    Dictionary actionParameters = removeProtocolParamsFromDictionary(all);
    if (!options.isNil()) {
        actionParameters.set("options", options);
    }
    if (action == kResponseAction) {
        return handleResponse(all, actionParameters);
    }
    return handleRequest(action, all, actionParameters);
}

bool IACManager::handleResponse(const Dictionary& all, const Dictionary& actionParameters) {
    std::shared_ptr<IACRequest> request;
    {
        std::lock_guard lock(mutex_);
        const auto found = sessions_.find(stringParameter(all, "IACRequestID"));
        if (found == sessions_.end()) {
            return false;
        }
        request = found->second;
        sessions_.erase(found);
    }
    const std::int64_t responseType =
        IACClient().NSErrorCodeForXCUErrorCode(stringParameter(all, "IACResponseType"));
    switch (responseType) {
        case 0:
            if (request->successCalback()) {
                runCallersBlock("success callback",
                                [&] { request->successCalback()(actionParameters); });
            }
            return true;
        case 1:
            if (request->errorCalback()) {
                IACError error;
                error.domain =
                    presentParameter(all, "errorDomain").value_or(IACError::kClientDomain);
                error.code = request->client()->NSErrorCodeForXCUErrorCode(
                    stringParameter(all, "error-Code"));
                error.localizedDescription = stringParameter(all, "errorMessage");
                runCallersBlock("error callback", [&] { request->errorCalback()(error); });
            }
            return true;
        case 2:
            if (request->successCalback()) {
                runCallersBlock("success callback",
                                [&] { request->successCalback()(std::nullopt); });
            }
            return true;
        default:
            return false;
    }
}

bool IACManager::handleRequest(const std::string& action, const Dictionary& all,
                               const Dictionary& actionParameters) {
    std::shared_ptr<const ActionHandler> handler;
    std::shared_ptr<IACDelegate> delegate;
    {
        std::lock_guard lock(mutex_);
        if (const auto found = actionHandlers_.find(lowercase(action));
            found != actionHandlers_.end()) {
            handler = found->second;
        }
        delegate = delegate_.lock();
    }
    bool supported = static_cast<bool>(handler);
    if (!supported && delegate) {
        runCallersBlock("delegate", [&] { supported = delegate->supportsIACAction(action); });
    }
    const auto errorURL = presentParameter(all, "x-error");
    if (!supported) {
        if (!errorURL) {
            return false;
        }
        openURL(stringByAppendingURLParams(
            *errorURL, Dictionary{{"error-Code", IACError::kActionNotSupported},
                                  {"errorMessage",
                                   localizedMessage(kNotSupported, {action, localizedAppName()})},
                                  {"errorDomain", IACError::kManagerDomain}}));
        return true;
    }
    ActionSuccess onSuccess = [successURL = presentParameter(all, "x-success"),
                               cancelURL = presentParameter(all, "x-cancel")](
                                  const std::optional<Dictionary>& result, bool cancelled) {
        if (cancelled) {
            if (cancelURL) {
                openURL(*cancelURL);
            }
        } else if (successURL) {
            openURL(result ? stringByAppendingURLParams(*successURL, *result) : *successURL);
        }
    };
    ActionFailure onFailure = [errorURL](const IACError& error) {
        if (errorURL) {
            openURL(stringByAppendingURLParams(
                *errorURL, Dictionary{{"error-Code", error.code},
                                      {"errorMessage", error.localizedDescription},
                                      {"errorDomain", error.domain}}));
        }
    };
    if (handler) {
        runCallersBlock("action handler",
                        [&] { (*handler)(actionParameters, onSuccess, onFailure); });
    } else {
        runCallersBlock("delegate", [&] {
            delegate->performIACAction(action, actionParameters, onSuccess, onFailure);
        });
    }
    return true;
}

void IACManager::handleAction(std::string_view action, ActionHandler handler) {
    std::lock_guard lock(mutex_);
    actionHandlers_[lowercase(action)] = std::make_shared<const ActionHandler>(std::move(handler));
}

Dictionary IACManager::removeProtocolParamsFromDictionary(const Dictionary& parameters) {
    Dictionary kept;
    for (const auto& [key, value] : parameters) {
        const std::string name = key.stringValue();
        if ((!name.starts_with("x-") && !name.starts_with("IAC")) || name == "x-source") {
            kept.set(key, value);
        }
    }
    return kept;
}

std::string IACManager::localizedAppName() {
    return Bundle::main().displayName();
}

std::vector<std::string> IACManager::outstandingRequestIDs() const {
    std::lock_guard lock(mutex_);
    std::vector<std::string> ids;
    for (const auto& [id, request] : sessions_) {
        ids.push_back(id);
    }
    return ids;
}

std::shared_ptr<IACRequest> IACManager::outstandingRequest(std::string_view requestID) const {
    std::lock_guard lock(mutex_);
    const auto found = sessions_.find(requestID);
    return found == sessions_.end() ? nullptr : found->second;
}

}  // namespace velmora
