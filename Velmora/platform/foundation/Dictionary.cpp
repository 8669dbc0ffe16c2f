#include "Velmora/platform/foundation/Dictionary.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace velmora {
namespace {

// Spreads the low bits of hashes that are only distinct in their high bits (doubles).
std::size_t mix(std::size_t h) {
    h ^= h >> 33;
    h *= 0xff51afd7ed558ccdULL;
    h ^= h >> 33;
    return h;
}

// A cheap stand-in for the hash while a dictionary is small: equal keys get equal tags, and
// strings (most keys) are tagged from their length and their first and last eight bytes
// instead of being hashed whole. Short strings are read with at most two overlapping
// loads rather than a byte at a time: the tag is taken on every set and every lookup.
inline std::uint16_t smallTag(const Value& key) {
    const std::string* text = key.asString();
    if (text == nullptr) {
        return static_cast<std::uint16_t>(mix(key.hash()));
    }
    const char* bytes = text->data();
    const std::size_t size = text->size();
    std::uint64_t head = 0;
    std::uint64_t tail = 0;
    if (size >= 8) {
        std::memcpy(&head, bytes, 8);
        std::memcpy(&tail, bytes + size - 8, 8);
    } else if (size >= 4) {
        std::uint32_t first = 0;
        std::uint32_t last = 0;
        std::memcpy(&first, bytes, 4);
        std::memcpy(&last, bytes + size - 4, 4);
        head = first;
        tail = static_cast<std::uint64_t>(last) << 1;
    } else if (size > 0) {
        head = static_cast<unsigned char>(bytes[0]) |
               static_cast<std::uint64_t>(static_cast<unsigned char>(bytes[size / 2])) << 8 |
               static_cast<std::uint64_t>(static_cast<unsigned char>(bytes[size - 1])) << 16;
    }
    const std::uint64_t folded = head ^ (tail >> 1) ^ (static_cast<std::uint64_t>(size) << 56);
    const std::uint64_t halves = folded ^ (folded >> 32);
    return static_cast<std::uint16_t>(halves ^ (halves >> 16));
}

// Key equality as the small form checks it once the tags agree: strings by their bytes
// here, every other kind by Value's equality.
inline bool sameKey(const Value& entryKey, const Value& key, const std::string* text) {
    const std::string* entryText = entryKey.asString();
    if (text != nullptr && entryText != nullptr) {
        return text->size() == entryText->size() &&
               std::memcmp(text->data(), entryText->data(), text->size()) == 0;
    }
    return entryKey.isEqual(key);
}

// The position of key in a small dictionary's entries, or SIZE_MAX.
inline std::size_t findSmall(const std::vector<Dictionary::Entry>& entries,
                             const std::uint16_t* tags, const Value& key, std::uint16_t tag) {
    const std::string* text = key.asString();
    const std::size_t count = entries.size();
    for (std::size_t i = 0; i < count; ++i) {
        if (tags[i] == tag && sameKey(entries[i].key, key, text)) {
            return i;
        }
    }
    return SIZE_MAX;
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
    if (count > kIndexThreshold) {
        hashes_.reserve(count);
    }
}

std::size_t Dictionary::findPosition(const Value& key) const {
    return slots_.empty() ? findSmall(entries_, tags_.data(), key, smallTag(key))
                          : findIndexed(key, key.hash());
}

std::size_t Dictionary::findIndexed(const Value& key, std::size_t hash) const {
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
    const std::size_t position = slots_.empty()
                                     ? findSmall(entries_, tags_.data(), key, smallTag(key))
                                     : findIndexed(key, key.hash());
    return position == kNoPosition ? nullptr : &entries_[position].value;
}

Value Dictionary::get(const Value& key) const {
    const Value* value = find(key);
    return value ? *value : Value();
}

void Dictionary::set(Value key, Value value) {
    if (key.isNil()) {
        return;
    }
    if (value.isNil()) {
        remove(key);
        return;
    }
    if (slots_.empty()) {
        const std::uint16_t tag = smallTag(key);
        const std::size_t position = findSmall(entries_, tags_.data(), key, tag);
        if (position != kNoPosition) {
            entries_[position].value = std::move(value);
            return;
        }
        if (entries_.size() < kIndexThreshold) {
            if (entries_.capacity() == 0) {
                entries_.reserve(kInitialCapacity);
            }
            tags_[entries_.size()] = tag;
            entries_.push_back({std::move(key), std::move(value)});
            return;
        }
        append(std::move(key), std::move(value), tag);
        return;
    }
    const std::size_t hash = key.hash();
    const std::size_t position = findIndexed(key, hash);
    if (position != kNoPosition) {
        entries_[position].value = std::move(value);
        return;
    }
    entries_.push_back({std::move(key), std::move(value)});
    hashes_.push_back(hash);
    indexInsert(entries_.size() - 1);
}

void Dictionary::setAll(std::span<Value> keys, std::span<Value> values) {
    const std::size_t count = keys.size();
    std::array<std::uint16_t, kIndexThreshold> tags;
    bool inOnePass = entries_.empty() && slots_.empty() && count <= kIndexThreshold;
    for (std::size_t i = 0; inOnePass && i < count; ++i) {
        tags[i] = smallTag(keys[i]);
        // A repeated tag may be a repeated key, and a nil key or value is no plain append:
        // set() settles those.
        inOnePass = !keys[i].isNil() && !values[i].isNil() &&
                    std::find(tags.begin(), tags.begin() + i, tags[i]) == tags.begin() + i;
    }
    if (!inOnePass) {
        if (entries_.empty() && count > kIndexThreshold) {
            // Indexed from the start, with an index that will not need rebuilding.
            entries_.reserve(count);
            hashes_.reserve(count);
            slots_.assign(std::bit_ceil(4 * count), kEmptySlot);
        } else {
            reserve(entries_.size() + count);
        }
        for (std::size_t i = 0; i < count; ++i) {
            set(std::move(keys[i]), std::move(values[i]));
        }
        if (!slots_.empty() && entries_.size() <= kIndexThreshold) {
            rebuildIndex();  // nil values left it small: back to the list form
        }
        return;
    }
    entries_.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        tags_[i] = tags[i];
        entries_.push_back({std::move(keys[i]), std::move(values[i])});
    }
}

