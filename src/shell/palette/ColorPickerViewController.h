// The colour picker: a map of hue (across) and saturation (down), a brightness bar under it, a chip showing
// the result, a button with its hexadecimal form that opens a dialog to type one, an opacity slider of ten
// fixed steps and an eyedropper button. The last two can be switched off: the text colour pickers use it
// without them. It owns no colour of the document: it tells its delegate each colour it shows.
#pragma once

#include <QImage>
#include <QInputDialog>
#include <QPointer>
#include <QWidget>

#include "ink/KColor.h"
#include "shell/palette/ColorPickerMath.h"
#include "shell/palette/FloatingPanel.h"

class QLabel;
class QPushButton;
class QSlider;
class QToolButton;
class QVariantAnimation;

namespace velumen {

class ColorPickerViewController;

class ColorPickerDelegate {
  public:
    virtual ~ColorPickerDelegate() = default;
    // Every change made in the picker, as it happens.
    virtual void colorPickerColorDidChange(ColorPickerViewController* picker, const KColor& color) = 0;
    // The picker closes: with done, or cancelled (a press outside it cancels too).
    virtual void colorPickerColorWasDismissed(ColorPickerViewController* picker, bool wasDone) = 0;
    virtual void colorPickerDidTapEyeDropper(ColorPickerViewController* picker) = 0;
};

// The brightness bar: black, the colour, the colour at full brightness.
class GradientView : public QWidget {
  public:
    explicit GradientView(QWidget* parent);
    void setupGradientWithColor(const KColor& color);
    // The stops, left to right.
    const std::array<QColor, 3>& stops() const { return stops_; }

  protected:
    void paintEvent(QPaintEvent*) override;

  private:
    std::array<QColor, 3> stops_;
};

class ColorPickerView : public QWidget {
  public:
    explicit ColorPickerView(ColorPickerViewController* controller, QWidget* parent);

    // The colour shown: hue, saturation and brightness at the stepped alpha of the slider.
    KColor getColorShown() const;
    // Takes a colour: its hue, saturation, brightness and alpha, the crosshair, the bar and the slider.
    void setColorShown(const KColor& color);
    // The stepped alpha of the slider now.
    double alpha() const;
    void updateColorChip();
    // A press or drag at a point of this view, as the map or the bar takes it.
    void dispatchTouchEvent(QPointF point, bool began);
    void endTouches();
    void opacitySliderChanged(int sliderPosition);
    void setHasOpacityControl(bool has);
    void setHasEyeDropperControl(bool has);

    double currentHue = 0.5;
    double currentSaturation = 0.5;
    double currentBrightness = 0.5;
    KColor currentColor;
    bool isDraggingCrosshair = false;
    bool isDraggingBar = false;

    // Where things are, in this view's points.
    QRectF colorMapFrame() const { return {10, 10, 300, 140}; }
    QRectF gradientFrame() const { return {10, 160, 300, 28}; }
    QPointF crossHairsCenter() const { return crossHairs_; }
    double brightnessBarX() const { return barX_; }
    QPushButton* colorHexButton() const { return colorHexButton_; }
    QToolButton* eyeDropperButton() const { return _eyeDropperButton; }
    QSlider* opacitySlider() const { return opacitySlider_; }
    QLabel* opacityLabel() const { return opacityLabel_; }
    GradientView* gradientView() const { return gradientView_; }
    // How many times the hue and saturation map was drawn (it is drawn once per size and pixel ratio).
    int colorMapRenders() const { return colorMapRenders_; }

  protected:
    void paintEvent(QPaintEvent*) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

  private:
    void updateHueSatWithMovement(QPointF point);
    void updateBrightnessWithMovement(QPointF point);
    void moveCrossHairs(QPointF to, bool animated);
    void layoutControls();
    const QImage& colorMapImage();
    void reportChange();

    ColorPickerViewController* controller_;
    GradientView* gradientView_ = nullptr;
    QWidget* showColor_ = nullptr;
    QPushButton* colorHexButton_ = nullptr;
    QToolButton* _eyeDropperButton = nullptr;
    QLabel* opacityLabel_ = nullptr;
    QSlider* opacitySlider_ = nullptr;
    QPointF crossHairs_;
    double barX_ = 0;
    QVariantAnimation* crossHairsAnimation_ = nullptr;
    bool hasOpacityControl_ = true;
    QImage colorMap_;
    int colorMapRenders_ = 0;
};

class ColorPickerViewController : public FloatingPanel {
  public:
    explicit ColorPickerViewController(QWidget* host);

    ColorPickerDelegate* delegate = nullptr;
    KColor selectedColor() const { return view_->getColorShown(); }
    void setSelectedColor(const KColor& color) { view_->setColorShown(color); }
    void setHasOpacityControl(bool has);
    void setHasEyeDropperControl(bool has) { view_->setHasEyeDropperControl(has); }
    void cancelTapped();
    void doneTapped();
    // Opens the dialog "Set Hex Color"; "Ok" with six characters or more after cleaning takes the colour.
    void colorHexTapped();
    // What "Ok" of the dialog does with its text.
    void takeHexText(const QString& text);
    QInputDialog* hexDialog() const { return hexDialog_; }

    ColorPickerView* view() const { return view_; }
    // The view reports each change here; the delegate hears it.
    void colorPickerViewDidChange(const KColor& color);
    void eyeDropperTapped();

  private:
    void close(bool done);

    ColorPickerView* view_ = nullptr;
    QPointer<QInputDialog> hexDialog_;
    bool closing_ = false;
};

}  // namespace velumen
