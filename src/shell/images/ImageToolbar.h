// The bar shown while a picture is edited, and the grip at its bottom right corner. A page image gets
// border, grey, "Convert To Ink" and done; the master image gets the two presets, the opacity slider, grey
// and done. The bar holds no logic: its signals go to the editor's picture commands.
#pragma once

#include <QWidget>
#include <functional>

class QLabel;
class QPushButton;
class QSlider;

namespace velumen {

class ImageToolbar : public QWidget {
  public:
    explicit ImageToolbar(QWidget* parent);

    // The items for a master image (presets, opacity) or a page image (border, convert to ink).
    void configure(bool isMasterImage);
    // The slider's position for an alpha of 0.1 to 1.0.
    void setOpacityValue(double alpha);
    // Slides in from above over 0.3 seconds, or shows at once; and away.
    void showAnimated(bool animated);
    void hideAnimated(bool animated);

    QPushButton* presetFullButton = nullptr;
    QPushButton* presetCenterButton = nullptr;
    QLabel* alphaLabel = nullptr;
    QSlider* alphaSlider = nullptr;
    QPushButton* borderButton = nullptr;
    QPushButton* grayscaleButton = nullptr;
    QPushButton* convertToInkButton = nullptr;
    QPushButton* doneButton = nullptr;
};

// The round handle drawn over the picture's bottom right corner; touches pass through it to the page,
// where the editing tool tells the grip from the picture.
class ResizeGrip : public QWidget {
  public:
    explicit ResizeGrip(QWidget* parent);

  protected:
    void paintEvent(QPaintEvent*) override;
};

}  // namespace velumen
