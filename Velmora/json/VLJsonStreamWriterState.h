#pragma once
// VLJsonStreamWriterState and its subclasses: the states a VLJsonStreamWriter keeps on
// its stack, one per nesting level. A state decides what separator goes before the next
// item, what whitespace pretty-printing puts there, whether an item may come at all, and
// which state follows it.
//
//   Start        top level, nothing written yet        -> Complete after one value
//   Complete     the document is finished               every write fails
//   ObjectStart  just after "{"                         -> ObjectValue after the key
//   ObjectValue  after a key: its value is due (":")    -> ObjectKey after the value
//   ObjectKey    after a member: a key or "}" is due    -> ObjectValue after the key
//   ArrayStart   just after "["                         -> ArrayValue after an element
//   ArrayValue   after an element (",")                 stays
//   Error        never entered; kept for completeness
//
// Each class has one instance, shared by every writer and never destroyed; all are
// created together by the first VLJsonStreamWriterStateStart::sharedInstance().
//
// Thread safety: the instances are immutable and may be used from any thread.
//
//   const auto& state = *writer.states()[writer.depth()];
//   state.appendSeparator(writer);
//   state.transitionState(writer);

#include "Velmora/platform/foundation/Object.h"

namespace velmora {

class VLJsonStreamWriter;

class VLJsonStreamWriterState : public Object {
  public:
    static const VLJsonStreamWriterState& sharedInstance();

    // Whether nothing may be written here (and then the writer's error says why).
    bool isInvalidState(VLJsonStreamWriter& writer) const;
    void appendSeparator(VLJsonStreamWriter& writer) const;
    // Whether an object key is due here, so that only a string may come (and then the
    // writer's error says so).
    bool expectingKey(VLJsonStreamWriter& writer) const;
    // Stores the state that follows an item in the writer's slot for the current level.
    void transitionState(VLJsonStreamWriter& writer) const;
    // Pretty-printing: a line feed and two spaces per level, or one space after a key.
    void appendWhitespace(VLJsonStreamWriter& writer) const;

  protected:
    friend struct VLJsonStreamWriterStates;
    enum class Next { Stay, Complete, ObjectValue, ObjectKey, ArrayValue };
    struct Traits {
        bool invalid = false;
        char separator = '\0';  // none
        bool expectsKey = false;
        Next next = Next::Stay;
        bool spaceAfterKey = false;
    };
    VLJsonStreamWriterState();
    explicit VLJsonStreamWriterState(const Traits& traits);

  private:
    Traits traits_;
    const VLJsonStreamWriterState* next_ = nullptr;  // resolved once all exist
};

#define VELMORA_JSON_WRITER_STATE(Class, Base)  \
    class Class : public Base {                 \
      public:                                   \
        static const Class& sharedInstance();   \
                                                \
      protected:                                \
        friend struct VLJsonStreamWriterStates; \
        Class();                                \
        explicit Class(const Traits& traits);   \
    }

VELMORA_JSON_WRITER_STATE(VLJsonStreamWriterStateStart, VLJsonStreamWriterState);
VELMORA_JSON_WRITER_STATE(VLJsonStreamWriterStateComplete, VLJsonStreamWriterState);
VELMORA_JSON_WRITER_STATE(VLJsonStreamWriterStateError, VLJsonStreamWriterState);
VELMORA_JSON_WRITER_STATE(VLJsonStreamWriterStateObjectStart, VLJsonStreamWriterState);
VELMORA_JSON_WRITER_STATE(VLJsonStreamWriterStateObjectKey, VLJsonStreamWriterStateObjectStart);
VELMORA_JSON_WRITER_STATE(VLJsonStreamWriterStateObjectValue, VLJsonStreamWriterState);
VELMORA_JSON_WRITER_STATE(VLJsonStreamWriterStateArrayStart, VLJsonStreamWriterState);
VELMORA_JSON_WRITER_STATE(VLJsonStreamWriterStateArrayValue, VLJsonStreamWriterState);

#undef VELMORA_JSON_WRITER_STATE

}  // namespace velmora
