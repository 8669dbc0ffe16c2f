#pragma once
// FetchedRecord: a ready-made item for FetchedResultList: a record known by its id, with
// an optional modification date and any other fields, which travel along. Two records are
// equal when their ids are equal (Value equality), whatever their other fields say, so a
// record refetched with new contents matches its old version and a diff with
// findUpdatedRows tells it apart by its date. `velmora diff` reads JSON items into these.
//
// Immutable after construction; may be shared across threads.
//
//   auto task = std::make_shared<FetchedRecord>(Value(42), Date(1700000000),
//                                               Dictionary{{"title", "Groceries"}});
//   list->allFetchedSectionItems()->addObject(Array{Value(task)});

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <typeinfo>
#include <utility>

#include "Velmora/collections/FetchedItemModificationDate.h"
#include "Velmora/platform/foundation/Date.h"
#include "Velmora/platform/foundation/Object.h"
#include "Velmora/platform/foundation/Value.h"

namespace velmora {

class FetchedRecord : public Object, public FetchedItemModificationDate {
  public:
    // fields holds everything else (a dictionary Value, or nil for none).
    FetchedRecord(Value id, std::optional<Date> modified, Value fields = Value())
        : id_(std::move(id)), modified_(modified), fields_(std::move(fields)) {}

    const Value& id() const { return id_; }
    const Value& fields() const { return fields_; }

    std::optional<Date> modificationDateStamp() const override { return modified_; }

    // Records of any class compare by id. Two records of the same class skip the cast,
    // which a diff of large lists asks for on every row.
    bool isEqual(const Object& other) const override {
        const auto* record = typeid(other) == typeid(*this)
                                 ? static_cast<const FetchedRecord*>(&other)
                                 : dynamic_cast<const FetchedRecord*>(&other);
        return record != nullptr && record->id_.isEqual(id_);
    }
    std::size_t hash() const override { return id_.hash(); }
    // The id's description.
    std::string description() const override { return id_.description(); }
    std::string className() const override { return "FetchedRecord"; }
    // "id" and "modificationDateStamp", then the fields.
    Value valueForKey(std::string_view key) const override {
        if (key == "id") {
            return id_;
        }
        if (key == "modificationDateStamp") {
            return modified_ ? Value(*modified_) : Value();
        }
        return fields_[Value(key)];
    }

  private:
    Value id_;
    std::optional<Date> modified_;
    Value fields_;
};

}  // namespace velmora
