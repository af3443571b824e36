// The pen palettes: where the user picks a pen type, a width and a colour. `PenPalette` floats beside the
// pen button on a tablet and can be pinned open; `BigPenPalette` covers the editor on a phone. Both read and
// write the global pen tables and palette and tell the editor through their delegates; neither holds any of
// the book. Tapping the colour already selected opens the colour picker on that palette entry.
#pragma once

#include <QPointer>
#include <cstdint>
#include <map>
#include <vector>

#include "ink/KColor.h"
#include "shell/palette/ColorPickerViewController.h"
#include "shell/palette/FloatingPanel.h"
#include "shell/palette/KSliderViewController.h"

class QButtonGroup;
class QLabel;
class QScrollArea;
class QToolButton;

namespace velumen {

class FoliantGlobals;
class PenPalette;
class BigPenPalette;
class ColorSwatchButton;
class PenWidthIndicatorView;
class StepSlider;

class PenPaletteDelegate {
  public:
    virtual ~PenPaletteDelegate() = default;
    virtual void penPaletteDidSelectColor(PenPalette* palette, const KColor& color) = 0;
    virtual void penPaletteDidChangePenType(PenPalette* palette, int penTypeIndex, float width) = 0;
    virtual void penPaletteDidChangePenWidth(PenPalette* palette, float width) = 0;
    virtual void penPaletteDidChangeEraserMode(PenPalette* palette, bool isErasingSelectedColor) = 0;
    virtual void penPaletteDidTapEyeDropper(PenPalette* palette, std::size_t colorIndex) = 0;
    virtual void penPaletteWasPinned(PenPalette* palette, bool isPinned) = 0;
};

class BigPenPaletteDelegate {
  public:
    virtual ~BigPenPaletteDelegate() = default;
    virtual void bigPenPaletteDidSelectColor(BigPenPalette* palette, const KColor& color) = 0;
    virtual void bigPenPaletteDidChangePenType(BigPenPalette* palette, int penTypeIndex, float width) = 0;
    virtual void bigPenPaletteDidChangePenWidth(BigPenPalette* palette, float width) = 0;
    virtual void bigPenPaletteDidChangeEraserMode(BigPenPalette* palette, bool isErasingSelectedColor) = 0;
    virtual void bigPenPaletteDidClose(BigPenPalette* palette) = 0;
};

// What the two palettes share: the pen type control, the colour swatches with their ring, the private copy
// of the widths, the eraser mode and the colour picker on a palette entry.
class PenPaletteBase : public FloatingPanel, protected ColorPickerDelegate {
  public:
    PenPaletteBase(FoliantGlobals& globals, QWidget* host);

    // The palette's own copy of the widths, by pen type index, filled when it opens.
    void setPenWidths(std::vector<float> widths) { _penWidths = std::move(widths); }
    const std::vector<float>& penWidths() const { return _penWidths; }
    // Moves the ring to the palette entry equal to `color`, the page in use first; no entry, no move.
    void setSelectedColor(const KColor& color);
    const KColor& selectedColor() const { return selectedColor_; }
    // The palette entry the ring is on; nothing before one is chosen.
    std::optional<std::size_t> selectedColorIndex() const { return selectedIndex_; }
    void setIsErasingSelectedColor(bool erasing);
    bool isErasingSelectedColor() const { return _isErasingSelectedColor; }
    void setPenTypeIndex(int index);
    int penTypeIndex() const { return penTypeIndex_; }

    // ---- What a user does ----
    // A tap on swatch i: the selected one opens the picker on it, another one becomes the pen's colour.
    void colorTapped(std::size_t index);
    void penTypeChanged(int index);
    void eraserModeTapped();
    // The colour picker, open on the selected entry; null before it first opened.
    ColorPickerViewController* colorPicker() const { return colorPicker_; }
    void showColorPickerPopoverFromButton(QWidget* button);
    // Closes the picker and the slider, whichever is open.
    virtual void dismissPresented();

    ColorSwatchButton* swatch(std::size_t index) const;
    QToolButton* penTypeButton(int index) const;
    QToolButton* eraserModeButton() const { return _eraserModeButton; }
    PenWidthIndicatorView* widthIndicator() const { return indicator_; }
    QLabel* penWidthLabel() const { return _penWidthLabel; }
    // The colour index to colour as the swatches hold them.
    const std::map<std::size_t, KColor>& colorMap() const { return colorMap_; }

