// Editing a picture: while a page image or the book's master image is being edited, a pointer on its
// frame drags it, one on the grip at its bottom right corner resizes it with its aspect kept, two fingers on
// it pinch it about their midpoint, and a pointer elsewhere switches to the picture under it or ends the
// editing. The gestures write straight into the picture; the whole editing session becomes one undo step
// at its end, against the copy taken when it began. The toolbar's actions (presets, border, grey, opacity)
// are here too, so that the session is tested without a display.
#pragma once

#include <utility>

#include "document/PageInkEditor.h"
#include "input/EditorViewport.h"
#include "input/tools/Tool.h"

namespace velumen {

class ImageEditTool : public Tool {
  public:
    // No side falls under this many page units by a pinch or the grip.
    static constexpr double kMinimumSide = 50;
    // The grip's side in view points, at every zoom.
    static constexpr double kGripSize = 44;

    enum class Gesture { None, Drag, Resize, Dismiss };

    ImageEditTool(PageInkEditor& editor, const EditorViewport& viewport) : editor_(editor), viewport_(viewport) {}

    // ---- The session ----
    // Starts editing (a page image is brought to the front first) and keeps a copy for the undo step. The
    // caller refuses a locked book. A session already running is finished first.
    EditorEffects beginEditingImage(const FoliantImagePtr& image, bool isPageImage);
    // Ends the session: when the picture differs from the copy taken at its start, one undo step restores
    // that copy. Nothing when no session runs.
    EditorEffects finishEditingImage();
    bool isEditing() const { return imageBeingEdited != nullptr; }
    // The picture being edited went away (its page turned, the master image was replaced): the session
    // ends without a step.
    void abandonEditing();

    FoliantImagePtr imageBeingEdited;
    FoliantImagePtr imageBeingEditedPreEditedState;
    Rect imageBeingEditedPreTouchFrame;
    bool isEditingPageImage = false;
    // The grip shows (and can be taken) when above 0.
    double resizeGripAlpha = 1.0;
    // The grip in page units: kGripSize view points centred on the frame's bottom right corner.
    Rect resizeGripRect() const;
    Gesture gesture() const { return gesture_; }
    // The editing ended by a tap beside the picture (the caller hides the toolbar with its animation).
    bool takeDismissed() { return std::exchange(dismissed_, false); }

    // ---- Toolbar actions (each marks a repaint; none records undo on its own) ----
    // Fills the page grown by 20 units on each side, centred: the picture overshoots it.
    EditorEffects imagePresetFullTapped();
    // Fits in the middle quarter of the page, its origin at a quarter of the page.
    EditorEffects imagePresetCenterTapped();
    EditorEffects imageBorderTapped();
    EditorEffects imageGrayscaleTapped();
    // The slider's value in steps of 1/20, within 0.1 to 1.0.
    EditorEffects imageOpacitySliderChanged(double value);
    static double opacityForSliderValue(double value);

    // ---- Tool ----
    EditorEffects begin(const StrokeSample& sample) override;
    EditorEffects move(const StrokeSample& sample) override;
    EditorEffects end(const StrokeSample& sample, bool cancelled) override;
    EditorEffects cancel() override;
    bool beginTwoFingers(Point a, Point b) override;
    EditorEffects moveTwoFingers(Point a, Point b) override;

  private:
    // Another page image lies under the point: the session moves to it.
    bool switchToImageAt(Point canvasPoint, EditorEffects& effects);

    PageInkEditor& editor_;
    const EditorViewport& viewport_;
    Gesture gesture_ = Gesture::None;
    Point touchDown_;
    Point pinchMidpoint_;
    double pinchDistance_ = 0;
    bool dismissed_ = false;
};

}  // namespace velumen
