#pragma once
// AbilityLookup: "does this item have ability A?" (a dynamic_cast to an interface) asked
// of every item of a diff without paying a cross-cast per item.
//
// Items of one list are nearly always of one class. The lookup remembers, per most-derived
// type, where the interface lies relative to the Object part (or that it is absent); for a
// given complete type that offset is fixed by its layout, so later items of the type are
// answered with a type comparison and an address adjustment. A type it has not seen is
// asked through dynamic_cast once.
//
// Not synchronised: one lookup per diff run.
//
//   AbilityLookup<FetchedItemModificationDate> dates;
//   if (auto* dated = dates.of(item)) { use(dated->modificationDateStamp()); }

#include <cstddef>
#include <typeinfo>
#include <vector>

#include "Velmora/platform/foundation/Value.h"

namespace velmora {

template <class Ability>
class AbilityLookup {
  public:
    // The item's Ability, or nullptr when it is not an Object or lacks the ability.
    Ability* of(const Value& item) {
        const ObjectRef object = item.asObject();
        return object ? of(*object) : nullptr;
    }

    Ability* of(Object& object) {
        const std::type_info& type = typeid(object);
        for (const Known& known : known_) {
            // Addresses first: type_info's == may compare names, which costs a strcmp.
            if (known.type == &type || *known.type == type) {
                return known.present ? at(object, known.offset) : nullptr;
            }
        }
        Ability* ability = dynamic_cast<Ability*>(&object);
        const std::ptrdiff_t offset =
            ability == nullptr
                ? 0
                : reinterpret_cast<const char*>(ability) - reinterpret_cast<const char*>(&object);
        known_.push_back({&type, ability != nullptr, offset});
        return ability;
    }

  private:
    struct Known {
        const std::type_info* type;
        bool present;
        std::ptrdiff_t offset;  // from the Object part to the Ability part
    };

    static Ability* at(Object& object, std::ptrdiff_t offset) {
        return reinterpret_cast<Ability*>(reinterpret_cast<char*>(&object) + offset);
    }

    std::vector<Known> known_;
};

}  // namespace velmora
