#pragma once
// The three transits over the companion session (CompanionSession), for an app and its
// paired companion. Each is a file strategy too (it reads and deletes what the file
// strategy stores), but its write goes to the session and answers false, so no
// system-wide notification is posted: the other side's VLWormholeSession delivers.
//   VLWormholeSessionContextTransiting  the application context, { identifier: archive },
//                                       last writer wins; reads prefer the received one
//   VLWormholeSessionMessageTransiting  a live message { identifier: archive }, sent only
//                                       while the peer is reachable
//   VLWormholeSessionFileTransiting     the archive written to a file named by the bare
//                                       identifier and transferred with the metadata
//                                       { "identifier": identifier }, while reachable
//
// Thread safety: as the session; the context transit guards lastContext with a mutex.
//
//   CompanionSession::setDefaultSession(session);
//   VLWormhole wormhole("group.com.example", "", VLWormholeTransitingType::SessionMessage);
//   wormhole.passMessageObject(Value("hi"), "greeting");

#include <memory>
#include <mutex>

#include "Velmora/messaging/CompanionSession.h"
#include "Velmora/messaging/VLWormholeFileTransiting.h"

namespace velmora {

class VLWormholeSessionMessageTransiting : public VLWormholeFileTransiting {
  public:
    VLWormholeSessionMessageTransiting(std::string applicationGroupIdentifier,
                                       std::string directory,
                                       std::shared_ptr<CompanionSession> session);
    bool writeMessageObject(const Value& messageObject, std::string_view identifier) override;
    const std::shared_ptr<CompanionSession>& session() const { return session_; }

  private:
    std::shared_ptr<CompanionSession> session_;
};

class VLWormholeSessionFileTransiting : public VLWormholeFileTransiting {
  public:
    VLWormholeSessionFileTransiting(std::string applicationGroupIdentifier, std::string directory,
                                    std::shared_ptr<CompanionSession> session);
    bool writeMessageObject(const Value& messageObject, std::string_view identifier) override;
    const std::shared_ptr<CompanionSession>& session() const { return session_; }

  private:
    std::shared_ptr<CompanionSession> session_;
};

class VLWormholeSessionContextTransiting : public VLWormholeFileTransiting {
  public:
    VLWormholeSessionContextTransiting(std::string applicationGroupIdentifier,
                                       std::string directory,
                                       std::shared_ptr<CompanionSession> session);
    bool writeMessageObject(const Value& messageObject, std::string_view identifier) override;
    Value messageObjectForIdentifier(std::string_view identifier) override;
    void deleteContentForIdentifier(std::string_view identifier) override;
    void deleteContentForAllMessages() override;
    const std::shared_ptr<CompanionSession>& session() const { return session_; }
    Dictionary lastContext() const;

  private:
    std::shared_ptr<CompanionSession> session_;
    mutable std::mutex mutex_;  // guards lastContext_
    Dictionary lastContext_;
};

}  // namespace velmora
