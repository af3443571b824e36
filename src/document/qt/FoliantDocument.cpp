#include "document/qt/FoliantDocument.h"

#include <algorithm>
#include <exception>

#include "document/qt/FileQueue.h"

namespace velumen {

FoliantDocument::FoliantDocument(QString filePath, const ImageCodec& codec, QObject* parent)
    : QObject(parent), filePath_(std::move(filePath)), codec_(codec), data_(std::make_shared<FoliantData>()) {
    autosaveTimer_.setSingleShot(true);
    autosaveTimer_.setInterval(kDefaultAutosaveInterval);
    connect(&autosaveTimer_, &QTimer::timeout, this, &FoliantDocument::autosaveTimerFired);
}

FoliantDocument::~FoliantDocument() {
    autosaveTimer_.stop();
    // Jobs on the file thread name this object as the receiver of their answers: none may outlive it.
    FileQueue::shared().waitUntilIdle();
}

bool FoliantDocument::loadFromContents(std::span<const std::uint8_t> contents) {
    FoliantDataPtr book = unarchiveFoliantData(contents, &codec_);
    if (!book) book = std::make_shared<FoliantData>();
    data_ = std::move(book);
    dataSize_ = contents.size();
    savedPanDelta_ = data_->panDelta();
    savedZoomFactor_ = data_->zoomFactor();
    if (delegate_) delegate_->documentContentsDidUpdate(*this);
    return true;
}

const std::vector<std::uint8_t>& FoliantDocument::contentsForType() {
    if (!contents_)
        contents_ =
            spareContents_ ? std::move(spareContents_) : std::make_shared<std::vector<std::uint8_t>>();
    archiveFoliantData(*data_, &codec_, *contents_);
    dataSize_ = contents_->size();
    savedPanDelta_ = data_->panDelta();
    savedZoomFactor_ = data_->zoomFactor();
    return *contents_;
}

void FoliantDocument::openWithCompletionHandler(CompletionHandler completionHandler) {
    if (isOpening_ || isOpen_ || isClosing_) {
        answerLater(std::move(completionHandler), false);
        return;
    }
    isOpening_ = true;
    FileQueue::shared().post([this, path = filePath_, handler = std::move(completionHandler)]() mutable {
        auto bytes = std::make_shared<std::vector<std::uint8_t>>();
        QString error;
        const bool readable = readWholeFile(path, *bytes, error);
        QMetaObject::invokeMethod(
            this,
            [this, readable, bytes, error, handler = std::move(handler)] {
                finishOpen(readable, bytes, error, handler);
            },
            Qt::QueuedConnection);
    });
}

void FoliantDocument::finishOpen(bool readable, const std::shared_ptr<std::vector<std::uint8_t>>& bytes,
                                 const QString& error, const CompletionHandler& completionHandler) {
    isOpening_ = false;
    bool opened = false;
    if (isClosing_) {
        errorString_ = filePath_ + QStringLiteral(": closed before it was open");
    } else if (!readable) {
        errorString_ = error;
    } else {
        try {
            loadFromContents(*bytes);
            opened = true;
        } catch (const std::exception& e) {
            // `data` is still the empty book, and the document stays unopened: it never writes this file.
            errorString_ = filePath_ + QStringLiteral(": not a readable book (") +
                           QString::fromUtf8(e.what()) + QStringLiteral(")");
        }
    }
    if (opened) {
        isOpen_ = true;
        queuedChangeCount_ = savedChangeCount_ = changeCount_;
        errorString_.clear();
    }
    if (completionHandler) completionHandler(opened);
}

void FoliantDocument::autosaveWithCompletionHandler(CompletionHandler completionHandler) {
    if (delegate_ && !delegate_->documentWillAutoSave(*this)) {
        if (completionHandler) completionHandler(false);
        return;
    }
    const std::uint64_t target = changeCount_;
    if (changeCount_ != queuedChangeCount_ && !queueWrite()) {
        answerLater(std::move(completionHandler), false);
        return;
    }
    afterQueuedWrites([this, target, handler = std::move(completionHandler)] {
        if (handler) handler(savedChangeCount_ >= target);
    });
}

void FoliantDocument::closeWithCompletionHandler(CompletionHandler completionHandler) {
    if (isClosing_) {
        answerLater(std::move(completionHandler), false);
        return;
    }
    autosaveTimer_.stop();
    const std::uint64_t target = changeCount_;
    bool saving = true;
    auto written = std::make_shared<bool>(true);
    // Anything not yet on disk is encoded again, writes in flight included: the editor's last touches before
    // a close (merged runs, the preview) count no change of their own.
    if (hasUnsavedChanges()) {
        saving = (!delegate_ || delegate_->documentWillAutoSave(*this)) &&
                 queueWrite([written](bool ok) { *written = ok; });
    }
    isClosing_ = true;
    afterQueuedWrites([this, saving, written, target, handler = std::move(completionHandler)] {
        if (handler) handler(saving && *written && savedChangeCount_ >= target);
    });
}

void FoliantDocument::updateChangeCount(ChangeKind kind) {
    switch (kind) {
        case ChangeKind::Done:
            ++changeCount_;
            break;
    }
    if (mayWrite() && !autosaveTimer_.isActive()) autosaveTimer_.start();
}

void FoliantDocument::setDocumentStateFlag(DocumentStateFlag flag, bool on) {
    setState(on ? documentState_ | flag : documentState_ & ~DocumentState(flag));
}

void FoliantDocument::waitForAllWrites() {
    FileQueue::shared().waitUntilIdle();
}

bool FoliantDocument::queueWrite(CompletionHandler onWritten) {
    if (!mayWrite()) {
        errorString_ =
            isOpen_ ? filePath_ + QStringLiteral(": the document is closed")
                    : filePath_ + QStringLiteral(": the book was never opened; its file is not written");
        return false;
    }
    try {
        contentsForType();
    } catch (const std::exception& e) {
        errorString_ = filePath_ + QStringLiteral(": cannot be encoded (") + QString::fromUtf8(e.what()) +
                       QStringLiteral(")");
        setState(documentState_ | SavingError);
        return false;
    }
    Buffer buffer = std::move(contents_);
    const std::uint64_t count = changeCount_;
    queuedChangeCount_ = count;
    FileQueue::shared().post([this, path = filePath_, buffer = std::move(buffer), count,
                              onWritten = std::move(onWritten)]() mutable {
        QString error;
        const bool written = writeFileAtomically(path, *buffer, error);
        QMetaObject::invokeMethod(
            this,
            [this, written, count, buffer = std::move(buffer), error,
             onWritten = std::move(onWritten)]() mutable {
                finishWrite(written, count, std::move(buffer), error);
                if (onWritten) onWritten(written);
            },
            Qt::QueuedConnection);
    });
    return true;
}

void FoliantDocument::finishWrite(bool written, std::uint64_t count, Buffer buffer, const QString& error) {
    if (!contents_)
        contents_ = std::move(buffer);
    else if (!spareContents_)
        spareContents_ = std::move(buffer);
    if (written) {
        savedChangeCount_ = std::max(savedChangeCount_, count);
        errorString_.clear();
        setState(documentState_ & ~DocumentState(SavingError));
        return;
    }
    errorString_ = error;
    // The changes of this write go out again with the next save, unless a later write already carries them.
    if (queuedChangeCount_ == count) queuedChangeCount_ = savedChangeCount_;
    setState(documentState_ | SavingError);
    if (mayWrite() && changeCount_ != queuedChangeCount_ && !autosaveTimer_.isActive())
        autosaveTimer_.start();
}

void FoliantDocument::afterQueuedWrites(std::function<void()> then) {
    FileQueue::shared().post([this, then = std::move(then)]() mutable {
        QMetaObject::invokeMethod(this, std::move(then), Qt::QueuedConnection);
    });
}

void FoliantDocument::answerLater(CompletionHandler completionHandler, bool success) {
    if (!completionHandler) return;
    QMetaObject::invokeMethod(
        this, [handler = std::move(completionHandler), success] { handler(success); }, Qt::QueuedConnection);
}

void FoliantDocument::autosaveTimerFired() {
    if (!mayWrite() || changeCount_ == queuedChangeCount_) return;
    autosaveWithCompletionHandler(nullptr);
    // A veto leaves the changes waiting: the timer comes back for them.
    if (mayWrite() && changeCount_ != queuedChangeCount_ && !autosaveTimer_.isActive())
        autosaveTimer_.start();
}

void FoliantDocument::setState(DocumentState state) {
    if (state == documentState_) return;
    documentState_ = state;
    emit documentStateChanged(state);
}

}  // namespace velumen
