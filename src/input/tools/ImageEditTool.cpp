#include "input/tools/ImageEditTool.h"

#include <algorithm>
#include <cmath>

#include "objects/ImageGeometry.h"

namespace velumen {

namespace {

bool contains(const Rect& r, Point p) {
    const Rect s = r.standardized();
    return p.x >= s.x && p.x < s.x + s.width && p.y >= s.y && p.y < s.y + s.height;
}

double distance(Point a, Point b) {
    return std::hypot(b.x - a.x, b.y - a.y);
}

}  // namespace

EditorEffects ImageEditTool::beginEditingImage(const FoliantImagePtr& image, bool isPageImage) {
    EditorEffects effects;
    if (!image) return effects;
    if (isEditing()) effects |= finishEditingImage();
    if (isPageImage) effects |= editor_.bringPageImageToFront(image);
    isEditingPageImage = isPageImage;
    imageBeingEdited = image;
    imageBeingEditedPreEditedState = image->copy();
    imageBeingEditedPreTouchFrame = image->frame;
    resizeGripAlpha = 1.0;
    effects.repaint = true;
    return effects;
}

EditorEffects ImageEditTool::finishEditingImage() {
    EditorEffects effects;
    if (!imageBeingEdited) return effects;
    const FoliantImagePtr image = imageBeingEdited;
    const FoliantImagePtr before = imageBeingEditedPreEditedState;
    imageBeingEdited = nullptr;
    imageBeingEditedPreEditedState = nullptr;
    gesture_ = Gesture::None;
    if (before && !image->isEqualToFoliantImage(*before)) {
        // Back to the start, then forward again through the page editor: one step whose inverse is the copy.
        const FoliantImagePtr after = image->copy();
        image->copyFromFoliantImage(*before);
        effects |= editor_.setFoliantImage(image, after);
    }
    effects.repaint = true;
    return effects;
}

void ImageEditTool::abandonEditing() {
    imageBeingEdited = nullptr;
    imageBeingEditedPreEditedState = nullptr;
    gesture_ = Gesture::None;
}

Rect ImageEditTool::resizeGripRect() const {
    if (!imageBeingEdited) return Rect::null();
    const Rect& f = imageBeingEdited->frame;
    const double side = kGripSize / double(viewport_.view.zoomFactor);
    return {f.x + f.width - side / 2, f.y + f.height - side / 2, side, side};
}

EditorEffects ImageEditTool::imagePresetFullTapped() {
    if (!imageBeingEdited) return {};
    const Rect page{-20, -20, kCanvasSize.width + 40, kCanvasSize.height + 40};
    const Rect& f = imageBeingEdited->frame;
    imageBeingEdited->frame = fillRect({f.width, f.height}, page);
    return EditorEffects::repaintOnly();
}

EditorEffects ImageEditTool::imagePresetCenterTapped() {
    if (!imageBeingEdited) return {};
    const Rect& f = imageBeingEdited->frame;
    const Size& c = kCanvasSize;
    imageBeingEdited->frame = fitRect({f.width, f.height}, {c.width / 4, c.height / 4, c.width / 2, c.height / 2});
    return EditorEffects::repaintOnly();
}

EditorEffects ImageEditTool::imageBorderTapped() {
    if (!imageBeingEdited) return {};
    imageBeingEdited->borderStyle = imageBeingEdited->borderStyle ? 0 : 1;
    return EditorEffects::repaintOnly();
}

EditorEffects ImageEditTool::imageGrayscaleTapped() {
    if (!imageBeingEdited) return {};
    imageBeingEdited->filterType = imageBeingEdited->filterType ? 0 : 1;
    return EditorEffects::repaintOnly();
}

double ImageEditTool::opacityForSliderValue(double value) {
    if (!std::isfinite(value)) return 1.0;
    const double stepped = double(int(value * 20)) / 20;
    return std::clamp(stepped, FoliantImage::kLowestAlpha, 1.0);
}

EditorEffects ImageEditTool::imageOpacitySliderChanged(double value) {
    if (!imageBeingEdited) return {};
    imageBeingEdited->alpha = opacityForSliderValue(value);
    return EditorEffects::repaintOnly();
}

bool ImageEditTool::switchToImageAt(Point p, EditorEffects& effects) {
    if (!isEditingPageImage) return false;
    const FoliantImagePtr other = editor_.pageImageAtPoint(p);
    if (!other || other == imageBeingEdited) return false;
    effects |= finishEditingImage();
    effects |= beginEditingImage(other, true);
    return true;
}

EditorEffects ImageEditTool::begin(const StrokeSample& sample) {
    EditorEffects effects;
    gesture_ = Gesture::None;
    if (!imageBeingEdited) return effects;
    const Point p = viewport_.eaglPointFromViewPoint(sample.viewPoint);
    touchDown_ = p;
    imageBeingEditedPreTouchFrame = imageBeingEdited->frame;
    if (resizeGripAlpha > 0 && contains(resizeGripRect(), p)) {
        gesture_ = Gesture::Resize;
    } else if (contains(imageBeingEdited->frame, p)) {
        gesture_ = Gesture::Drag;
    } else if (switchToImageAt(p, effects)) {
        imageBeingEditedPreTouchFrame = imageBeingEdited->frame;
        gesture_ = Gesture::Drag;
    } else if (isEditingPageImage) {
        gesture_ = Gesture::Dismiss;
    }
    return effects;
}

EditorEffects ImageEditTool::move(const StrokeSample& sample) {
    if (!imageBeingEdited) return {};
    const Point p = viewport_.eaglPointFromViewPoint(sample.viewPoint);
    const Rect& f0 = imageBeingEditedPreTouchFrame;
    const double dx = p.x - touchDown_.x, dy = p.y - touchDown_.y;
    if (gesture_ == Gesture::Drag) {
        imageBeingEdited->frame = {f0.x + dx, f0.y + dy, f0.width, f0.height};
    } else if (gesture_ == Gesture::Resize) {
        if (!(f0.width > 0) || !(f0.height > 0)) return {};
        double r = std::max((dx + f0.width) / f0.width, (dy + f0.height) / f0.height);
        r = std::max(r, kMinimumSide / std::min(f0.width, f0.height));
        imageBeingEdited->frame = {f0.x, f0.y, f0.width * r, f0.height * r};
    } else {
        return {};
    }
    return EditorEffects::repaintOnly();
}

EditorEffects ImageEditTool::end(const StrokeSample& sample, bool cancelled) {
    EditorEffects effects;
    if (gesture_ != Gesture::Dismiss) effects |= move(sample);
    if (gesture_ == Gesture::Dismiss && !cancelled) {
        effects |= finishEditingImage();
        dismissed_ = true;
    }
    gesture_ = Gesture::None;
    return effects;
}

EditorEffects ImageEditTool::cancel() {
    // The gesture's change goes back; the session stays.
    if (imageBeingEdited && (gesture_ == Gesture::Drag || gesture_ == Gesture::Resize)) {
        imageBeingEdited->frame = imageBeingEditedPreTouchFrame;
        gesture_ = Gesture::None;
        return EditorEffects::repaintOnly();
    }
    gesture_ = Gesture::None;
    return {};
}

bool ImageEditTool::beginTwoFingers(Point a, Point b) {
    if (!imageBeingEdited) return false;
    EditorEffects ignored;
    const bool inside = contains(imageBeingEdited->frame, a) && contains(imageBeingEdited->frame, b);
    if (!inside) {
        const FoliantImagePtr ia = editor_.pageImageAtPoint(a);
        if (!isEditingPageImage || !ia || ia != editor_.pageImageAtPoint(b) || ia == imageBeingEdited) return false;
        switchToImageAt(a, ignored);
    }
    gesture_ = Gesture::Drag;
    imageBeingEditedPreTouchFrame = imageBeingEdited->frame;
    pinchMidpoint_ = {(a.x + b.x) / 2, (a.y + b.y) / 2};
    pinchDistance_ = distance(a, b);
    return true;
}

EditorEffects ImageEditTool::moveTwoFingers(Point a, Point b) {
    if (!imageBeingEdited || gesture_ != Gesture::Drag) return {};
    const Rect& f0 = imageBeingEditedPreTouchFrame;
    double r = pinchDistance_ > 0 ? distance(a, b) / pinchDistance_ : 1.0;
    if (!std::isfinite(r)) r = 1.0;
    r = std::min(r, double(viewport_.maxZoomFactor));
    const double shortest = std::min(f0.width, f0.height);
    if (shortest > 0) r = std::max(r, kMinimumSide / shortest);
    const Point mid{(a.x + b.x) / 2, (a.y + b.y) / 2};
    // Scaled about the first midpoint, then carried along with the fingers.
    imageBeingEdited->frame = {mid.x + (f0.x - pinchMidpoint_.x) * r, mid.y + (f0.y - pinchMidpoint_.y) * r,
                               f0.width * r, f0.height * r};
    return EditorEffects::repaintOnly();
}

}  // namespace velumen
