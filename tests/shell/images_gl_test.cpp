// Pictures end to end on a GL surface under a display: a picture inserted through the command's file path,
// dragged and resized by its grip with real mouse events, framed and greyed from its bar, and the whole
// edit undone in one step; the picture on screen where its frame says; a faded master image; no texture
// uploads on repaints of an unchanged page and none kept after a page turn; nothing editable when locked.
#include <gtest/gtest.h>

#include "WaitFor.h"

#include <QAction>
#include <QDropEvent>
#include <QLabel>
#include <QListWidget>
#include <QMimeData>
#include <QUrl>
#include <QApplication>
#include <QMouseEvent>
#include <QPushButton>
#include <QSlider>
#include <QTemporaryDir>
#include <QPainter>
#include <QTest>

#include "objects/qt/ImageOps.h"
#include "shell/BookFile.h"
#include "shell/DefaultsStore.h"
#include "shell/FoliantViewController.h"
#include "shell/images/ImageCommands.h"
#include "shell/images/ImageToolbar.h"
#include "shell/images/StationeryPicker.h"

namespace {

using namespace velumen;

struct Editor {
    QTemporaryDir dir;
    FoliantGlobals globals{openDefaultsStore(dir.filePath("defaults.plist")), 0.0};
    ManualClock clock;
    FoliantViewController vc{globals, clock};
    FoliantDataPtr book = newOnePageBook();

    Editor() {
        vc.resize(600, 750);
        vc.show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(&vc));
        vc.openBook(book);
        vc.images().customStationeryFolder = dir.filePath("Stationery");
    }
    void mouse(QEvent::Type type, Point at, Qt::MouseButtons buttons) {
        clock.advance(1.0 / 60.0);
        const QPointF p(at.x, at.y);
        QMouseEvent m(type, p, p, p, Qt::LeftButton, buttons, Qt::NoModifier);
        QCoreApplication::sendEvent(vc.touchTarget(), &m);
    }
    void drag(Point from, Point to) {
        mouse(QEvent::MouseButtonPress, from, Qt::LeftButton);
        for (int i = 1; i <= 10; ++i)
            mouse(QEvent::MouseMove, {from.x + (to.x - from.x) * i / 10, from.y + (to.y - from.y) * i / 10},
                  Qt::LeftButton);
        mouse(QEvent::MouseButtonRelease, to, Qt::NoButton);
        QApplication::processEvents();
    }
    Point view(Point canvas) { return vc.session().viewport.viewPointFromEaglPoint(canvas); }
    const std::vector<FoliantImagePtr>& images() const { return book->currentPage()->images; }
    QImage screen() {
        vc.redrawAllLines();
        return vc.screenImage().convertToFormat(QImage::Format_RGB32);
    }
    // The screen's colour at a page point.
    QRgb at(const QImage& shot, Point canvas) {
        const double scale = double(shot.width()) / vc.touchTarget()->width();
        const Point v = view(canvas);
        return shot.pixel(int(v.x * scale), int(v.y * scale));
    }
};

#define REQUIRE_SURFACE(editor)                                                   \
    do {                                                                          \
        if (!(editor).vc.hasSurface()) {                                          \
            if (qEnvironmentVariable("CI") == "true") FAIL() << "no GL context";  \
            GTEST_SKIP() << "no GL context";                                      \
        }                                                                         \
    } while (0)

// Left half red, right half blue.
QString writePicture(const QString& path, int w, int h) {
    QImage image(w, h, QImage::Format_RGB32);
    image.fill(Qt::blue);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w / 2; ++x)
            image.setPixel(x, y, qRgb(255, 0, 0));
    EXPECT_TRUE(image.save(path, "PNG"));
    return path;
}

bool isRed(QRgb c) { return qRed(c) > 180 && qGreen(c) < 80 && qBlue(c) < 80; }
bool isBlue(QRgb c) { return qBlue(c) > 180 && qRed(c) < 80 && qGreen(c) < 80; }
bool isGrey(QRgb c) { return std::abs(qRed(c) - qGreen(c)) < 12 && std::abs(qGreen(c) - qBlue(c)) < 12; }

