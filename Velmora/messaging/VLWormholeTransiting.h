#pragma once
// VLWormholeTransiting: how a VLWormhole stores and reads its messages (the strategy it
// delegates to). A message is a Value made of plain values (strings, numbers, dates,
// data, null, arrays, dictionaries), archived with the keyed archiver.
//
// Thread safety: a strategy's operations may be called from any thread at once (the
// wormhole reads on the notification thread while the host writes on its own).
//
//   class Memory : public VLWormholeTransiting { ... };
//   wormhole.setWormholeMessenger(std::make_shared<Memory>());
//   wormhole.passMessageObject(Value("hi"), "greeting");

#include <string_view>

#include "Velmora/platform/foundation/Value.h"

namespace velmora {

// The strategies VLWormhole builds for a transiting type; any other value keeps File.
enum class VLWormholeTransitingType : int {
    File = 0,
    CoordinatedFile = 1,
    SessionContext = 2,
    SessionMessage = 3,
    SessionFile = 4,
};

class VLWormholeTransiting {
  public:
    virtual ~VLWormholeTransiting() = default;
    // Stores message under identifier; true means the other side is to be told by a
    // system-wide notification.
    virtual bool writeMessageObject(const Value& messageObject, std::string_view identifier) = 0;
    // The stored message; nil when there is none (or it cannot be read).
    virtual Value messageObjectForIdentifier(std::string_view identifier) = 0;
    virtual void deleteContentForIdentifier(std::string_view identifier) = 0;
    virtual void deleteContentForAllMessages() = 0;
};

}  // namespace velmora
