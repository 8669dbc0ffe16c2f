// Random result-list pairs for the diff's fuzz targets: an old list, and a new list made
// from it by steps the input bytes choose (sections removed, added and moved, rows
// removed, added, updated and reordered, items moved between sections). Items are
// FetchedRecords with integer ids; an updated one is a new record with the same id,
// modified after the old list's time of fetch.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "Velmora/collections/FetchedRecord.h"
#include "Velmora/collections/FetchedResultList.h"

namespace velmora::fuzz {

// Reads the input a byte at a time; zeros once it is used up.
class ByteReader {
  public:
    ByteReader(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}
    std::uint8_t next() { return position_ < size_ ? data_[position_++] : 0; }
    // A number below bound (bound > 0).
    std::size_t below(std::size_t bound) { return next() % bound; }
    bool atEnd() const { return position_ >= size_; }

  private:
    const std::uint8_t* data_;
    std::size_t size_;
    std::size_t position_ = 0;
};

inline constexpr double kOldFetch = 1000.0;
inline constexpr double kNewFetch = 2000.0;

struct Section {
    std::int64_t id;
    std::vector<Value> items;
};

inline Value record(std::int64_t id, double modified) {
    return Value(std::make_shared<FetchedRecord>(Value(id), Date(modified)));
}

inline std::shared_ptr<FetchedResultList> listOf(const std::vector<Section>& sections,
                                                 double fetched) {
    auto list = FetchedResultList::create();
    for (const Section& section : sections) {
        list->allFetchedSections()->addObject(Value(section.id));
        list->allFetchedSectionItems()->addObject(Value(Array(section.items)));
    }
    list->setTimeOfFetch(Date(fetched));
    return list;
}

struct ListPair {
    std::shared_ptr<FetchedResultList> old;
    std::shared_ptr<FetchedResultList> fresh;
};

// With duplicates, sections and items may repeat (within a section too); without, every
// section id and every item id occurs once per list.
inline ListPair generatePair(ByteReader& in, bool duplicates) {
    std::int64_t nextSection = 0;
    std::int64_t nextItem = 0;
    auto newItemId = [&] {
        return duplicates && nextItem > 0 && in.below(3) == 0
                   ? static_cast<std::int64_t>(in.below(static_cast<std::size_t>(nextItem)))
                   : nextItem++;
    };
    std::vector<Section> old(in.below(7));
    for (Section& section : old) {
        section.id = duplicates && nextSection > 0 && in.below(4) == 0 ? 0 : nextSection++;
        const std::size_t count = in.below(9);
        for (std::size_t i = 0; i < count; ++i) {
            section.items.push_back(record(newItemId(), kOldFetch - 1));
        }
    }
    std::vector<Section> fresh = old;
    const std::size_t steps = in.below(12);
    for (std::size_t step = 0; step < steps && !in.atEnd(); ++step) {
        const std::size_t kind = in.below(9);
        if (kind == 0 && !fresh.empty()) {  // remove a section
            fresh.erase(fresh.begin() + static_cast<std::ptrdiff_t>(in.below(fresh.size())));
        } else if (kind == 1) {  // add a section, maybe empty
            Section section{duplicates && in.below(3) == 0 ? 0 : nextSection++, {}};
            const std::size_t count = in.below(5);
            for (std::size_t i = 0; i < count; ++i) {
                section.items.push_back(record(newItemId(), kOldFetch - 1));
            }
            fresh.insert(fresh.begin() + static_cast<std::ptrdiff_t>(in.below(fresh.size() + 1)),
                         std::move(section));
        } else if (kind == 2 && fresh.size() > 1) {  // move a section
            const std::size_t from = in.below(fresh.size());
            Section moved = std::move(fresh[from]);
            fresh.erase(fresh.begin() + static_cast<std::ptrdiff_t>(from));
            fresh.insert(fresh.begin() + static_cast<std::ptrdiff_t>(in.below(fresh.size() + 1)),
                         std::move(moved));
        } else if (!fresh.empty()) {
            std::vector<Value>& items = fresh[in.below(fresh.size())].items;
            const std::size_t at = in.below(items.size() + 1);
            if (kind == 3 && at < items.size()) {  // remove a row
                items.erase(items.begin() + static_cast<std::ptrdiff_t>(at));
            } else if (kind == 4) {  // add a row
                items.insert(items.begin() + static_cast<std::ptrdiff_t>(at),
                             record(newItemId(), kOldFetch - 1));
            } else if (kind == 5 && at < items.size()) {  // update a row
                const std::int64_t id = items[at].asObject<FetchedRecord>()->id().integerValue();
                items[at] = record(id, kOldFetch + 1);
            } else if (kind == 6 && items.size() > 1) {  // swap two rows
                std::swap(items[at % items.size()], items[in.below(items.size())]);
            } else if (kind == 7 && at < items.size()) {  // move a row to another section
                Value moved = items[at];
                items.erase(items.begin() + static_cast<std::ptrdiff_t>(at));
                std::vector<Value>& target = fresh[in.below(fresh.size())].items;
                target.insert(
                    target.begin() + static_cast<std::ptrdiff_t>(in.below(target.size() + 1)),
                    std::move(moved));
            } else if (kind == 8 && at < items.size()) {  // a row equal again (a refetch)
                const auto item = items[at].asObject<FetchedRecord>();
                items[at] = record(item->id().integerValue(),
                                   item->modificationDateStamp()->timeIntervalSince1970());
            }
        }
    }
    return {listOf(old, kOldFetch), listOf(fresh, kNewFetch)};
}

}  // namespace velmora::fuzz
