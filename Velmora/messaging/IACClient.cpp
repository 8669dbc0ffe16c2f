#include "Velmora/messaging/IACClient.h"

#include <cctype>
#include <limits>

#include <fmt/format.h>

#include "Velmora/messaging/IACManager.h"
#include "Velmora/platform/host/Application.h"

namespace velmora {

std::shared_ptr<IACClient> IACClient::client() {
    return std::make_shared<IACClient>();
}

std::shared_ptr<IACClient> IACClient::clientWithURLScheme(std::string URLScheme) {
    return std::make_shared<IACClient>(std::move(URLScheme));
}

bool IACClient::isAppInstalled() const {
    return Application::shared()->canOpenURL(fmt::format("{}://Test", URLScheme_));
}

void IACClient::performAction(std::string action) const {
    performAction(std::move(action), Dictionary{});
}

void IACClient::performAction(std::string action, Dictionary parameters) const {
    performAction(std::move(action), std::move(parameters), nullptr, nullptr);
}

void IACClient::performAction(std::string action, Dictionary parameters,
                              IACRequest::SuccessBlock onSuccess,
                              IACRequest::ErrorBlock onFailure) const {
    auto request = std::make_shared<IACRequest>();
    std::shared_ptr<const IACClient> self = weak_from_this().lock();
    request->setClient(self ? std::move(self) : std::make_shared<IACClient>(*this));
    request->setAction(std::move(action));
    request->setParameters(std::move(parameters));
    request->setSuccessCalback(std::move(onSuccess));
    request->setErrorCalback(std::move(onFailure));
    (manager_ != nullptr ? *manager_ : IACManager::sharedManager()).sendIACRequest(request);
}

// The leading integer of the text, as the platform's integerValue reads it: spaces, a
// sign and digits; anything else ends it, and no digits give 0.
std::int64_t IACClient::NSErrorCodeForXCUErrorCode(std::string_view errorCode) const {
    std::size_t at = 0;
    while (at < errorCode.size() && std::isspace(static_cast<unsigned char>(errorCode[at]))) {
        ++at;
    }
    bool negative = false;
    if (at < errorCode.size() && (errorCode[at] == '-' || errorCode[at] == '+')) {
        negative = errorCode[at] == '-';
        ++at;
    }
    std::int64_t value = 0;
    constexpr auto kMax = std::numeric_limits<std::int64_t>::max();
    for (; at < errorCode.size() && std::isdigit(static_cast<unsigned char>(errorCode[at])); ++at) {
        const int digit = errorCode[at] - '0';
        if (value > (kMax - digit) / 10) {
            return negative ? std::numeric_limits<std::int64_t>::min() : kMax;
        }
        value = value * 10 + digit;
    }
    return negative ? -value : value;
}

}  // namespace velmora
