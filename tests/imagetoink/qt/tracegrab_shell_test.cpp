// The preview dialog and the command that converts a picture file, with real widgets on the offscreen
// platform: the sensitivity label, the 0.2-second rest before a preview (on a hand-driven timer), the
// results, and a picture file becoming one undoable piece of ink on the page in view.
#include <gtest/gtest.h>

#include "WaitFor.h"

#include <QApplication>
#include <QLabel>
#include <QMessageBox>
#include <QPainter>
#include <QSlider>
#include <QTemporaryDir>
#include <QtTest/QTest>

#include "imagetoink/qt/TracegrabPicture.h"
#include "shell/DefaultsStore.h"
#include "shell/EditorSession.h"
#include "shell/tracegrab/FLTracegrabPreviewViewController.h"
#include "shell/tracegrab/Tracegrab.h"

namespace velumen {
namespace {

// A delayed call that runs when the test says so, and counts what it was asked.
class HandDelayedCall : public DelayedCall {
  public:
    struct State {
        std::function<void()> pending;
        double delay = 0;
        int scheduled = 0;
    };
    explicit HandDelayedCall(std::shared_ptr<State> state) : state_(std::move(state)) {}
    void schedule(double seconds, std::function<void()> call) override {
        state_->pending = std::move(call);
        state_->delay = seconds;
        ++state_->scheduled;
    }
    void cancel() override { state_->pending = nullptr; }

  private:
    std::shared_ptr<State> state_;
};

// A grey outline on white, 200 x 150.
QImage drawing() {
    QImage image(200, 150, QImage::Format_RGB32);
    image.fill(Qt::white);
    QPainter painter(&image);
    painter.setPen(QPen(QColor(60, 60, 60), 2));
    painter.drawRect(20, 20, 160, 110);
    return image;
}

TEST(TracegrabPreview, SensitivityLabelSpansTheSlider) {
    const std::vector<std::pair<float, QString>> cases{{32, "Sensitivity: 0%"},
                                                       {116, "Sensitivity: 90%"},
                                                       {125, "Sensitivity: 100%"},
                                                       {78, "Sensitivity: 49%"}};
    for (const auto& [value, text] : cases)
        EXPECT_EQ(FLTracegrabPreviewViewController::sensitivityText(value), text) << value;
    FLTracegrabPreviewViewController preview;
    EXPECT_EQ(preview.thresholdSlider()->minimum(), 32);
    EXPECT_EQ(preview.thresholdSlider()->maximum(), 125);
    EXPECT_EQ(preview.threshold(), 116);
    EXPECT_EQ(preview.thresholdLabel()->text(), "Sensitivity: 90%");
    preview.thresholdSlider()->setValue(32);
    EXPECT_EQ(preview.thresholdLabel()->text(), "Sensitivity: 0%");
    preview.thresholdSlider()->setValue(125);
    EXPECT_EQ(preview.thresholdLabel()->text(), "Sensitivity: 100%");
}

TEST(TracegrabPreview, RepeatedSliderChangesWithinTheRestGiveOnePreview) {
    auto timer = std::make_shared<HandDelayedCall::State>();
    FLTracegrabPreviewViewController preview(nullptr, std::make_unique<HandDelayedCall>(timer));
    preview.setImage(rgbaImageFromQImage(drawing()));
    ASSERT_EQ(preview.previewUpdateCount(), 1);
    // The outline shows at the opening sensitivity.
    EXPECT_EQ(qGray(preview.previewImage().pixel(20, 75)), 60);
    for (int value : {100, 90, 60, 40, 32}) {
        preview.thresholdSlider()->setValue(value);
        EXPECT_EQ(preview.thresholdLabel()->text(),
                  FLTracegrabPreviewViewController::sensitivityText(float(value)));
    }
    EXPECT_EQ(preview.previewUpdateCount(), 1);
    EXPECT_EQ(timer->scheduled, 5);
    EXPECT_DOUBLE_EQ(timer->delay, 0.2);
    ASSERT_TRUE(timer->pending);
    std::exchange(timer->pending, nullptr)();
    EXPECT_EQ(preview.previewUpdateCount(), 2);
    // At the lowest sensitivity a grey line on white no longer counts: the preview is white.
    EXPECT_EQ(preview.previewImage().pixel(20, 75), qRgb(255, 255, 255));
}

TEST(TracegrabPreview, RealTimerShowsThePreviewOnceTheSliderRests) {
    FLTracegrabPreviewViewController preview;
    preview.setImage(rgbaImageFromQImage(drawing()));
    for (int value : {110, 100, 32})
        preview.thresholdSlider()->setValue(value);
    EXPECT_EQ(preview.previewUpdateCount(), 1);
    WAIT_EQ(preview.previewUpdateCount(), 2, 5000);
    EXPECT_EQ(preview.previewImage().pixel(20, 75), qRgb(255, 255, 255));
}

TEST(TracegrabPreview, CancelAndDoneTellTheDelegateOnce) {
    for (const auto result :
         {FLTracegrabPreviewViewController::Cancelled, FLTracegrabPreviewViewController::Done}) {
        FLTracegrabPreviewViewController preview;
        preview.setImage(rgbaImageFromQImage(drawing()));
        preview.setTargetWidth(50);
        preview.setTitleText("Convert To Ink");
        EXPECT_EQ(preview.titleText(), "Convert To Ink");
        std::vector<int> results;
        preview.delegate = [&](FLTracegrabPreviewViewController&,
                               FLTracegrabPreviewViewController::Result r) { results.push_back(r); };
        preview.open();
        if (result == FLTracegrabPreviewViewController::Done)
            preview.doneTapped();
        else
            preview.cancelTapped();
        preview.cancelTapped();
        EXPECT_EQ(results, std::vector<int>{result});
        EXPECT_FALSE(preview.isVisible());
        // The ink at the slider's threshold, scaled to the target width: dots of 2 x 50 / 200.
        const KVSPointSetArrayPtr ink = preview.pointSets();
        ASSERT_GT(ink->count(), 0u);
        EXPECT_EQ(ink->objectAtIndex(0)->constBuffer()[2], 0.5f);
    }
}

TEST(Tracegrab, TargetWidthIsHalfTheScreenAtTheZoom) {
    EXPECT_EQ(tracegrabTargetWidth(DeviceProfile::Tablet, 1.0f), 512.0f);
    EXPECT_EQ(tracegrabTargetWidth(DeviceProfile::Tablet, 2.0f), 256.0f);
    EXPECT_EQ(tracegrabTargetWidth(DeviceProfile::Phone, 0.5f), 850.0f);
}

struct PictureFileToInk : ::testing::Test {
    QTemporaryDir dir;
    FoliantGlobals globals{openDefaultsStore(dir.filePath("defaults.plist")), 0.0};
    ManualClock clock{10.0};
    EditorSession session{globals, clock};
    FoliantDataPtr book = std::make_shared<FoliantData>();
    QWidget editor;
    std::vector<EditorEffects> applied;
    int finished = 0;

