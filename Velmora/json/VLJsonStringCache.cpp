#include "Velmora/json/VLJsonStringCache.h"

#include <algorithm>
#include <cstring>

#include "Velmora/platform/foundation/NoDestructor.h"

namespace velmora {

namespace {

std::uint64_t load64(const char* p) {
    std::uint64_t value;
    std::memcpy(&value, p, sizeof value);
    return value;
}

__extension__ typedef unsigned __int128 Uint128;

std::uint64_t mix(std::uint64_t a, std::uint64_t b) {
    const Uint128 product = static_cast<Uint128>(a) * b;
    return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
}

constexpr std::uint64_t kSeed = 0x9E3779B97F4A7C15ull;
constexpr std::uint64_t kMultiplier = 0xE7037ED1A0B428DBull;

}  // namespace

VLJsonStringCache::VLJsonStringCache(std::size_t byteBudget)
    // Entry offsets are 32-bit.
    : shardBudget_(std::min<std::size_t>(byteBudget / kShardCount, UINT32_MAX)) {}

VLJsonStringCache& VLJsonStringCache::shared() {
    static NoDestructor<VLJsonStringCache> cache;
    return *cache;
}

// Eight bytes at a time through a 128-bit multiply; the top bits pick the shard and the
// low bits the slot, so both are well mixed.
std::uint64_t VLJsonStringCache::hashOf(std::string_view string) {
    const char* p = string.data();
    std::size_t n = string.size();
    std::uint64_t hash = kSeed ^ n;
    while (n >= 8) {
        hash = mix(hash ^ load64(p), kMultiplier);
        p += 8;
        n -= 8;
    }
    if (n > 0) {
        std::uint64_t tail = 0;
        std::memcpy(&tail, p, n);
        hash = mix(hash ^ tail, kMultiplier);
    }
    return mix(hash, kSeed);
}

VLJsonStringCache::Slot& VLJsonStringCache::probe(Shard& shard, std::string_view string,
                                                  std::uint64_t hash) {
    const std::size_t mask = shard.slots.size() - 1;
    for (std::size_t i = hash & mask;; i = (i + 1) & mask) {
        Slot& slot = shard.slots[i];
        if (slot.escapedLength == 0) {
            return slot;
        }
        if (slot.hash == hash && slot.keyLength == string.size() &&
            std::memcmp(shard.arena.data() + slot.offset, string.data(), string.size()) == 0) {
            return slot;
        }
    }
}

void VLJsonStringCache::grow(Shard& shard) {
    std::vector<Slot> old(shard.slots.size() * 2);
    old.swap(shard.slots);
    const std::size_t mask = shard.slots.size() - 1;
    for (const Slot& slot : old) {
        if (slot.escapedLength == 0) {
            continue;
        }
        std::size_t i = slot.hash & mask;
        while (shard.slots[i].escapedLength != 0) {
            i = (i + 1) & mask;
        }
        shard.slots[i] = slot;
    }
}

bool VLJsonStringCache::appendCached(std::string_view string, std::string& out) {
    if (string.size() > kMaxStringLength) {
        return false;
    }
    const std::uint64_t hash = hashOf(string);
    Shard& shard = shardFor(hash);
    const std::lock_guard lock(shard.mutex);
    const Slot& slot = probe(shard, string, hash);
    if (slot.escapedLength == 0) {
        return false;
    }
    out.append(shard.arena.data() + slot.offset + slot.keyLength, slot.escapedLength);
    return true;
}

void VLJsonStringCache::store(std::string_view string, std::string_view escaped) {
    if (string.size() > kMaxStringLength || escaped.empty() || escaped.size() > UINT16_MAX) {
        return;
    }
    const std::uint64_t hash = hashOf(string);
    Shard& shard = shardFor(hash);
    const std::lock_guard lock(shard.mutex);
    const std::size_t cost = string.size() + escaped.size() + sizeof(Slot) * 2;
    if (shard.arena.size() + (shard.count + 1) * sizeof(Slot) * 2 + cost > shardBudget_) {
        shard.slots.assign(kInitialSlots, Slot{});
        shard.arena.clear();
        shard.count = 0;
    }
    if (probe(shard, string, hash).escapedLength != 0) {
        return;  // another thread stored it first
    }
    if ((shard.count + 1) * 2 > shard.slots.size()) {
        grow(shard);
    }
    Slot& slot = probe(shard, string, hash);
    slot.hash = hash;
    slot.offset = static_cast<std::uint32_t>(shard.arena.size());
    slot.keyLength = static_cast<std::uint16_t>(string.size());
    slot.escapedLength = static_cast<std::uint16_t>(escaped.size());
    shard.arena.append(string);
    shard.arena.append(escaped);
    ++shard.count;
}

std::size_t VLJsonStringCache::size() const {
    std::size_t total = 0;
    for (const Shard& shard : shards_) {
        const std::lock_guard lock(shard.mutex);
        total += shard.count;
    }
    return total;
}

std::size_t VLJsonStringCache::byteCount() const {
    std::size_t total = 0;
    for (const Shard& shard : shards_) {
        const std::lock_guard lock(shard.mutex);
        total += shard.arena.size() + shard.count * sizeof(Slot) * 2;
    }
    return total;
}

void VLJsonStringCache::clear() {
    for (Shard& shard : shards_) {
        const std::lock_guard lock(shard.mutex);
        shard.slots.assign(kInitialSlots, Slot{});
        shard.arena.clear();
        shard.count = 0;
    }
}

}  // namespace velmora
