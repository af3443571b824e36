// The editor's state without a widget: the open book, the page editor (every change of a page and its
// undo), the viewport that owns the one view transform, the stroke engine, the tools, the touch dispatcher
// and the values of the settings that input follows. A view draws what it holds and a window offers its
// commands; both sit above it, and it tests without a display.
#pragma once

#include <optional>

#include "document/FoliantData.h"
#include "document/PageInkEditor.h"
#include "ink/Clock.h"
#include "ink/StrokeSampler.h"
#include "input/EditorViewport.h"
#include "input/ScreenEdgeSwipes.h"
#include "input/StylusDetector.h"
#include "input/TouchDispatcher.h"
#include "input/tools/DrawTool.h"
#include "input/tools/EraserTool.h"
#include "shell/FoliantGlobals.h"

namespace velumen {

class EditorSession {
    // First, for the members below that read it.
    const Clock& clock_;

  public:
    EditorSession(FoliantGlobals& globals, const Clock& clock);
    EditorSession(const EditorSession&) = delete;
    EditorSession& operator=(const EditorSession&) = delete;

    FoliantGlobals& globals;
    PageInkEditor editor;
    EditorViewport viewport;
    StrokeSampler sampler{editor, clock_, viewport.view};
    DrawTool drawTool{sampler, editor};
    EraserTool eraserTool{editor, viewport, sampler};
    TouchDispatcher dispatcher{viewport};
    StylusDetector stylusDetector;
    ScreenEdgeSwipes edgeSwipes;

    // Shows the book (or none): a book without pages gets one, a page without an ink list an empty one; a
    // stroke in progress is dropped. The viewport's pan and zoom are laid out by the caller.
    void setBook(FoliantDataPtr book);
    const FoliantDataPtr& book() const { return book_; }
    // The open book is locked against editing.
    bool isBookLocked() const { return book_ && book_->isLocked(); }
    // A touch gesture is running (then undo, pens and locking wait).
    bool isGestureRunning() const { return dispatcher.touchMode != TouchMode::None; }

    // The pen by its index (0 eraser, 1 fountain pen, 2 pencil, 3 brush, 4 hilighter) at `width`, or at its
    // last width when none is given; a single pointer then erases or draws.
    void setPenTypeIndex(int index, std::optional<float> width = std::nullopt);
    // Takes up the settings that input follows (palm rejection, the stylus, swipes, erasing by colour).
    void applySettings();

    // Undo and redo of the current page; nothing during a gesture or in a locked book.
    EditorEffects undo();
    EditorEffects redo();

  private:
    FoliantDataPtr book_;
};

}  // namespace velumen