    PictureFileToInk() {
        session.setBook(book);
        session.viewport.layoutForFrameSize({768, 1024});
        session.viewport.showHomeView();
        session.editor.takeEffects();
    }
    void convert(const QString& path) {
        convertPictureFileToInk(
            &editor, session, path, [this](EditorEffects e) { applied.push_back(e); },
            [this] { ++finished; });
        EXPECT_FALSE(editor.isEnabled());
        WAIT_EQ(finished, 1, 10000);
        EXPECT_TRUE(editor.isEnabled());
    }
    const KVSPointSetArray& ink() { return *session.editor.currentPage()->pointSets; }
};

TEST_F(PictureFileToInk, PictureBecomesOneUndoableStepOfInkInTheMiddleOfTheView) {
    const QString path = dir.filePath("drawing.png");
    ASSERT_TRUE(drawing().save(path));
    convert(path);
    session.editor.endUndoGrouping();
    ASSERT_EQ(applied.size(), 1u);
    EXPECT_TRUE(applied[0].repaint && applied[0].bookChanged);
    ASSERT_GT(ink().count(), 0u);
    const Rect visible = session.viewport.currentFrame();
    const Rect extent = ink().boundingRect();
    EXPECT_NEAR(extent.midX(), visible.midX(), 1e-3);
    EXPECT_NEAR(extent.midY(), visible.midY(), 1e-3);
    // A picture narrower than the target width keeps its pixel size.
    EXPECT_NEAR(extent.width, 161, 2);
    ASSERT_EQ(session.editor.undoManager()->undoCount(), 1u);
    session.editor.undo();
    EXPECT_EQ(ink().count(), 0u);
}

TEST_F(PictureFileToInk, UnreadablePictureIsReportedAndChangesNothing) {
    const QString path = dir.filePath("notes.png");
    {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("plain text");
    }
    convert(path);
    EXPECT_TRUE(applied.empty());
    EXPECT_EQ(ink().count(), 0u);
    const QList<QMessageBox*> boxes = editor.findChildren<QMessageBox*>();
    ASSERT_EQ(boxes.size(), 1);
    EXPECT_EQ(boxes[0]->text(), "notes.png: not a readable picture");
}

TEST_F(PictureFileToInk, LockedBookIsLeftAlone) {
    const QString path = dir.filePath("drawing.png");
    ASSERT_TRUE(drawing().save(path));
    book->setIsLocked(true);
    convertPictureFileToInk(
        &editor, session, path, [this](EditorEffects e) { applied.push_back(e); }, [this] { ++finished; });
    EXPECT_EQ(finished, 1);
    EXPECT_TRUE(editor.isEnabled());
    EXPECT_EQ(ink().count(), 0u);
}

}  // namespace
}  // namespace velumen

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
