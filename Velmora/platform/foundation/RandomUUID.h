#pragma once
// RandomUUID: version-4 UUIDs from the system's random source, shared by generateUUID,
// stringWithUUID and BackgroundTask, which differ only in how they write one.
//
// Thread safety: any thread; each call reads fresh bytes from the kernel.
//
//   auto bytes = randomUUIDBytes();
//   formatUUID(bytes, UUIDStyle::kCanonicalUpperCase);   // "1B4E28BA-2FA1-4D3B-..."

#include <array>
#include <cstdint>
#include <string>

namespace velmora {

using UUIDBytes = std::array<std::uint8_t, 16>;

// 122 random bits from getrandom(2), with the version (4) and variant (10) bits set.
UUIDBytes randomUUIDBytes();

enum class UUIDStyle {
    kCanonicalUpperCase,  // 8-4-4-4-12 digits with dashes, as the platform writes UUIDs
    kCompactLowerCase,    // 32 digits, no dashes
};

std::string formatUUID(const UUIDBytes& bytes, UUIDStyle style);

}  // namespace velmora
