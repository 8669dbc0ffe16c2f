#include "Velmora/json/VLJsonStreamParserAdapter.h"

#include <bit>
#include <cstring>
#include <iterator>
#include <utility>

namespace velmora {

namespace {
constexpr std::size_t kInitialStackCapacity = 32;
constexpr std::size_t kInitialScratchCapacity = 256;
constexpr std::size_t kMaxSharedKeyLength = 64;

// Mixes the length with the first, middle and last bytes, read in at most three loads:
// keys of one document mostly differ in one of those places.
template <std::size_t kSlots>
std::size_t slotOf(std::string_view text) {
    const std::size_t size = text.size();
    std::uint64_t bits = size;
    if (size >= 8) {
        std::uint64_t head = 0;
        std::uint64_t middle = 0;
        std::uint64_t tail = 0;
        std::memcpy(&head, text.data(), 8);
        std::memcpy(&middle, text.data() + size / 2 - 4, 8);
        std::memcpy(&tail, text.data() + size - 8, 8);
        bits ^= head ^ std::rotl(middle, 21) ^ std::rotl(tail, 42);
    } else {
        for (const char c : text) {
            bits = bits << 8 | static_cast<unsigned char>(c);
        }
    }
    bits *= 0x9e3779b97f4a7c15ULL;
    return static_cast<std::size_t>(bits >> 32) % kSlots;
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
    const std::size_t count = values_.size() - firstValue;
    dictionary->reserve(count);
    // In document order, so that a key given twice keeps its first place and its last value.
    for (std::size_t i = 0; i < count; ++i) {
        dictionary->set(keyStack_[firstKey + i], std::move(values_[firstValue + i]));
    }
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
    Value& slot = recentKeys_[slotOf<kKeySlots>(text)];
    if (const std::string* recent = slot.asString(); recent == nullptr || *recent != text) {
        slot = string(text);
    }
    return slot;
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
