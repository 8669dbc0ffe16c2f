#pragma once
// VLJsonStreamParserAdapter: the stock parser delegate. It assembles the parser's events
// into Values (dictionaries, arrays, strings, numbers, booleans, null) and hands each
// finished top-level value to its own delegate.
//
// skip leaves the outer levels unbuilt: with skip 1, the elements of a top-level array
// (or the values of a top-level object) are delivered one by one as they close, so a
// huge array of records can be processed with one record in memory at a time.
// A key that appears twice in one object keeps its last value. Keys that recur (the
// same field in every record) share one immutable string Value.
//
// Thread safety: belongs, like its parser, to one thread at a time.
//
//   VLJsonStreamParserAdapter adapter;  adapter.setDelegate(&collector);
//   VLJsonStreamParser parser;          parser.setDelegate(&adapter);
//   parser.parse(R"({"a": [1, 2]})");    // collector.parserFoundObject gets {a = (1, 2)}

#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

#include "Velmora/json/VLJsonNumber.h"
#include "Velmora/json/VLJsonStreamParserAdapterDelegate.h"
#include "Velmora/json/VLJsonStreamParserDelegate.h"
#include "Velmora/json/VLJsonValueSlab.h"
#include "Velmora/platform/foundation/Value.h"

namespace velmora {

class VLJsonStreamParserAdapter : public VLJsonStreamParserDelegate {
  public:
    VLJsonStreamParserAdapter();

    // Not owned; may be null. REQUIRES: outlives the parse calls.
    VLJsonStreamParserAdapterDelegate* delegate() const { return delegate_; }
    void setDelegate(VLJsonStreamParserAdapterDelegate* delegate) { delegate_ = delegate; }
    // How many outer container levels are not built (0: whole documents).
    std::uint64_t skip() const { return skip_; }
    void setSkip(std::uint64_t skip) { skip_ = skip; }

    void parserFoundObjectStart(VLJsonStreamParser& parser) override;
    void parserFoundObjectKey(VLJsonStreamParser& parser, std::string_view key) override;
    void parserFoundObjectEnd(VLJsonStreamParser& parser) override;
    void parserFoundArrayStart(VLJsonStreamParser& parser) override;
    void parserFoundArrayEnd(VLJsonStreamParser& parser) override;
    void parserFoundBoolean(VLJsonStreamParser& parser, bool value) override;
    void parserFoundNull(VLJsonStreamParser& parser) override;
    void parserFoundNumber(VLJsonStreamParser& parser, const VLJsonNumber& number) override;
    void parserFoundString(VLJsonStreamParser& parser, std::string_view string) override;

  private:
    // An open container that is being built: its children (and, for an object, its keys)
    // wait on the shared scratch stacks from these positions on, and the container is made
    // once, at its final size, when it closes.
    struct Frame {
        std::size_t firstValue;
        std::size_t firstKey;
        bool isObject;
    };

    void open(bool isObject);
    void close(VLJsonStreamParser& parser);
    // A finished value, made in place from args on the scratch stack when a container is
    // open, or handed to the delegate.
    template <class... Args>
    void found(VLJsonStreamParser& parser, Args&&... args) {
        if (!frames_.empty()) {
            values_.emplace_back(std::forward<Args>(args)...);
        } else {
            deliver(parser, Value(std::forward<Args>(args)...));
        }
    }
    void deliver(VLJsonStreamParser& parser, const Value& value);
    Value finishArray(std::size_t firstValue);
    Value finishObject(std::size_t firstValue, std::size_t firstKey);
    // The key as a string Value, shared with earlier occurrences of the same text.
    Value key(std::string_view text);
    void growKeyTable();
    Value string(std::string_view text);

    VLJsonStreamParserAdapterDelegate* delegate_ = nullptr;
    std::uint64_t skip_ = 0;
    std::uint64_t depth_ = 0;
    std::vector<Frame> frames_;  // the built levels, outermost first
    std::vector<Value> values_;
    std::vector<Value> keyStack_;
    // Recent short keys, in sets of two slots chosen from the key's length and a few of its
    // bytes: a key found in its set costs a compare or two and no hashing of the whole text,
    // and a new key takes a slot over. The table starts small for small documents and
    // doubles, up to a bound, each time it has missed as many keys as it has slots, so
    // documents with endless distinct keys stay cheap too.
    std::vector<Value> recentKeys_;
    std::size_t keyMisses_ = 0;
    VLJsonValueSlab slab_;
};

}  // namespace velmora
