#pragma once
// VLWormholeSession: the listening side of the session transits. It is a wormhole whose
// listeners are fed by the companion session instead of system-wide notifications: each
// key of a received message or application context is unarchived and given to the
// listener of that identifier; a received file is unarchived and given to the listener
// of its metadata's "identifier", and, when the messenger stores files, also stored with
// the file strategy's atomic write. Listeners run on the main queue, as VLWormhole's do.
//
// Thread safety: as VLWormhole. Keep it in a shared_ptr (the session holds it weakly).
//
//   CompanionSession::setDefaultSession(session);
//   auto listening = VLWormholeSession::sharedListeningSession();
//   listening->listenForMessageWithIdentifier("greeting", [](const Value& m) { show(m); });
//   listening->activateSessionListening();

#include <memory>
#include <mutex>
#include <string>

#include "Velmora/messaging/CompanionSession.h"
#include "Velmora/messaging/VLWormhole.h"

namespace velmora {

class VLWormholeSession : public VLWormhole,
                          public CompanionSessionDelegate,
                          public std::enable_shared_from_this<VLWormholeSession> {
  public:
    // Process-wide, created once, with no application group.
    static std::shared_ptr<VLWormholeSession> sharedListeningSession();

    VLWormholeSession(std::string applicationGroupIdentifier, std::string optionalDirectory);

    // Becomes the delegate of CompanionSession::defaultSession() (or of session) and
    // activates it; false when there is no session.
    bool activateSessionListening(std::shared_ptr<CompanionSession> session = nullptr);

    void sessionDidReceiveMessage(CompanionSession& session, const Dictionary& message) override;
    void sessionDidReceiveApplicationContext(CompanionSession& session,
                                             const Dictionary& context) override;
    void sessionDidReceiveFile(CompanionSession& session, const std::filesystem::path& file,
                               const Dictionary& metadata) override;

    // The session it listens on (kept alive by it); nullptr before activation.
    std::shared_ptr<CompanionSession> session() const;

  private:
    void deliverEntries(const Dictionary& entries);

    mutable std::mutex sessionMutex_;  // guards session_
    std::shared_ptr<CompanionSession> session_;
};

}  // namespace velmora
