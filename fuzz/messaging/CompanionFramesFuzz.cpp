// What a companion session reads from its peer: a stream of frames. Decoding must never
// crash or read past the input, must consume exactly what it reports, and a decoded frame
// must encode back to the same bytes; each payload goes through the dictionary reader.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <span>

#include "Velmora/messaging/CompanionSession.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace velmora;
    std::span<const std::uint8_t> rest(data, size);
    for (;;) {
        CompanionSession::Frame frame;
        std::size_t consumed = 0;
        const auto result = CompanionSession::decodeFrame(rest, frame, consumed);
        if (result != CompanionSession::Decoded::Frame) {
            break;
        }
        if (consumed == 0 || consumed > rest.size()) {
            std::abort();
        }
        const Bytes again = CompanionSession::encodeFrame(frame.type, frame.payload);
        if (!std::equal(again.begin(), again.end(), rest.begin(), rest.begin() + consumed) ||
            again.size() != consumed) {
            std::abort();
        }
        static_cast<void>(CompanionSession::payloadDictionary(frame.payload));
        rest = rest.subspan(consumed);
    }
    return 0;
}
