#include "Velmora/json/VLJsonStreamParserAdapter.h"

#include <utility>

namespace velmora {

namespace {
constexpr std::size_t kInitialStackCapacity = 32;
constexpr std::size_t kMaxSharedKeyLength = 64;
constexpr std::size_t kMaxSharedKeys = 4096;
constexpr std::size_t kInitialArrayCapacity = 4;
}  // namespace

VLJsonStreamParserAdapter::VLJsonStreamParserAdapter() {
    keyStack_.reserve(kInitialStackCapacity);
    stack_.reserve(kInitialStackCapacity);
}

void VLJsonStreamParserAdapter::open(Value container) {
    ++depth_;
    if (depth_ <= skip_) {
        return;
    }
    if (container.isArray()) {
        array_ = container.asArray();
        dict_ = nullptr;
        currentType_ = Type::Array;
    } else {
        dict_ = container.asDictionary();
        array_ = nullptr;
        currentType_ = Type::Object;
    }
    stack_.push_back(std::move(container));
}

void VLJsonStreamParserAdapter::close(VLJsonStreamParser& parser) {
    const std::uint64_t oldDepth = depth_--;
    if (oldDepth <= skip_) {
        return;
    }
    Value finished = std::move(stack_.back());
    pop();
    found(parser, std::move(finished));
}

void VLJsonStreamParserAdapter::pop() {
    stack_.pop_back();
    array_ = nullptr;
    dict_ = nullptr;
    currentType_ = Type::None;
    if (stack_.empty()) {
        return;
    }
    const Value& top = stack_.back();
    if (top.isArray()) {
        array_ = top.asArray();
        currentType_ = Type::Array;
    } else if (top.isDictionary()) {
        dict_ = top.asDictionary();
        currentType_ = Type::Object;
    }
}

void VLJsonStreamParserAdapter::found(VLJsonStreamParser& parser, Value value) {
    switch (currentType_) {
        case Type::None:
            if (delegate_ != nullptr) {
                if (value.isArray()) {
                    delegate_->parserFoundArray(parser, value);
                } else {
                    delegate_->parserFoundObject(parser, value);
                }
            }
            break;
        case Type::Object:
            dict_->set(keyStack_.back(), std::move(value));
            keyStack_.pop_back();
            break;
        case Type::Array:
            if (array_->capacity() == 0) {
                // Most arrays are short (coordinates, tags): room for a few elements at
                // once instead of growing through one and two.
                array_->reserve(kInitialArrayCapacity);
            }
            array_->push_back(std::move(value));
            break;
    }
}

void VLJsonStreamParserAdapter::parserFoundObjectStart(VLJsonStreamParser&) {
    open(depth_ + 1 > skip_ ? Value::makeDictionary() : Value());
}

Value VLJsonStreamParserAdapter::key(std::string_view text) {
    if (text.size() > kMaxSharedKeyLength) {
        return Value(text);
    }
    if (const auto found = keys_.find(text); found != keys_.end()) {
        return found->second;
    }
    if (keys_.size() >= kMaxSharedKeys) {
        keys_.clear();
    }
    Value value(text);
    keys_.emplace(*value.asString(), value);
    return value;
}

void VLJsonStreamParserAdapter::parserFoundObjectKey(VLJsonStreamParser&, std::string_view key) {
    keyStack_.push_back(this->key(key));
}

void VLJsonStreamParserAdapter::parserFoundObjectEnd(VLJsonStreamParser& parser) {
    close(parser);
}

void VLJsonStreamParserAdapter::parserFoundArrayStart(VLJsonStreamParser&) {
    open(depth_ + 1 > skip_ ? Value::makeArray() : Value());
}

void VLJsonStreamParserAdapter::parserFoundArrayEnd(VLJsonStreamParser& parser) {
    close(parser);
}

void VLJsonStreamParserAdapter::parserFoundBoolean(VLJsonStreamParser& parser, bool value) {
    found(parser, Value(value));
}

void VLJsonStreamParserAdapter::parserFoundNull(VLJsonStreamParser& parser) {
    found(parser, Value::null());
}

void VLJsonStreamParserAdapter::parserFoundNumber(VLJsonStreamParser& parser,
                                                  const VLJsonNumber& number) {
    found(parser, number.value());
}

void VLJsonStreamParserAdapter::parserFoundString(VLJsonStreamParser& parser,
                                                  std::string_view string) {
    found(parser, Value(string));
}

}  // namespace velmora
