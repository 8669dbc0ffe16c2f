// Helpers shared by the NSMutableLockArray suites: a counting delegate, arrays written as
// "A,B,C", and an Object that answers selectors for the sorting and perform tests.
#pragma once

#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>

#include "Velmora/collections/NSMutableLockArray.h"

namespace velmora {

// Readable failure messages for Values (found by argument-dependent lookup).
inline void PrintTo(const Value& value, std::ostream* out) {
    *out << value.description();
}

namespace test {

class CountingDelegate : public NSMutableLockArrayModified {
  public:
    void lockedArrayModified() override {
        ++calls;
        if (onCall) {
            onCall();
        }
    }
    int calls = 0;
    std::function<void()> onCall;
};

// "A,B,C" -> three separate string Values.
inline Array strings(std::string_view list) {
    Array result;
    while (!list.empty()) {
        const std::size_t comma = list.find(',');
        result.emplace_back(list.substr(0, comma));
        list = comma == std::string_view::npos ? std::string_view() : list.substr(comma + 1);
    }
    return result;
}

inline std::string joined(const Array& array) {
    std::string text;
    for (const Value& v : array) {
        if (!text.empty()) {
            text += ',';
        }
        text += v.stringValue();
    }
    return text;
}

inline std::string joined(const NSMutableLockArray& array) {
    return joined(array.arrayReadonly());
}

struct Tracked {
    std::shared_ptr<NSMutableLockArray> array;
    std::shared_ptr<CountingDelegate> delegate;
};

inline Tracked tracked(std::string_view initial) {
    Tracked t{std::make_shared<NSMutableLockArray>(strings(initial)),
              std::make_shared<CountingDelegate>()};
    t.array->setModificationDelegate(t.delegate);
    return t;
}

// An Object that answers a few selectors, for sorting and perform tests.
class Ranked : public Object, public SelectorTarget {
  public:
    Ranked(int rank, std::string name) : rank_(rank), name_(std::move(name)) {}

    bool respondsToSelector(Selector selector) const override {
        return selector == compareByRank() || selector == bump() || selector == bumpBy();
    }
    Value performSelector(Selector selector, std::span<const Value> arguments) override {
        if (selector == compareByRank()) {
            const auto other = arguments[0].asObject<Ranked>();
            const int otherRank = other ? other->rank_ : 0;
            return Value(rank_ < otherRank ? -1 : (rank_ > otherRank ? 1 : 0));
        }
        bumps_ += selector == bumpBy() ? static_cast<int>(arguments[0].integerValue()) : 1;
        return {};
    }
    std::string description() const override { return name_; }
    Value valueForKey(std::string_view key) const override {
        return key == "rank" ? Value(rank_) : Value();
    }

    static Selector compareByRank() { return Selector("compareByRank:"); }
    static Selector bump() { return Selector("bump"); }
    static Selector bumpBy() { return Selector("bumpBy:"); }
    int bumps() const { return bumps_; }

  private:
    int rank_;
    std::string name_;
    int bumps_ = 0;
};

}  // namespace test
}  // namespace velmora
