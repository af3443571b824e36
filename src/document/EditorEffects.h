// What an edit or one step of a gesture changed, as a value: the caller merges the effects of everything
// it did for one event and hands them to the editor's owner, which applies them once (one repaint, one
// registered change, one update of the undo buttons), instead of each lower layer calling up on its own.
#pragma once

namespace velumen {

struct EditorEffects {
    // The page must be drawn again at the next display tick.
    bool repaint = false;
    // The shown page's run list is a new object: the display must take it up (and repaint).
    bool inkReplaced = false;
    // The book changed: one change is registered with its document (none on a locked book).
    bool bookChanged = false;
    // The current page's undo stack changed: the undo and redo controls follow it.
    bool undoChanged = false;
    // The page on screen lost its ink under a stroke in progress: that stroke and its snapshot go.
    bool strokeDropped = false;
    // A gesture panned or zoomed the page: the page's map shows where the view is.
    bool viewMoved = false;
    // The page moved under the view (a pinch or the wheel): it is drawn again at once.
    bool pageMoved = false;
    // A gesture ended: the map fades and the overshoot springs back.
    bool gestureEnded = false;
    // A finger was refused because only the stylus draws: the stylus control flashes.
    bool stylusRefused = false;
    // The eyedropper looked at the page: its pick waits for the palette and the pen.
    bool colorPicked = false;
    // A tap without movement landed on a placed object: its editing may begin (the tap drew nothing).
    bool objectTapped = false;
    // A text box of the shown page was added, removed or changed by an edit or an undo: the page's text
    // views are made anew from the model.
    bool textBoxesChanged = false;
    // A pointer tapped a text box: the editor opens the box that the tap tool holds.
    bool textBoxTapped = false;

    EditorEffects& operator|=(const EditorEffects& other) {
        repaint |= other.repaint;
        inkReplaced |= other.inkReplaced;
        bookChanged |= other.bookChanged;
        undoChanged |= other.undoChanged;
        strokeDropped |= other.strokeDropped;
        viewMoved |= other.viewMoved;
        pageMoved |= other.pageMoved;
        gestureEnded |= other.gestureEnded;
        stylusRefused |= other.stylusRefused;
        colorPicked |= other.colorPicked;
        objectTapped |= other.objectTapped;
        textBoxesChanged |= other.textBoxesChanged;
        textBoxTapped |= other.textBoxTapped;
        return *this;
    }
    friend EditorEffects operator|(EditorEffects a, const EditorEffects& b) { return a |= b; }
    friend bool operator==(const EditorEffects&, const EditorEffects&) = default;
    bool any() const { return *this != EditorEffects{}; }

    static EditorEffects repaintOnly() { return {.repaint = true}; }
    static EditorEffects newInk() { return {.repaint = true, .inkReplaced = true}; }
};

}  // namespace velumen
