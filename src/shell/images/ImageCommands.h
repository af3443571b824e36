// The editor's picture commands: placing a picture from a file (the dialog, a file argument or a drop),
// the editing of a picture with its bar and grip, the book's stationery, and the pages of a PDF file. It
// keeps the texture collections in step with the model after every event the editor applies. It works
// through the editor's public slices; nothing below it calls it.
#pragma once

#include <QObject>
#include <QPointer>
#include <QString>
#include <functional>
#include <memory>
#include <optional>

#include "document/EditorEffects.h"
#include "objects/FoliantImage.h"
#include "objects/qt/QtImageCodec.h"
#include "render/ImageTextures.h"
#include "shell/images/StationeryPicker.h"
#include "shell/images/StillImageSource.h"
#include "shell/tracegrab/FLTracegrabPreviewViewController.h"

namespace velumen {

class FoliantViewController;
class ImageToolbar;
class ResizeGrip;

class ImageCommands : public QObject {
  public:
    explicit ImageCommands(FoliantViewController& editor);
    ~ImageCommands() override;

    ImageTextures& textures() { return textures_; }
    ImageToolbar* imageToolbar() const { return toolbar_; }
    ResizeGrip* resizeGrip() const { return grip_; }

    // After every event's effects: a tap on a picture starts its editing, the textures follow the page and
    // the master images, the bar and the grip follow the session.
    void afterEffects(const EditorEffects& effects);
    // The book is going: editing ends and every texture goes.
    void bookClosed();

    // ---- Placing a picture ----
    // The dialog of picture files (every format Qt reads), placed around the middle of the view. Replaced
    // in tests by `pickImageFile`, which returns a path or an empty string for cancel.
    void insertImage();
    std::function<QString(QWidget* parent)> pickImageFile;
    // A picture file onto the page around `canvasPoint` (the middle of the view when none), shrunk to the
    // insertion limit; false with a flashed message when the file is no picture. Editing starts at once.
    bool insertPictureFile(const QString& path, std::optional<Point> canvasPoint = std::nullopt);
    // A photo from the camera source, placed as a picture file is; without a camera a message says so.
    void insertFromCamera();
    std::unique_ptr<StillImageSource> camera = std::make_unique<CameraStillImageSource>();
    // The picture's corner goes to the point less a quarter of the page, its size the fit in half the
    // page; framed, opaque; the step is undoable.
    void insertNewImage(const KImage& image, Point touchDownCanvasPoint);

    // ---- Editing ----
    // Refused in a locked book. The bar shows the items of a page image or of the master image.
    void beginEditingImage(const FoliantImagePtr& image, bool isPageImage, bool animated);
    void finishEditingImageAnimated(bool animated);
    void imageDoneTapped() { finishEditingImageAnimated(true); }
    // "Convert To Ink" on a page image: editing ends and a preview with a sensitivity slider opens; Done
    // replaces the picture by its ink at the same width and centre, in one undo step (the picture goes even
    // when no ink results); Cancel changes nothing.
    void imageConvertToInkTapped();
    // The open preview; null while none is.
    FLTracegrabPreviewViewController* tracegrabPreview() const { return preview_; }

    // ---- Stationery ----
    // The folder of the user's own stationery pictures.
    QString customStationeryFolder;
    // Opens the picker.
    void selectStationery();
    StationeryPicker* stationeryPicker() const { return picker_; }
    // A built-in paper fills the page exactly at full strength; a custom picture overshoots it by 20 units,
    // grey at alpha 0.2 (1.0 when just added), the whole page is shown and its editing starts. Null removes
    // the background.
    void stationeryPickerDidSelectBackgroundImage(const KImagePtr& image, bool isCustom, bool justAdded = false);
    // The master image's largest side.
    int maxMasterImageSize() const;

    // ---- PDF ----
    // The dialog of PDF files, then importPdf; cancellable with a progress bar.
    void insertPdf();
    // Appends a page per PDF page; the count added, with a message saying how many (or why none).
    int importPdf(const QString& path);
    // The largest side of a PDF page's picture: the insertion limit.
    int pdfPageSide() const;

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    void applyEffects(EditorEffects effects);
    void syncTextures();
    void updateEditingViews();
    Point middleOfView() const;
    void attachToSurface();

    FoliantViewController& editor_;
    QtImageCodec codec_;
    ImageTextures textures_;
    ImageToolbar* toolbar_ = nullptr;
    ResizeGrip* grip_ = nullptr;
    QPointer<StationeryPicker> picker_;
    bool toolbarShown_ = false;
    QPointer<FLTracegrabPreviewViewController> preview_;
    FoliantImagePtr imageBeingConverted_;
    QPointer<QWidget> surface_;
};

}  // namespace velumen
