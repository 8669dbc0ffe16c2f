#include "Velmora/services/BackgroundTask.h"

#include <functional>

#include <fmt/format.h>

#include "Velmora/platform/foundation/RandomUUID.h"

namespace velmora {
namespace {

std::shared_ptr<BackgroundTask> makeTask(std::string uuid, std::string name) {
    auto task = std::make_shared<BackgroundTask>();
    task->taskUUID = std::move(uuid);
    task->taskName = std::move(name);
    task->taskCreationDate = Date::now();
    return task;
}

std::string newTaskUUID() {
    return formatUUID(randomUUIDBytes(), UUIDStyle::kCompactLowerCase);
}

}  // namespace

std::shared_ptr<BackgroundTask> BackgroundTask::createTaskWithName(std::string name) {
    return makeTask(newTaskUUID(), std::move(name));
}

std::shared_ptr<BackgroundTask> BackgroundTask::createTaskWithUUID(std::string uuid) {
    return makeTask(std::move(uuid), {});
}

std::shared_ptr<BackgroundTask> BackgroundTask::createTask() {
    return makeTask(newTaskUUID(), {});
}

bool BackgroundTask::isEqual(const Object& other) const {
    if (&other == this) {
        return true;
    }
    const auto* task = dynamic_cast<const BackgroundTask*>(&other);
    return task != nullptr && task->taskUUID == taskUUID;
}

std::size_t BackgroundTask::hash() const {
    return std::hash<std::string>{}(taskUUID);
}

std::string BackgroundTask::description() const {
    // An unnamed task prints its name as a nil object prints: "(null)".
    return fmt::format("{} [HasFinished: {}, Ident: {}, UUDI: {}, Created: {}]",
                       taskName.empty() ? "(null)" : taskName, taskHasFinished ? 1 : 0,
                       taskIdentifier, taskUUID, taskCreationDate.description());
}

}  // namespace velmora
