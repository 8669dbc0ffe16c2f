// Keeping the app alive in the background: one platform task shared by every user of
// the instance-level scheme, counted; and the class-level scheme of BackgroundTask
// records. Both schemes are guarded by bgTaskLock_ (the original's bgTaskLockObject).
#include <cmath>

#include "Velmora/platform/logging/Log.h"
#include "Velmora/services/DispatchHelpers.h"
#include "Velmora/services/VelmoraDAO.h"

namespace velmora {

void VelmoraDAO::startBackgroundTaskIfNeededWithName(const std::string& /*name*/) {
    std::lock_guard lock(bgTaskLock_);
    ++bgTaskRefCount_;
    if (bgTaskIdentifier_ != UIBackgroundTaskInvalid) {
        return;
    }
    bgTaskCreatedDate_ = Date::now();
    std::weak_ptr<DAOLifeline> alive = alive_;
    // The platform task takes the one fixed name whatever its first user called it:
    // it stands for all of them.
    bgTaskIdentifier_ = Application::shared()->beginBackgroundTask("Global BG Task", [alive] {
        const bool live = DAOLifeline::ifAlive(alive, [](VelmoraDAO& dao) {
            Date created;
            {
                std::lock_guard expiryLock(dao.bgTaskLock_);
                created = dao.bgTaskCreatedDate_;
            }
            log::warning("[BACKGROUND TASK] Global BG Task expired after {} seconds",
                         static_cast<long long>(std::floor(-created.timeIntervalSinceNow())));
        });
        // The hop to the main queue is made outside the lifeline: a destructor running on
        // the main thread would otherwise wait for us while we wait for it.
        if (live) {
            runOnMainQueueWithoutDeadlocking([alive] {
                DAOLifeline::ifAlive(
                    alive, [](VelmoraDAO& dao) { dao.endBackgroundTaskIfExistsByForce(true); });
            });
        }
    });
}

void VelmoraDAO::endBackgroundTaskIfExistsByForce(bool force) {
    UIBackgroundTaskIdentifier toEnd = UIBackgroundTaskInvalid;
    {
        std::lock_guard lock(bgTaskLock_);
        const std::int64_t before = bgTaskRefCount_--;
        if ((before == 1 || force) && bgTaskIdentifier_ != UIBackgroundTaskInvalid) {
            toEnd = std::exchange(bgTaskIdentifier_, UIBackgroundTaskInvalid);
        }
    }
    // Ended outside the lock: a host's endBackgroundTask may call back into us.
    if (toEnd != UIBackgroundTaskInvalid) {
        Application::shared()->endBackgroundTask(toEnd);
    }
}

void VelmoraDAO::startAsynchronousBackgroundTaskWithName(const std::string& name) {
    runOnMainQueueWithoutDeadlocking([this, &name] {
        {
            std::lock_guard lock(bgTaskLock_);
            auto record = BackgroundTask::createTaskWithName(name);
            record->taskIdentifier = bgTaskIdentifier_;
            bgTaskMap_.set(Value(name), Value(ObjectRef(std::move(record))));
        }
        startBackgroundTaskIfNeededWithName(name);
    });
}

void VelmoraDAO::endAsynchronousBackgroundTask(const std::string& name) {
    runOnMainQueueWithoutDeadlocking([this, &name] {
        {
            std::lock_guard lock(bgTaskLock_);
            bgTaskMap_.remove(Value(name));
        }
        endBackgroundTaskIfExistsByForce(false);
    });
}

void VelmoraDAO::performBackgroundTaskWithName(std::string name, std::function<void()> taskBlock) {
    runOnMainQueueWithoutDeadlocking([this, &name] { startBackgroundTaskIfNeededWithName(name); });
    std::weak_ptr<DAOLifeline> alive = alive_;
    bgOperationQueue_->addOperation([alive, block = std::move(taskBlock)] {
        if (alive.expired()) {
            return;
        }
        // Ends the task even when the block throws (the operation queue reports it). The
        // hop is async: a destructor on the main thread waits for this operation, so
        // waiting here for the main queue would deadlock.
        struct EndTaskOnExit {
            std::weak_ptr<DAOLifeline> alive;
            ~EndTaskOnExit() {
                runAsyncOnMainQueue([alive = alive] {
                    DAOLifeline::ifAlive(alive, [](VelmoraDAO& dao) {
                        dao.endBackgroundTaskIfExistsByForce(false);
                    });
                });
            }
        } endTask{alive};
        if (block) {
            block();
        }
    });
}

UIBackgroundTaskIdentifier VelmoraDAO::bgTaskIdentifier() const {
    std::lock_guard lock(bgTaskLock_);
    return bgTaskIdentifier_;
}

std::int64_t VelmoraDAO::bgTaskRefCount() const {
    std::lock_guard lock(bgTaskLock_);
    return bgTaskRefCount_;
}

std::vector<std::string> VelmoraDAO::bgTaskNames() const {
    std::lock_guard lock(bgTaskLock_);
    std::vector<std::string> names;
    for (std::size_t i = 0; i < bgTaskMap_.size(); ++i) {
        if (const std::string* name = bgTaskMap_.entryAt(i).key.asString()) {
            names.push_back(*name);
        }
    }
    return names;
}

std::shared_ptr<BackgroundTask> VelmoraDAO::beginBackgroundUpdateTaskWithName(std::string name) {
    VelmoraDAO& dao = getSharedInstance();
    auto task = BackgroundTask::createTaskWithName(name);
    std::lock_guard lock(dao.bgTaskLock_);
    if (dao.globalBackgroundTaskIdentifier_ == UIBackgroundTaskInvalid) {
        const std::string uuid = task->taskUUID;
        // Begun under the lock: the headless application never calls the handler from
        // within beginBackgroundTask, and a host must not either.
        dao.globalBackgroundTaskIdentifier_ =
            Application::shared()->beginBackgroundTask(name, [name, uuid] {
                log::warning(
                    "[BACKGROUND TASK] Task '{}' has expired (UUID: {}), will try and end cleanly",
                    name, uuid);
                VelmoraDAO& owner = getSharedInstance();
                UIBackgroundTaskIdentifier identifier = UIBackgroundTaskInvalid;
                {
                    std::lock_guard expiryLock(owner.bgTaskLock_);
                    identifier = owner.globalBackgroundTaskIdentifier_;
                    owner.globalBackgroundTaskRefCount_ = 0;
                    owner.globalBackgroundTaskIdentifier_ = UIBackgroundTaskInvalid;
                }
                Application::shared()->endBackgroundTask(identifier);
            });
    }
    task->taskIdentifier = dao.globalBackgroundTaskIdentifier_;
    ++dao.globalBackgroundTaskRefCount_;
    return task;
}

void VelmoraDAO::endBackgroundUpdateTask(const std::shared_ptr<BackgroundTask>& task) {
    if (!task) {
        return;
    }
    VelmoraDAO& dao = getSharedInstance();
    UIBackgroundTaskIdentifier toEnd = UIBackgroundTaskInvalid;
    {
        std::lock_guard lock(dao.bgTaskLock_);
        task->taskHasFinished = true;
        if (dao.globalBackgroundTaskIdentifier_ == UIBackgroundTaskInvalid) {
            return;
        }
        if (--dao.globalBackgroundTaskRefCount_ < 1) {
            log::info("[BACKGROUND TASK] All tasks have ended");
            toEnd = std::exchange(dao.globalBackgroundTaskIdentifier_, UIBackgroundTaskInvalid);
        } else {
            log::info("[BACKGROUND TASK] Number of tasks still running: {}",
                      static_cast<unsigned long>(dao.globalBackgroundTaskRefCount_));
        }
    }
    if (toEnd != UIBackgroundTaskInvalid) {
        Application::shared()->endBackgroundTask(toEnd);
    }
}

std::int64_t VelmoraDAO::globalBackgroundTaskRefCount() const {
    std::lock_guard lock(bgTaskLock_);
    return globalBackgroundTaskRefCount_;
}

UIBackgroundTaskIdentifier VelmoraDAO::globalBackgroundTaskIdentifier() const {
    std::lock_guard lock(bgTaskLock_);
    return globalBackgroundTaskIdentifier_;
}

}  // namespace velmora
