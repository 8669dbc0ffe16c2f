#include "Velmora/platform/foundation/IndexSet.h"

#include <algorithm>

namespace velmora {
namespace {

// Clips range so that every index in it is below NotFound; false when nothing is left.
bool clip(Range& range) {
    if (range.length == 0 || range.location >= NotFound) {
        return false;
    }
    range.length = std::min(range.length, NotFound - range.location);
    return true;
}

}  // namespace

IndexSet::const_iterator& IndexSet::const_iterator::operator++() {
    if (++index_ == range_->end()) {
        ++range_;
        index_ = range_ != last_ ? range_->location : 0;
    }
    return *this;
}

IndexSet::IndexSet(std::size_t index) {
    add(index);
}

IndexSet::IndexSet(Range range) {
    add(range);
}

IndexSet::IndexSet(std::initializer_list<std::size_t> indexes) {
    for (const std::size_t index : indexes) {
        add(index);
    }
}

void IndexSet::add(Range range) {
    if (!clip(range)) {
        return;
    }
    std::size_t start = range.location;
    std::size_t stop = range.end();
    // The first run that ends at or after start overlaps the new one or touches it.
    auto first = std::lower_bound(ranges_.begin(), ranges_.end(), start,
                                  [](const Range& run, std::size_t at) { return run.end() < at; });
    auto last = first;
    std::size_t absorbed = 0;
    for (; last != ranges_.end() && last->location <= stop; ++last) {
        start = std::min(start, last->location);
        stop = std::max(stop, last->end());
        absorbed += last->length;
    }
    const Range merged{start, stop - start};
    if (first == last) {
        ranges_.insert(first, merged);
    } else {
        *first = merged;
        ranges_.erase(first + 1, last);
    }
    count_ += merged.length - absorbed;
}

void IndexSet::remove(Range range) {
    if (!clip(range)) {
        return;
    }
    const std::size_t start = range.location;
    const std::size_t stop = range.end();
    // The first run that ends after start is the first one that can lose indexes.
    auto first = std::lower_bound(ranges_.begin(), ranges_.end(), start,
                                  [](const Range& run, std::size_t at) { return run.end() <= at; });
    auto last = first;
    std::size_t removed = 0;
    for (; last != ranges_.end() && last->location < stop; ++last) {
        removed += last->length;
    }
    if (first == last) {
        return;
    }
    // What survives: the part of the first run before start, the part of the last after stop.
    Range kept[2];
    std::size_t keptCount = 0;
    if (first->location < start) {
        kept[keptCount++] = Range{first->location, start - first->location};
    }
    if (const std::size_t lastEnd = (last - 1)->end(); lastEnd > stop) {
        kept[keptCount++] = Range{stop, lastEnd - stop};
    }
    const auto at = ranges_.erase(first, last);
    ranges_.insert(at, kept, kept + keptCount);
    count_ -= removed;
    for (std::size_t i = 0; i < keptCount; ++i) {
        count_ += kept[i].length;
    }
}

void IndexSet::clear() {
    ranges_.clear();
    count_ = 0;
}

bool IndexSet::contains(std::size_t index) const {
    // The last run starting at or before index is the only one that can hold it.
    auto after =
        std::upper_bound(ranges_.begin(), ranges_.end(), index,
                         [](std::size_t at, const Range& run) { return at < run.location; });
    return after != ranges_.begin() && std::prev(after)->contains(index);
}

std::size_t IndexSet::firstIndex() const {
    return ranges_.empty() ? NotFound : ranges_.front().location;
}

std::size_t IndexSet::lastIndex() const {
    return ranges_.empty() ? NotFound : ranges_.back().end() - 1;
}

IndexSet::const_iterator IndexSet::begin() const {
    const Range* first = ranges_.data();
    const Range* last = first + ranges_.size();
    return const_iterator(first, last, ranges_.empty() ? 0 : first->location);
}

IndexSet::const_iterator IndexSet::end() const {
    const Range* last = ranges_.data() + ranges_.size();
    return const_iterator(last, last, 0);
}

}  // namespace velmora
