// The preview of a picture's conversion into ink: the picture as the ink would show it, a sensitivity
// slider, and Cancel and Done. The label follows the slider at once; the preview follows it only once the
// slider has rested for 0.2 seconds, since each preview is a pass over every pixel. The mask is made once,
// when the picture is set.
#pragma once

#include <QDialog>
#include <cstdint>
#include <functional>
#include <memory>

#include "imagetoink/FLTracegrabber.h"

class QLabel;
class QSlider;

namespace velumen {

// One call that runs after a delay unless it is cancelled or replaced first. The dialog uses a QTimer;
// tests drive it by hand.
class DelayedCall {
  public:
    virtual ~DelayedCall() = default;
    // Replaces any pending call.
    virtual void schedule(double seconds, std::function<void()> call) = 0;
    virtual void cancel() = 0;
};

// A delayed call on a single-shot QTimer.
std::unique_ptr<DelayedCall> makeTimerDelayedCall(QObject* owner);

class FLTracegrabPreviewViewController : public QDialog {
  public:
    static constexpr float kMinimumThreshold = 32.0f;
    static constexpr float kMaximumThreshold = 125.0f;
    static constexpr float kInitialThreshold = 116.0f;
    static constexpr double kPreviewDelay = 0.2;
    enum Result { Cancelled = 0, Done = 1 };

    explicit FLTracegrabPreviewViewController(QWidget* parent = nullptr,
                                              std::unique_ptr<DelayedCall> delay = nullptr);
    ~FLTracegrabPreviewViewController() override;

    // The label's text for a slider value: "Sensitivity: %1.0f%%" of its place between the two ends.
    static QString sensitivityText(float value);

    // Hands the picture to the converter (its mask is made now) and shows its preview at once.
    void setImage(RgbaImage image);
    const RgbaImage* image() const { return tracegrabber_.image(); }
    // The slider's value truncated to a byte.
    std::uint8_t threshold() const;
    void setThreshold(std::uint8_t threshold);
    QString titleText() const;
    void setTitleText(const QString& text);
    float targetWidth() const { return tracegrabber_.targetWidth(); }
    void setTargetWidth(float width) { tracegrabber_.setTargetWidth(width); }
    // The ink at the current threshold, its origin at 0, 0; nullptr without a picture.
    KVSPointSetArrayPtr pointSets() { return tracegrabber_.pointSetsWithThreshold(threshold()); }

    // Close the preview and tell the delegate.
    void cancelTapped();
    void doneTapped();
    // Called once with the result when the preview closes by Cancel, Done or the window's close.
    std::function<void(FLTracegrabPreviewViewController& preview, Result result)> delegate;

    // The slider moved: the label now, the preview once the slider rests.
    void updateThreshold();
    // Shows the preview at the current threshold.
    void updatePreviewImage();
    // How many previews were shown (the picture's first included).
    int previewUpdateCount() const { return previewUpdates_; }
    // The preview's pixels as last shown.
    const QImage& previewImage() const { return previewImage_; }

    QSlider* thresholdSlider() const { return thresholdSlider_; }
    QLabel* thresholdLabel() const { return thresholdLabel_; }
    QLabel* previewImageView() const { return previewImageView_; }

  protected:
    void resizeEvent(QResizeEvent* event) override;
    void reject() override;

  private:
    void finish(Result result);
    void showPreviewPixmap();

    FLTracegrabber tracegrabber_;
    std::unique_ptr<DelayedCall> delay_;
    QLabel* titleItem_ = nullptr;
    QLabel* previewImageView_ = nullptr;
    QLabel* thresholdLabel_ = nullptr;
    QSlider* thresholdSlider_ = nullptr;
    QImage previewImage_;
    int previewUpdates_ = 0;
    bool finished_ = false;
};

}  // namespace velumen