TEST(PicturesEndToEnd, InsertDragResizeFrameGreyAndUndoTheWholeEditInOneStep) {
    Editor e;
    REQUIRE_SURFACE(e);
    const QString path = writePicture(e.dir.filePath("photo.png"), 800, 400);
    e.vc.images().pickImageFile = [&](QWidget*) { return path; };
    e.vc.window().insertPictureAction->trigger();
    QApplication::processEvents();
    ASSERT_EQ(e.images().size(), 1u);
    const FoliantImagePtr image = e.images()[0];
    // Fitted in half the page, its corner a quarter page from the middle of the view, framed, editing.
    EXPECT_EQ(image->frame.width, 768);
    EXPECT_EQ(image->frame.height, 384);
    EXPECT_EQ(image->borderStyle, 1);
    EXPECT_TRUE(e.vc.session().imageEditTool.isEditing());
    EXPECT_TRUE(e.vc.images().imageToolbar()->isVisible());
    EXPECT_TRUE(e.vc.images().resizeGrip()->isVisible());
    // The picture shows where its frame says: red on its left, blue on its right.
    QImage shot = e.screen();
    const Rect f = image->frame;
    EXPECT_TRUE(isRed(e.at(shot, {f.x + f.width * 0.25, f.midY()})));
    EXPECT_TRUE(isBlue(e.at(shot, {f.x + f.width * 0.75, f.midY()})));
    const Rect start = image->frame;
    const std::size_t steps = e.vc.session().editor.undoManager()->undoCount();

    // Drag by 60 x 40 view points.
    const Point grab = e.view({f.midX(), f.midY()});
    e.drag(grab, {grab.x + 60, grab.y + 40});
    const double zoom = e.vc.session().viewport.view.zoomFactor;
    EXPECT_NEAR(image->frame.x, start.x + 60 / zoom, 1.0);
    EXPECT_NEAR(image->frame.y, start.y + 40 / zoom, 1.0);
    // The grip at the bottom right corner, pulled out by 50 view points: larger, same aspect, same origin.
    const Rect moved = image->frame;
    const Point corner = e.view({moved.x + moved.width, moved.y + moved.height});
    e.drag(corner, {corner.x + 50, corner.y + 50});
    EXPECT_EQ(image->frame.x, moved.x);
    EXPECT_GT(image->frame.width, moved.width + 40 / zoom);
    EXPECT_NEAR(image->frame.width / image->frame.height, 2.0, 1e-9);
    // Border off, grey on, from the bar.
    QTest::mouseClick(e.vc.images().imageToolbar()->borderButton, Qt::LeftButton);
    QTest::mouseClick(e.vc.images().imageToolbar()->grayscaleButton, Qt::LeftButton);
    EXPECT_EQ(image->borderStyle, 0);
    EXPECT_EQ(image->filterType, 1);
    shot = e.screen();
    const Rect g = image->frame;
    EXPECT_TRUE(isGrey(e.at(shot, {g.x + g.width * 0.25, g.midY()})));
    QTest::mouseClick(e.vc.images().imageToolbar()->doneButton, Qt::LeftButton);
    QApplication::processEvents();
    EXPECT_FALSE(e.vc.session().imageEditTool.isEditing());
    EXPECT_EQ(e.vc.session().editor.undoManager()->undoCount(), steps + 1);

    // One undo brings back the picture as it was placed; its colours come back on screen.
    e.vc.undoButtonTapped();
    QApplication::processEvents();
    EXPECT_EQ(image->frame, start);
    EXPECT_EQ(image->borderStyle, 1);
    EXPECT_EQ(image->filterType, 0);
    shot = e.screen();
    EXPECT_TRUE(isRed(e.at(shot, {start.x + start.width * 0.25, start.midY()})));
}

