// A per-page undo stack of closures. Each action records the closure that reverts it while it runs;
// running that closure during an undo records the opposite one on the redo stack, so undo and redo need
// no other bookkeeping.
#pragma once

#include <cstddef>
#include <functional>
#include <vector>

namespace velumen {

class UndoManager {
  public:
    using Action = std::function<void()>;

    UndoManager() = default;
    UndoManager(const UndoManager&) = delete;
    UndoManager& operator=(const UndoManager&) = delete;

    // Records the inverse of the action now running. During an undo it joins the group that becomes the
    // next redo step; during a redo it joins the group that becomes the next undo step; otherwise it
    // joins the open group and empties the redo stack. An empty closure is ignored.
    void registerUndo(Action inverse);

    // Closes the open group, if it holds anything, as one undo step. The owner of the event loop calls
    // this at the end of every event. Ignored while an undo or redo runs: that one forms its own group.
    void endUndoGrouping();

    // Closes the open group, then runs the last undo step, its closures last registered first. What they
    // register becomes one redo step. Ignored when called from inside an undo or redo.
    void undo();
    // The same in the other direction; what the closures register becomes one undo step.
    void redo();

    bool canUndo() const { return !openGroup_.empty() || !undoStack_.empty(); }
    bool canRedo() const { return !redoStack_.empty(); }
    bool isUndoing() const { return undoing_; }
    bool isRedoing() const { return redoing_; }

    // Closed undo steps plus the open group when it holds anything; redo steps.
    std::size_t undoCount() const { return undoStack_.size() + (openGroup_.empty() ? 0 : 1); }
    std::size_t redoCount() const { return redoStack_.size(); }

    // Called whenever the stacks change: a group closed, an undo or redo ran, the stacks were emptied.
    void setCheckpointListener(std::function<void()> listener) { checkpointListener_ = std::move(listener); }
    // Called when a registration opens a new group, so that the owner of the event loop can close it at
    // the end of the present turn, whatever event started the action.
    void setGroupOpenedListener(std::function<void()> listener) { groupOpenedListener_ = std::move(listener); }

    // Empties both stacks and the open group.
    void removeAllActions();

  private:
    using Group = std::vector<Action>;
    void runGroup(std::vector<Group>& from, std::vector<Group>& to, bool& flag);
    void notifyCheckpoint();

    Group openGroup_;
    std::vector<Group> undoStack_;
    std::vector<Group> redoStack_;
    // Collects the registrations of a running undo or redo.
    Group replayGroup_;
    bool undoing_ = false;
    bool redoing_ = false;
    std::function<void()> checkpointListener_;
    std::function<void()> groupOpenedListener_;
};

}  // namespace velumen
