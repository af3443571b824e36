#include "document/UndoManager.h"

#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace velumen {
namespace {

// A value edited only through actions that record their own inverse, as the editor's edits do.
struct Counter {
    explicit Counter(UndoManager& m) : manager(m) {}

    UndoManager& manager;
    int value = 0;
    std::vector<int> log;

    void add(int k) {
        manager.registerUndo([this, k] { add(-k); });
        value += k;
        log.push_back(k);
    }
};

TEST(UndoManager, UndoAndRedoRecordOnTheOppositeStack) {
    UndoManager manager;
    int checkpoints = 0;
    manager.setCheckpointListener([&] { ++checkpoints; });
    Counter counter(manager);
    EXPECT_FALSE(manager.canUndo());
    EXPECT_FALSE(manager.canRedo());

    counter.add(5);
    EXPECT_TRUE(manager.canUndo());  // the open group counts
    EXPECT_EQ(checkpoints, 0);
    manager.endUndoGrouping();
    EXPECT_EQ(checkpoints, 1);
    manager.endUndoGrouping();  // nothing open: no checkpoint
    EXPECT_EQ(checkpoints, 1);
    counter.add(2);
    manager.endUndoGrouping();
    EXPECT_EQ(manager.undoCount(), 2u);

    manager.undo();
    EXPECT_EQ(counter.value, 5);
    EXPECT_EQ(checkpoints, 3);
    EXPECT_TRUE(manager.canRedo());
    manager.undo();
    EXPECT_EQ(counter.value, 0);
    EXPECT_FALSE(manager.canUndo());
    EXPECT_EQ(manager.redoCount(), 2u);
    manager.undo();  // empty stack: nothing runs
    EXPECT_EQ(counter.value, 0);

    manager.redo();
    EXPECT_EQ(counter.value, 5);
    EXPECT_EQ(manager.undoCount(), 1u);
    EXPECT_EQ(manager.redoCount(), 1u);
    manager.redo();
    EXPECT_EQ(counter.value, 7);
    EXPECT_FALSE(manager.canRedo());
    // Round trip once more: the redo recorded fresh inverses.
    manager.undo();
    manager.undo();
    EXPECT_EQ(counter.value, 0);
    EXPECT_EQ(counter.log, (std::vector<int>{5, 2, -2, -5, 5, 2, -2, -5}));
}

TEST(UndoManager, GroupsUndoAsOneAndANewActionClearsRedo) {
    UndoManager manager;
    Counter counter(manager);
    counter.add(1);
    counter.add(10);
    counter.add(100);
    // undo closes the open group itself, then runs it last registered first.
    manager.undo();
    EXPECT_EQ(counter.value, 0);
    EXPECT_EQ(counter.log, (std::vector<int>{1, 10, 100, -100, -10, -1}));
    EXPECT_EQ(manager.redoCount(), 1u);

    manager.redo();  // the undo's three records formed one group
    EXPECT_EQ(counter.value, 111);
    EXPECT_EQ(manager.undoCount(), 1u);

    manager.undo();
    EXPECT_TRUE(manager.canRedo());
    counter.add(3);  // a new action
    EXPECT_FALSE(manager.canRedo());
    manager.redo();
    EXPECT_EQ(counter.value, 3);

    // Records made during a redo go to the undo stack and keep the rest of the redo stack.
    manager.endUndoGrouping();
    counter.add(4);
    manager.endUndoGrouping();
    manager.undo();
    manager.undo();
    EXPECT_EQ(counter.value, 0);
    manager.redo();
    EXPECT_TRUE(manager.canRedo());
    EXPECT_EQ(counter.value, 3);

    int checkpoints = 0;
    manager.setCheckpointListener([&] { ++checkpoints; });
    manager.removeAllActions();
    EXPECT_EQ(checkpoints, 1);
    EXPECT_FALSE(manager.canUndo());
    EXPECT_FALSE(manager.canRedo());
    manager.removeAllActions();
    EXPECT_EQ(checkpoints, 1);
}

TEST(UndoManager, ToleratesSilentActionsReentryAndGroupingDuringUndo) {
    UndoManager manager;
    std::string trace;
    manager.registerUndo({});  // an empty closure is no action
    EXPECT_FALSE(manager.canUndo());

    manager.registerUndo([&] { trace += "s"; });  // reverts without recording a redo
    manager.endUndoGrouping();
    manager.undo();
    EXPECT_EQ(trace, "s");
    EXPECT_FALSE(manager.canUndo());
    EXPECT_FALSE(manager.canRedo());

    // undo or redo from inside an undo is ignored; so is a group boundary.
    Counter counter(manager);
    counter.add(1);
    manager.endUndoGrouping();
    manager.registerUndo([&] {
        EXPECT_TRUE(manager.isUndoing());
        EXPECT_FALSE(manager.isRedoing());
        manager.undo();
        manager.redo();
        manager.registerUndo([&] { trace += "a"; });
        manager.endUndoGrouping();
        manager.registerUndo([&] {
            EXPECT_TRUE(manager.isRedoing());
            trace += "b";
        });
    });
    manager.endUndoGrouping();
    manager.undo();
    EXPECT_FALSE(manager.isUndoing());
    EXPECT_EQ(counter.value, 1);  // the inner undo did not reach the older group
    EXPECT_EQ(manager.undoCount(), 1u);
    EXPECT_EQ(manager.redoCount(), 1u);
    manager.redo();
    EXPECT_EQ(trace, "sba");
    EXPECT_FALSE(manager.canRedo());
    manager.undo();
    EXPECT_EQ(counter.value, 0);
}

}  // namespace
}  // namespace velumen
