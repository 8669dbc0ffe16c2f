#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Velmora/platform/dispatch/RunLoop.h"
#include "Velmora/platform/foundation/InternalInconsistencyException.h"
#include "Velmora/undo/VLMUndoManager.h"

#include "tests/support/TestSupport.h"
#include "tests/undo/UndoTestDocument.h"

namespace velmora {
namespace {

using testing::UndoNotificationRecorder;
using testing::UndoTestDocument;

void endPass() {
    RunLoop::main().runOnePass();
}

TEST(VLMUndoManagerTest, ChangesOfOnePassFormOneGroupThatUndoClosesFirst) {
    VLMUndoManager undo;
    auto doc = UndoTestDocument::make(undo);
    doc->set("title", "a");
    doc->set("title", "b");
    EXPECT_EQ(undo.groupingLevel(), 1);
    EXPECT_EQ(undo.numberOfUndoActions(), 1u);
    undo.undo();
    EXPECT_EQ(doc->fields["title"], "");
    EXPECT_EQ(undo.groupingLevel(), 0);
    EXPECT_EQ(undo.numberOfUndoActions(), 0u);
    ASSERT_TRUE(undo.canRedo());
    undo.redo();
    EXPECT_EQ(doc->fields["title"], "b");
    EXPECT_EQ(undo.changeCount(), 6u);  // two changes, two undone, two redone

    // The end of a pass closes the group that the pass's first change opened.
    doc->set("title", "c");
    endPass();
    EXPECT_EQ(undo.groupingLevel(), 0);
    doc->set("title", "d");
    endPass();
    EXPECT_EQ(undo.numberOfUndoActions(), 3u);  // the redone group, then one per pass
}

TEST(VLMUndoManagerTest, CoalescingKeepsOneTaskPerRepeatedCall) {
    struct Case {
        const char* name;
        std::int32_t kind;
        std::vector<int> targets;  // which of two documents each call goes to
        std::size_t kept;
    };
    const std::vector<Case> cases{
        {"last task, twice in a row", VLMCoalesceLastTask, {0, 0}, 1},
        {"last task, another in between", VLMCoalesceLastTask, {0, 1, 0}, 3},
        {"all tasks, another in between", VLMCoalesceAllMatchingTasks, {0, 1, 0}, 2},
        {"any other kind counts as all", 7, {0, 1, 0, 1}, 2},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        VLMUndoManager undo;
        undo.setGroupsByEvent(false);
        undo.enableUndoTaskCoalescing();
        undo.setCoalescingKind(c.kind);
        auto docs = std::array{UndoTestDocument::make(undo), UndoTestDocument::make(undo)};
        undo.beginUndoGrouping();
        for (int which : c.targets) {
            docs[which]->set("title", "x");
        }
        EXPECT_EQ(undo.currentGroup()->tasks().size(), c.kept);
        undo.endUndoGrouping();
    }
    // reset() deliberately returns coalescing to the last-task kind.
    VLMUndoManager undo;
    undo.setCoalescingKind(VLMCoalesceAllMatchingTasks);
    undo.reset();
    EXPECT_EQ(undo.coalescingKind(), VLMCoalesceLastTask);
}

TEST(VLMUndoManagerTest, LevelsOfUndoDropTheOldestGroupWithANotification) {
    VLMUndoManager undo;
    undo.setGroupsByEvent(false);
    undo.setLevelsOfUndo(3);
    auto doc = UndoTestDocument::make(undo);
    VLMUndoGroupRef first;
    UndoNotificationRecorder recorder(undo);
    for (int i = 0; i < 4; ++i) {
        undo.beginUndoGrouping();
        doc->set("title", std::to_string(i));
        undo.endUndoGrouping();
        if (i == 0) {
            first = undo.peekUndo();
        }
    }
    EXPECT_EQ(undo.numberOfUndoActions(), 3u);
    const auto drop = std::find(recorder.names.begin(), recorder.names.end(),
                                VLMUndoManagerWillDropUndoActionNotification);
    ASSERT_NE(drop, recorder.names.end());
    const Value& info = recorder.userInfos[static_cast<std::size_t>(drop - recorder.names.begin())];
    EXPECT_EQ(info[VLMUndoManagerActionKey].asObject().get(), first.get());

    // Lowering the limit trims both stacks.
    undo.undo();
    undo.undo();
    undo.setLevelsOfUndo(1);
    EXPECT_EQ(undo.numberOfUndoActions(), 1u);
    EXPECT_EQ(undo.numberOfRedoActions(), 1u);
}

TEST(VLMUndoManagerTest, EmptyGroupsAreDiscardedOnlyWhenAsked) {
    for (const bool discard : {true, false}) {
        SCOPED_TRACE(discard);
        VLMUndoManager undo;
        undo.setAutomaticallyDiscardsEmptyGroups(discard);
        UndoNotificationRecorder recorder(undo);
        undo.beginUndoGrouping();
        undo.endUndoGrouping();
        EXPECT_EQ(undo.numberOfUndoActions(), discard ? 0u : 1u);
        const std::vector<std::string> expected =
            discard ? std::vector<std::string>{NSUndoManagerDidOpenUndoGroupNotification,
                                               NSUndoManagerDidCloseUndoGroupNotification}
                    : std::vector<std::string>{NSUndoManagerDidOpenUndoGroupNotification,
                                               NSUndoManagerWillCloseUndoGroupNotification,
                                               NSUndoManagerDidCloseUndoGroupNotification};
        EXPECT_EQ(recorder.withoutCheckpoints(), expected);
    }
}

TEST(VLMUndoManagerTest, SingleGroupModeNestsNothing) {
    VLMUndoManager undo;
    undo.setGroupsByEvent(false);
    auto doc = UndoTestDocument::make(undo);
    undo.beginUndoGroupingUsingSingleGroup();
    doc->set("a", "1");
    undo.beginUndoGroupingUsingSingleGroup();
    EXPECT_EQ(undo.groupingLevel(), 1);
    doc->set("b", "2");
    undo.endUndoGroupingUsingSingleGroup(true);
    EXPECT_EQ(undo.groupingLevel(), 1);
    undo.endUndoGroupingUsingSingleGroup(true);
    EXPECT_EQ(undo.groupingLevel(), 0);
    ASSERT_EQ(undo.numberOfUndoActions(), 1u);
    EXPECT_EQ(undo.peekUndo()->tasks().size(), 2u);
}

TEST(VLMUndoManagerTest, MenuTitlesAndActionNames) {
    VLMUndoManager undo;
    undo.setGroupsByEvent(false);
    EXPECT_EQ(undo.undoMenuTitleForUndoActionName("Rename"), "Nothing To Undo");
    EXPECT_EQ(undo.redoMenuItemTitle(), "Nothing To Redo");
    auto doc = UndoTestDocument::make(undo);
    undo.beginUndoGrouping();
    doc->set("title", "x");
    undo.setActionName("Rename");
    undo.endUndoGrouping();
    EXPECT_EQ(undo.undoMenuItemTitle(), "Undo Rename");
    EXPECT_EQ(undo.undoMenuTitleForUndoActionName(""), "Undo");
    undo.undo();
    EXPECT_EQ(undo.redoActionName(), "Rename");
    EXPECT_EQ(undo.redoMenuItemTitle(), "Redo Rename");
    undo.redo();
    EXPECT_EQ(undo.undoActionName(), "Rename");
}

TEST(VLMUndoManagerTest, ExplodeSplitsTheTopGroupIntoNamedSingleTaskGroups) {
    VLMUndoManager undo;
    undo.setGroupsByEvent(false);
    auto doc = UndoTestDocument::make(undo);
    undo.beginUndoGrouping();
    undo.registerUndoWithTarget(doc, Selector("moveUp:"), Value(1));
    undo.beginUndoGrouping();
    undo.registerUndoWithTarget(doc, Selector("moveDown:"), Value(2));
    undo.endUndoGrouping();
    undo.setActionName("Move");
    undo.endUndoGrouping();
    undo.explodeTopUndoAction();
    ASSERT_EQ(undo.numberOfUndoActions(), 2u);
    EXPECT_EQ(undo.undoStack()[0]->actionName(), "Move (1: moveUp:)");
    EXPECT_EQ(undo.undoStack()[1]->actionName(), "Move (2: <subgroup>)");
    EXPECT_EQ(undo.undoStack()[1]->tasks()[0]->parentGroup(), undo.undoStack()[1].get());
}

TEST(VLMUndoManagerTest, MisuseThrowsWithTheManagersText) {
    struct Case {
        const char* message;
        std::function<void(VLMUndoManager&)> misuse;
    };
    const std::vector<Case> cases{
        {"invalid task was nil in -submitUndoTask:", [](auto& u) { u.submitUndoTask(nullptr); }},
        {"invalid attempt to add undo task with no open group",
         [](auto& u) {
             u.setGroupsByEvent(false);
             u.registerUndoWithTarget(nullptr, Selector("x:"), Value(1));
         }},
        {"invalid (NULL) selector passed to registerUndoWithTarget:selector:object:",
         [](auto& u) { u.registerUndoWithTarget(nullptr, Selector(""), Value()); }},
        {"-forwardInvocation: was passed an invalid nil invocation",
         [](auto& u) { u.forwardInvocation(nullptr); }},
        {"invalid forwardInvocation (proxy) without target",
         [](auto& u) { u.prepareWithInvocationTarget(nullptr).invoke("x"); }},
        {"bizarre internal inconsistency - attempt to set proxy as its own target",
         [](auto& u) {
             auto& proxy = u.prepareWithInvocationTarget(nullptr);
             u.prepareWithInvocationTarget(proxy.shared_from_this());
         }},
        {"inconsistent state - undo enabled when not previously disabled",
         [](auto& u) { u.enableUndoRegistration(); }},
        {"can't undo with a nested group open",
         [](auto& u) {
             u.beginUndoGrouping();
             u.beginUndoGrouping();
             u.undo();
         }},
        {"can't undo - a group is still open",
         [](auto& u) {
             u.beginUndoGrouping();
             u.undoNestedGroup();
         }},
        {"can't undo - already undoing or redoing",
         [](auto& u) {
             u.setUndoManagerState(VLMUndoManagerState::Redoing);
             u.undoNestedGroup();
         }},
        {"can't redo - a group is still open",
         [](auto& u) {
             u.beginUndoGrouping();
             u.redo();
         }},
        {"can't redo - already undoing or redoing",
         [](auto& u) {
             u.setUndoManagerState(VLMUndoManagerState::Undoing);
             u.redo();
         }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.message);
        VLMUndoManager undo;
        try {
            c.misuse(undo);
            ADD_FAILURE() << "no exception";
        } catch (const InternalInconsistencyException& e) {
            EXPECT_STREQ(e.what(), c.message);
        }
    }
}

TEST(VLMUndoManagerTest, RemovingATargetReachesIntoNestedGroups) {
    VLMUndoManager undo;
    undo.setGroupsByEvent(false);
    auto keep = UndoTestDocument::make(undo);
    auto gone = UndoTestDocument::make(undo);
    undo.beginUndoGrouping();  // a group with both targets, one nested group per target
    gone->set("a", "1");
    undo.beginUndoGrouping();
    gone->set("b", "1");
    undo.endUndoGrouping();
    undo.beginUndoGrouping();
    keep->set("c", "1");
    undo.endUndoGrouping();
    undo.endUndoGrouping();
    undo.beginUndoGrouping();  // a group with the removed target only
    gone->set("d", "1");
    undo.endUndoGrouping();
    undo.removeAllActionsWithTarget(gone);
    ASSERT_EQ(undo.numberOfUndoActions(), 1u);
    const auto& tasks = undo.peekUndo()->tasks();
    ASSERT_EQ(tasks.size(), 1u);
    const auto nested = std::dynamic_pointer_cast<VLMUndoGroup>(tasks[0]);
    ASSERT_TRUE(nested);
    EXPECT_TRUE(nested->lastTaskIfConcrete()->isTarget(keep));
}

TEST(VLMUndoManagerTest, UnretainedTargetsMayGoRetainedOnesStay) {
    for (const bool retains : {false, true}) {
        SCOPED_TRACE(retains);
        VLMUndoManager undo;
        undo.setGroupsByEvent(false);
        undo.setRetainsTargets(retains);
        auto doc = UndoTestDocument::make(undo);
        const std::weak_ptr<UndoTestDocument> watch = doc;
        undo.beginUndoGrouping();
        doc->set("title", "x");
        undo.endUndoGrouping();
        doc.reset();
        EXPECT_EQ(watch.expired(), !retains);
        undo.undo();  // a gone target makes the task a no-op
        EXPECT_EQ(undo.numberOfRedoActions(), retains ? 1u : 0u);
        if (retains) {
            EXPECT_EQ(watch.lock()->fields["title"], "");
        }
    }
}

TEST(VLMUndoManagerTest, NotificationOrderAroundUndoAndRedo) {
    VLMUndoManager undo;
    undo.setGroupsByEvent(false);
    undo.setPostVLMNotifications(true);
    auto doc = UndoTestDocument::make(undo);
    undo.beginUndoGrouping();
    doc->set("title", "x");
    undo.endUndoGrouping();
    UndoNotificationRecorder recorder(undo);
    undo.undo();
    const std::vector<std::string> around{
        NSUndoManagerWillUndoChangeNotification,     NSUndoManagerDidOpenUndoGroupNotification,
        VLMUndoManagerDidOpenUndoGroupNotification,  NSUndoManagerDidCloseUndoGroupNotification,
        VLMUndoManagerDidCloseUndoGroupNotification, NSUndoManagerDidUndoChangeNotification};
    EXPECT_EQ(recorder.withoutCheckpoints(), around);
    recorder.names.clear();
    undo.redo();
    const std::vector<std::string> redo{
        NSUndoManagerCheckpointNotification,         NSUndoManagerWillRedoChangeNotification,
        NSUndoManagerDidOpenUndoGroupNotification,   VLMUndoManagerDidOpenUndoGroupNotification,
        NSUndoManagerCheckpointNotification,         NSUndoManagerDidCloseUndoGroupNotification,
        VLMUndoManagerDidCloseUndoGroupNotification, NSUndoManagerDidRedoChangeNotification};
    EXPECT_EQ(recorder.names, redo);
}

TEST(VLMUndoManagerTest, DiscardableGroupIsFlaggedOnClose) {
    VLMUndoManager undo;
    undo.setGroupsByEvent(false);
    auto doc = UndoTestDocument::make(undo);
    UndoNotificationRecorder recorder(undo);
    undo.beginUndoGrouping();
    doc->set("title", "x");
    undo.setActionIsDiscardable(true);
    undo.endUndoGrouping();
    ASSERT_EQ(recorder.names.back(), NSUndoManagerDidCloseUndoGroupNotification);
    EXPECT_TRUE(recorder.userInfos.back()[NSUndoManagerGroupIsDiscardableKey].boolValue());
}

// A recorded call that throws must not leave the manager undoing (which would refuse
// every later undo), nor stop the group's other tasks.
TEST(VLMUndoManagerTest, AThrowingTaskIsRethrownAfterTheStacksSettle) {
    VLMUndoManager undo;
    undo.setGroupsByEvent(false);
    auto doc = UndoTestDocument::make(undo);
    undo.beginUndoGrouping();
    doc->set("title", "x");
    undo.registerUndoWithTarget(doc, Selector("fail"), Value());
    undo.endUndoGrouping();
    EXPECT_THROW(undo.undo(), std::runtime_error);
    EXPECT_EQ(doc->fields["title"], "");  // the task before the failing one still ran
    EXPECT_EQ(undo.undoManagerState(), VLMUndoManagerState::Collecting);
    EXPECT_EQ(undo.numberOfUndoActions(), 0u);
    EXPECT_EQ(undo.numberOfRedoActions(), 1u);
    EXPECT_TRUE(undo.canRedo());
}

TEST(VLMUndoManagerTest, LambdasAreRecordedForTheirTarget) {
    VLMUndoManager undo;
    undo.setGroupsByEvent(false);
    auto doc = UndoTestDocument::make(undo);
    undo.beginUndoGrouping();
    undo.registerUndo(
        doc, [](UndoTestDocument& d) { d.fields["title"] = "undone"; }, "reset");
    undo.endUndoGrouping();
    EXPECT_EQ(undo.peekUndo()->lastTaskIfConcrete()->selector().name(), "reset");
    undo.undo();
    EXPECT_EQ(doc->fields["title"], "undone");
}

// Regression: a group performs over its own list and copies it only when a task changes
// the group (or lets it go) during the perform; the tasks it had when perform began must
// all run, last first, and none added meanwhile.
TEST(VLMUndoManagerTest, AGroupPerformsTheTasksItHadWhenPerformBegan) {
    VLMUndoManager undo;
    auto doc = UndoTestDocument::make(undo);
    auto group = std::make_shared<VLMUndoGroup>();
    std::vector<std::string> ran;
    const auto step = [&](const std::string& name, std::function<void()> then) {
        return VLMConcreteUndoTask::make(
            VLMInvocation(doc, Selector(name), {}, [&ran, name, then](Object&, auto) {
                ran.push_back(name);
                if (then) {
                    then();
                }
            }));
    };
    group->addTask(step("first", {}));
    group->addTask(step("second", {}));
    group->addTask(step("third", [&] {
        group->removeTasksWithTarget(doc, undo);  // every task of the group
        group->addTask(step("added", {}));
        group.reset();  // the last owner: the group goes while it performs
    }));
    VLMUndoGroup* performed = group.get();
    performed->perform();
    EXPECT_EQ(ran, (std::vector<std::string>{"third", "second", "first"}));
}

TEST(VLMUndoManagerTest, ProxyCallsFromAnotherThreadAreRecordedOnTheMainThread) {
    VLMUndoManager undo;
    undo.setGroupsByEvent(false);
    auto doc = UndoTestDocument::make(undo);
    undo.beginUndoGrouping();
    testing::onBackgroundThreadWithMainLoopRunning(
        [&] { undo.prepareWithInvocationTarget(doc).invoke("set:to:", "title", "old"); });
    EXPECT_EQ(undo.currentGroup()->tasks().size(), 1u);
    undo.endUndoGrouping();
}

TEST(VLMUndoManagerTest, ResetAndDestructionCancelTheDeferredClose) {
    VLMUndoManager undo;
    auto doc = UndoTestDocument::make(undo);
    doc->set("title", "x");  // opens the event group and schedules its close
    undo.reset();
    undo.beginUndoGrouping();
    endPass();
    EXPECT_EQ(undo.groupingLevel(), 1);
    {
        auto gone = std::make_unique<VLMUndoManager>();
        UndoTestDocument::make(*gone)->set("title", "x");
    }
    endPass();  // would reach the destroyed manager if its close were still pending
}

// Groups and tasks live in their manager's pool; one handed out may outlive the manager,
// and be let go on another thread.
TEST(VLMUndoManagerTest, AGroupOutlivesItsManagerAndMayGoOnAnyThread) {
    std::shared_ptr<UndoTestDocument> doc;
    VLMUndoGroupRef kept;
    VLMUndoGroupRef elsewhere;
    {
        VLMUndoManager undo;
        undo.setGroupsByEvent(false);
        doc = UndoTestDocument::make(undo);
        for (const char* title : {"one", "two"}) {
            undo.beginUndoGrouping();
            undo.registerUndo(doc, [title](UndoTestDocument& d) { d.fields["title"] = title; });
            undo.endUndoGrouping();
        }
        kept = undo.undoStack()[0];
        elsewhere = undo.undoStack()[1];
    }
    kept->perform();
    EXPECT_EQ(doc->fields["title"], "one");
    testing::runBoundedInTime([&] { elsewhere.reset(); });
    kept.reset();
}

TEST(VLMUndoManagerTest, TheLastUndoOrRedoIsDatedByTheProcessClock) {
    const testing::ScopedPinnedClock clock(Date(1'700'000'000));
    VLMUndoManager undo;
    undo.setGroupsByEvent(false);
    auto doc = UndoTestDocument::make(undo);
    undo.beginUndoGrouping();
    doc->set("title", "x");
    undo.endUndoGrouping();
    EXPECT_FALSE(undo.lastUndoRedoDate());
    undo.undo();
    EXPECT_EQ(undo.lastUndoRedoDate(), Date(1'700'000'000));
    Clock::advanceForTesting(2.5);
    undo.redo();
    EXPECT_EQ(undo.lastUndoRedoDate(), Date(1'700'000'002.5));
}

}  // namespace
}  // namespace velmora
