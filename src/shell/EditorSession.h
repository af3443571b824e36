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
#include "input/tools/EyeDropperTool.h"
#include "input/tools/ImageEditTool.h"
#include "input/tools/TextTapTool.h"
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
    EyeDropperTool eyeDropperTool{editor, viewport};
    ImageEditTool imageEditTool{editor, viewport};
    // In front of the pen and the eraser: a tap on a text box opens it.
    TextTapTool drawTapTool{drawTool, editor, viewport};
    TextTapTool eraseTapTool{eraserTool, editor, viewport};
    TouchDispatcher dispatcher{viewport};
    StylusDetector stylusDetector;
    ScreenEdgeSwipes edgeSwipes;
    // A text box is being edited: the keys and buttons of the page (pens, page undo) wait.
    bool isEditingText = false;

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
    // The colour of the next stroke, for the current pen: it also becomes that ink type's own colour.
    void setPenColor(const KColor& color);
    const KColor& currentLineColor() const { return sampler.currentLineColor; }

    // ---- Picking a colour from the page ----
    // From now on a single pointer takes the colour of the ink under it into palette entry `colorIndex`.
    void beginEyeDropping(std::size_t colorIndex);
    // Pointers draw or erase again.
    void endEyeDropping();
    bool isEyeDropPickingColor() const { return isEyeDropPickingColor_; }
    std::size_t eyeDropperColorIndex() const { return eyeDropperColorIndex_; }
    // Takes up what the eyedropper found: over ink, its colour (with its alpha) replaces the palette entry
    // and becomes the pen's colour; over empty paper nothing changes. What the last look found; nothing
    // when the eyedropper did not look since.
    std::optional<EyeDropperTool::Pick> applyEyeDropperPick();

    // ---- Editing a picture ----
    // Starts editing the picture (refused in a locked book); pointers then move and size it.
    EditorEffects beginEditingImage(const FoliantImagePtr& image, bool isPageImage);
    // Ends the session as one undo step; pointers draw again.
    EditorEffects finishEditingImage();
    // The session's picture is no longer shown (a page turn, a new book): it ends without a step.
    void abandonEditingImage();

    // Takes up the settings that input follows (palm rejection, the stylus, swipes, erasing by colour).
    void applySettings();

    // Undo and redo of the current page; nothing during a gesture or in a locked book.
    EditorEffects undo();
    EditorEffects redo();

  private:
    // A single pointer picks a colour while the eyedropper is on, else erases or draws by the pen.
    void updateSinglePointerMode();

    FoliantDataPtr book_;
    bool isEyeDropPickingColor_ = false;
    std::size_t eyeDropperColorIndex_ = 0;
};

}  // namespace velumen
