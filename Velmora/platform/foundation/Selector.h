#pragma once
// Selector: an interned method name such as "compare:" or "setTitle:". Two selectors
// with the same name are the same selector, so comparison is one pointer compare.
// SelectorTarget: the ability of an Object to receive calls by selector (recorded undo
// calls, "perform on every element", comparison by a named method).
//
// Thread-safe: selectors may be made and compared on any thread.
//
//   static const Selector kSetTitle("setTitle:");
//   if (auto* target = dynamic_cast<SelectorTarget*>(object.get())) {
//       target->performSelector(kSetTitle, {Value("Groceries")});
//   }

#include <cstddef>
#include <functional>
#include <span>
#include <string>
#include <string_view>

namespace velmora {

class Value;

class Selector {
  public:
    explicit Selector(std::string_view name);

    const std::string& name() const { return *name_; }
    // The number of arguments the method takes: one per ':' in its name.
    std::size_t argumentCount() const;

    bool operator==(const Selector& other) const { return name_ == other.name_; }
    std::size_t hash() const { return std::hash<const void*>{}(name_); }

  private:
    const std::string* name_;  // owned by the process-wide intern table
};

class SelectorTarget {
  public:
    virtual ~SelectorTarget() = default;
    virtual bool respondsToSelector(Selector selector) const = 0;
    // REQUIRES: respondsToSelector(selector). Answers nil for methods without a result.
    virtual Value performSelector(Selector selector, std::span<const Value> arguments) = 0;
};

}  // namespace velmora

template <>
struct std::hash<velmora::Selector> {
    std::size_t operator()(const velmora::Selector& s) const { return s.hash(); }
};
