// Helpers shared by the result-list suites: lists written as "A:a,b|B:c", their shape read
// back in the same form, and an item that records the state copied into it.
#pragma once

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "Velmora/collections/FetchedItemExtraState.h"
#include "Velmora/collections/FetchedRecord.h"
#include "Velmora/collections/FetchedResultList.h"
#include "Velmora/platform/foundation/Date.h"

namespace velmora::test {

// An item written "a" is the string; "a@5" is a FetchedRecord with id "a" modified at
// Date(5).
inline Value itemOf(std::string_view text) {
    const std::size_t at = text.find('@');
    if (at == std::string_view::npos) {
        return Value(text);
    }
    return Value(std::make_shared<FetchedRecord>(
        Value(text.substr(0, at)), Date(std::stod(std::string(text.substr(at + 1))))));
}

// "A:a,b|B:|C:c" -> sections A, B (empty) and C, items as itemOf reads them.
inline std::shared_ptr<FetchedResultList> listOf(std::string_view shape,
                                                 std::optional<Date> fetched = std::nullopt) {
    auto list = FetchedResultList::create();
    while (!shape.empty()) {
        const std::size_t bar = shape.find('|');
        std::string_view section = shape.substr(0, bar);
        shape = bar == std::string_view::npos ? std::string_view() : shape.substr(bar + 1);
        const std::size_t colon = section.find(':');
        list->allFetchedSections()->addObject(Value(section.substr(0, colon)));
        Array items;
        std::string_view rest =
            colon == std::string_view::npos ? std::string_view() : section.substr(colon + 1);
        while (!rest.empty()) {
            const std::size_t comma = rest.find(',');
            items.push_back(itemOf(rest.substr(0, comma)));
            rest = comma == std::string_view::npos ? std::string_view() : rest.substr(comma + 1);
        }
        list->allFetchedSectionItems()->addObject(Value(std::move(items)));
    }
    list->setTimeOfFetch(fetched);
    return list;
}

// The inverse of listOf: "A:a,b|B:|C:c".
inline std::string shapeOf(FetchedResultList& list) {
    std::string text;
    const auto sections = list.allFetchedSections();
    const auto items = list.allFetchedSectionItems();
    for (std::size_t i = 0; i < sections->count(); ++i) {
        if (i > 0) {
            text += '|';
        }
        text += sections->objectAtIndex(i).description() + ':';
        if (const Array* row = FetchedResultList::itemsOfSection(*items, i)) {
            for (std::size_t r = 0; r < row->size(); ++r) {
                text += (r > 0 ? "," : "") + (*row)[r].description();
            }
        }
    }
    return text;
}

// A record that also takes over transient state from its old version, and can be told
// to throw while doing so.
class StatefulRecord : public FetchedRecord, public FetchedItemExtraState {
  public:
    StatefulRecord(Value id, std::optional<Date> modified, std::string state = "")
        : FetchedRecord(std::move(id), modified), state_(std::move(state)) {}

    void copyExtraStateInformationFromFetchedItem(const Value& old) override {
        if (throws) {
            throw std::runtime_error("state copy failed");
        }
        if (const auto previous = old.asObject<StatefulRecord>()) {
            state_ = previous->state_;
        }
    }
    const std::string& state() const { return state_; }
    bool throws = false;

  private:
    std::string state_;
};

}  // namespace velmora::test
