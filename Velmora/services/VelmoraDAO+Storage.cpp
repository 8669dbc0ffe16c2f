// The persisted dictionary ("persistable.plist", a keyed archive in the documents
// directory) and whole-file storage in the documents directory.
#include <system_error>

#include "Velmora/platform/logging/Log.h"
#include "Velmora/platform/storage/AtomicFile.h"
#include "Velmora/platform/storage/KeyedArchiver.h"
#include "Velmora/platform/storage/KeyedUnarchiver.h"
#include "Velmora/services/VelmoraDAO.h"

namespace velmora {
namespace {

constexpr const char* kPersistableFileName = "persistable.plist";

// Everything a persisted dictionary may hold: property-list values.
const KeyedUnarchiver::ClassNames& persistableClasses() {
    static const KeyedUnarchiver::ClassNames kClasses{"NSDictionary", "NSArray",        "NSString",
                                                      "NSNumber",     "NSData",         "NSDate",
                                                      "NSNull",       "NSDecimalNumber"};
    return kClasses;
}

bool fileExists(const std::filesystem::path& path) {
    std::error_code error;
    return std::filesystem::exists(path, error);
}

}  // namespace

std::optional<std::filesystem::path> VelmoraDAO::pathToPersistableStorage() const {
    return pathToDocumentsWithFile(kPersistableFileName);
}

Value VelmoraDAO::GlobalPersistableData() {
    std::lock_guard lock(globalStateLock_);
    persistableStateLoadLocked();
    return globalPersistableData_;
}

Value VelmoraDAO::GlobalPurgableStateData() {
    std::lock_guard lock(globalStateLock_);
    persistableStateLoadLocked();
    return globalPurgableStateData_;
}

void VelmoraDAO::loadGlobalPersistableData() {
    std::lock_guard lock(globalStateLock_);
    persistableStateLoadLocked();
}

void VelmoraDAO::persistableStateLoadLocked() {
    if (globalPersistableData_.isNil()) {
        Value loaded = Value::makeDictionary();
        const std::optional<std::filesystem::path> path = pathToPersistableStorage();
        if (path && fileExists(*path)) {
            std::string error;
            std::optional<Value> decoded;
            if (const std::optional<Bytes> bytes = AtomicFile::read(*path, &error)) {
                decoded = KeyedUnarchiver::unarchivedObject(persistableClasses(), *bytes, &error);
            }
            if (!decoded) {
                log::error("[DECODE] Could not recover previous global state: {}", error);
            } else if (decoded->isDictionary()) {
                loaded = decoded->copy();
            }
        }
        globalPersistableData_ = std::move(loaded);
    }
    if (globalPurgableStateData_.isNil()) {
        globalPurgableStateData_ = Value::makeDictionary();
    }
}

void VelmoraDAO::updateGlobalPersistableData(const std::function<void(Dictionary&)>& change) {
    std::lock_guard lock(globalStateLock_);
    persistableStateLoadLocked();
    change(*globalPersistableData_.asDictionary());
}

void VelmoraDAO::saveGlobalPersistableData() {
    // Archived and written outside globalStateLock_: a snapshot is taken under it, and
    // the writes are ordered by the snapshots' numbers so an older one never lands last.
    Value snapshot;
    std::uint64_t number = 0;
    {
        std::lock_guard lock(globalStateLock_);
        if (globalPersistableData_.isNil()) {
            return;
        }
        snapshot = globalPersistableData_.copy();
        number = ++persistableSnapshots_;
    }
    std::lock_guard writing(persistableWriteMutex_);
    if (persistableWritten_ > number) {
        return;  // a later snapshot is already on disk
    }
    const std::optional<std::filesystem::path> path = pathToPersistableStorage();
    std::string error = "no documents directory";
    std::optional<Bytes> archive;
    if (path) {
        archive = KeyedArchiver::archivedData(snapshot, &error);
    }
    if (archive && AtomicFile::write(*path, *archive, &error)) {
        persistableWritten_ = number;
        log::info("Global Persistable Data SAVED: {}", fileExists(*path) ? 1 : 0);
    } else {
        log::error("Global Persistable Data save FAILED: {}", error);
    }
}

void VelmoraDAO::deleteGlobalPersistableState() {
    std::lock_guard lock(globalStateLock_);
    if (const std::optional<std::filesystem::path> path = pathToPersistableStorage()) {
        std::error_code error;
        std::filesystem::remove(*path, error);
    }
}

bool VelmoraDAO::unlockFileAtPath(const std::filesystem::path& path) {
    if (!fileExists(path)) {
        return true;
    }
    std::string error;
    if (!Application::shared()->setFileProtectionNone(path, &error)) {
        log::error("Unable to remove protection from file! {}", error);
        return false;
    }
    return true;
}

std::optional<std::filesystem::path> VelmoraDAO::pathToDocumentsWithFile(
    std::string_view name) const {
    std::optional<std::filesystem::path> documents = Application::shared()->documentsDirectory();
    if (!documents || name.empty()) {
        return documents;
    }
    return *documents / name;
}

std::optional<std::filesystem::path> VelmoraDAO::getDocumentPathToFileName(
    std::string_view name) const {
    return pathToDocumentsWithFile(name);
}

void VelmoraDAO::saveData(const Bytes& data, std::string_view fileName) const {
    if (fileName.empty()) {
        return;
    }
    if (const auto path = getDocumentPathToFileName(fileName)) {
        // Document writes report nothing, as the original's do; the write is atomic.
        (void)AtomicFile::write(*path, data);
    }
}

bool VelmoraDAO::doesDataExistForFileName(std::string_view fileName) const {
    const auto path = getDocumentPathToFileName(fileName);
    return !fileName.empty() && path && fileExists(*path);
}

std::optional<Bytes> VelmoraDAO::loadDataWithFileName(std::string_view fileName) const {
    const auto path = getDocumentPathToFileName(fileName);
    if (fileName.empty() || !path) {
        return std::nullopt;
    }
    return AtomicFile::read(*path);
}

void VelmoraDAO::deleteDataWithFileName(std::string_view fileName) const {
    if (const auto path = getDocumentPathToFileName(fileName); path && !fileName.empty()) {
        std::error_code error;
        std::filesystem::remove(*path, error);
    }
}

}  // namespace velmora
