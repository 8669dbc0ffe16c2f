#include "Velmora/platform/foundation/RandomUUID.h"

#include <cerrno>
#include <cstdlib>

#include <sys/random.h>

namespace velmora {

UUIDBytes randomUUIDBytes() {
    UUIDBytes bytes{};
    std::size_t filled = 0;
    while (filled < bytes.size()) {
        const ssize_t got = getrandom(bytes.data() + filled, bytes.size() - filled, 0);
        if (got < 0) {
            if (errno == EINTR) {
                continue;
            }
            // Only a kernel without getrandom (before 3.17) gets here; an identifier that
            // is not random would silently collide, so refuse to go on.
            std::abort();
        }
        filled += static_cast<std::size_t>(got);
    }
    bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40);
    bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);
    return bytes;
}

std::string formatUUID(const UUIDBytes& bytes, UUIDStyle style) {
    const char* digits =
        style == UUIDStyle::kCanonicalUpperCase ? "0123456789ABCDEF" : "0123456789abcdef";
    std::string text;
    text.reserve(36);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (style == UUIDStyle::kCanonicalUpperCase && (i == 4 || i == 6 || i == 8 || i == 10)) {
            text += '-';
        }
        text += digits[bytes[i] >> 4];
        text += digits[bytes[i] & 15];
    }
    return text;
}

}  // namespace velmora
