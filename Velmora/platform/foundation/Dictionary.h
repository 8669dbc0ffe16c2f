#pragma once
// Dictionary: an insertion-ordered map from Value keys to Values, with Foundation's key
// equality (isEqual/hash: the key 1 and the key 1.0 are the same key).
//
// Iteration yields entries in the order their keys were first set; setting an existing
// key replaces its value in place. Lookups are a short linear scan for small
// dictionaries and hashed beyond kIndexThreshold entries, so JSON objects, user info
// and archives all stay cheap.
//
// Thread safety: as for Value (concurrent reads are safe, writes are not).
//
//   Dictionary info{{"identifier", "com.example.msg"}};
//   info.set("count", 3);
//   for (const auto& [key, value] : info) { ... }

#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <vector>

#include "Velmora/platform/foundation/Value.h"

namespace velmora {

class Dictionary {
  public:
    struct Entry {
        Value key;
        Value value;
    };
    using const_iterator = std::vector<Entry>::const_iterator;

    Dictionary() = default;
    Dictionary(std::initializer_list<Entry> entries);

    std::size_t size() const { return entries_.size(); }
    bool empty() const { return entries_.empty(); }
    void reserve(std::size_t count);

    // The value for key, or nullptr / nil when absent.
    const Value* find(const Value& key) const;
    Value get(const Value& key) const;
    bool contains(const Value& key) const { return find(key) != nullptr; }

    // Sets the value for key; a nil value removes the key. Nil keys are ignored.
    void set(Value key, Value value);
    // Sets each key to the value at the same position, in order, moving from both: the
    // same result as set() pair by pair, made in one pass when the keys are new to a small
    // dictionary (for builders such as parsers). REQUIRES: keys and values of one length.
    void setAll(std::span<Value> keys, std::span<Value> values);
    // Appends without looking for an existing equal key. REQUIRES: key not present
    // (for builders such as parsers that already know their keys are new).
    void appendUnique(Value key, Value value);
    // Removes the key; answers whether it was present. Keeps the order of the others.
    bool remove(const Value& key);
    void clear();

    const_iterator begin() const { return entries_.begin(); }
    const_iterator end() const { return entries_.end(); }
    const Entry& entryAt(std::size_t position) const { return entries_[position]; }
    std::vector<Value> keys() const;
    std::vector<Value> values() const;

    // Same keys with equal values, in any order.
    bool isEqual(const Dictionary& other) const;

  private:
    static constexpr std::size_t kIndexThreshold = 16;
    static constexpr std::size_t kInitialCapacity = 4;
    static constexpr std::uint32_t kEmptySlot = UINT32_MAX;
    static constexpr std::size_t kNoPosition = SIZE_MAX;

    std::size_t findPosition(const Value& key) const;
    // REQUIRES: indexed (more than kIndexThreshold entries).
    std::size_t findIndexed(const Value& key, std::size_t hash) const;
    // Appends a new key while small; turns indexed when it grows past the threshold.
    void append(Value key, Value value, std::uint16_t tag);
    void indexInsert(std::size_t position);
    void placeInIndex(std::size_t position);
    void rebuildIndex();

    std::vector<Entry> entries_;
    // Up to kIndexThreshold entries a dictionary is a list searched by a cheap tag of each
    // key (no hashing, no allocation beside the entries); past it, the keys' hashes by
    // position and an open-addressing index over positions.
    std::array<std::uint16_t, kIndexThreshold> tags_{};  // by position, while small
    std::vector<std::size_t> hashes_;                    // empty when small
    std::vector<std::uint32_t> slots_;                   // empty when small
};

}  // namespace velmora
