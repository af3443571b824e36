#include "shell/images/ImageCommands.h"

#include <QApplication>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QFileDialog>
#include <QImageReader>
#include <QMimeData>
#include <QProgressDialog>
#include <QPushButton>
#include <QSlider>
#include <QStandardPaths>

#include "export/PdfImport.h"
#include "objects/ImageGeometry.h"
#include "objects/qt/ImageOps.h"
#include "shell/FoliantViewController.h"
#include "shell/images/ImageToolbar.h"
#include "shell/images/StationeryPicker.h"
#include "imagetoink/qt/TracegrabPicture.h"
#include "shell/tracegrab/FLTracegrabPreviewViewController.h"

namespace velumen {

namespace {

QString pictureFilter() {
    QStringList patterns;
    for (const QByteArray& format : QImageReader::supportedImageFormats())
        patterns << "*." + QString::fromLatin1(format);
    return "Pictures (" + patterns.join(' ') + ")";
}

}  // namespace

ImageCommands::ImageCommands(FoliantViewController& editor)
    : QObject(&editor), editor_(editor), textures_(editor.view().compositor, codec_) {
    customStationeryFolder =
        QStandardPaths::writableLocation(QStandardPaths::AppDataLocation) + "/Stationery";
    toolbar_ = new ImageToolbar(&editor.view());
    grip_ = new ResizeGrip(&editor.view());
    // Pages not on screen (their thumbnails) draw their pictures from a fresh decode.
    // The codec is stateless: a copy keeps the view's decoder valid whatever outlives what.
    editor.view().compositor.decodeImage = [](const FoliantImage& image) { return image.image(QtImageCodec()); };
    ImageEditTool& tool = editor.session().imageEditTool;
    connect(toolbar_->doneButton, &QPushButton::clicked, this, [this] { imageDoneTapped(); });
    connect(toolbar_->convertToInkButton, &QPushButton::clicked, this, [this] { imageConvertToInkTapped(); });
    connect(toolbar_->borderButton, &QPushButton::clicked, this,
            [this, &tool] { applyEffects(tool.imageBorderTapped()); });
    connect(toolbar_->grayscaleButton, &QPushButton::clicked, this,
            [this, &tool] { applyEffects(tool.imageGrayscaleTapped()); });
    connect(toolbar_->presetFullButton, &QPushButton::clicked, this,
            [this, &tool] { applyEffects(tool.imagePresetFullTapped()); });
    connect(toolbar_->presetCenterButton, &QPushButton::clicked, this,
            [this, &tool] { applyEffects(tool.imagePresetCenterTapped()); });
    connect(toolbar_->alphaSlider, &QSlider::valueChanged, this,
            [this, &tool](int value) { applyEffects(tool.imageOpacitySliderChanged(value / 100.0)); });

    EditorWindow& w = editor.window();
    connect(w.insertPictureAction, &QAction::triggered, this, [this] { insertImage(); });
    connect(w.insertPdfAction, &QAction::triggered, this, [this] { insertPdf(); });
    connect(w.insertPhotoAction, &QAction::triggered, this, [this] { insertFromCamera(); });
    std::string noCamera;
    w.setHasCamera(camera && camera->isAvailable(noCamera));
    connect(w.stationeryAction, &QAction::triggered, this, [this] { selectStationery(); });
    attachToSurface();
}

void ImageCommands::attachToSurface() {
    // The GL surface is made once the editor is shown: drops and the grip go to whichever widget takes the
    // touches now.
    QWidget* target = editor_.view().touchTarget();
    if (target == surface_) return;
    if (surface_) surface_->removeEventFilter(this);
    surface_ = target;
    target->setAcceptDrops(true);
    target->installEventFilter(this);
    grip_->setParent(target);
}

ImageCommands::~ImageCommands() = default;

void ImageCommands::applyEffects(EditorEffects effects) {
    editor_.applyEffects(effects);
}

Point ImageCommands::middleOfView() const {
    const EditorViewport& v = editor_.session().viewport;
    return v.eaglPointFromViewPoint({v.eaglFrameSize.width / 2, v.eaglFrameSize.height / 2});
}

void ImageCommands::afterEffects(const EditorEffects& effects) {
    attachToSurface();
    EditorSession& session = editor_.session();
    ImageEditTool& tool = session.imageEditTool;
    // The picture being edited left the page (an undo, a page turn): the session ends without a step.
    if (tool.isEditing() && tool.isEditingPageImage) {
        const auto& page = session.editor.currentPage();
        if (!page || std::find(page->images.begin(), page->images.end(), tool.imageBeingEdited) == page->images.end())
            session.abandonEditingImage();
    }
    if (tool.isEditing() && !tool.isEditingPageImage && editor_.book()) {
        const auto& masters = editor_.book()->masterImages();
        if (std::find(masters.begin(), masters.end(), tool.imageBeingEdited) == masters.end())
            session.abandonEditingImage();
    }
    if (tool.takeDismissed()) session.abandonEditingImage();
    if (effects.objectTapped && !session.isBookLocked()) {
        if (FoliantImagePtr image = session.editor.pageImageAtPoint(session.dispatcher.touchDownCanvasPoint))
            beginEditingImage(image, true, true);
    }
    syncTextures();
    updateEditingViews();
}

void ImageCommands::syncTextures() {
    const FoliantDataPtr& book = editor_.book();
    const auto& page = editor_.session().editor.currentPage();
    if (!book || !page) {
        textures_.releaseAll();
        return;
    }
    const std::uint64_t dataSize = editor_.document() ? editor_.document()->dataSize() : 0;
    textures_.syncMasterImages(book->masterImages());
    textures_.syncPageImages(page->pageId(), page->images, dataSize);
}

void ImageCommands::updateEditingViews() {
    const ImageEditTool& tool = editor_.session().imageEditTool;
    if (!tool.isEditing()) {
        if (toolbarShown_) toolbar_->hideAnimated(editor_.isVisible());
        toolbarShown_ = false;
        grip_->hide();
        return;
    }
    const EditorViewport& v = editor_.session().viewport;
    const Rect& f = tool.imageBeingEdited->frame;
    const Point corner = v.viewPointFromEaglPoint({f.x + f.width, f.y + f.height});
    grip_->move(int(std::lround(corner.x - grip_->width() / 2.0)), int(std::lround(corner.y - grip_->height() / 2.0)));
    grip_->setVisible(tool.resizeGripAlpha > 0);
    grip_->raise();
}

void ImageCommands::bookClosed() {
    editor_.session().abandonEditingImage();
    textures_.releaseAll();
    updateEditingViews();
}

// ---- Placing a picture ----

void ImageCommands::insertImage() {
    if (!editor_.book() || editor_.session().isBookLocked() || editor_.session().isGestureRunning()) return;
    const QString path = pickImageFile ? pickImageFile(&editor_)
                                       : QFileDialog::getOpenFileName(&editor_, "Insert Picture", QString(), pictureFilter());
    if (path.isEmpty()) return;
    insertPictureFile(path);
}

bool ImageCommands::insertPictureFile(const QString& path, std::optional<Point> canvasPoint) {
    if (!editor_.book() || editor_.session().isBookLocked()) return false;
    std::string error;
    const KImage image = readPictureFile(path, ImageBudget::insertionLimit(currentMemoryFigures()), error);
    if (image.isEmpty()) {
        editor_.flashMessage(QString::fromStdString(error), 2.0);
        return false;
    }
    insertNewImage(image, canvasPoint.value_or(middleOfView()));
    return true;
}

void ImageCommands::insertFromCamera() {
    if (!editor_.book() || editor_.session().isBookLocked() || editor_.session().isGestureRunning()) return;
    std::string error;
    if (!camera || !camera->isAvailable(error)) {
        editor_.flashMessage(QString::fromStdString(error), 2.0);
        return;
    }
    const KImage photo = camera->capture(ImageBudget::insertionLimit(currentMemoryFigures()), error);
    if (photo.isEmpty()) {
        editor_.flashMessage(QString::fromStdString(error), 2.0);
        return;
    }
    insertNewImage(photo, middleOfView());
}

void ImageCommands::insertNewImage(const KImage& picture, Point touch) {
    EditorSession& session = editor_.session();
    if (!editor_.book() || session.isBookLocked()) return;
    const KImage image = fixImageForTexture(picture, ImageBudget::insertionLimit(currentMemoryFigures()));
    if (image.isEmpty()) return;
    const Size c = kCanvasSize;
    const Size size = fitSize({double(image.width), double(image.height)}, {c.width / 2, c.height / 2});
    const Rect frame{touch.x - c.width / 4, touch.y - c.height / 4, size.width, size.height};
    FoliantImagePtr placed = FoliantImage::foliantImageWithImage(image, frame, 1.0, 1, codec_);
    if (!placed->imageData()) {
        editor_.flashMessage("The picture could not be placed.", 2.0);
        return;
    }
    session.abandonEditingImage();
    applyEffects(session.editor.addPageImage(placed));
    beginEditingImage(placed, true, true);
}

// ---- Editing ----

void ImageCommands::beginEditingImage(const FoliantImagePtr& image, bool isPageImage, bool animated) {
    EditorSession& session = editor_.session();
    editor_.dismissPopovers();
    if (!image || session.isBookLocked()) return;
    EditorEffects effects;
    if (session.imageEditTool.isEditing()) effects |= session.finishEditingImage();
    effects |= session.beginEditingImage(image, isPageImage);
    if (!session.imageEditTool.isEditing()) return;
    toolbar_->configure(!isPageImage);
    toolbar_->setOpacityValue(image->alpha);
    if (!toolbarShown_ || !toolbar_->isVisible()) toolbar_->showAnimated(animated && editor_.isVisible());
    toolbarShown_ = true;
    applyEffects(effects);
}

void ImageCommands::finishEditingImageAnimated(bool animated) {
    EditorSession& session = editor_.session();
    editor_.dismissPopovers();
    if (!session.imageEditTool.isEditing()) return;
    const EditorEffects effects = session.finishEditingImage();
    toolbar_->hideAnimated(animated && editor_.isVisible());
    toolbarShown_ = false;
    applyEffects(effects);
}

void ImageCommands::imageConvertToInkTapped() {
    EditorSession& session = editor_.session();
    if (!session.imageEditTool.isEditing() || session.isBookLocked()) return;
    imageBeingConverted_ = session.imageEditTool.imageBeingEdited;
    finishEditingImageAnimated(true);
    const KImagePtr picture = imageBeingConverted_ ? imageBeingConverted_->image(codec_) : nullptr;
    if (!picture || picture->isEmpty()) {
        imageBeingConverted_.reset();
        return;
    }
    auto* preview = new FLTracegrabPreviewViewController(&editor_);
    preview_ = preview;
    preview->setAttribute(Qt::WA_DeleteOnClose);
    preview->setImage(tracegrabPictureFromImage(qImageView(*picture), tracegrabSizeLimit(totalMemory(), false)));
    preview->setTargetWidth(float(imageBeingConverted_->frame.width));
    preview->setTitleText("Convert To Ink");
    preview->delegate = [this](FLTracegrabPreviewViewController& done, FLTracegrabPreviewViewController::Result result) {
        const FoliantImagePtr image = std::exchange(imageBeingConverted_, nullptr);
        if (result != FLTracegrabPreviewViewController::Done || !image) return;
        EditorSession& s = editor_.session();
        const auto& page = s.editor.currentPage();
        // The picture may have gone meanwhile (an undo, a page turn): then nothing is converted.
        if (s.isBookLocked() || !page || std::find(page->images.begin(), page->images.end(), image) == page->images.end())
            return;
        const Rect& f = image->frame;
        EditorEffects effects;
        const KVSPointSetArrayPtr ink = done.pointSets();
        if (ink && ink->count() > 0) effects |= s.editor.addPointSetsCentredAt(ink, {f.midX(), f.midY()});
        effects |= s.editor.removePageImage(image);
        applyEffects(effects);
    };
    preview->open();
}

// ---- Stationery ----

int ImageCommands::maxMasterImageSize() const {
    return ImageBudget::maxMasterImageSize(editor_.devicePixelRatioF());
}

void ImageCommands::selectStationery() {
    if (!editor_.book() || editor_.session().isBookLocked() || editor_.session().isGestureRunning()) return;
    if (picker_) picker_->close();
    picker_ = new StationeryPicker(customStationeryFolder, &editor_);
    picker_->setAttribute(Qt::WA_DeleteOnClose);
    picker_->didSelectBackgroundImage = [this](KImagePtr image, bool isCustom) {
        stationeryPickerDidSelectBackgroundImage(image, isCustom);
    };
    picker_->requestAddCustomImage = [this] {
        const QString path = pickImageFile ? pickImageFile(&editor_)
                                           : QFileDialog::getOpenFileName(&editor_, "Add Stationery", QString(),
                                                                          pictureFilter());
        if (picker_) picker_->close();
        if (path.isEmpty()) return;
        std::string error;
        const KImage image = readPictureFile(path, 4096, error);
        if (image.isEmpty()) {
            editor_.flashMessage(QString::fromStdString(error), 2.0);
            return;
        }
        StationeryPicker::addCustomImage(customStationeryFolder, image);
        stationeryPickerDidSelectBackgroundImage(std::make_shared<const KImage>(image), true, true);
    };
    picker_->show();
}

void ImageCommands::stationeryPickerDidSelectBackgroundImage(const KImagePtr& picture, bool isCustom,
                                                             bool justAdded) {
    EditorSession& session = editor_.session();
    const FoliantDataPtr& book = editor_.book();
    if (!book || session.isBookLocked()) return;
    if (session.imageEditTool.isEditing()) finishEditingImageAnimated(false);
    if (!picture || picture->isEmpty()) {
        applyEffects(session.editor.setMasterImage(book, nullptr));
        return;
    }
    const KImage image = fixImageForTexture(*picture, maxMasterImageSize());
    const Size size{double(image.width), double(image.height)};
    const Rect canvas{0, 0, kCanvasSize.width, kCanvasSize.height};
    if (!isCustom) {
        FoliantImagePtr paper = FoliantImage::foliantImageWithImage(image, fillRect(size, canvas), 1.0, 0, codec_);
        applyEffects(session.editor.setMasterImage(book, paper));
        return;
    }
    const Rect grown{-20, -20, kCanvasSize.width + 40, kCanvasSize.height + 40};
    FoliantImagePtr background =
        FoliantImage::foliantImageWithImage(image, fillRect(size, grown), justAdded ? 1.0 : 0.2, 0, codec_);
    background->filterType = 1;
    applyEffects(session.editor.setMasterImage(book, background));
    // The whole page, to see the picture's overshoot and size it.
    session.viewport.setCanvasPoint({0, 0}, {0, 0}, session.viewport.minZoomFactor);
    applyEffects({.repaint = true, .viewMoved = true, .pageMoved = true});
    beginEditingImage(background, false, true);
    editor_.flashMessage("Resize with two fingers.", 1.0);
}

// ---- PDF ----

int ImageCommands::pdfPageSide() const {
    return ImageBudget::insertionLimit(currentMemoryFigures());
}

void ImageCommands::insertPdf() {
    if (!editor_.book() || editor_.session().isBookLocked() || editor_.session().isGestureRunning()) return;
    const QString path = pickImageFile ? pickImageFile(&editor_)
                                       : QFileDialog::getOpenFileName(&editor_, "Insert PDF", QString(),
                                                                      "PDF files (*.pdf *.PDF)");
    if (!path.isEmpty()) importPdf(path);
}

int ImageCommands::importPdf(const QString& path) {
    const FoliantDataPtr& book = editor_.book();
    if (!book || editor_.session().isBookLocked()) return 0;
    finishEditingImageAnimated(false);
    QProgressDialog progress("Adding the pages of the PDF file\u2026", "Cancel", 0, 1, &editor_);
    progress.setWindowModality(Qt::WindowModal);
    progress.setMinimumDuration(300);
    const PdfImportResult result = importPdfPages(path, *book, codec_, pdfPageSide(), [&](int done, int total) {
        progress.setMaximum(total);
        progress.setValue(done);
        QApplication::processEvents();
        return !progress.wasCanceled();
    });
    progress.close();
    if (result.pagesAdded > 0) {
        editor_.registerDocumentChange();
        if (editor_.pageNavigator()) {
            editor_.pageNavigator()->updatePageTitle();
            editor_.pageNavigator()->updatePageIcons();
        }
    }
    if (!result.error.empty() && result.pagesAdded == 0) {
        editor_.flashMessage(QString::fromStdString(result.error), 2.5);
    } else if (result.cancelled) {
        editor_.flashMessage(QString("Cancelled: %1 of %2 pages added.").arg(result.pagesAdded).arg(result.pagesInFile), 2.5);
    } else {
        editor_.flashMessage(QString("%1 pages added.").arg(result.pagesAdded), 1.5);
    }
    return result.pagesAdded;
}

// ---- Drops ----

bool ImageCommands::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::DragEnter || event->type() == QEvent::DragMove) {
        auto* drag = static_cast<QDropEvent*>(event);
        if (drag->mimeData()->hasUrls() && editor_.book() && !editor_.session().isBookLocked()) {
            drag->acceptProposedAction();
            return true;
        }
    } else if (event->type() == QEvent::Drop) {
        auto* drop = static_cast<QDropEvent*>(event);
        const QPointF at = drop->position();
        Point canvas = editor_.session().viewport.eaglPointFromViewPoint({at.x(), at.y()});
        bool any = false;
        for (const QUrl& url : drop->mimeData()->urls()) {
            if (!url.isLocalFile()) continue;
            any |= insertPictureFile(url.toLocalFile(), canvas);
            // Several pictures fan out a little.
            canvas.x += 40;
            canvas.y += 40;
        }
        if (any) drop->acceptProposedAction();
        return true;
    }
    return QObject::eventFilter(watched, event);
}

}  // namespace velumen