TEST(PicturesEndToEnd, RepaintsUploadNothingAndAPageTurnReleasesTheTextures) {
    Editor e;
    REQUIRE_SURFACE(e);
    const QString path = writePicture(e.dir.filePath("photo.png"), 300, 300);
    for (int i = 0; i < 3; ++i)
        ASSERT_TRUE(e.vc.images().insertPictureFile(path, Point{400.0 + 100 * i, 600}));
    e.vc.images().finishEditingImageAnimated(false);
    QApplication::processEvents();
    EXPECT_EQ(e.vc.view().compositor._pageImageTextures.size(), 3u);
    const std::uint64_t uploads = e.vc.images().textures().uploads();
    for (int i = 0; i < 20; ++i) {
        e.vc.view().compositor.isFrameUpdateNeeded = true;
        e.vc.view().compositor.drawFrame();
        e.vc.applyEffects(EditorEffects::repaintOnly());
    }
    EXPECT_EQ(e.vc.images().textures().uploads(), uploads);
    // A new page: the old page's textures go.
    e.vc.nextPageButtonTapped();
    WAIT_EQ(e.book->pageNum(), 1, 5000);
    QApplication::processEvents();
    EXPECT_TRUE(e.vc.view().compositor._pageImageTextures.empty());
    // Back: made again from the model.
    e.vc.previousPageButtonTapped();
    WAIT_EQ(e.book->pageNum(), 0, 5000);
    WAIT_EQ(e.vc.view().compositor._pageImageTextures.size(), std::size_t(3), 5000);
}

TEST(PicturesEndToEnd, ACustomStationeryFadesBehindThePageAndItsSliderSetsTheAlpha) {
    Editor e;
    REQUIRE_SURFACE(e);
    std::string error;
    const KImage photo = readPictureFile(writePicture(e.dir.filePath("wall.png"), 400, 500), 1024, error);
    e.vc.images().stationeryPickerDidSelectBackgroundImage(std::make_shared<const KImage>(photo), true);
    QApplication::processEvents();
    ASSERT_EQ(e.book->masterImages().size(), 1u);
    const FoliantImagePtr master = e.book->masterImages()[0];
    EXPECT_EQ(master->alpha, 0.2);
    EXPECT_EQ(master->filterType, 1);
    EXPECT_LE(master->frame.x, -20);
    EXPECT_TRUE(e.vc.session().imageEditTool.isEditing());
    EXPECT_FALSE(e.vc.session().imageEditTool.isEditingPageImage);
    // Faint grey on white.
    QImage shot = e.screen();
    const QRgb faint = e.at(shot, {300, 900});
    EXPECT_TRUE(isGrey(faint));
    EXPECT_GT(qRed(faint), 150);
    // The slider: half strength is darker.
    e.vc.images().imageToolbar()->alphaSlider->setValue(50);
    EXPECT_EQ(master->alpha, 0.5);
    shot = e.screen();
    EXPECT_LT(qRed(e.at(shot, {300, 900})), qRed(faint));
    e.vc.images().finishEditingImageAnimated(false);
    // "Blank" removes it; undo brings it back as it was.
    e.vc.images().stationeryPickerDidSelectBackgroundImage(nullptr, false);
    EXPECT_TRUE(e.book->masterImages().empty());
    QApplication::processEvents();
    e.vc.undoButtonTapped();
    ASSERT_EQ(e.book->masterImages().size(), 1u);
    EXPECT_EQ(e.book->masterImages()[0], master);
    // A built-in paper fills the page exactly.
    KImage paper;
    paper.width = 400;
    paper.height = 500;
    paper.pixels.assign(400 * 500, 0xffffffffu);
    e.vc.images().stationeryPickerDidSelectBackgroundImage(std::make_shared<const KImage>(paper), false);
    EXPECT_EQ(e.book->masterImages()[0]->frame, (Rect{0, 0, 1536, 1920}));
    EXPECT_EQ(e.book->masterImages()[0]->alpha, 1.0);
}

