#pragma once
// VLWormholeCoordinatedFileTransiting: the file strategy with every write and read done
// under file coordination (FileCoordinator: an exclusive lock to write, a shared one to
// read), so coordinated readers never see a message that a coordinated writer has only
// half written, and writers of one identifier take turns. The write itself is still the
// rename of a temporary file, which also covers a writer killed mid-write.
//
// Thread safety: as VLWormholeFileTransiting.
//
//   VLWormholeCoordinatedFileTransiting files("group.com.example", "wormhole");
//   files.writeMessageObject(Value("hello"), "greeting");
//   Value greeting = files.messageObjectForIdentifier("greeting");

#include "Velmora/messaging/VLWormholeFileTransiting.h"

namespace velmora {

class VLWormholeCoordinatedFileTransiting : public VLWormholeFileTransiting {
  public:
    using VLWormholeFileTransiting::VLWormholeFileTransiting;

  protected:
    bool writeFile(const std::filesystem::path& path, const Bytes& data) override;
    std::optional<Bytes> readFile(const std::filesystem::path& path) override;
};

}  // namespace velmora
