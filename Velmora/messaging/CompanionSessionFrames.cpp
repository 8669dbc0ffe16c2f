// The companion session's wire format: frames of a type byte, a little-endian length and
// a keyed archive of a dictionary (see CompanionSession.h).
#include "Velmora/messaging/CompanionSession.h"
#include "Velmora/messaging/VLWormholeFileTransiting.h"

namespace velmora {

Bytes CompanionSession::encodeFrame(FrameType type, std::span<const std::uint8_t> payload) {
    Bytes frame;
    frame.reserve(kHeaderSize + payload.size());
    frame.push_back(static_cast<std::uint8_t>(type));
    const auto length = static_cast<std::uint32_t>(payload.size());
    for (int shift = 0; shift < 32; shift += 8) {
        frame.push_back(static_cast<std::uint8_t>(length >> shift));
    }
    frame.insert(frame.end(), payload.begin(), payload.end());
    return frame;
}

CompanionSession::Decoded CompanionSession::decodeFrame(std::span<const std::uint8_t> bytes,
                                                        Frame& frame, std::size_t& consumed) {
    if (bytes.empty()) {
        return Decoded::Incomplete;
    }
    if (bytes[0] < 1 || bytes[0] > 3) {
        return Decoded::Invalid;
    }
    if (bytes.size() < kHeaderSize) {
        return Decoded::Incomplete;
    }
    std::uint32_t length = 0;
    for (int i = 0; i < 4; ++i) {
        length |= static_cast<std::uint32_t>(bytes[1 + i]) << (8 * i);
    }
    if (length > kMaxPayload) {
        return Decoded::Invalid;
    }
    if (bytes.size() < kHeaderSize + length) {
        return Decoded::Incomplete;
    }
    frame.type = static_cast<FrameType>(bytes[0]);
    frame.payload.assign(bytes.begin() + kHeaderSize, bytes.begin() + kHeaderSize + length);
    consumed = kHeaderSize + length;
    return Decoded::Frame;
}

std::optional<Dictionary> CompanionSession::payloadDictionary(
    std::span<const std::uint8_t> payload) {
    const Value value = VLWormholeFileTransiting::unarchive(Bytes(payload.begin(), payload.end()));
    if (!value.isDictionary()) {
        return std::nullopt;
    }
    return *value.asDictionary();
}

}  // namespace velmora
