// The preview dialog built in code: title, picture, sensitivity label and slider, Cancel and Done; the
// resting delay on a single-shot timer unless the caller hands in its own.
#include "shell/tracegrab/FLTracegrabPreviewViewController.h"

#include <QDialogButtonBox>
#include <QLabel>
#include <QPushButton>
#include <QSlider>
#include <QTimer>
#include <QVBoxLayout>
#include <charconv>
#include <cmath>

#include "imagetoink/qt/TracegrabPicture.h"

namespace velumen {

namespace {

class TimerDelayedCall : public DelayedCall {
  public:
    explicit TimerDelayedCall(QObject* owner) : timer_(new QTimer(owner)) {
        timer_->setSingleShot(true);
        QObject::connect(timer_, &QTimer::timeout, timer_, [this] {
            if (call_) call_();
        });
    }
    void schedule(double seconds, std::function<void()> call) override {
        call_ = std::move(call);
        timer_->start(static_cast<int>(std::lround(seconds * 1000)));
    }
    void cancel() override { timer_->stop(); }

  private:
    QTimer* timer_;
    std::function<void()> call_;
};

}  // namespace

std::unique_ptr<DelayedCall> makeTimerDelayedCall(QObject* owner) {
    return std::make_unique<TimerDelayedCall>(owner);
}

FLTracegrabPreviewViewController::FLTracegrabPreviewViewController(QWidget* parent,
                                                                   std::unique_ptr<DelayedCall> delay)
    : QDialog(parent), delay_(delay ? std::move(delay) : makeTimerDelayedCall(this)) {
    setWindowTitle("Convert To Ink");
    setModal(true);
    auto* layout = new QVBoxLayout(this);
    titleItem_ = new QLabel(this);
    titleItem_->setAlignment(Qt::AlignCenter);
    QFont titleFont = titleItem_->font();
    titleFont.setBold(true);
    titleItem_->setFont(titleFont);
    titleItem_->hide();
    previewImageView_ = new QLabel(this);
    previewImageView_->setAlignment(Qt::AlignCenter);
    previewImageView_->setMinimumSize(320, 240);
    previewImageView_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Ignored);
    thresholdLabel_ = new QLabel(this);
    thresholdSlider_ = new QSlider(Qt::Horizontal, this);
    thresholdSlider_->setRange(static_cast<int>(kMinimumThreshold), static_cast<int>(kMaximumThreshold));
    thresholdSlider_->setValue(static_cast<int>(kInitialThreshold));
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Cancel | QDialogButtonBox::Ok, this);
    buttons->button(QDialogButtonBox::Ok)->setText("Done");
    layout->addWidget(titleItem_);
    layout->addWidget(previewImageView_, 1);
    layout->addWidget(thresholdLabel_);
    layout->addWidget(thresholdSlider_);
    layout->addWidget(buttons);
    connect(buttons, &QDialogButtonBox::accepted, this, [this] { doneTapped(); });
    connect(buttons, &QDialogButtonBox::rejected, this, [this] { cancelTapped(); });
    connect(thresholdSlider_, &QSlider::valueChanged, this, [this] { updateThreshold(); });
    thresholdLabel_->setText(sensitivityText(static_cast<float>(thresholdSlider_->value())));
    resize(640, 560);
}

FLTracegrabPreviewViewController::~FLTracegrabPreviewViewController() {
    delay_->cancel();
}

QString FLTracegrabPreviewViewController::sensitivityText(float value) {
    const double percent = (value - kMinimumThreshold) / (kMaximumThreshold - kMinimumThreshold) * 100.0;
    char buffer[32];
    const auto [end, ec] =
        std::to_chars(buffer, buffer + sizeof buffer, percent, std::chars_format::fixed, 0);
    return QString("Sensitivity: %1%").arg(QString::fromLatin1(buffer, ec == std::errc() ? end - buffer : 0));
}

void FLTracegrabPreviewViewController::setImage(RgbaImage image) {
    tracegrabber_.setImage(std::move(image));
    updatePreviewImage();
}

std::uint8_t FLTracegrabPreviewViewController::threshold() const {
    return static_cast<std::uint8_t>(std::clamp(thresholdSlider_->value(), 0, 255));
}

void FLTracegrabPreviewViewController::setThreshold(std::uint8_t threshold) {
    thresholdSlider_->setValue(threshold);
}

QString FLTracegrabPreviewViewController::titleText() const {
    return titleItem_->text();
}

void FLTracegrabPreviewViewController::setTitleText(const QString& text) {
    titleItem_->setText(text);
    titleItem_->setVisible(!text.isEmpty());
    if (!text.isEmpty()) setWindowTitle(text);
}

void FLTracegrabPreviewViewController::updateThreshold() {
    thresholdLabel_->setText(sensitivityText(static_cast<float>(thresholdSlider_->value())));
    delay_->cancel();
    delay_->schedule(kPreviewDelay, [this] { updatePreviewImage(); });
}

void FLTracegrabPreviewViewController::updatePreviewImage() {
    const std::optional<RgbaImage> preview = tracegrabber_.previewImageWithThreshold(threshold());
    if (!preview) return;
    previewImage_ = qImageFromRgbaImage(*preview);
    ++previewUpdates_;
    showPreviewPixmap();
}

void FLTracegrabPreviewViewController::showPreviewPixmap() {
    if (previewImage_.isNull()) return;
    const QSize room = previewImageView_->size().boundedTo(previewImage_.size());
    previewImageView_->setPixmap(QPixmap::fromImage(
        previewImage_.scaled(room.expandedTo({1, 1}), Qt::KeepAspectRatio, Qt::SmoothTransformation)));
}

void FLTracegrabPreviewViewController::resizeEvent(QResizeEvent* event) {
    QDialog::resizeEvent(event);
    showPreviewPixmap();
}

void FLTracegrabPreviewViewController::cancelTapped() {
    finish(Cancelled);
}
void FLTracegrabPreviewViewController::doneTapped() {
    finish(Done);
}
void FLTracegrabPreviewViewController::reject() {
    finish(Cancelled);
}

void FLTracegrabPreviewViewController::finish(Result result) {
    if (finished_) return;
    finished_ = true;
    delay_->cancel();
    if (result == Done)
        QDialog::accept();
    else
        QDialog::reject();
    if (delegate) delegate(*this, result);
}

}  // namespace velumen
