#pragma once
// SelectorTable: the target side of recorded calls: a table from selector to method, so
// that a class answers calls by name (SelectorTarget) with two one-line overrides.
//
// Thread safety: build once (a function-local static); then read from any thread.
//
//   static const SelectorTable<Document> kTable{{"setTitle:", [](Document& d, auto args) {
//       d.setTitle(args[0].stringValue()); return Value(); }}};
//   bool respondsToSelector(Selector s) const override { return kTable.responds(s); }

#include <functional>
#include <initializer_list>
#include <span>
#include <stdexcept>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "Velmora/platform/foundation/Selector.h"
#include "Velmora/platform/foundation/Value.h"

namespace velmora {

template <class T>
class SelectorTable {
  public:
    using Method = std::function<Value(T& target, std::span<const Value> arguments)>;

    SelectorTable(std::initializer_list<std::pair<std::string_view, Method>> methods) {
        for (const auto& [name, method] : methods) {
            methods_.emplace(Selector(name), method);
        }
    }

    bool responds(Selector selector) const { return methods_.contains(selector); }

    // Throws std::invalid_argument for a selector the table lacks, and when the call has
    // fewer arguments than the selector names.
    Value perform(T& target, Selector selector, std::span<const Value> arguments) const {
        const auto found = methods_.find(selector);
        if (found == methods_.end()) {
            throw std::invalid_argument("unrecognized selector " + selector.name());
        }
        if (arguments.size() < selector.argumentCount()) {
            throw std::invalid_argument("too few arguments for " + selector.name());
        }
        return found->second(target, arguments);
    }

  private:
    std::unordered_map<Selector, Method> methods_;
};

}  // namespace velmora
