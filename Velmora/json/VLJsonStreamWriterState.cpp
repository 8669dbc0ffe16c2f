#include "Velmora/json/VLJsonStreamWriterState.h"

#include "Velmora/json/VLJsonStreamWriter.h"
#include "Velmora/platform/foundation/NoDestructor.h"

namespace velmora {

// The one instance of every state class, created together on first use and never
// destroyed.
struct VLJsonStreamWriterStates {
    VLJsonStreamWriterState base;
    VLJsonStreamWriterStateStart start;
    VLJsonStreamWriterStateComplete complete;
    VLJsonStreamWriterStateError error;
    VLJsonStreamWriterStateObjectStart objectStart;
    VLJsonStreamWriterStateObjectKey objectKey;
    VLJsonStreamWriterStateObjectValue objectValue;
    VLJsonStreamWriterStateArrayStart arrayStart;
    VLJsonStreamWriterStateArrayValue arrayValue;

    VLJsonStreamWriterStates() {
        for (VLJsonStreamWriterState* state :
             {&base, static_cast<VLJsonStreamWriterState*>(&start),
              static_cast<VLJsonStreamWriterState*>(&complete),
              static_cast<VLJsonStreamWriterState*>(&error),
              static_cast<VLJsonStreamWriterState*>(&objectStart),
              static_cast<VLJsonStreamWriterState*>(&objectKey),
              static_cast<VLJsonStreamWriterState*>(&objectValue),
              static_cast<VLJsonStreamWriterState*>(&arrayStart),
              static_cast<VLJsonStreamWriterState*>(&arrayValue)}) {
            state->next_ = resolve(state->traits_.next);
        }
    }

    const VLJsonStreamWriterState* resolve(VLJsonStreamWriterState::Next next) const {
        using Next = VLJsonStreamWriterState::Next;
        switch (next) {
            case Next::Complete:
                return &complete;
            case Next::ObjectValue:
                return &objectValue;
            case Next::ObjectKey:
                return &objectKey;
            case Next::ArrayValue:
                return &arrayValue;
            case Next::Stay:
                break;
        }
        return nullptr;
    }

    static VLJsonStreamWriterStates& get() {
        static NoDestructor<VLJsonStreamWriterStates> states;
        return *states;
    }
};

VLJsonStreamWriterState::VLJsonStreamWriterState() : VLJsonStreamWriterState(Traits{}) {}

VLJsonStreamWriterState::VLJsonStreamWriterState(const Traits& traits) : traits_(traits) {}

// isInvalidState, appendSeparator, expectingKey, transitionState and appendWhitespace are
// defined in VLJsonStreamWriter.cpp, where the writer's hot paths can inline them.

const VLJsonStreamWriterState& VLJsonStreamWriterState::sharedInstance() {
    return VLJsonStreamWriterStates::get().base;
}

#define VELMORA_SHARED_INSTANCE(Class, member)         \
    const Class& Class::sharedInstance() {             \
        return VLJsonStreamWriterStates::get().member; \
    }
VELMORA_SHARED_INSTANCE(VLJsonStreamWriterStateStart, start)
VELMORA_SHARED_INSTANCE(VLJsonStreamWriterStateComplete, complete)
VELMORA_SHARED_INSTANCE(VLJsonStreamWriterStateError, error)
VELMORA_SHARED_INSTANCE(VLJsonStreamWriterStateObjectStart, objectStart)
VELMORA_SHARED_INSTANCE(VLJsonStreamWriterStateObjectKey, objectKey)
VELMORA_SHARED_INSTANCE(VLJsonStreamWriterStateObjectValue, objectValue)
VELMORA_SHARED_INSTANCE(VLJsonStreamWriterStateArrayStart, arrayStart)
VELMORA_SHARED_INSTANCE(VLJsonStreamWriterStateArrayValue, arrayValue)
#undef VELMORA_SHARED_INSTANCE

#define VELMORA_STATE_CONSTRUCTORS(Class, Base, ...) \
    Class::Class() : Base(Traits{__VA_ARGS__}) {}    \
    Class::Class(const Traits& traits) : Base(traits) {}

VELMORA_STATE_CONSTRUCTORS(VLJsonStreamWriterStateStart, VLJsonStreamWriterState,
                           .next = Next::Complete)
VELMORA_STATE_CONSTRUCTORS(VLJsonStreamWriterStateComplete, VLJsonStreamWriterState,
                           .invalid = true)
VELMORA_STATE_CONSTRUCTORS(VLJsonStreamWriterStateError, VLJsonStreamWriterState, .invalid = false)
VELMORA_STATE_CONSTRUCTORS(VLJsonStreamWriterStateObjectStart, VLJsonStreamWriterState,
                           .expectsKey = true, .next = Next::ObjectValue)
VELMORA_STATE_CONSTRUCTORS(VLJsonStreamWriterStateObjectKey, VLJsonStreamWriterStateObjectStart,
                           .separator = ',', .expectsKey = true, .next = Next::ObjectValue)
VELMORA_STATE_CONSTRUCTORS(VLJsonStreamWriterStateObjectValue, VLJsonStreamWriterState,
                           .separator = ':', .next = Next::ObjectKey, .spaceAfterKey = true)
VELMORA_STATE_CONSTRUCTORS(VLJsonStreamWriterStateArrayStart, VLJsonStreamWriterState,
                           .next = Next::ArrayValue)
VELMORA_STATE_CONSTRUCTORS(VLJsonStreamWriterStateArrayValue, VLJsonStreamWriterState,
                           .separator = ',')
#undef VELMORA_STATE_CONSTRUCTORS

}  // namespace velmora
