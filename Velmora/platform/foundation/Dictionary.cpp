#include "Velmora/platform/foundation/Dictionary.h"

#include <bit>

namespace velmora {
namespace {

// Spreads the low bits of hashes that are only distinct in their high bits (doubles).
std::size_t mix(std::size_t h) {
    h ^= h >> 33;
    h *= 0xff51afd7ed558ccdULL;
    h ^= h >> 33;
    return h;
}

}  // namespace

Dictionary::Dictionary(std::initializer_list<Entry> entries) {
    reserve(entries.size());
    for (const auto& entry : entries) {
        set(entry.key, entry.value);
    }
}

void Dictionary::reserve(std::size_t count) {
    entries_.reserve(count);
    hashes_.reserve(count);
}

std::size_t Dictionary::findPosition(const Value& key, std::size_t hash) const {
    if (slots_.empty()) {
        for (std::size_t i = 0; i < entries_.size(); ++i) {
            if (hashes_[i] == hash && entries_[i].key.isEqual(key)) {
                return i;
            }
        }
        return kNoPosition;
    }
    const std::size_t mask = slots_.size() - 1;
    for (std::size_t slot = mix(hash) & mask;; slot = (slot + 1) & mask) {
        const std::uint32_t position = slots_[slot];
        if (position == kEmptySlot) {
            return kNoPosition;
        }
        if (hashes_[position] == hash && entries_[position].key.isEqual(key)) {
            return position;
        }
    }
}

const Value* Dictionary::find(const Value& key) const {
    const std::size_t position = findPosition(key, key.hash());
    return position == kNoPosition ? nullptr : &entries_[position].value;
}

Value Dictionary::get(const Value& key) const {
    const Value* value = find(key);
    return value ? *value : Value();
}

void Dictionary::set(const Value& key, Value value) {
    if (key.isNil()) {
        return;
    }
    if (value.isNil()) {
        remove(key);
        return;
    }
    const std::size_t hash = key.hash();
    const std::size_t position = findPosition(key, hash);
    if (position != kNoPosition) {
        entries_[position].value = std::move(value);
        return;
    }
    reserveForFirstEntries();
    entries_.push_back({key, std::move(value)});
    hashes_.push_back(hash);
    indexInsert(entries_.size() - 1);
}

void Dictionary::reserveForFirstEntries() {
    // Most dictionaries are small (JSON objects, user info): start with room for a few
    // entries instead of growing one at a time.
    if (entries_.capacity() == 0) {
        reserve(kInitialCapacity);
    }
}

void Dictionary::appendUnique(Value key, Value value) {
    reserveForFirstEntries();
    hashes_.push_back(key.hash());
    entries_.push_back({std::move(key), std::move(value)});
    indexInsert(entries_.size() - 1);
}

bool Dictionary::remove(const Value& key) {
    const std::size_t position = findPosition(key, key.hash());
    if (position == kNoPosition) {
        return false;
    }
    entries_.erase(entries_.begin() + static_cast<std::ptrdiff_t>(position));
    hashes_.erase(hashes_.begin() + static_cast<std::ptrdiff_t>(position));
    rebuildIndex();
    return true;
}

void Dictionary::clear() {
    entries_.clear();
    hashes_.clear();
    slots_.clear();
}

void Dictionary::indexInsert(std::size_t position) {
    if (entries_.size() <= kIndexThreshold) {
        return;
    }
    // Keep the load factor at or below one half so probe runs stay short.
    if (slots_.size() < 2 * entries_.size()) {
        rebuildIndex();
    } else {
        placeInIndex(position);
    }
}

void Dictionary::placeInIndex(std::size_t position) {
    const std::size_t mask = slots_.size() - 1;
    std::size_t slot = mix(hashes_[position]) & mask;
    while (slots_[slot] != kEmptySlot) {
        slot = (slot + 1) & mask;
    }
    slots_[slot] = static_cast<std::uint32_t>(position);
}

void Dictionary::rebuildIndex() {
    slots_.clear();
    if (entries_.size() <= kIndexThreshold) {
        return;
    }
    slots_.assign(std::bit_ceil(4 * entries_.size()), kEmptySlot);
    for (std::size_t position = 0; position < entries_.size(); ++position) {
        placeInIndex(position);
    }
}

std::vector<Value> Dictionary::keys() const {
    std::vector<Value> keys;
    keys.reserve(entries_.size());
    for (const auto& entry : entries_) {
        keys.push_back(entry.key);
    }
    return keys;
}

std::vector<Value> Dictionary::values() const {
    std::vector<Value> values;
    values.reserve(entries_.size());
    for (const auto& entry : entries_) {
        values.push_back(entry.value);
    }
    return values;
}

bool Dictionary::isEqual(const Dictionary& other) const {
    if (size() != other.size()) {
        return false;
    }
    for (std::size_t i = 0; i < entries_.size(); ++i) {
        const std::size_t position = other.findPosition(entries_[i].key, hashes_[i]);
        if (position == kNoPosition || !other.entries_[position].value.isEqual(entries_[i].value)) {
            return false;
        }
    }
    return true;
}

}  // namespace velmora
