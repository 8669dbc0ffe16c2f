#pragma once
// VLJsonStreamParserState and its eleven subclasses: the states a VLJsonStreamParser
// keeps on its stack, one per nesting level. A state says which token may come next,
// where the level goes after a token, and whether parsing stops.
//
// Each class has exactly one instance, shared by every parser in the process and never
// destroyed; all are created together on the first call of
// VLJsonStreamParserStateStart::sharedInstance(). Each holds a table from token to the
// state that follows, so a transition is one load and one store into the parser's stack.
//
// Thread safety: the instances are immutable and may be used from any thread.
//
//   const auto& start = VLJsonStreamParserStateStart::sharedInstance();
//   start.parserShouldAcceptToken(parser, VLJsonToken::ArrayStart);  // true
//   start.name();  // "before outer-most array or object"

#include <cstdint>
#include <string>

#include "Velmora/json/VLJsonToken.h"
#include "Velmora/platform/foundation/Object.h"

namespace velmora {

class VLJsonStreamParser;

class VLJsonStreamParserState : public Object {
  public:
    static const VLJsonStreamParserState& sharedInstance();

    // Acceptance, stopping and the status are fixed per class, so they are read from
    // the instance rather than dispatched.
    bool parserShouldAcceptToken(const VLJsonStreamParser&, VLJsonToken token) const {
        return (acceptedTokens_ & vlJsonTokenBit(token)) != 0;
    }
    bool parserShouldStop(const VLJsonStreamParser&) const { return shouldStop_; }
    VLJsonParserStatus parserShouldReturn(const VLJsonStreamParser&) const { return status_; }
    // Stores the state that follows token in the parser's slot for the current level.
    virtual void parserShouldTransitionTo(VLJsonStreamParser& parser, VLJsonToken token) const;
    // The state that follows token (this one when nothing changes), or nullptr when the
    // answer depends on the parser and parserShouldTransitionTo must be asked.
    const VLJsonStreamParserState* nextState(VLJsonToken token) const {
        return next_[static_cast<unsigned>(token)];
    }
    bool needKey() const { return needKey_; }
    const std::string& name() const { return name_; }

  protected:
    friend struct VLJsonStreamParserStates;
    // Sets what follows token (the tables are filled once all instances exist).
    void setNext(VLJsonToken token, const VLJsonStreamParserState* next) {
        next_[static_cast<unsigned>(token)] = next;
    }
    void setNextForAll(const VLJsonStreamParserState* next);
    struct Traits {
        std::uint32_t acceptedTokens = 0;
        bool shouldStop = false;
        VLJsonParserStatus status = VLJsonParserStatus::WaitingForData;
        bool needKey = false;
        const char* name = "<aaiie!>";
    };
    VLJsonStreamParserState();
    explicit VLJsonStreamParserState(const Traits& traits);
    // For the subclasses' transitions.
    static void setState(VLJsonStreamParser& parser, const VLJsonStreamParserState& state);

  private:
    const VLJsonStreamParserState* next_[kVLJsonTokenCount] = {};
    std::uint32_t acceptedTokens_;
    bool shouldStop_;
    VLJsonParserStatus status_;
    bool needKey_;
    std::string name_;
};

// A state class: its one instance, and (WithTransition) its own transition.
#define VELMORA_JSON_PARSER_STATE(Class, ...)      \
    class Class : public VLJsonStreamParserState { \
      public:                                      \
        static const Class& sharedInstance();      \
        __VA_ARGS__                                \
                                                   \
      private:                                     \
        friend struct VLJsonStreamParserStates;    \
        Class();                                   \
    }
#define VELMORA_JSON_PARSER_TRANSITION \
    void parserShouldTransitionTo(VLJsonStreamParser& parser, VLJsonToken token) const override;
#define VELMORA_JSON_PARSER_NO_TRANSITION

// Before the outermost container. Closing it leads to Complete, or back here when the
// parser reads several documents (multi).
VELMORA_JSON_PARSER_STATE(VLJsonStreamParserStateStart, VELMORA_JSON_PARSER_TRANSITION);
// After the outermost container: parsing stops and answers Complete.
VELMORA_JSON_PARSER_STATE(VLJsonStreamParserStateComplete, VELMORA_JSON_PARSER_NO_TRANSITION);
// After an error: parsing stops and answers Error.
VELMORA_JSON_PARSER_STATE(VLJsonStreamParserStateError, VELMORA_JSON_PARSER_NO_TRANSITION);
// The container states follow their transition tables (filled where the instances are
// created, in the files of the object and array states).
VELMORA_JSON_PARSER_STATE(VLJsonStreamParserStateObjectStart, VELMORA_JSON_PARSER_NO_TRANSITION);
VELMORA_JSON_PARSER_STATE(VLJsonStreamParserStateObjectGotKey, VELMORA_JSON_PARSER_NO_TRANSITION);
VELMORA_JSON_PARSER_STATE(VLJsonStreamParserStateObjectSeparator,
                          VELMORA_JSON_PARSER_NO_TRANSITION);
VELMORA_JSON_PARSER_STATE(VLJsonStreamParserStateObjectGotValue, VELMORA_JSON_PARSER_NO_TRANSITION);
VELMORA_JSON_PARSER_STATE(VLJsonStreamParserStateObjectNeedKey, VELMORA_JSON_PARSER_NO_TRANSITION);
VELMORA_JSON_PARSER_STATE(VLJsonStreamParserStateArrayStart, VELMORA_JSON_PARSER_NO_TRANSITION);
VELMORA_JSON_PARSER_STATE(VLJsonStreamParserStateArrayGotValue, VELMORA_JSON_PARSER_NO_TRANSITION);
VELMORA_JSON_PARSER_STATE(VLJsonStreamParserStateArrayNeedValue, VELMORA_JSON_PARSER_NO_TRANSITION);

#undef VELMORA_JSON_PARSER_TRANSITION
#undef VELMORA_JSON_PARSER_NO_TRANSITION
#undef VELMORA_JSON_PARSER_STATE

}  // namespace velmora
