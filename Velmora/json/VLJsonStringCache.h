#pragma once
// VLJsonStringCache: the process-wide memo of escaped strings that every
// VLJsonStreamWriter shares, so that a key or value written again (object keys above
// all) is copied instead of escaped again.
//
// Entries: string -> its quoted, escaped JSON form. The cache is split into shards by
// the string's hash, each behind its own mutex, so writers on several threads rarely
// wait for one another. It is bounded: strings longer than kMaxStringLength are never
// cached (they are seldom repeated), and a shard whose entries would pass its share of
// the byte budget is emptied before the new entry goes in. Entries are never removed one
// by one, so each shard keeps them in one arena with a flat open-addressing index. Nothing is ever
// in use outside the lock: a hit is copied out while the shard is held.
//
// Thread safety: every member may be called from any thread at any time.
//
//   std::string out;
//   if (!VLJsonStringCache::shared().appendCached(text, out)) { escape; store(text, escaped); }

#include <array>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace velmora {

class VLJsonStringCache {
  public:
    static constexpr std::size_t kMaxStringLength = 256;
    static constexpr std::size_t kDefaultByteBudget = std::size_t{8} << 20;

    explicit VLJsonStringCache(std::size_t byteBudget = kDefaultByteBudget);
    VLJsonStringCache(const VLJsonStringCache&) = delete;
    VLJsonStringCache& operator=(const VLJsonStringCache&) = delete;

    // The cache the writers use; never destroyed.
    static VLJsonStringCache& shared();

    // Appends the escaped form of string to out when it is cached; answers whether it was.
    bool appendCached(std::string_view string, std::string& out);
    // Remembers the escaped form of string (ignored for strings that are too long).
    void store(std::string_view string, std::string_view escaped);

    std::size_t size() const;
    // What the entries count against the budget.
    std::size_t byteCount() const;
    void clear();

  private:
    static constexpr std::size_t kShardCount = 16;
    static constexpr std::size_t kInitialSlots = 256;

    // An entry's key and escaped form lie one after the other in the shard's arena.
    struct Slot {
        std::uint64_t hash = 0;
        std::uint32_t offset = 0;
        std::uint16_t keyLength = 0;
        std::uint16_t escapedLength = 0;  // 0: the slot is empty (a quoted form never is)
    };
    // Open addressing with linear probing, at most half full; the arena only grows until
    // the shard is emptied.
    struct Shard {
        mutable std::mutex mutex;
        std::vector<Slot> slots = std::vector<Slot>(kInitialSlots);
        std::string arena;
        std::size_t count = 0;
    };

    static std::uint64_t hashOf(std::string_view string);
    Shard& shardFor(std::uint64_t hash) { return shards_[hash >> 60]; }
    // The slot holding string, or the empty slot where it would go.
    static Slot& probe(Shard& shard, std::string_view string, std::uint64_t hash);
    static void grow(Shard& shard);

    const std::size_t shardBudget_;
    std::array<Shard, kShardCount> shards_;
};

}  // namespace velmora
