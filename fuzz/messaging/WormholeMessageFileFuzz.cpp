// A message file is written by another process and may be anything. Reading it must
// never crash, and whatever reads as a message must archive again and read back equal.
#include <cstdint>
#include <cstdlib>

#include "Velmora/messaging/VLWormholeFileTransiting.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace velmora;
    const Value message = VLWormholeFileTransiting::unarchive(Bytes(data, data + size));
    if (message.isNil()) {
        return 0;
    }
    const auto again = VLWormholeFileTransiting::archive(message);
    if (!again || !VLWormholeFileTransiting::unarchive(*again).isEqual(message)) {
        std::abort();
    }
    return 0;
}
