#include "Velmora/messaging/VLWormholeCoordinatedFileTransiting.h"

#include "Velmora/platform/storage/AtomicFile.h"
#include "Velmora/platform/storage/FileCoordinator.h"

namespace velmora {

bool VLWormholeCoordinatedFileTransiting::writeFile(const std::filesystem::path& path,
                                                    const Bytes& data) {
    bool written = false;
    FileCoordinator::coordinateWriting(
        path, [&] { written = VLWormholeFileTransiting::writeFile(path, data); });
    return written;
}

std::optional<Bytes> VLWormholeCoordinatedFileTransiting::readFile(
    const std::filesystem::path& path) {
    std::optional<Bytes> data;
    FileCoordinator::coordinateReading(path, [&] { data = AtomicFile::read(path); });
    return data;
}

}  // namespace velmora
