#pragma once
// VLMInvocation: a recorded call: a selector and its arguments, with the Object that
// should receive it. Sent by asking the target, which must be a SelectorTarget, to
// perform the selector; a call of a C++ lambda carries its body instead, and the selector
// then only names the call (in descriptions, coalescing and exploded group names).
//
// Thread safety: a value type; copies may be used on different threads.
//
//   VLMInvocation call(document, Selector("setTitle:"), {Value("Groceries")});
//   call.invoke();   // document->performSelector(setTitle:, {"Groceries"})
//   VLMInvocation none;  // no target: invoke() does nothing

#include <functional>
#include <span>

#include "Velmora/platform/foundation/Object.h"
#include "Velmora/platform/foundation/Selector.h"
#include "Velmora/platform/foundation/Value.h"

namespace velmora {

class VLMInvocation {
  public:
    // Runs the call on target with the recorded arguments instead of dispatching by name.
    using Body = std::function<void(Object& target, std::span<const Value> arguments)>;

    // The selector with the empty name stands for "no selector".
    static const Selector& nullSelector();

    VLMInvocation() : selector_(nullSelector()) {}
    VLMInvocation(ObjectRef target, Selector selector, Array arguments = {}, Body body = {})
        : target_(std::move(target)),
          selector_(selector),
          arguments_(std::move(arguments)),
          body_(std::move(body)) {}

    const ObjectRef& target() const { return target_; }
    void setTarget(ObjectRef target) { target_ = std::move(target); }
    Selector selector() const { return selector_; }
    const Array& arguments() const { return arguments_; }
    const Body& body() const { return body_; }

    // Calls the recorded method on target; what the method throws propagates. A target
    // that does not answer the selector (and no body) is logged at error level and the
    // call is dropped.
    void invokeWithTarget(Object& target) const;
    // The same on the invocation's own target; nothing when there is none.
    void invoke() const;

  private:
    ObjectRef target_;
    Selector selector_;
    Array arguments_;
    Body body_;
};

}  // namespace velmora
