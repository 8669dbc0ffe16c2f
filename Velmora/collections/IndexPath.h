#pragma once
// IndexPath: the position of a row in a sectioned list, (row, section), as a table view
// addresses it. The row lists of FetchedResultListDiff are made of these.
//
// A plain value type: copy it freely from any thread.
//
//   IndexPath path{.row = 3, .section = 1};
//   std::set<IndexPath> ordered{path};  // by section, then row
//   fmt::print("{}\n", path.description());  // [3, 1]

#include <compare>
#include <cstddef>
#include <functional>
#include <string>

namespace velmora {

struct IndexPath {
    std::size_t row = 0;
    std::size_t section = 0;

    bool operator==(const IndexPath&) const = default;
    // Section first, as rows are laid out on screen.
    std::strong_ordering operator<=>(const IndexPath& other) const {
        if (const auto order = section <=> other.section; order != 0) {
            return order;
        }
        return row <=> other.row;
    }
    // "[row, section]", the pair form `velmora diff` prints.
    std::string description() const {
        return "[" + std::to_string(row) + ", " + std::to_string(section) + "]";
    }
};

}  // namespace velmora

template <>
struct std::hash<velmora::IndexPath> {
    std::size_t operator()(const velmora::IndexPath& path) const {
        return std::hash<std::size_t>{}(path.row) * 31u + std::hash<std::size_t>{}(path.section);
    }
};
