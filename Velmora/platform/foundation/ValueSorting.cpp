#include "Velmora/platform/foundation/ValueSorting.h"

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <optional>
#include <vector>

#include <unicode/stringoptions.h>
#include <unicode/unistr.h>

namespace velmora {
namespace {

ComparisonResult toResult(std::int64_t order) {
    return order < 0 ? ComparisonResult::Ascending
                     : (order > 0 ? ComparisonResult::Descending : ComparisonResult::Same);
}

ComparisonResult reversed(ComparisonResult result) {
    return static_cast<ComparisonResult>(-static_cast<int>(result));
}

std::vector<std::size_t> identityOrder(std::size_t count) {
    std::vector<std::size_t> order(count);
    std::iota(order.begin(), order.end(), std::size_t{0});
    return order;
}

// Reorders values to order (a permutation of its indexes).
void applyOrder(Array& values, const std::vector<std::size_t>& order) {
    Array sorted;
    sorted.reserve(values.size());
    for (const std::size_t index : order) {
        sorted.push_back(std::move(values[index]));
    }
    values.swap(sorted);
}

// Full case folding, then code unit order (what icu::UnicodeString::caseCompare does),
// with each string folded once rather than once per comparison.
void sortCaseInsensitively(Array& values) {
    std::vector<std::optional<icu::UnicodeString>> folded(values.size());
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (const std::string* text = values[i].asString()) {
            folded[i] = icu::UnicodeString::fromUTF8(
                            icu::StringPiece(text->data(), static_cast<int32_t>(text->size())))
                            .foldCase(U_FOLD_CASE_DEFAULT);
        }
    }
    std::vector<std::size_t> order = identityOrder(values.size());
    std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
        if (folded[a] && folded[b]) {
            return folded[a]->compare(*folded[b]) < 0;
        }
        return values[a].compare(values[b]) == ComparisonResult::Ascending;
    });
    applyOrder(values, order);
}

// The order a selector other than "compare:" gives: asked of whichever element responds.
ComparisonResult compareBySelector(const Value& a, const Value& b, Selector selector) {
    const auto responder = [&](const Value& value) -> SelectorTarget* {
        const ObjectRef object = value.asObject();
        auto* target = dynamic_cast<SelectorTarget*>(object.get());
        return target != nullptr && target->respondsToSelector(selector) ? target : nullptr;
    };
    if (SelectorTarget* target = responder(a)) {
        const Value argument[] = {b};
        return toResult(target->performSelector(selector, argument).integerValue());
    }
    if (SelectorTarget* target = responder(b)) {
        const Value argument[] = {a};
        return reversed(toResult(target->performSelector(selector, argument).integerValue()));
    }
    return ComparisonResult::Same;
}

}  // namespace

void sortValuesUsingSelector(Array& values, Selector comparator) {
    static const Selector kCompare("compare:");
    static const Selector kCaseInsensitiveCompare("caseInsensitiveCompare:");
    if (comparator == kCompare) {
        std::stable_sort(values.begin(), values.end(), [](const Value& a, const Value& b) {
            return a.compare(b) == ComparisonResult::Ascending;
        });
    } else if (comparator == kCaseInsensitiveCompare) {
        sortCaseInsensitively(values);
    } else {
        std::stable_sort(values.begin(), values.end(), [&](const Value& a, const Value& b) {
            return compareBySelector(a, b, comparator) == ComparisonResult::Ascending;
        });
    }
}

void sortValuesUsingDescriptors(Array& values, std::span<const SortDescriptor> descriptors) {
    if (descriptors.empty() || values.size() < 2) {
        return;
    }
    // Each element's values are read once (key paths are not free), then compared.
    std::vector<std::vector<Value>> keys(descriptors.size());
    for (std::size_t d = 0; d < descriptors.size(); ++d) {
        keys[d].reserve(values.size());
        for (const Value& element : values) {
            keys[d].push_back(sortValue(element, descriptors[d]));
        }
    }
    std::vector<std::size_t> order = identityOrder(values.size());
    std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
        for (std::size_t d = 0; d < descriptors.size(); ++d) {
            const ComparisonResult result =
                compareSortValues(keys[d][a], keys[d][b], descriptors[d]);
            if (result != ComparisonResult::Same) {
                return result == ComparisonResult::Ascending;
            }
        }
        return false;
    });
    applyOrder(values, order);
}

void sortValuesUsingComparator(Array& values, const ValueComparator& comparator) {
    if (!comparator) {
        return;
    }
    std::stable_sort(values.begin(), values.end(), [&](const Value& a, const Value& b) {
        return comparator(a, b) == ComparisonResult::Ascending;
    });
}

}  // namespace velmora
