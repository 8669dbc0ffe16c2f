#include "Velmora/collections/internal/ItemIndexTable.h"

#include <algorithm>
#include <bit>

namespace velmora {

std::size_t ItemIndexTable::slotOf(std::size_t hash) const {
    // Value hashes of small numbers and of Objects' addresses are poorly spread in their
    // low bits; a multiplicative mix spreads them over the mask.
    return static_cast<std::size_t>((static_cast<std::uint64_t>(hash) * 0x9E3779B97F4A7C15ull) >>
                                    17) &
           mask_;
}

void ItemIndexTable::build(const Array& items) {
    items_ = &items;
    const std::size_t count = items.size();
    const std::size_t capacity = std::bit_ceil(std::max<std::size_t>(count * 2, 8));
    mask_ = capacity - 1;
    slots_.assign(capacity, 0);
    hashes_.resize(count);
    first_.resize(count);
    for (std::size_t i = 0; i < count; ++i) {
        const Value& item = items[i];
        const std::size_t hash = item.hash();
        hashes_[i] = hash;
        std::size_t slot = slotOf(hash);
        while (true) {
            const std::uint32_t entry = slots_[slot];
            if (entry == 0) {
                slots_[slot] = static_cast<std::uint32_t>(i + 1);
                first_[i] = static_cast<std::uint32_t>(i);
                break;
            }
            const std::size_t other = entry - 1;
            if (hashes_[other] == hash && items[other].isEqual(item)) {
                first_[i] = static_cast<std::uint32_t>(other);
                break;
            }
            slot = (slot + 1) & mask_;
        }
    }
}

std::size_t ItemIndexTable::find(const Value& value, std::size_t hash) const {
    if (items_ == nullptr) {
        return NotFound;
    }
    std::size_t slot = slotOf(hash);
    while (true) {
        const std::uint32_t entry = slots_[slot];
        if (entry == 0) {
            return NotFound;
        }
        const std::size_t index = entry - 1;
        if (hashes_[index] == hash && (*items_)[index].isEqual(value)) {
            return index;
        }
        slot = (slot + 1) & mask_;
    }
}

}  // namespace velmora
