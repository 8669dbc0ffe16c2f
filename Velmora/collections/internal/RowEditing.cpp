#include "Velmora/collections/internal/RowEditing.h"

#include <fmt/format.h>

namespace velmora {

void eraseRows(Array& items, const std::vector<std::size_t>& rows) {
    if (rows.empty()) {
        return;
    }
    std::size_t write = rows.front();
    std::size_t next = 0;
    for (std::size_t read = rows.front(); read < items.size(); ++read) {
        if (next < rows.size() && rows[next] == read) {
            ++next;
            continue;
        }
        items[write++] = std::move(items[read]);
    }
    if (write < items.size()) {
        items.resize(write);
    }
}

void insertRows(Array& items, const std::vector<std::pair<std::size_t, Value>>& rowsAndValues) {
    if (rowsAndValues.empty()) {
        return;
    }
    Array merged;
    merged.reserve(items.size() + rowsAndValues.size());
    auto old = items.begin();
    for (const auto& [row, value] : rowsAndValues) {
        while (merged.size() < row && old != items.end()) {
            merged.push_back(std::move(*old++));
        }
        if (merged.size() == row) {
            merged.push_back(value);
        } else {
            merged.insert(merged.end(), std::make_move_iterator(old),
                          std::make_move_iterator(items.end()));
            old = items.end();
            merged.push_back(value);
        }
    }
    merged.insert(merged.end(), std::make_move_iterator(old), std::make_move_iterator(items.end()));
    items.swap(merged);
}

std::string describeIndexSet(const IndexSet& indexes) {
    std::string runs;
    for (const Range run : indexes.ranges()) {
        if (!runs.empty()) {
            runs += ' ';
        }
        runs += run.length == 1 ? fmt::format("{}", run.location)
                                : fmt::format("{}-{}", run.location, run.end() - 1);
    }
    return fmt::format("[number of indexes: {} (in {} ranges), indexes: ({})]", indexes.count(),
                       indexes.ranges().size(), runs);
}

}  // namespace velmora
