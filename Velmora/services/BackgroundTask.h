#pragma once
// BackgroundTask: the record of one user of the class-level background task of
// VelmoraDAO: a name, a random identity (its UUID), when it began, the platform task it
// rides on and whether it has finished. Two records are equal when their UUIDs are.
//
// Thread safety: fields are set by VelmoraDAO under its background-task lock; read them
// from the thread that owns the record.
//
//   std::shared_ptr<BackgroundTask> task = VelmoraDAO::beginBackgroundUpdateTaskWithName("sync");
//   syncEverything();
//   VelmoraDAO::endBackgroundUpdateTask(task);

#include <memory>
#include <string>

#include "Velmora/platform/foundation/Date.h"
#include "Velmora/platform/foundation/Object.h"
#include "Velmora/platform/host/Application.h"

namespace velmora {

class BackgroundTask : public Object {
  public:
    // A new UUID (32 lower-case hexadecimal digits), the name, and now.
    static std::shared_ptr<BackgroundTask> createTaskWithName(std::string name);
    // The given UUID and now; no name.
    static std::shared_ptr<BackgroundTask> createTaskWithUUID(std::string uuid);
    // A new UUID and now; no name.
    static std::shared_ptr<BackgroundTask> createTask();

    bool taskHasFinished = false;
    UIBackgroundTaskIdentifier taskIdentifier = UIBackgroundTaskInvalid;
    std::string taskName;
    std::string taskUUID;
    Date taskCreationDate;

    bool isEqual(const Object& other) const override;
    std::size_t hash() const override;
    // "%@ [HasFinished: %i, Ident: %lu, UUDI: %@, Created: %@]"; "UUDI" is the original
    // spelling, kept because log readers search for it.
    std::string description() const override;
    std::string className() const override { return "BackgroundTask"; }
};

}  // namespace velmora
