#include "Velmora/messaging/VLWormholeSession.h"

#include "Velmora/messaging/VLWormholeFileTransiting.h"
#include "Velmora/platform/foundation/NoDestructor.h"
#include "Velmora/platform/storage/AtomicFile.h"

namespace velmora {

std::shared_ptr<VLWormholeSession> VLWormholeSession::sharedListeningSession() {
    static NoDestructor<std::shared_ptr<VLWormholeSession>> shared(
        std::make_shared<VLWormholeSession>("", ""));
    return *shared;
}

VLWormholeSession::VLWormholeSession(std::string applicationGroupIdentifier,
                                     std::string optionalDirectory)
    : VLWormhole(std::move(applicationGroupIdentifier), std::move(optionalDirectory)) {}

bool VLWormholeSession::activateSessionListening(std::shared_ptr<CompanionSession> session) {
    if (!session) {
        session = CompanionSession::defaultSession();
    }
    if (!session) {
        return false;
    }
    {
        std::lock_guard lock(sessionMutex_);
        session_ = session;
    }
    session->setDelegate(weak_from_this());
    session->activate();
    return true;
}

std::shared_ptr<CompanionSession> VLWormholeSession::session() const {
    std::lock_guard lock(sessionMutex_);
    return session_;
}

void VLWormholeSession::deliverEntries(const Dictionary& entries) {
    for (const auto& [key, value] : entries) {
        if (key.isString() && value.isData()) {
            notifyListenerForMessageWithIdentifier(
                key.stringValue(), VLWormholeFileTransiting::unarchive(*value.asData()));
        }
    }
}

void VLWormholeSession::sessionDidReceiveMessage(CompanionSession&, const Dictionary& message) {
    deliverEntries(message);
}

void VLWormholeSession::sessionDidReceiveApplicationContext(CompanionSession&,
                                                            const Dictionary& context) {
    deliverEntries(context);
}

void VLWormholeSession::sessionDidReceiveFile(CompanionSession&, const std::filesystem::path& file,
                                              const Dictionary& metadata) {
    const auto data = AtomicFile::read(file);
    std::error_code ignored;
    std::filesystem::remove(file, ignored);
    const Value identifier = metadata.get("identifier");
    if (!data || !identifier.isString()) {
        return;
    }
    if (auto files = std::dynamic_pointer_cast<VLWormholeFileTransiting>(wormholeMessenger())) {
        files->writeArchive(*data, identifier.stringValue());
    }
    notifyListenerForMessageWithIdentifier(identifier.stringValue(),
                                           VLWormholeFileTransiting::unarchive(*data));
}

}  // namespace velmora
