#pragma once
// VLJsonStreamParser: an incremental, event-driven JSON reader. Feed it the text in
// chunks of any size with parse(); it reports each syntactic event (object start, key,
// value, ...) to its delegate as soon as the event's last byte has arrived, and never
// needs the whole document. A top-level document must be an array or an object.
//
// Numbers reach the delegate as VLJsonNumber views of their text; their value is an Int
// for an integer of at most 11 characters, a Double for a real (fraction or exponent) of
// at most 6 characters, and an exact Decimal built from the text for every longer
// number. A number is only known to be complete when the byte after it arrives.
//
// Thread safety: one parser serves one stream on one thread at a time.
//
//   VLJsonStreamParser parser;
//   parser.setDelegate(&myDelegate);
//   while (read(chunk)) { if (parser.parse(chunk) == VLJsonParserStatus::Error) break; }

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Velmora/json/VLJsonStreamParserDelegate.h"
#include "Velmora/json/VLJsonStreamParserState.h"
#include "Velmora/json/VLJsonToken.h"
#include "Velmora/json/VLJsonTokeniser.h"

namespace velmora {

class VLJsonStreamParser {
  public:
    static constexpr std::uint64_t kDefaultMaxDepth = 512;

    VLJsonStreamParser();
    VLJsonStreamParser(const VLJsonStreamParser&) = delete;
    VLJsonStreamParser& operator=(const VLJsonStreamParser&) = delete;

    // Reads one more chunk. Complete once the (first) document has closed; later calls
    // answer Complete at once (the rest is not read). Error is final as well. With multi
    // set, documents may follow one another and the answer is WaitingForData after each.
    VLJsonParserStatus parse(std::string_view bytes);

    // The name of a token kind in error texts ("start of object", "number", ...).
    static std::string tokenName(VLJsonToken token);

    bool multi() const { return multi_; }
    void setMulti(bool multi) { multi_ = multi; }
    // Not owned; may be null. REQUIRES: outlives the parse calls.
    VLJsonStreamParserDelegate* delegate() const { return delegate_; }
    void setDelegate(VLJsonStreamParserDelegate* delegate) { delegate_ = delegate; }
    // Containers may nest this deep (512 by default); one more fails.
    std::uint64_t maxDepth() const { return maxDepth_; }
    void setMaxDepth(std::uint64_t maxDepth);

    const std::string& error() const { return error_; }
    // The state of each level; index 0 is outside every container.
    const std::vector<const VLJsonStreamParserState*>& states() const { return states_; }
    std::uint64_t depth() const { return depth_; }
    // Whether input that belongs to no complete token yet (other than whitespace) is
    // waiting for more data: at the end of a stream it means the text was cut short.
    bool hasPendingInput() const { return tokeniser_.hasPendingInput(); }
    // Offset, counted from the first byte ever passed to parse, of the first byte of the
    // token read last: after an Error, where the fault lies; after Complete, the closing
    // bracket of the document.
    std::uint64_t offset() const { return tokeniser_.streamOffset(); }
    // The tokeniser, for callers that watch how much it scanned or holds.
    const VLJsonTokeniser& tokeniser() const { return tokeniser_; }

  private:
    friend class VLJsonStreamParserState;

    enum class Fault { Tokeniser, UnexpectedToken, MaxDepth };
    // Every error text of the parser is made here; puts the Error state at the current
    // level.
    void fail(Fault fault, VLJsonToken token = VLJsonToken::Error);
    void transition(const VLJsonStreamParserState& state, VLJsonToken token);
    void takeValueSeparator();
    // False (with the error set) when the string is not valid.
    bool reportString(VLJsonToken token, const VLJsonStreamParserState& state);
    void reportNumber(VLJsonToken token);

    bool multi_ = false;
    VLJsonStreamParserDelegate* delegate_ = nullptr;
    VLJsonTokeniser tokeniser_;
    std::vector<const VLJsonStreamParserState*> states_;
    std::uint64_t depth_ = 0;
    std::uint64_t maxDepth_ = kDefaultMaxDepth;
    std::string error_;
    std::string decoded_;  // reused for strings with escapes
    // The states every container opens with, looked up once.
    const VLJsonStreamParserState* objectStart_ =
        &VLJsonStreamParserStateObjectStart::sharedInstance();
    const VLJsonStreamParserState* arrayStart_ =
        &VLJsonStreamParserStateArrayStart::sharedInstance();
};

}  // namespace velmora
