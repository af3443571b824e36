#include "document/UndoManager.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace velumen {
namespace {

// A value edited only through an action that records its own inverse, as the editor's edits do.
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
    counter.add(1);
    counter.add(10);
    manager.endUndoGrouping();
    manager.endUndoGrouping();  // nothing open: no checkpoint
    EXPECT_EQ(checkpoints, 1);
    counter.add(100);  // undo closes the open group itself

    manager.undo();
    manager.undo();
    EXPECT_EQ(checkpoints, 4);
    manager.undo();  // empty stack: nothing runs
    manager.redo();  // records made during a redo keep the rest of the redo stack
    EXPECT_EQ(counter.value, 11);
    EXPECT_EQ(manager.redoCount(), 1u);
    manager.redo();
    manager.undo();
    manager.undo();
    // Each group runs as one, last registered first, and every replay records fresh inverses.
    EXPECT_EQ(counter.log, (std::vector<int>{1, 10, 100, -100, -10, -1, 1, 10, 100, -100, -10, -1}));

    counter.add(3);  // a new action
    EXPECT_FALSE(manager.canRedo());
    manager.removeAllActions();
    manager.removeAllActions();
    EXPECT_EQ(checkpoints, 9);
    EXPECT_FALSE(manager.canUndo());
}

TEST(UndoManager, IgnoresEmptyClosuresAndUndoFromInsideAnUndo) {
    UndoManager manager;
    manager.registerUndo({});
    EXPECT_FALSE(manager.canUndo());

    Counter counter(manager);
    counter.add(1);
    manager.endUndoGrouping();
    std::string trace;
    manager.registerUndo([&] {
        manager.undo();
        manager.redo();
        manager.registerUndo([&] { trace += "a"; });
        manager.endUndoGrouping();
        manager.registerUndo([&] { trace += manager.isRedoing() ? "b" : "?"; });
    });
    manager.undo();
    EXPECT_EQ(counter.value, 1);  // the inner undo did not reach the older group
    EXPECT_EQ(manager.redoCount(), 1u);
    manager.redo();
    EXPECT_EQ(trace, "ba");
    // Closures that record nothing leave no step behind.
    EXPECT_FALSE(manager.canRedo());
    EXPECT_EQ(manager.undoCount(), 1u);
}

}  // namespace
}  // namespace velumen