TEST(PicturesEndToEnd, ALockedBookPlacesAndEditsNothingAndBadFilesInsertNothing) {
    Editor e;
    REQUIRE_SURFACE(e);
    QFile text(e.dir.filePath("notes.png"));
    ASSERT_TRUE(text.open(QIODevice::WriteOnly));
    text.write("not a picture");
    text.close();
    EXPECT_FALSE(e.vc.images().insertPictureFile(text.fileName()));
    EXPECT_TRUE(e.images().empty());
    const QString path = writePicture(e.dir.filePath("photo.png"), 200, 200);
    ASSERT_TRUE(e.vc.images().insertPictureFile(path));
    e.vc.images().finishEditingImageAnimated(false);
    e.book->setIsLocked(true);
    EXPECT_FALSE(e.vc.images().insertPictureFile(path));
    e.vc.images().beginEditingImage(e.images()[0], true, false);
    EXPECT_FALSE(e.vc.session().imageEditTool.isEditing());
    EXPECT_EQ(e.images().size(), 1u);
}

TEST(PicturesEndToEnd, DroppedPictureFilesArePlacedAtTheDropPoint) {
    Editor e;
    REQUIRE_SURFACE(e);
    const QString path = writePicture(e.dir.filePath("dropped.png"), 200, 100);
    QMimeData mime;
    mime.setUrls({QUrl::fromLocalFile(path), QUrl::fromLocalFile(e.dir.filePath("missing.png"))});
    const QPointF at(300, 400);
    // As a real drag: it enters (and is accepted), then drops.
    QDragEnterEvent enter(at.toPoint(), Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(e.vc.touchTarget(), &enter);
    EXPECT_TRUE(enter.isAccepted());
    QDropEvent drop(at, Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(e.vc.touchTarget(), &drop);
    ASSERT_EQ(e.images().size(), 1u);
    const Point touch = e.vc.session().viewport.eaglPointFromViewPoint({300, 400});
    EXPECT_NEAR(e.images()[0]->frame.x, touch.x - 1536 / 4.0, 1e-6);
    EXPECT_NEAR(e.images()[0]->frame.y, touch.y - 1920 / 4.0, 1e-6);
}

TEST(PicturesEndToEnd, ThePhotoCommandTakesTheStillSourcesPictureOrSaysThereIsNoCamera) {
    Editor e;
    REQUIRE_SURFACE(e);
    // Without a camera the command does not show; asked for anyway, it says why.
    EXPECT_FALSE(e.vc.window().insertPhotoAction->isVisible());
    e.vc.window().insertPhotoAction->trigger();
    EXPECT_TRUE(e.images().empty());
    auto* message = qobject_cast<QLabel*>(e.vc.flashLabel());
    ASSERT_TRUE(message);
    EXPECT_EQ(message->text(), "No camera is available on this computer.");
    e.vc.images().camera =
        std::make_unique<FileStillImageSource>(writePicture(e.dir.filePath("camera.png"), 640, 480));
    e.vc.window().insertPhotoAction->trigger();
    ASSERT_EQ(e.images().size(), 1u);
    EXPECT_EQ(e.images()[0]->frame.width, 768);
    EXPECT_EQ(e.images()[0]->frame.height, 576);
}

TEST(StationeryPickerList, SixtyPicturesKeepAtMostFiftyThumbnailsAndTheChosenOneComesFirst) {
    QTemporaryDir dir;
    const QString folder = dir.filePath("Stationery");
    KImage small;
    small.width = 40;
    small.height = 50;
    small.pixels.assign(40 * 50, 0xff336699u);
    QStringList paths;
    for (int i = 0; i < 60; ++i)
        paths << StationeryPicker::addCustomImage(folder, small);
    ASSERT_EQ(StationeryPicker::getCustomImageFileList(folder).size(), 60);
    StationeryPicker picker(folder, nullptr);
    KImagePtr chosen;
    bool chosenIsCustom = false;
    picker.didSelectBackgroundImage = [&](KImagePtr image, bool isCustom) {
        chosen = image;
        chosenIsCustom = isCustom;
    };
    picker.showCustomList();
    EXPECT_EQ(picker.customList()->count(), 60);
    picker.waitForThumbnails();
    WAIT_EQ(picker.cachedThumbnailCount(), 50, 5000);
    // The oldest file chosen: it comes first next time.
    const QString oldest = StationeryPicker::getCustomImageFileList(folder).last();
    QTest::qWait(1100);  // file times count whole seconds on some file systems
    picker.selectCustomFile(oldest);
    ASSERT_TRUE(chosen);
    EXPECT_TRUE(chosenIsCustom);
    EXPECT_EQ(chosen->width, 40);
    EXPECT_EQ(StationeryPicker::getCustomImageFileList(folder).first(), oldest);
    // "Blank" reports no picture; a paper reports a page-proportioned one.
    picker.selectRow(0);
    EXPECT_FALSE(chosen);
    picker.selectRow(2);
    ASSERT_TRUE(chosen);
    EXPECT_EQ(chosen->width * 5, chosen->height * 4);
    EXPECT_FALSE(chosenIsCustom);
    StationeryPicker::removeCustomImageWithUrl(oldest);
    EXPECT_EQ(StationeryPicker::getCustomImageFileList(folder).size(), 59);
}

}  // namespace

namespace {

// A drawing on paper, larger than the frame it will get: a dark cross on white, 70% of the picture wide.
QString writeDrawing(const QString& path) {
    QImage picture(1600, 1200, QImage::Format_RGB32);
    picture.fill(Qt::white);
    QPainter p(&picture);
    p.setPen(QPen(QColor(40, 40, 40), 16, Qt::SolidLine, Qt::FlatCap));
    p.drawLine(240, 600, 1360, 600);
    p.drawLine(800, 160, 800, 1040);
    p.end();
    EXPECT_TRUE(picture.save(path));
    return path;
}

TEST(PicturesEndToEnd, ConvertToInkReplacesThePictureByItsInkInOneUndoStepAndCancelChangesNothing) {
    Editor e;
    REQUIRE_SURFACE(e);
    ASSERT_TRUE(e.vc.images().insertPictureFile(writeDrawing(e.dir.filePath("drawing.png"))));
    ASSERT_EQ(e.images().size(), 1u);
    const FoliantImagePtr image = e.images()[0];
    const Rect f = image->frame;
    const std::size_t steps = e.vc.session().editor.undoManager()->undoCount();

    // Cancel: the picture stays, no ink, no step.
    QTest::mouseClick(e.vc.images().imageToolbar()->convertToInkButton, Qt::LeftButton);
    ASSERT_TRUE(e.vc.images().tracegrabPreview());
    EXPECT_FALSE(e.vc.session().imageEditTool.isEditing());
    e.vc.images().tracegrabPreview()->cancelTapped();
    QApplication::processEvents();
    EXPECT_EQ(e.images().size(), 1u);
    EXPECT_EQ(e.book->pointSets()->count(), 0u);

    // Done: the picture goes and its ink stands at its width around its centre.
    e.vc.images().beginEditingImage(image, true, false);
    QTest::mouseClick(e.vc.images().imageToolbar()->convertToInkButton, Qt::LeftButton);
    ASSERT_TRUE(e.vc.images().tracegrabPreview());
    e.vc.images().tracegrabPreview()->doneTapped();
    QApplication::processEvents();
    EXPECT_TRUE(e.images().empty());
    ASSERT_GT(e.book->pointSets()->count(), 0u);
    const Rect bounds = e.book->pointSets()->boundingRect();
    EXPECT_NEAR(bounds.midX(), f.midX(), f.width * 0.05);
    EXPECT_NEAR(bounds.midY(), f.midY(), f.height * 0.05);
    // The picture is scaled to the frame's width (never up), so the cross keeps its share of it.
    EXPECT_NEAR(bounds.width, f.width * 0.7, f.width * 0.05);

    // One undo brings the picture back and takes the ink away.
    e.vc.session().editor.endUndoGrouping();
    EXPECT_EQ(e.vc.session().editor.undoManager()->undoCount(), steps + 1);
    e.vc.undoButtonTapped();
    QApplication::processEvents();
    ASSERT_EQ(e.images().size(), 1u);
    EXPECT_EQ(e.images()[0], image);
    EXPECT_EQ(e.book->pointSets()->count(), 0u);
}

}  // namespace
