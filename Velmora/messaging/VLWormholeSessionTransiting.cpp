#include "Velmora/messaging/VLWormholeSessionTransiting.h"

#include "Velmora/platform/storage/AtomicFile.h"
#include "Velmora/platform/storage/UserDirectories.h"

namespace velmora {

VLWormholeSessionMessageTransiting::VLWormholeSessionMessageTransiting(
    std::string applicationGroupIdentifier, std::string directory,
    std::shared_ptr<CompanionSession> session)
    : VLWormholeFileTransiting(std::move(applicationGroupIdentifier), std::move(directory)),
      session_(std::move(session)) {}

bool VLWormholeSessionMessageTransiting::writeMessageObject(const Value& messageObject,
                                                            std::string_view identifier) {
    if (!identifier.empty() && session_ && session_->isReachable()) {
        if (const auto data = archive(messageObject)) {
            session_->sendMessage(Dictionary{{identifier, *data}});
        }
    }
    return false;
}

VLWormholeSessionFileTransiting::VLWormholeSessionFileTransiting(
    std::string applicationGroupIdentifier, std::string directory,
    std::shared_ptr<CompanionSession> session)
    : VLWormholeFileTransiting(std::move(applicationGroupIdentifier), std::move(directory)),
      session_(std::move(session)) {}

bool VLWormholeSessionFileTransiting::writeMessageObject(const Value& messageObject,
                                                         std::string_view identifier) {
    if (identifier.empty() || !session_ || !session_->isReachable()) {
        return false;
    }
    const auto data = archive(messageObject);
    const auto directory = messagePassingDirectoryPath();
    if (!data || !directory) {
        return false;
    }
    const auto file = *directory / UserDirectories::fileNameComponent(identifier);
    if (AtomicFile::write(file, *data)) {
        session_->transferFile(file, Dictionary{{"identifier", identifier}});
    }
    return false;
}

VLWormholeSessionContextTransiting::VLWormholeSessionContextTransiting(
    std::string applicationGroupIdentifier, std::string directory,
    std::shared_ptr<CompanionSession> session)
    : VLWormholeFileTransiting(std::move(applicationGroupIdentifier), std::move(directory)),
      session_(std::move(session)),
      lastContext_(session_ ? session_->applicationContext() : Dictionary{}) {}

Dictionary VLWormholeSessionContextTransiting::lastContext() const {
    std::lock_guard lock(mutex_);
    return lastContext_;
}

bool VLWormholeSessionContextTransiting::writeMessageObject(const Value& messageObject,
                                                            std::string_view identifier) {
    const auto data = archive(messageObject);
    if (identifier.empty() || !session_ || !data) {
        return false;
    }
    Dictionary context;
    {
        std::lock_guard lock(mutex_);
        lastContext_.set(identifier, *data);
        context = lastContext_;
    }
    session_->updateApplicationContext(context);
    return false;
}

Value VLWormholeSessionContextTransiting::messageObjectForIdentifier(std::string_view identifier) {
    if (identifier.empty() || !session_) {
        return {};
    }
    Value entry = session_->receivedApplicationContext().get(identifier);
    if (entry.isNil()) {
        entry = session_->applicationContext().get(identifier);
    }
    return entry.isData() ? unarchive(*entry.asData()) : Value();
}

void VLWormholeSessionContextTransiting::deleteContentForIdentifier(std::string_view identifier) {
    if (!session_) {
        return;
    }
    Dictionary context;
    {
        std::lock_guard lock(mutex_);
        lastContext_.remove(identifier);
        context = lastContext_;
    }
    session_->updateApplicationContext(context);
}

void VLWormholeSessionContextTransiting::deleteContentForAllMessages() {
    if (!session_) {
        return;
    }
    {
        std::lock_guard lock(mutex_);
        lastContext_.clear();
    }
    session_->updateApplicationContext({});
}

}  // namespace velmora