void Dictionary::appendUnique(Value key, Value value) {
    if (slots_.empty()) {
        const std::uint16_t tag = smallTag(key);
        append(std::move(key), std::move(value), tag);
        return;
    }
    hashes_.push_back(key.hash());
    entries_.push_back({std::move(key), std::move(value)});
    indexInsert(entries_.size() - 1);
}

void Dictionary::append(Value key, Value value, std::uint16_t tag) {
    // Most dictionaries are small (JSON objects, user info): start with room for a few
    // entries instead of growing one at a time.
    if (entries_.capacity() == 0) {
        entries_.reserve(kInitialCapacity);
    }
    if (entries_.size() < kIndexThreshold) {
        tags_[entries_.size()] = tag;
    }
    entries_.push_back({std::move(key), std::move(value)});
    if (entries_.size() > kIndexThreshold) {
        rebuildIndex();
    }
}

bool Dictionary::remove(const Value& key) {
    const std::size_t position = findPosition(key);
    if (position == kNoPosition) {
        return false;
    }
    entries_.erase(entries_.begin() + static_cast<std::ptrdiff_t>(position));
    if (!hashes_.empty()) {
        hashes_.erase(hashes_.begin() + static_cast<std::ptrdiff_t>(position));
    }
    rebuildIndex();
    return true;
}

void Dictionary::clear() {
    entries_.clear();
    hashes_.clear();
    slots_.clear();
}

void Dictionary::indexInsert(std::size_t position) {
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
        hashes_.clear();
        std::transform(entries_.begin(), entries_.end(), tags_.begin(),
                       [](const Entry& entry) { return smallTag(entry.key); });
        return;
    }
    if (hashes_.size() != entries_.size()) {
        // Leaving the small form: the hashes are taken only now.
        hashes_.clear();
        hashes_.reserve(entries_.capacity());
        for (const Entry& entry : entries_) {
            hashes_.push_back(entry.key.hash());
        }
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
        const std::size_t position =
            other.slots_.empty()
                ? other.findPosition(entries_[i].key)
                : other.findIndexed(entries_[i].key,
                                    hashes_.empty() ? entries_[i].key.hash() : hashes_[i]);
        if (position == kNoPosition || !other.entries_[position].value.isEqual(entries_[i].value)) {
            return false;
        }
    }
    return true;
}

}  // namespace velmora
