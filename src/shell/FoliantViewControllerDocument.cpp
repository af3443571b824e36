// The editor's half of the open book: opening and closing its file, the autosave veto and its retry, the
// thumbnail debt, locking, the document's states, and going to the background.
#include <QFileInfo>
#include <QTimer>

#include "remote/FLDiagnostics.h"
#include "render/KGLUtils.h"
#include "shell/FoliantViewController.h"
#include "shell/text/TextBoxEditor.h"

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
    fileName_ = QFileInfo(path).fileName();
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
    if (book.panDelta() != Point{0, 0} || book.zoomFactor() != session_.viewport.minZoomFactor) {
        session_.viewport.setCanvasPoint({0, 0}, {0, 0}, session_.viewport.minZoomFactor);
        registerDocumentChange();
    }
    handleDocumentChanged();
    isEditorActive_ = true;
    window_->setEnabled(true);
    view_->setEnabled(true);
}

void FoliantViewController::handleDocumentChanged() {
    session_.editor.removeAllUndoManagers();
    setToolbarLocked(isBookLocked());
    session_.viewport.handleDocumentChanged();
    if (pageNavigator_) {
        pageNavigator_->updatePageTitle();
        pageNavigator_->updatePageIcons();
    }
    applyEffects(session_.editor.takeEffects() | EditorEffects::newInk());
    redrawAllLines();
}

void FoliantViewController::documentStateChanged(FoliantDocument::DocumentState state) {
    if (state.testFlag(FoliantDocument::SavingError)) {
        closeDocumentAndReturnToGallery();
        return;
    }
    const bool blocked = state.testFlag(FoliantDocument::InConflict) || state.testFlag(FoliantDocument::EditingDisabled);
    view_->setEnabled(!blocked);
    view_->compositor.isFrameUpdateNeeded = true;
}

void FoliantViewController::registerDocumentChange() {
    if (!document_ || !session_.book() || session_.book()->isLocked()) return;
    ++appliedCounts_.changesRegistered;
    document_->updateChangeCount(FoliantDocument::ChangeKind::Done);
    lastChangeDate_ = FoliantGlobals::referenceDateNow();
}

bool FoliantViewController::documentWillAutoSave(FoliantDocument& doc) {
    const bool granted = isApplicationSuspended_ || !isEditorActive_ ||
                         (!session_.isGestureRunning() && !isFrameLocked() && !isGeneratingPDF_);
    if (granted) {
        doc.data()->setSavingDeviceType(savingDeviceTypeFor(session_.viewport.profile));
        // No picture now: the thumbnail is paid at close, in the background and at lock. A save that writes
        // nothing new leaves the saved picture as current as it was.
        if (doc.hasChangesToWrite()) needToUpdateDocumentThumbnail_ = true;
        didAbortAutoSave_ = false;
        return true;
    }
    const bool wasAborted = didAbortAutoSave_;
    didAbortAutoSave_ = true;
    if (!wasAborted) QTimer::singleShot(1000, this, [this] { tryToAutoSave(); });
    return false;
}

