#pragma once
// LambdaUndoTask: the VLMConcreteUndoTask that VLMUndoManager::registerUndo builds from a
// C++ callable: the callable is kept in the task itself, and called with the target as
// its own type.
//
// Thread safety: none; see VLMUndoManager.
//
//   auto task = std::make_shared<LambdaUndoTask<Document, decltype(restore)>>(
//       document, false, Selector("rename"), restore);

#include <memory>
#include <string>
#include <utility>

#include "Velmora/undo/VLMConcreteUndoTask.h"

namespace velmora {

// REQUIRES: T derives from Object; action(T&) is callable.
template <class T, class F>
class LambdaUndoTask final : public VLMConcreteUndoTask {
  public:
    LambdaUndoTask(const std::shared_ptr<T>& target, bool retained, Selector name, F action)
        : VLMConcreteUndoTask(name, UndoTargetReference(target, retained)),
          action_(std::move(action)) {}

    std::string className() const override { return "VLMConcreteUndoTask"; }

  protected:
    // The target is the object registered, so the cast back to T is exact.
    void call(Object& target) override { action_(static_cast<T&>(target)); }

  private:
    F action_;
};

}  // namespace velmora
