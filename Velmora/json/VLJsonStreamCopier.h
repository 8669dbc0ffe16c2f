#pragma once
// VLJsonStreamCopier: a parser delegate that writes every event straight into a
// VLJsonStreamWriter, so a document is re-serialised without building its tree: memory
// stays at the text written, whatever the number of values. The text equals what the
// adapter's tree would give when written, except where an object repeats a key (the tree
// keeps one member, the copy would keep both); the copier notices that and says so
// through sawRepeatedKey(), so a caller can fall back to the tree for that document.
//
// Each top-level document gets a fresh writer; when it closes, the copier hands its text
// to the callback, which should look at error() and sawRepeatedKey() first. A write the
// writer refuses (an infinity, say) stops the copy: error() says why, and later events
// of that document are ignored.
//
// Thread safety: belongs, like its parser, to one thread at a time.
//
//   VLJsonStreamCopier copier([](std::string_view text) { std::puts(...); });
//   VLJsonStreamParser parser;  parser.setDelegate(&copier);
//   parser.parse(R"({"a": [1, 2]})");  // the callback gets {"a":[1,2]}

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "Velmora/json/VLJsonStreamParserDelegate.h"
#include "Velmora/json/VLJsonStreamWriter.h"

namespace velmora {

class VLJsonStreamCopier : public VLJsonStreamParserDelegate {
  public:
    using DocumentCallback = std::function<void(std::string_view text)>;

    explicit VLJsonStreamCopier(DocumentCallback onDocument);

    bool humanReadable() const { return humanReadable_; }
    void setHumanReadable(bool humanReadable) { humanReadable_ = humanReadable; }

    // The first write error of the current document; empty when there is none.
    const std::string& error() const { return error_; }
    // Whether an object of the current (or just finished) document repeated a key.
    bool sawRepeatedKey() const { return sawRepeatedKey_; }

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
    // Whether events are being copied; starts a document's writer at its first event.
    bool copying();
    void check(bool written);
    void close(bool written);

    DocumentCallback onDocument_;
    std::unique_ptr<VLJsonStreamWriter> writer_;
    // The keys of each open object, innermost last (arrays hold an unused entry).
    std::vector<std::unordered_set<std::string>> keys_;
    std::size_t depth_ = 0;
    bool humanReadable_ = false;
    bool sawRepeatedKey_ = false;
    std::string error_;
};

}  // namespace velmora
