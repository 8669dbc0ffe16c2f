#pragma once
// VLJsonStreamWriter: writes one JSON document into an in-memory UTF-8 buffer, an event
// at a time (open/close object or array, string, number, boolean, null) or a whole Value
// tree at once. A stack of shared states decides separators, pretty-printing and which
// items are allowed; a refused write answers false and error() says why, and the writer
// may still be used (nothing is rolled back).
//
// Kept on purpose for compatibility: doubles are written with "%g" (six significant
// digits: 3.14159265 is written 3.14159), and closing an object where a value is due
// writes "}" without complaint.
//
// Thread safety: one writer belongs to one thread; writers on different threads may run
// at once (the escaped-string cache they share is guarded).
//
//   VLJsonStreamWriter writer;
//   writer.setSortKeys(true);
//   if (writer.writeValue(value)) send(writer.data());

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "Velmora/json/VLJsonStreamWriterState.h"
#include "Velmora/platform/foundation/Value.h"

namespace velmora {

class VLJsonStreamWriter {
  public:
    static constexpr std::uint64_t kDefaultMaxDepth = 512;

    VLJsonStreamWriter();
    VLJsonStreamWriter(const VLJsonStreamWriter&) = delete;
    VLJsonStreamWriter& operator=(const VLJsonStreamWriter&) = delete;

    bool writeObjectOpen();
    bool writeObjectClose();
    bool writeArrayOpen();
    bool writeArrayClose();
    bool writeNull();
    bool writeBool(bool value);
    // Also writes object keys. REQUIRES: string is UTF-8 (bytes pass through as given).
    bool writeString(std::string_view string);
    // A number Value (Bool, Int, UInt, Double or Decimal).
    bool writeNumber(const Value& number);
    // Any Value that JSON can carry; an Object through its VLJsonProxy.
    bool writeValue(const Value& value);
    // REQUIRES (for success): every key is a string.
    bool writeObject(const Dictionary& dictionary);
    bool writeArray(const Array& array);

    bool humanReadable() const { return humanReadable_; }
    void setHumanReadable(bool humanReadable) { humanReadable_ = humanReadable; }
    bool sortKeys() const { return sortKeys_; }
    void setSortKeys(bool sortKeys) { sortKeys_ = sortKeys; }
    // Containers may nest this deep (512 by default). 0 switches the limit off, and with
    // it the tracking of levels: each container then replaces the state of the level
    // it opens in, so separators after a nested container come out wrong. Kept as is.
    std::uint64_t maxDepth() const { return maxDepth_; }
    void setMaxDepth(std::uint64_t maxDepth);

    const std::string& error() const { return error_; }
    // The text written so far. REQUIRES: no write while the reference is in use.
    const std::string& data() const {
        data_.resize(size_);
        return data_;
    }
    std::string takeData() {
        data_.resize(size_);
        std::string text = std::move(data_);
        data_.clear();
        size_ = 0;
        return text;
    }
    const std::vector<const VLJsonStreamWriterState*>& states() const { return states_; }
    std::uint64_t depth() const { return depth_; }

  private:
    friend class VLJsonStreamWriterState;

    enum class Fault {
        NestedTooDeep,
        StreamClosed,
        KeyMustBeString,
        KeyMustBeStringNamed,
        NotSupported,
        PositiveInfinity,
        NegativeInfinity,
        NotANumber,
    };
    // Every error text of the writer is made here; answers false.
    bool fail(Fault fault, std::string_view detail = {});

    const VLJsonStreamWriterState& state() const { return *states_[depth_]; }
    // The checks, separator and whitespace every scalar goes through.
    bool beginScalar();
    bool open(const VLJsonStreamWriterState& opened, char bracket);
    bool close(char bracket, bool refuseWhereKeyIsDue);
    void appendQuoted(std::string_view string);
    // Appends are plain stores into spare room kept after the text (see data_).
    char* room(std::size_t count) {
        if (data_.size() - size_ < count) {
            grow(count);
        }
        return data_.data() + size_;
    }
    void put(char c) {
        *room(1) = c;
        ++size_;
    }
    void put(std::string_view text) {
        std::memcpy(room(text.size()), text.data(), text.size());
        size_ += text.size();
    }
    void grow(std::size_t count);
    void appendDouble(double value);

    std::string error_;
    std::vector<const VLJsonStreamWriterState*> states_;
    // The text is the first size_ bytes; the rest is room for the next appends, cut off
    // when the text is asked for.
    mutable std::string data_;
    std::size_t size_ = 0;
    std::string escaped_;  // reused when a string is escaped
    std::uint64_t depth_ = 0;
    std::uint64_t maxDepth_ = kDefaultMaxDepth;
    bool sortKeys_ = false;
    bool humanReadable_ = false;
};

}  // namespace velmora
