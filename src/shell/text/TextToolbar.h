// The text toolbar of the edited box and its pickers: the font family picker (common families first, then
// every family), the style picker of a family's faces, the size buttons along the ladder with a slider for
// any size, the alignment button, the text colour picker (text or background, eight swatches from the pen
// colours, opacity in steps of 5 %, and the colour picker without opacity and eyedropper to redefine a
// swatch), the favourite style menu and Done. Pickers own no document state: they tell the text editor,
// which changes the live view and the model alike. Nothing here takes the keyboard focus from the box.
#pragma once

#include <QMenu>
#include <QPointer>
#include <QWidget>
#include <optional>

#include "ink/KColor.h"
#include "objects/FoliantTextBox.h"
#include "shell/palette/ColorPickerViewController.h"
#include "shell/palette/FloatingPanel.h"
#include "shell/palette/KSliderViewController.h"

class QListWidget;
class QLabel;
class QMenu;
class QSlider;
class QToolButton;

namespace velumen {

class FoliantGlobals;
class TextBoxEditor;

// The family picker: two sections, "Common Fonts" and "All Fonts"; a family this machine lacks is put at
// the top of all fonts so that it shows selected.
class FLFontPickerViewController : public FloatingPanel {
  public:
    explicit FLFontPickerViewController(QWidget* host);
    void setFontName(const QString& family);
    QString fontName() const { return fontName_; }
    QListWidget* tableView() const { return table_; }
    std::function<void(const QString& family)> didSelectFontWithName;

  private:
    QListWidget* table_ = nullptr;
    QString fontName_;
};

// The faces of one family, by their style names; a family without faces shows the default family's.
class FLFontStylePickerViewController : public FloatingPanel {
  public:
    explicit FLFontStylePickerViewController(QWidget* host);
    void setFontFamilyName(const QString& family);
    // Selects the face; a face not among them selects the first.
    void setFontName(const std::string& fontName);
    const std::vector<std::string>& fontNames() const { return fontNames_; }
    QListWidget* tableView() const { return table_; }
    std::function<void(const std::string& fontName)> didSelectFontWithName;

  private:
    QListWidget* table_ = nullptr;
    std::vector<std::string> fontNames_;
};

// Text and background colours of the edited box.
class FLTextColorViewController : public FloatingPanel, public ColorPickerDelegate {
  public:
    static constexpr int kMaxSwatches = 8;
    // Where the selection ring waits when no swatch holds the colour.
    static constexpr QPoint kRingParked{-100, 50};

    FLTextColorViewController(FoliantGlobals& globals, QWidget* host);
    ~FLTextColorViewController() override;
    void setColors(const KColor& foreground, const KColor& background);
    // 0 text colour, 1 background colour.
    void selectionModeChanged(int mode);
    int selectionMode() const { return selectionMode_; }
    // A tap on swatch `index`.
    void colorTapped(int index);
    // Truncated to steps of 1/20 and kept within 0 to 1; the label and the slider follow.
    void setAlpha(double alpha);
    double alpha() const { return alpha_; }
    void opacitySliderChanged(int step);
    KColor selectedColor() const { return selectionMode_ == 0 ? foreground_ : background_; }
    QWidget* ring() const { return ring_; }
    QLabel* opacityLabel() const { return opacityLabel_; }
    std::vector<QToolButton*> swatches() const { return swatches_; }
    ColorPickerViewController* colorPicker() const { return colorPicker_; }

    std::function<void(const KColor&)> didSelectForegroundColor;
    std::function<void(const KColor&)> didSelectBackgroundColor;

    void colorPickerColorDidChange(ColorPickerViewController* picker, const KColor& color) override;
    void colorPickerColorWasDismissed(ColorPickerViewController* picker, bool wasDone) override;
    void colorPickerDidTapEyeDropper(ColorPickerViewController*) override {}

  private:
    void createControls();
    void updateOpacityControls();
    void updateColorSelection();
    void updateSelectedColor(const KColor& color);

    FoliantGlobals& globals_;
    std::vector<KColor> colorIndex_;
    std::vector<QToolButton*> swatches_;
    QWidget* ring_ = nullptr;
    QToolButton* modeButtons_[2] = {nullptr, nullptr};
    QLabel* opacityLabel_ = nullptr;
    QSlider* opacitySlider_ = nullptr;
    QPointer<ColorPickerViewController> colorPicker_;
    std::optional<int> selectedIndex_;
    int selectionMode_ = 0;
    double alpha_ = 1;
    KColor foreground_{0, 0, 0, 1};
    KColor background_{1, 1, 1, 0};
};

class TextToolbar : public QWidget, public KSliderViewControllerDelegate {
  public:
    TextToolbar(TextBoxEditor& editor, FoliantGlobals& globals, QWidget* host);

    void showControlsForTextBox(const FoliantTextBox& box);
    void hideTextControls();
    // The family and style buttons' titles; the style button only for a family of several faces.
    void updateFontControlsWithFont(const KFont& font);
    void updateAlignment(std::int64_t alignment);
    // Closes every open picker.
    void dismissPickers();

    void textFontTapped();
    void textStyleTapped();
    void textColorTapped();
    void textFavoriteTapped();
    void showCustomTextSizeControl();

    QToolButton* fontButton() const { return fontButton_; }
    QToolButton* styleButton() const { return styleButton_; }
    QToolButton* sizeButton() const { return sizeButton_; }
    QToolButton* alignmentButton() const { return alignmentButton_; }
    QToolButton* smallerButton() const { return smallerButton_; }
    QToolButton* largerButton() const { return largerButton_; }
    QToolButton* colorButton() const { return colorButton_; }
    QToolButton* favoriteButton() const { return favoriteButton_; }
    QToolButton* doneButton() const { return doneButton_; }
    FLFontPickerViewController* fontPicker() const { return fontPicker_; }
    FLFontStylePickerViewController* stylePicker() const { return stylePicker_; }
    FLTextColorViewController* colorPicker() const { return colorPicker_; }
    KSliderViewController* sizeSlider() const { return sizeSlider_; }
    QMenu* favoriteMenu() const { return favoriteMenu_; }

    void KSliderViewControllerDidChangeValue(KSliderViewController* slider, double value) override;

  protected:
    // Keeps the bar along the foot of its host as the host is laid out.
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    QToolButton* button(const QString& text, const QString& tip);
    void place();

    TextBoxEditor& editor_;
    FoliantGlobals& globals_;
    QToolButton* fontButton_ = nullptr;
    QToolButton* styleButton_ = nullptr;
    QToolButton* smallerButton_ = nullptr;
    QToolButton* sizeButton_ = nullptr;
    QToolButton* largerButton_ = nullptr;
    QToolButton* alignmentButton_ = nullptr;
    QToolButton* colorButton_ = nullptr;
    QToolButton* favoriteButton_ = nullptr;
    QToolButton* doneButton_ = nullptr;
    QPointer<FLFontPickerViewController> fontPicker_;
    QPointer<FLFontStylePickerViewController> stylePicker_;
    QPointer<FLTextColorViewController> colorPicker_;
    QPointer<KSliderViewController> sizeSlider_;
    QPointer<QMenu> favoriteMenu_;
};

}  // namespace velumen
