#include "Velmora/json/VLJsonStreamParserAdapter.h"

#include <bit>
#include <cstring>
#include <iterator>
#include <span>
#include <utility>

namespace velmora {

namespace {
constexpr std::size_t kInitialStackCapacity = 32;
constexpr std::size_t kInitialScratchCapacity = 256;
constexpr std::size_t kMaxSharedKeyLength = 64;
constexpr std::size_t kFirstKeySlots = 16;
constexpr std::size_t kMostKeySlots = 1024;

// A text under eight bytes as one word, in at most two loads and without reading past its
// end; texts of one length pack alike only when they are the same.
std::uint64_t packShort(std::string_view text) {
    const char* p = text.data();
    const std::size_t size = text.size();
    if (size >= 4) {
        std::uint32_t head = 0;
        std::uint32_t tail = 0;
        std::memcpy(&head, p, 4);
        std::memcpy(&tail, p + size - 4, 4);
        return std::uint64_t{tail} << 32 | head;
    }
    if (size == 0) {
        return 0;
    }
    const auto byte = [p](std::size_t i) -> std::uint64_t {
        return static_cast<unsigned char>(p[i]);
    };
    return byte(0) | byte(size / 2) << 8 | byte(size - 1) << 16;
}

// Mixes the length with the first, middle and last bytes: keys of one document mostly
// differ in one of those places.
// REQUIRES: sets is a power of two.
std::size_t setOf(std::string_view text, std::size_t sets) {
    const std::size_t size = text.size();
    std::uint64_t bits = size << 56;
    if (size >= 8) {
        std::uint64_t head = 0;
        std::uint64_t middle = 0;
        std::uint64_t tail = 0;
        std::memcpy(&head, text.data(), 8);
        std::memcpy(&middle, text.data() + size / 2 - 4, 8);
        std::memcpy(&tail, text.data() + size - 8, 8);
        bits ^= head ^ std::rotl(middle, 21) ^ std::rotl(tail, 42);
    } else {
        bits ^= packShort(text);
    }
    bits *= 0x9e3779b97f4a7c15ULL;
    return static_cast<std::size_t>(bits >> 32) & (sets - 1);
}

// Inline, word by word: keys are short, and a call to memcmp would cost more than the compare.
bool sameText(std::string_view a, std::string_view b) {
    const std::size_t size = a.size();
    if (size != b.size()) {
        return false;
    }
    if (size < 8) {
        return packShort(a) == packShort(b);
    }
    // Whole words, then the last word, which may overlap the one before.
    std::uint64_t x = 0;
    std::uint64_t y = 0;
    for (std::size_t i = 0; i + 8 <= size; i += 8) {
        std::memcpy(&x, a.data() + i, 8);
        std::memcpy(&y, b.data() + i, 8);
        if (x != y) {
            return false;
        }
    }
    std::memcpy(&x, a.data() + size - 8, 8);
    std::memcpy(&y, b.data() + size - 8, 8);
    return x == y;
}

bool holdsText(const Value& value, std::string_view text) {
    const std::string* held = value.asString();
    return held != nullptr && sameText(*held, text);
}
}  // namespace

VLJsonStreamParserAdapter::VLJsonStreamParserAdapter() {
    frames_.reserve(kInitialStackCapacity);
    keyStack_.reserve(kInitialStackCapacity);
    values_.reserve(kInitialScratchCapacity);
}

void VLJsonStreamParserAdapter::open(bool isObject) {
    ++depth_;
    if (depth_ <= skip_) {
        return;
    }
    frames_.push_back({values_.size(), keyStack_.size(), isObject});
}

void VLJsonStreamParserAdapter::close(VLJsonStreamParser& parser) {
    const std::uint64_t oldDepth = depth_--;
    if (oldDepth <= skip_) {
        return;
    }
    const Frame frame = frames_.back();
    frames_.pop_back();
    found(parser, frame.isObject ? finishObject(frame.firstValue, frame.firstKey)
                                 : finishArray(frame.firstValue));
}

Value VLJsonStreamParserAdapter::finishArray(std::size_t firstValue) {
    const auto first = values_.begin() + static_cast<std::ptrdiff_t>(firstValue);
    auto array = std::allocate_shared<Array>(slab_.allocator(), std::make_move_iterator(first),
                                             std::make_move_iterator(values_.end()));
    values_.erase(first, values_.end());
    return Value(std::move(array));
}

Value VLJsonStreamParserAdapter::finishObject(std::size_t firstValue, std::size_t firstKey) {
    auto dictionary = std::allocate_shared<Dictionary>(slab_.allocator());
    // In document order, so that a key given twice keeps its first place and its last value.
    dictionary->setAll(std::span(keyStack_).subspan(firstKey),
                       std::span(values_).subspan(firstValue));
    values_.erase(values_.begin() + static_cast<std::ptrdiff_t>(firstValue), values_.end());
    keyStack_.erase(keyStack_.begin() + static_cast<std::ptrdiff_t>(firstKey), keyStack_.end());
    return Value(std::move(dictionary));
}

void VLJsonStreamParserAdapter::deliver(VLJsonStreamParser& parser, const Value& value) {
    if (delegate_ != nullptr) {
        if (value.isArray()) {
            delegate_->parserFoundArray(parser, value);
        } else {
            delegate_->parserFoundObject(parser, value);
        }
    }
}

void VLJsonStreamParserAdapter::parserFoundObjectStart(VLJsonStreamParser&) {
    open(true);
}

Value VLJsonStreamParserAdapter::string(std::string_view text) {
    return Value(std::allocate_shared<const std::string>(slab_.allocator(), text));
}

Value VLJsonStreamParserAdapter::key(std::string_view text) {
    if (text.size() > kMaxSharedKeyLength) {
        return string(text);
    }
    if (recentKeys_.empty()) {
        recentKeys_.resize(kFirstKeySlots);
    }
    Value* set = &recentKeys_[2 * setOf(text, recentKeys_.size() / 2)];
    if (holdsText(set[0], text)) {
        return set[0];
    }
    if (holdsText(set[1], text)) {
        return set[1];
    }
    if (++keyMisses_ > recentKeys_.size() && recentKeys_.size() < kMostKeySlots) {
        growKeyTable();
        set = &recentKeys_[2 * setOf(text, recentKeys_.size() / 2)];
    }
    // The newest key goes first and pushes the other one out, so two keys that share a set
    // and take turns (two fields of every record) both stay.
    set[1] = std::move(set[0]);
    set[0] = string(text);
    return set[0];
}

void VLJsonStreamParserAdapter::growKeyTable() {
    std::vector<Value> old(2 * recentKeys_.size());
    old.swap(recentKeys_);
    keyMisses_ = 0;
    for (Value& key : old) {
        if (const std::string* text = key.asString()) {
            Value* set = &recentKeys_[2 * setOf(*text, recentKeys_.size() / 2)];
            set[set[0].isNil() ? 0 : 1] = std::move(key);
        }
    }
}

void VLJsonStreamParserAdapter::parserFoundObjectKey(VLJsonStreamParser&, std::string_view key) {
    // The keys of an object that is not built are not kept.
    if (depth_ > skip_) {
        keyStack_.push_back(this->key(key));
    }
}

void VLJsonStreamParserAdapter::parserFoundObjectEnd(VLJsonStreamParser& parser) {
    close(parser);
}

void VLJsonStreamParserAdapter::parserFoundArrayStart(VLJsonStreamParser&) {
    open(false);
}

void VLJsonStreamParserAdapter::parserFoundArrayEnd(VLJsonStreamParser& parser) {
    close(parser);
}

void VLJsonStreamParserAdapter::parserFoundBoolean(VLJsonStreamParser& parser, bool value) {
    found(parser, value);
}

void VLJsonStreamParserAdapter::parserFoundNull(VLJsonStreamParser& parser) {
    found(parser, Value::null());
}

void VLJsonStreamParserAdapter::parserFoundNumber(VLJsonStreamParser& parser,
                                                  const VLJsonNumber& number) {
    if (number.isDecimal()) {
        found(parser, DecimalNumber::makeSharedFromCheckedText(number.text(), slab_.allocator()));
    } else {
        found(parser, number.value());
    }
}

void VLJsonStreamParserAdapter::parserFoundString(VLJsonStreamParser& parser,
                                                  std::string_view string) {
    found(parser, std::allocate_shared<const std::string>(slab_.allocator(), string));
}

}  // namespace velmora
