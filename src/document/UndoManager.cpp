#include "document/UndoManager.h"

#include <utility>

namespace velumen {

void UndoManager::registerUndo(Action inverse) {
    if (!inverse) return;
    if (undoing_ || redoing_) {
        replayGroup_.push_back(std::move(inverse));
        return;
    }
    const bool opens = openGroup_.empty();
    openGroup_.push_back(std::move(inverse));
    redoStack_.clear();
    if (opens && groupOpenedListener_) groupOpenedListener_();
}

void UndoManager::endUndoGrouping() {
    if (undoing_ || redoing_ || openGroup_.empty()) return;
    undoStack_.push_back(std::move(openGroup_));
    openGroup_.clear();
    notifyCheckpoint();
}

void UndoManager::undo() {
    if (undoing_ || redoing_) return;
    endUndoGrouping();
    runGroup(undoStack_, redoStack_, undoing_);
}

void UndoManager::redo() {
    if (undoing_ || redoing_) return;
    endUndoGrouping();
    runGroup(redoStack_, undoStack_, redoing_);
}

void UndoManager::runGroup(std::vector<Group>& from, std::vector<Group>& to, bool& flag) {
    if (from.empty()) return;
    // Taken off the stack before it runs, so that the closures may touch the stacks freely.
    Group group = std::move(from.back());
    from.pop_back();
    replayGroup_.clear();
    flag = true;
    for (auto it = group.rbegin(); it != group.rend(); ++it)
        (*it)();
    flag = false;
    if (!replayGroup_.empty()) to.push_back(std::move(replayGroup_));
    replayGroup_.clear();
    notifyCheckpoint();
}

void UndoManager::removeAllActions() {
    const bool hadAny = !openGroup_.empty() || !undoStack_.empty() || !redoStack_.empty();
    openGroup_.clear();
    undoStack_.clear();
    redoStack_.clear();
    replayGroup_.clear();
    if (hadAny) notifyCheckpoint();
}

void UndoManager::notifyCheckpoint() {
    if (checkpointListener_) {
        // A copy, so that the listener may replace itself.
        auto listener = checkpointListener_;
        listener();
    }
}

}  // namespace velumen
