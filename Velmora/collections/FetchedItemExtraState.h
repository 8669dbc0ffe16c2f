#pragma once
// FetchedItemExtraState: the optional ability of a section or item object of a
// FetchedResultList to take over transient state (selection, expansion, cached layout)
// from its counterpart in the previous result. FetchedResultListDiff asks every matched
// new object whether it has this ability (dynamic_cast) and, if so, hands it the old one.
//
// Thread safety: called on the thread running the diff, with the old list's write locks
// held when the diff modifies it; it must not lock the lists' arrays.
//
//   class Task : public Object, public FetchedItemExtraState {
//       void copyExtraStateInformationFromFetchedItem(const Value& old) override;
//   };

namespace velmora {

class Value;

class FetchedItemExtraState {
  public:
    virtual ~FetchedItemExtraState() = default;
    // old is the equal object of the previous result (usually the same kind of object).
    virtual void copyExtraStateInformationFromFetchedItem(const Value& old) = 0;

  protected:
    FetchedItemExtraState() = default;
    FetchedItemExtraState(const FetchedItemExtraState&) = default;
    FetchedItemExtraState& operator=(const FetchedItemExtraState&) = default;
};

}  // namespace velmora
