#include "Velmora/messaging/VLWormholeFileTransiting.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

#include "Velmora/platform/foundation/NoDestructor.h"
#include "Velmora/platform/host/Application.h"
#include "Velmora/platform/storage/AtomicFile.h"
#include "Velmora/platform/storage/KeyedArchiver.h"
#include "Velmora/platform/storage/KeyedUnarchiver.h"
#include "Velmora/platform/storage/UniqueFd.h"
#include "Velmora/platform/storage/UserDirectories.h"

namespace velmora {

VLWormholeFileTransiting::VLWormholeFileTransiting(std::string applicationGroupIdentifier,
                                                   std::string directory)
    : applicationGroupIdentifier_(std::move(applicationGroupIdentifier)),
      directory_(std::move(directory)) {
    if (!applicationGroupIdentifier_.empty()) {
        hasGroupCapabilities_ = checkAppGroupCapabilities();
    }
}

bool VLWormholeFileTransiting::checkAppGroupCapabilities() const {
    const auto container = Application::shared()->containerURLForSecurityApplicationGroupIdentifier(
        applicationGroupIdentifier_);
    return container && ::access(container->c_str(), W_OK | X_OK) == 0;
}

std::optional<std::filesystem::path> VLWormholeFileTransiting::messagePassingDirectoryPath() const {
    auto container = Application::shared()->containerURLForSecurityApplicationGroupIdentifier(
        applicationGroupIdentifier_);
    if (!container) {
        return std::nullopt;
    }
    if (directory_.empty()) {
        return container;
    }
    return UserDirectories::ensureDirectory(*container /
                                            UserDirectories::fileNameComponent(directory_));
}

std::optional<std::filesystem::path> VLWormholeFileTransiting::filePathForIdentifier(
    std::string_view identifier) const {
    if (identifier.empty()) {
        return std::nullopt;
    }
    const auto directory = messagePassingDirectoryPath();
    if (!directory) {
        return std::nullopt;
    }
    return *directory / (UserDirectories::fileNameComponent(identifier) + ".archive");
}

std::optional<Bytes> VLWormholeFileTransiting::archive(const Value& messageObject) {
    return KeyedArchiver::archivedData(messageObject);
}

Value VLWormholeFileTransiting::unarchive(const Bytes& data) {
    // Never destroyed: the threads that deliver messages may still run while exit()
    // destroys static objects.
    static NoDestructor<const KeyedUnarchiver::ClassNames> kPlainValues(
        KeyedUnarchiver::ClassNames{"NSString", "NSNumber", "NSData", "NSDate", "NSNull", "NSArray",
                                    "NSDictionary", "NSDecimalNumber"});
    return KeyedUnarchiver::unarchivedObject(*kPlainValues, data).value_or(Value());
}

bool VLWormholeFileTransiting::writeMessageObject(const Value& messageObject,
                                                  std::string_view identifier) {
    if (identifier.empty()) {
        return false;
    }
    if (messageObject.isNil()) {
        return true;  // nothing stored; the other side is still told
    }
    const auto data = archive(messageObject);
    return data && writeArchive(*data, identifier);
}

bool VLWormholeFileTransiting::writeArchive(const Bytes& data, std::string_view identifier) {
    const auto path = filePathForIdentifier(identifier);
    return path && writeFile(*path, data);
}

Value VLWormholeFileTransiting::messageObjectForIdentifier(std::string_view identifier) {
    const auto path = filePathForIdentifier(identifier);
    if (!path) {
        return {};
    }
    const auto data = readFile(*path);
    return data ? unarchive(*data) : Value();
}

void VLWormholeFileTransiting::deleteContentForIdentifier(std::string_view identifier) {
    if (const auto path = filePathForIdentifier(identifier)) {
        std::error_code ignored;
        std::filesystem::remove(*path, ignored);
    }
}

void VLWormholeFileTransiting::deleteContentForAllMessages() {
    if (directory_.empty()) {
        return;
    }
    const auto directory = messagePassingDirectoryPath();
    if (!directory) {
        return;
    }
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(*directory, error)) {
        std::error_code ignored;
        std::filesystem::remove_all(entry.path(), ignored);
    }
}

// A temporary file in the same directory takes the message's place: a reader, or a writer
// killed at any point, sees the old message or the new one. Unlike AtomicFile there is no
// fsync: a message has to survive its sender's crash, not a power cut, and two fsyncs per
// message would cost milliseconds each.
//
// The temporary file is exchanged with the message (RENAME_EXCHANGE) and the old one,
// now under the temporary name, removed, rather than renamed over it: ext4 starts the
// new file's write-back inside a rename that replaces a file (its auto_da_alloc guard),
// which took tens of milliseconds per message while other programs wrote to the disk. A
// writer killed between the two steps leaves a hidden temporary file with the old
// message, as one killed before them leaves a partial one. A first message, or a file
// system without the exchange, is renamed into place.
bool VLWormholeFileTransiting::writeFile(const std::filesystem::path& path, const Bytes& data) {
    std::string temporary =
        (path.parent_path() / ("." + path.filename().string() + ".XXXXXX")).string();
    UniqueFd fd(::mkostemp(temporary.data(), O_CLOEXEC));
    if (!fd) {
        return false;
    }
    std::size_t written = 0;
    while (written < data.size()) {
        const ssize_t n = ::write(fd.get(), data.data() + written, data.size() - written);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            break;
        }
        written += static_cast<std::size_t>(n);
    }
    if (written != data.size() || !fd.reset()) {
        ::unlink(temporary.c_str());
        return false;
    }
    if (::renameat2(AT_FDCWD, temporary.c_str(), AT_FDCWD, path.c_str(), RENAME_EXCHANGE) == 0) {
        ::unlink(temporary.c_str());  // now the old message
        return true;
    }
    if (::rename(temporary.c_str(), path.c_str()) != 0) {
        ::unlink(temporary.c_str());
        return false;
    }
    return true;
}

std::optional<Bytes> VLWormholeFileTransiting::readFile(const std::filesystem::path& path) {
    return AtomicFile::read(path);
}

}  // namespace velmora
