#include "Velmora/undo/VLMUndoTask.h"

namespace velmora {

std::string describeUndoTasks(std::span<const VLMUndoTaskRef> tasks) {
    std::string text = "(";
    for (std::size_t i = 0; i < tasks.size(); ++i) {
        text += i == 0 ? "\n    " : ",\n    ";
        text += tasks[i]->description();
    }
    text += "\n)";
    return text;
}

}  // namespace velmora
