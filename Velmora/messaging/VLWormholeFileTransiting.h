#pragma once
// VLWormholeFileTransiting: the default strategy. Each message is a keyed archive in its
// own file "<identifier>.archive" in the message-passing directory: the application
// group's container (Application::containerURLForSecurityApplicationGroupIdentifier),
// plus the optional sub-directory. A file is replaced by a whole temporary file put in
// its place (exchanged with it, then the old one removed), so a reader, or a writer
// killed mid-write, sees the old message or the new one, never a torn file (without
// fsync: messages outlive a sender's crash, not a power cut).
// The identifier and directory are made safe path components
// (UserDirectories::fileNameComponent), so no identifier can name a file outside the
// directory; plain identifiers ("greeting", "com.example.state") are used as they are.
//
// Failures are silent: writes answer false, reads nil, deletions ignore errors.
// Thread safety: stateless after construction; any thread.
//
//   VLWormholeFileTransiting files("group.com.example", "wormhole");
//   files.writeMessageObject(Dictionary{{"count", 3}}, "state");
//   Value state = files.messageObjectForIdentifier("state");

#include <filesystem>
#include <optional>
#include <string>

#include "Velmora/messaging/VLWormholeTransiting.h"

namespace velmora {

class VLWormholeFileTransiting : public VLWormholeTransiting {
  public:
    VLWormholeFileTransiting(std::string applicationGroupIdentifier, std::string directory = {});

    bool writeMessageObject(const Value& messageObject, std::string_view identifier) override;
    Value messageObjectForIdentifier(std::string_view identifier) override;
    void deleteContentForIdentifier(std::string_view identifier) override;
    // Only with an optional directory: removes everything in it (never touches the bare
    // group container, which other code shares).
    void deleteContentForAllMessages() override;

    const std::string& applicationGroupIdentifier() const { return applicationGroupIdentifier_; }
    const std::string& directory() const { return directory_; }
    // The container plus the optional directory, created (with its parents) on each
    // call; nothing when the group has no container.
    std::optional<std::filesystem::path> messagePassingDirectoryPath() const;
    // Nothing for an empty identifier or without a directory.
    std::optional<std::filesystem::path> filePathForIdentifier(std::string_view identifier) const;
    // Whether the group's container can be made and written (checked at construction
    // when a group identifier is given; the answer is kept for hasGroupCapabilities()).
    bool checkAppGroupCapabilities() const;
    bool hasGroupCapabilities() const { return hasGroupCapabilities_; }

    // The archive of a message, and a message read back from its archive (plain values
    // only); shared with the session strategies, which carry the same archives.
    static std::optional<Bytes> archive(const Value& messageObject);
    static Value unarchive(const Bytes& data);
    // Stores an archive under identifier as writeMessageObject does.
    bool writeArchive(const Bytes& data, std::string_view identifier);

  protected:
    // The file access, which the coordinated variant wraps in file coordination.
    virtual bool writeFile(const std::filesystem::path& path, const Bytes& data);
    virtual std::optional<Bytes> readFile(const std::filesystem::path& path);

  private:
    std::string applicationGroupIdentifier_;
    std::string directory_;
    bool hasGroupCapabilities_ = false;
};

}  // namespace velmora
