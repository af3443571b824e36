// The editor's half of the open book: opening and closing its file, the autosave veto and its retry, the
// thumbnail debt, locking, the document's states, and going to the background.
#include <QFileInfo>
#include <QTimer>

#include "render/KGLUtils.h"
#include "shell/FoliantViewController.h"

namespace velumen {

namespace {
// What the book records as the device that saved it.
std::int64_t savingDeviceTypeFor(DeviceProfile profile) {
    return profile == DeviceProfile::Tablet ? 1 : 2;
}
}  // namespace

KImagePtr FoliantViewController::thumbnailForBook() {
    const QImage image = screenImage();
    if (image.isNull()) return nullptr;
    return std::make_shared<const KImage>(KGLUtils::kImageFromQImage(image));
}

void FoliantViewController::loadDocumentFromFile(const QString& path, Completion completion) {
    const bool hadInput = isEnabled();
    setEnabled(false);
    fileName = QFileInfo(path).fileName();
    document_ = std::make_unique<FoliantDocument>(path, codec_);
    FoliantDocument* opening = document_.get();
    opening->openWithCompletionHandler([this, opening, hadInput, completion](bool success) {
        if (document_.get() != opening) return;  // replaced meanwhile
        if (success) {
            documentWasLoaded();
        } else {
            // Nothing was read: the document never writes, and the editor goes without a book.
            closeDocumentWithCompletion([](bool) {});
        }
        setEnabled(hadInput);
        if (completion) completion(success);
    });
}

void FoliantViewController::documentWasLoaded() {
    FoliantDocument& doc = *document_;
    doc.setDelegate(this);
    documentStateConnection_ = connect(&doc, &FoliantDocument::documentStateChanged, this,
                                       [this](FoliantDocument::DocumentState state) { documentStateChanged(state); });
    openBook(doc.data());
    // Every book opens at the fit view; one left zoomed is thereby changed.
    const FoliantData& book = *doc.data();
    if (book.panDelta() != Point{0, 0} || book.zoomFactor() != viewport.minZoomFactor) {
        viewport.setCanvasPoint({0, 0}, {0, 0}, viewport.minZoomFactor);
        registerDocumentChange();
    }
    handleDocumentChanged();
    isEditorActive = true;
    toolbar_->setEnabled(true);
    eaglFrame_->setEnabled(true);
}

void FoliantViewController::handleDocumentChanged() {
    editor.removeAllUndoManagers();
    setToolbarLocked(isBookLocked());
    viewport.handleDocumentChanged();
    if (pageNavigator) {
        pageNavigator->updatePageTitle();
        pageNavigator->updatePageIcons();
    }
    showPageInk();
    redrawAllLines();
}

void FoliantViewController::documentStateChanged(FoliantDocument::DocumentState state) {
    if (state.testFlag(FoliantDocument::SavingError)) {
        closeDocumentAndReturnToGallery();
        return;
    }
    const bool blocked = state.testFlag(FoliantDocument::InConflict) || state.testFlag(FoliantDocument::EditingDisabled);
    eaglFrame_->setEnabled(!blocked);
    compositor.isFrameUpdateNeeded = true;
}

void FoliantViewController::registerDocumentChange() {
    if (!document_ || !book_ || book_->isLocked()) return;
    document_->updateChangeCount(FoliantDocument::ChangeKind::Done);
    lastChangeDate = FoliantGlobals::referenceDateNow();
}

bool FoliantViewController::documentWillAutoSave(FoliantDocument& doc) {
    const bool granted = isApplicationSuspended || !isEditorActive ||
                         (dispatcher.touchMode == TouchModeNone && !isFrameLocked() && !isGeneratingPDF);
    if (granted) {
        doc.data()->setSavingDeviceType(savingDeviceTypeFor(viewport.profile));
        // No picture now: the thumbnail is paid at close, in the background and at lock. A save that writes
        // nothing new leaves the saved picture as current as it was.
        if (doc.hasChangesToWrite()) needToUpdateDocumentThumbnail = true;
        didAbortAutoSave = false;
        return true;
    }
    const bool wasAborted = didAbortAutoSave;
    didAbortAutoSave = true;
    if (!wasAborted) QTimer::singleShot(1000, this, [this] { tryToAutoSave(); });
    return false;
}

void FoliantViewController::tryToAutoSave() {
    if (isApplicationSuspended || !isEditorActive) {
        didAbortAutoSave = false;
        return;
    }
    if (didAbortAutoSave && dispatcher.touchMode == TouchModeNone && !isFrameLocked() && !isGeneratingPDF) {
        didAbortAutoSave = false;
        QTimer::singleShot(0, this, [this] { autoSaveDocumentWithCompletion({}); });
        return;
    }
    QTimer::singleShot(1000, this, [this] { tryToAutoSave(); });
}

void FoliantViewController::autoSaveDocumentWithCompletion(Completion completion) {
    if (!document_) return;
    document_->autosaveWithCompletionHandler([completion](bool success) {
        if (completion) completion(success);
    });
}

void FoliantViewController::updateThumbnailAndSaveDocumentWithCompletion(Completion completion) {
    if (!document_) {
        if (completion) completion(true);
        return;
    }
    needToUpdateDocumentThumbnail = false;
    if (KImagePtr thumbnail = thumbnailForBook()) document_->data()->setThumbnail(thumbnail);
    registerDocumentChange();
    if (setThumbnailForFile) setThumbnailForFile(document_->filePath(), document_->data()->thumbnail());
    autoSaveDocumentWithCompletion(std::move(completion));
}

void FoliantViewController::documentContentsDidUpdate(FoliantDocument& doc) {
    // A load replaces the book object itself.
    openBook(doc.data());
    handleDocumentChanged();
}

void FoliantViewController::closeDocumentWithCompletion(Completion completion) {
    if (!document_) return;
    FoliantDocument& doc = *document_;
    doc.setDelegate(nullptr);
    disconnect(documentStateConnection_);
    const QString path = doc.filePath();
    sampler.cancelCurrentLine();
    FoliantData& book = *doc.data();
    if (!book.isLocked() && book_ == doc.data()) {
        if (needToUpdateDocumentThumbnail) {
            needToUpdateDocumentThumbnail = false;
            registerDocumentChange();
        }
        // Each book is stored at its fit view.
        if (doc.savedPanDelta() != Point{0, 0} || doc.savedZoomFactor() != viewport.minZoomFactor) {
            viewport.setCanvasPoint({0, 0}, {0, 0}, viewport.minZoomFactor);
            registerDocumentChange();
        }
        // Only changes not yet handed to a write are prepared for: an unchanged book, or one whose last save
        // (with its picture) is still being written, is neither merged nor pictured again.
        if (doc.hasChangesToWrite() && !doc.documentState().testFlag(FoliantDocument::SavingError)) {
            if (book.pointSets()) book.pointSets()->consolidatePointSets();
            book.setSavingDeviceType(savingDeviceTypeFor(viewport.profile));
            if (KImagePtr thumbnail = thumbnailForBook()) book.setThumbnail(thumbnail);
        }
    }
    const KImagePtr thumbnail = book.thumbnail();
    isEditorActive = false;
    toolbar_->setEnabled(false);
    eaglFrame_->setEnabled(false);
    // The document leaves the editor at once; it finishes its last write on its own.
    FoliantDocument* raw = document_.release();
    openBook(nullptr);
    raw->closeWithCompletionHandler([this, raw, path, thumbnail, completion](bool success) {
        if (success && thumbnail && setThumbnailForFile) setThumbnailForFile(path, thumbnail);
        raw->deleteLater();
        if (completion) completion(success);
    });
}

void FoliantViewController::closeDocumentAndReturnToGallery() {
    if (!document_) {
        if (returnToGallery) returnToGallery();
        return;
    }
    setEnabled(false);
    if (pageNavigator) pageNavigator->dismissPagePicker();
    QTimer::singleShot(0, this, [this] {
        closeDocumentWithCompletion([this](bool) {
            setEnabled(true);
            if (returnToGallery) returnToGallery();
        });
    });
}

void FoliantViewController::lockDocument() {
    if (!document_ || !book_) return;
    setEnabled(false);
    book_->setIsLocked(true);
    document_->updateChangeCount(FoliantDocument::ChangeKind::Done);
    lastChangeDate = FoliantGlobals::referenceDateNow();
    if (pageNavigator && pageNavigator->pagePicker()) pageNavigator->pagePicker()->setIsLockedForEditing(true);
    FoliantDocument* locking = document_.get();
    updateThumbnailAndSaveDocumentWithCompletion([this, locking](bool) {
        // The toolbar learns of the lock once the book holding it is written.
        if (document_.get() == locking && isBookLocked()) setToolbarLocked(true);
        setEnabled(true);
    });
}

void FoliantViewController::unlockDocument() {
    if (!document_ || !book_) return;
    book_->setIsLocked(false);
    document_->updateChangeCount(FoliantDocument::ChangeKind::Done);
    if (pageNavigator && pageNavigator->pagePicker()) pageNavigator->pagePicker()->setIsLockedForEditing(false);
    setToolbarLocked(false);
}

void FoliantViewController::unlockBttonTapped() {
    if (dispatcher.touchMode == TouchModeNone && isBookLocked()) unlockDocument();
}

void FoliantViewController::toggleLockTapped() {
    if (!book_ || dispatcher.touchMode != TouchModeNone) return;
    if (book_->isLocked())
        unlockDocument();
    else
        lockDocument();
}

void FoliantViewController::applicationWillResignActive() {
    isApplicationSuspended = true;
    if (isEditorActive && document_) {
        if (needToUpdateDocumentThumbnail || document_->hasUnsavedChanges()) {
            needToUpdateDocumentThumbnail = false;
            if (KImagePtr thumbnail = thumbnailForBook()) document_->data()->setThumbnail(thumbnail);
            registerDocumentChange();
            if (setThumbnailForFile) setThumbnailForFile(document_->filePath(), document_->data()->thumbnail());
            autoSaveDocumentWithCompletion({});
            // That save, granted in the background, carries the new picture: nothing is owed.
            needToUpdateDocumentThumbnail = false;
        } else {
            autoSaveDocumentWithCompletion({});
        }
    }
    if (savesSettingsInBackground) {
        globals.saveSettings();
        globals.defaults().setObject(FoliantGlobals::kActiveFileName, fileName);
        globals.defaults().synchronize();
    }
}

void FoliantViewController::applicationDidBecomeActive() {
    isApplicationSuspended = false;
    redrawAllLines();
}

void FoliantViewController::handleApplicationOpenUrl(const QString& path, bool) {
    if (isEditorActive) {
        closeDocumentWithCompletion([this, path](bool) {
            QTimer::singleShot(100, this, [this, path] {
                if (openHandedOverFile) openHandedOverFile(path);
            });
        });
        return;
    }
    if (openHandedOverFile) openHandedOverFile(path);
}

}  // namespace velumen
