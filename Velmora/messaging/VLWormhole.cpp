#include "Velmora/messaging/VLWormhole.h"

#include <exception>
#include <utility>
#include <vector>

#include "Velmora/messaging/VLWormholeCoordinatedFileTransiting.h"
#include "Velmora/messaging/VLWormholeFileTransiting.h"
#include "Velmora/messaging/VLWormholeSessionTransiting.h"
#include "Velmora/platform/dispatch/DispatchQueue.h"
#include "Velmora/platform/logging/Log.h"

namespace velmora {

VLWormhole::VLWormhole(std::string applicationGroupIdentifier, std::string optionalDirectory,
                       VLWormholeTransitingType transitingType)
    : wormholeMessenger_(
          makeMessenger(transitingType, applicationGroupIdentifier, optionalDirectory)) {
    localObservation_ = NotificationCenter::defaultCenter().addObserver(
        kNotificationName, this,
        [this](const Notification& notification) { didReceiveMessageNotification(notification); });
}

VLWormhole::~VLWormhole() {
    std::map<std::string, SystemNotificationCenter::Observation, std::less<>> registrations;
    {
        std::lock_guard lock(mutex_);
        registrations = std::move(registrations_);
    }
    // Each observation waits for a call in progress; no lock of ours is held meanwhile.
    registrations.clear();
    localObservation_.reset();
}

std::shared_ptr<VLWormholeTransiting> VLWormhole::makeMessenger(
    VLWormholeTransitingType type, const std::string& applicationGroupIdentifier,
    const std::string& optionalDirectory) {
    switch (type) {
        case VLWormholeTransitingType::CoordinatedFile:
            return std::make_shared<VLWormholeCoordinatedFileTransiting>(applicationGroupIdentifier,
                                                                         optionalDirectory);
        case VLWormholeTransitingType::SessionContext:
            return std::make_shared<VLWormholeSessionContextTransiting>(
                applicationGroupIdentifier, optionalDirectory, CompanionSession::defaultSession());
        case VLWormholeTransitingType::SessionMessage:
            return std::make_shared<VLWormholeSessionMessageTransiting>(
                applicationGroupIdentifier, optionalDirectory, CompanionSession::defaultSession());
        case VLWormholeTransitingType::SessionFile:
            return std::make_shared<VLWormholeSessionFileTransiting>(
                applicationGroupIdentifier, optionalDirectory, CompanionSession::defaultSession());
        default:
            return std::make_shared<VLWormholeFileTransiting>(applicationGroupIdentifier,
                                                              optionalDirectory);
    }
}

std::shared_ptr<VLWormholeTransiting> VLWormhole::wormholeMessenger() const {
    std::lock_guard lock(mutex_);
    return wormholeMessenger_;
}

void VLWormhole::setWormholeMessenger(std::shared_ptr<VLWormholeTransiting> messenger) {
    std::lock_guard lock(mutex_);
    wormholeMessenger_ = std::move(messenger);
}

void VLWormhole::passMessageObject(const Value& messageObject, std::string_view identifier) {
    const auto messenger = wormholeMessenger();
    if (messenger && messenger->writeMessageObject(messageObject, identifier)) {
        SystemNotificationCenter::shared().post(identifier);
    }
}

Value VLWormhole::messageWithIdentifier(std::string_view identifier) {
    const auto messenger = wormholeMessenger();
    return messenger ? messenger->messageObjectForIdentifier(identifier) : Value();
}

void VLWormhole::clearMessageContentsForIdentifier(std::string_view identifier) {
    if (const auto messenger = wormholeMessenger()) {
        messenger->deleteContentForIdentifier(identifier);
    }
}

void VLWormhole::clearAllMessageContents() {
    if (const auto messenger = wormholeMessenger()) {
        messenger->deleteContentForAllMessages();
    }
}

void VLWormhole::listenForMessageWithIdentifier(const std::string& identifier, Listener listener) {
    if (identifier.empty()) {
        return;
    }
    {
        std::lock_guard lock(mutex_);
        listenerBlocks_[identifier] = std::move(listener);
    }
    registerForNotificationsWithIdentifier(identifier);
}

void VLWormhole::stopListeningForMessageWithIdentifier(const std::string& identifier) {
    SystemNotificationCenter::Observation registration;
    {
        std::lock_guard lock(mutex_);
        listenerBlocks_.erase(identifier);
        if (auto found = registrations_.find(identifier); found != registrations_.end()) {
            registration = std::move(found->second);
            registrations_.erase(found);
        }
    }
}

// Removes the earlier registration of the name first, so that there is one per name.
void VLWormhole::registerForNotificationsWithIdentifier(const std::string& identifier) {
    SystemNotificationCenter::Observation previous;
    {
        std::lock_guard lock(mutex_);
        if (auto found = registrations_.find(identifier); found != registrations_.end()) {
            previous = std::move(found->second);
            registrations_.erase(found);
        }
    }
    previous.reset();
    auto registration =
        SystemNotificationCenter::shared().addObserver(identifier, [this](const std::string& name) {
            NotificationCenter::defaultCenter().post(kNotificationName, this,
                                                     Value(Dictionary{{"identifier", name}}));
        });
    std::lock_guard lock(mutex_);
    registrations_[identifier] = std::move(registration);
}

void VLWormhole::didReceiveMessageNotification(const Notification& notification) {
    const Dictionary* info = notification.userInfo.asDictionary();
    const Value* identifier = info != nullptr ? info->find(Value("identifier")) : nullptr;
    if (identifier == nullptr || !identifier->isString()) {
        return;
    }
    const std::string name = identifier->stringValue();
    notifyListenerForMessageWithIdentifier(name, messageWithIdentifier(name));
}

void VLWormhole::notifyListenerForMessageWithIdentifier(const std::string& identifier,
                                                        const Value& message) {
    Listener listener;
    {
        std::lock_guard lock(mutex_);
        const auto found = listenerBlocks_.find(identifier);
        if (found == listenerBlocks_.end() || !found->second) {
            return;
        }
        listener = found->second;
    }
    DispatchQueue::main().async([listener = std::move(listener), message, identifier] {
        try {
            listener(message);
        } catch (const std::exception& error) {
            log::error("VLWormhole: listener of \"{}\" threw: {}", identifier, error.what());
        } catch (...) {
            log::error("VLWormhole: listener of \"{}\" threw", identifier);
        }
    });
}

}  // namespace velmora
