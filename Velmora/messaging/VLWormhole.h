#pragma once
// VLWormhole: passes messages between processes of one application group (an app and
// its extensions, or two programs of one user). A message (a Value of plain values) is
// stored under a string identifier by the transiting strategy (the wormholeMessenger),
// and the other side is told by a system-wide notification named by the identifier
// itself (SystemNotificationCenter). A listener registered for the identifier is then
// called on the main queue with the message read back (nil when nothing is stored), so
// listeners only run while the host runs the main run loop.
//
// Inside the process, each system-wide notification is re-posted on the default
// NotificationCenter as kNotificationName, with the wormhole as sender and the user
// info { "identifier": identifier }. A new listener does not receive a message sent
// before it registered; read that one with messageWithIdentifier.
//
// A listener that throws is logged at error level with its what() and dropped; later
// messages still arrive.
//
// Thread safety: every operation may be used from any thread. Destroying the wormhole
// stops its notifications before it returns; listener calls already queued on the main
// queue still run (they hold the listener, not the wormhole).
//
//   VLWormhole wormhole("group.com.example", "wormhole");
//   wormhole.listenForMessageWithIdentifier("count", [](const Value& m) { show(m); });
//   wormhole.passMessageObject(Value(3), "count");   // in the other process

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "Velmora/messaging/VLWormholeTransiting.h"
#include "Velmora/platform/foundation/NotificationCenter.h"
#include "Velmora/platform/storage/SystemNotificationCenter.h"

namespace velmora {

class VLWormhole {
  public:
    using Listener = std::function<void(const Value& messageObject)>;

    static constexpr const char* kNotificationName = "VLWormholeNotificationName";

    VLWormhole(std::string applicationGroupIdentifier, std::string optionalDirectory,
               VLWormholeTransitingType transitingType = VLWormholeTransitingType::File);
    virtual ~VLWormhole();
    VLWormhole(const VLWormhole&) = delete;
    VLWormhole& operator=(const VLWormhole&) = delete;

    // Writes through the messenger and, when it answers true, posts the notification.
    void passMessageObject(const Value& messageObject, std::string_view identifier);
    Value messageWithIdentifier(std::string_view identifier);
    void clearMessageContentsForIdentifier(std::string_view identifier);
    void clearAllMessageContents();

    // Replaces any earlier listener of identifier (one registration per identifier);
    // an empty identifier does nothing.
    void listenForMessageWithIdentifier(const std::string& identifier, Listener listener);
    void stopListeningForMessageWithIdentifier(const std::string& identifier);

    std::shared_ptr<VLWormholeTransiting> wormholeMessenger() const;
    void setWormholeMessenger(std::shared_ptr<VLWormholeTransiting> messenger);

    // The messenger a transiting type stands for (any unknown value gives the file one);
    // the session transits use CompanionSession::defaultSession().
    static std::shared_ptr<VLWormholeTransiting> makeMessenger(
        VLWormholeTransitingType type, const std::string& applicationGroupIdentifier,
        const std::string& optionalDirectory);

  protected:
    // Calls the identifier's listener, if any, on the main queue with message.
    void notifyListenerForMessageWithIdentifier(const std::string& identifier,
                                                const Value& message);

  private:
    void registerForNotificationsWithIdentifier(const std::string& identifier);
    void didReceiveMessageNotification(const Notification& notification);

    mutable std::mutex mutex_;  // guards the members below
    std::shared_ptr<VLWormholeTransiting> wormholeMessenger_;
    std::map<std::string, Listener, std::less<>> listenerBlocks_;
    std::map<std::string, SystemNotificationCenter::Observation, std::less<>> registrations_;
    NotificationCenter::Observation localObservation_;
};

}  // namespace velmora
