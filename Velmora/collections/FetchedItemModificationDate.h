#pragma once
// FetchedItemModificationDate: the ability of an item of a FetchedResultList to say when
// it was last modified. With findUpdatedRows, FetchedResultListDiff reports an item as
// updated when this date is later than the old list's time of fetch. Unlike
// FetchedItemExtraState it is not optional there: every item must provide it, and one
// without it makes such a diff fail (logged, no result).
//
// Thread safety: called on the thread running the diff; must not lock the lists' arrays.
//
//   class Task : public Object, public FetchedItemModificationDate {
//       std::optional<Date> modificationDateStamp() const override { return modified_; }
//   };

#include <optional>

#include "Velmora/platform/foundation/Date.h"

namespace velmora {

class FetchedItemModificationDate {
  public:
    virtual ~FetchedItemModificationDate() = default;
    // Nothing when the item does not know; such an item never counts as updated by date.
    virtual std::optional<Date> modificationDateStamp() const = 0;

  protected:
    FetchedItemModificationDate() = default;
    FetchedItemModificationDate(const FetchedItemModificationDate&) = default;
    FetchedItemModificationDate& operator=(const FetchedItemModificationDate&) = default;
};

}  // namespace velmora