  protected:
    // The swatches of the first `count` palette colours, built into `row` at their places.
    void initializeColorButtons(QWidget* row, std::size_t count, int (*xOf)(int));
    void moveRingTo(std::optional<std::size_t> index);
    void updatePenWidthIndicator();
    void penTypeIndexDidChange();
    // The width now shown for the pen type, and the step table's largest.
    float currentWidth() const;
    // Writes a picker's colour into the selected entry of the palette, its swatch and the map.
    void replaceSelectedColor(const KColor& color);
    virtual void updateWidthControls() = 0;
    virtual void reportSelectedColor(const KColor& color) = 0;
    virtual void reportPenType(int index, float width) = 0;
    virtual void reportEraserMode(bool erasing) = 0;
    // A picker change reaches the pen at once (a pinned palette), or only when the picker closes.
    virtual bool appliesPickerChangesLive() const = 0;
    virtual void scrollToSelectedColor() {}
    virtual void recordColorScrollViewPage() {}
    virtual bool hasEyeDropper() const = 0;
    virtual QWidget* ringParent() const = 0;

    void colorPickerColorDidChange(ColorPickerViewController* picker, const KColor& color) override;
    void colorPickerColorWasDismissed(ColorPickerViewController* picker, bool wasDone) override;
    void colorPickerDidTapEyeDropper(ColorPickerViewController* picker) override;

    FoliantGlobals& globals_;
    std::vector<float> _penWidths;
    KColor selectedColor_;
    std::optional<std::size_t> selectedIndex_;
    bool _isErasingSelectedColor = false;
    int penTypeIndex_ = 1;
    std::map<std::size_t, KColor> colorMap_;
    std::vector<ColorSwatchButton*> swatches_;
    QWidget* colorSelectionFrame = nullptr;
    QButtonGroup* penTypeSegmentedControl = nullptr;
    std::vector<QToolButton*> penTypeButtons_;
    QToolButton* _eraserModeButton = nullptr;
    QLabel* _penWidthLabel = nullptr;
    PenWidthIndicatorView* indicator_ = nullptr;
    QPointer<ColorPickerViewController> colorPicker_;
    bool building_ = false;
};

class PenPalette : public PenPaletteBase, private KSliderViewControllerDelegate {
  public:
    PenPalette(FoliantGlobals& globals, QWidget* host);

    PenPaletteDelegate* delegate = nullptr;
    // Widgets whose presses never close the palette (the toolbar, the wrist guard); while pinned the
    // pickers it opens let presses through to them too.
    std::vector<QPointer<QWidget>> passthroughViews;
    void setPassthroughViews(std::vector<QPointer<QWidget>> views);
    void setIsPinned(bool pinned);
    bool isPinned() const { return isPinned_; }

    void pushpinTapped();
    // Opens the width slider, or closes it when open; nothing for the eraser.
    void penWidthTapped();
    KSliderViewController* sliderViewController() const { return sliderViewController_; }
    void dismissPresented() override;

    QToolButton* pushpinButton() const { return pushpinButton_; }
    QToolButton* penWidthButton() const { return _penWidthButton; }
    QScrollArea* colorScrollView() const { return _colorScrollView; }
    QWidget* ring() const { return colorSelectionFrame; }

  private:
    void KSliderViewControllerDidChangeValue(KSliderViewController* slider, double value) override;
    void updateWidthControls() override;
    void updateWidthSlider();
    void reportSelectedColor(const KColor& color) override;
    void reportPenType(int index, float width) override;
    void reportEraserMode(bool erasing) override;
    bool appliesPickerChangesLive() const override { return isPinned_; }
    void scrollToSelectedColor() override;
    void recordColorScrollViewPage() override;
    bool hasEyeDropper() const override { return true; }
    QWidget* ringParent() const override;
    void colorPickerDidTapEyeDropper(ColorPickerViewController* picker) override;
    void applyPassthrough();

    bool isPinned_ = false;
    QToolButton* pushpinButton_ = nullptr;
    QToolButton* _penWidthButton = nullptr;
    QScrollArea* _colorScrollView = nullptr;
    QWidget* colorRow_ = nullptr;
    QPointer<KSliderViewController> sliderViewController_;
};

class BigPenPalette : public PenPaletteBase {
  public:
    // `shorterScreenSide` and `isTabletClass` decide how many colours its row shows.
    BigPenPalette(FoliantGlobals& globals, QWidget* host, bool isTabletClass, double shorterScreenSide);

    BigPenPaletteDelegate* delegate = nullptr;
    int numberOfColors() const { return numberOfColors_; }
    StepSlider* penWidthSlider() const { return _penWidthSlider; }
    QToolButton* doneButton() const { return doneButton_; }
    // Done: tells the delegate, which takes the colour and lets the sheet fade out.
    void doneTapped();

  private:
    void updateWidthControls() override;
    void reportSelectedColor(const KColor& color) override;
    void reportPenType(int index, float width) override;
    void reportEraserMode(bool erasing) override;
    bool appliesPickerChangesLive() const override { return false; }
    bool hasEyeDropper() const override { return false; }
    QWidget* ringParent() const override { return colorPaletteView_; }

    int numberOfColors_ = 4;
    QWidget* colorPaletteView_ = nullptr;
    StepSlider* _penWidthSlider = nullptr;
    QToolButton* doneButton_ = nullptr;
};

}  // namespace velumen