void FoliantViewController::tryToAutoSave() {
    if (isApplicationSuspended_ || !isEditorActive_) {
        didAbortAutoSave_ = false;
        return;
    }
    if (didAbortAutoSave_ && !session_.isGestureRunning() && !isFrameLocked() && !isGeneratingPDF_) {
        didAbortAutoSave_ = false;
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
    needToUpdateDocumentThumbnail_ = false;
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
    // What is typed reaches the book when its session ends.
    if (textBoxEditor_) textBoxEditor_->endEditing();
    FoliantDocument& doc = *document_;
    doc.setDelegate(nullptr);
    disconnect(documentStateConnection_);
    const QString path = doc.filePath();
    session_.sampler.cancelCurrentLine();
    FoliantData& book = *doc.data();
    if (!book.isLocked() && session_.book() == doc.data()) {
        if (needToUpdateDocumentThumbnail_) {
            needToUpdateDocumentThumbnail_ = false;
            registerDocumentChange();
        }
        // Each book is stored at its fit view.
        if (doc.savedPanDelta() != Point{0, 0} || doc.savedZoomFactor() != session_.viewport.minZoomFactor) {
            session_.viewport.setCanvasPoint({0, 0}, {0, 0}, session_.viewport.minZoomFactor);
            registerDocumentChange();
        }
        // Only changes not yet handed to a write are prepared for: an unchanged book, or one whose last save
        // (with its picture) is still being written, is neither merged nor pictured again.
        if (doc.hasChangesToWrite() && !doc.documentState().testFlag(FoliantDocument::SavingError)) {
            if (book.pointSets()) book.pointSets()->consolidatePointSets();
            book.setSavingDeviceType(savingDeviceTypeFor(session_.viewport.profile));
            if (KImagePtr thumbnail = thumbnailForBook()) book.setThumbnail(thumbnail);
        }
    }
    const KImagePtr thumbnail = book.thumbnail();
    isEditorActive_ = false;
    window_->setEnabled(false);
    view_->setEnabled(false);
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
    if (pageNavigator_) pageNavigator_->dismissPagePicker();
    QTimer::singleShot(0, this, [this] {
        closeDocumentWithCompletion([this](bool) {
            setEnabled(true);
            if (returnToGallery) returnToGallery();
        });
    });
}

void FoliantViewController::lockDocument() {
    if (!document_ || !session_.book()) return;
    dismissPopovers();
    if (session_.isEyeDropPickingColor()) eyeDropperDoneTapped();
    if (diagnostics) diagnostics->didLockBook();
    if (textBoxEditor_) textBoxEditor_->endEditing();
    setEnabled(false);
    session_.book()->setIsLocked(true);
    document_->updateChangeCount(FoliantDocument::ChangeKind::Done);
    lastChangeDate_ = FoliantGlobals::referenceDateNow();
    if (pageNavigator_ && pageNavigator_->pagePicker()) pageNavigator_->pagePicker()->setIsLockedForEditing(true);
    FoliantDocument* locking = document_.get();
    updateThumbnailAndSaveDocumentWithCompletion([this, locking](bool) {
        // The toolbar learns of the lock once the book holding it is written.
        if (document_.get() == locking && isBookLocked()) setToolbarLocked(true);
        setEnabled(true);
    });
}

void FoliantViewController::unlockDocument() {
    if (!document_ || !session_.book()) return;
    session_.book()->setIsLocked(false);
    document_->updateChangeCount(FoliantDocument::ChangeKind::Done);
    if (pageNavigator_ && pageNavigator_->pagePicker()) pageNavigator_->pagePicker()->setIsLockedForEditing(false);
    setToolbarLocked(false);
}

void FoliantViewController::unlockBttonTapped() {
    if (!session_.isGestureRunning() && isBookLocked()) unlockDocument();
}

void FoliantViewController::toggleLockTapped() {
    if (!session_.book() || session_.isGestureRunning()) return;
    if (session_.book()->isLocked())
        unlockDocument();
    else
        lockDocument();
}

void FoliantViewController::applicationWillResignActive() {
    isApplicationSuspended_ = true;
    if (isEditorActive_ && document_) {
        if (needToUpdateDocumentThumbnail_ || document_->hasUnsavedChanges()) {
            needToUpdateDocumentThumbnail_ = false;
            if (KImagePtr thumbnail = thumbnailForBook()) document_->data()->setThumbnail(thumbnail);
            registerDocumentChange();
            if (setThumbnailForFile) setThumbnailForFile(document_->filePath(), document_->data()->thumbnail());
            autoSaveDocumentWithCompletion({});
            // That save, granted in the background, carries the new picture: nothing is owed.
            needToUpdateDocumentThumbnail_ = false;
        } else {
            autoSaveDocumentWithCompletion({});
        }
    }
    if (savesSettingsInBackground_) {
        session_.globals.saveSettings();
        session_.globals.defaults().setObject(FoliantGlobals::kActiveFileName, fileName_);
        session_.globals.defaults().synchronize();
    }
    if (usageWillResignActive) usageWillResignActive();
}

void FoliantViewController::applicationDidBecomeActive() {
    isApplicationSuspended_ = false;
    if (usageDidBecomeActive) usageDidBecomeActive();
    redrawAllLines();
}

void FoliantViewController::handleApplicationOpenUrl(const QString& path, bool) {
    if (isEditorActive_) {
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
