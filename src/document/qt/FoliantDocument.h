// One open book file: it loads the book, saves it in the background, asks the editor before each autosave,
// keeps the state bits, and closes after its last write. It lives on the GUI thread; the bytes are encoded
// there and written by the one file thread, so the GUI thread never waits for the disk.
#pragma once

#include <QFlags>
#include <QObject>
#include <QString>
#include <QTimer>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

#include "document/FoliantData.h"
#include "ink/KGeometry.h"

namespace velumen {

class FoliantDocument;

// The editor, while the book is open.
class FoliantDocumentDelegate {
  public:
    virtual ~FoliantDocumentDelegate() = default;
    // May this autosave go ahead? Asked by every autosave, the timer's included.
    virtual bool documentWillAutoSave(FoliantDocument& document) = 0;
    // The contents were replaced by a load.
    virtual void documentContentsDidUpdate(FoliantDocument& document) = 0;
};

class FoliantDocument : public QObject {
    Q_OBJECT

  public:
    enum DocumentStateFlag : unsigned {
        Normal = 0,
        InConflict = 2,
        SavingError = 4,
        EditingDisabled = 8,
    };
    Q_DECLARE_FLAGS(DocumentState, DocumentStateFlag)

    enum class ChangeKind { Done };

    // Called on the GUI thread, always after the call that takes it has returned, except for a veto of
    // the autosave entry, which answers at once.
    using CompletionHandler = std::function<void(bool success)>;

    static constexpr std::chrono::milliseconds kDefaultAutosaveInterval{15000};

    // A document for the book file at `filePath`, holding a new empty book until it is opened. The codec
    // decodes and encodes the preview; it must outlive the document.
    FoliantDocument(QString filePath, const ImageCodec& codec, QObject* parent = nullptr);
    // Waits for the writes already handed to the file thread; starts none. Completions still due are
    // dropped.
    ~FoliantDocument() override;

    const QString& filePath() const { return filePath_; }

    const FoliantDataPtr& data() const { return data_; }
    FoliantDocumentDelegate* delegate() const { return delegate_; }
    void setDelegate(FoliantDocumentDelegate* delegate) { delegate_ = delegate; }
    std::uint64_t dataSize() const { return dataSize_; }
    void setDataSize(std::uint64_t size) { dataSize_ = size; }
    Point savedPanDelta() const { return savedPanDelta_; }
    void setSavedPanDelta(Point pan) { savedPanDelta_ = pan; }
    float savedZoomFactor() const { return savedZoomFactor_; }
    void setSavedZoomFactor(float zoom) { savedZoomFactor_ = zoom; }

    // Replaces `data` by the book in `contents` (a new empty book when they hold none), takes the size, pan
    // and zoom, tells the delegate, and returns true. Bytes that are not a readable book raise ArchiveError
    // and change nothing: the open that read them fails.
    bool loadFromContents(std::span<const std::uint8_t> contents);
    // Encodes `data` into the document's buffer, which is reused from save to save, and takes the size,
    // pan and zoom. The bytes stay valid until the next call. Raises ArchiveError for text that cannot be
    // written.
    const std::vector<std::uint8_t>& contentsForType();

    // Reads the file on the file thread (after any write still queued), loads it on the GUI thread, and
    // answers whether the book is open. A file that cannot be read or holds no readable book fails the open,
    // and such a document never writes its file.
    void openWithCompletionHandler(CompletionHandler completionHandler);
    // The autosave entry: asks the delegate, and on a veto answers false at once. Otherwise the changes not
    // yet handed to the file thread are encoded and queued, and the answer comes once every write queued so
    // far has ended: true when the file then holds every change made before this call.
    void autosaveWithCompletionHandler(CompletionHandler completionHandler);
    // Saves as the autosave entry does (the delegate is still asked: clear it first), but encodes again
    // whenever the file is behind, a write in flight notwithstanding; answers after the last write, true when
    // the file holds the book as it was at the call. A closed document writes nothing more and arms no timer.
    void closeWithCompletionHandler(CompletionHandler completionHandler);

    // Marks the book changed and arms the autosave timer, whose tick calls the autosave entry.
    void updateChangeCount(ChangeKind kind);
    // The file lacks a change made to the book (writes still in flight count as not done).
    bool hasUnsavedChanges() const { return changeCount_ != savedChangeCount_; }
    // Some change is not yet handed to a write (writes in flight count as done).
    bool hasChangesToWrite() const { return changeCount_ != queuedChangeCount_; }

    DocumentState documentState() const { return documentState_; }
    // Raises or lowers InConflict or EditingDisabled for whatever watches the file from outside; the
    // document raises and lowers SavingError itself.
    void setDocumentStateFlag(DocumentStateFlag flag, bool on);

    // Why the last open or save failed; empty after a success.
    const QString& errorString() const { return errorString_; }

    std::chrono::milliseconds autosaveInterval() const { return autosaveTimer_.intervalAsDuration(); }
    void setAutosaveInterval(std::chrono::milliseconds interval) { autosaveTimer_.setInterval(interval); }

    // Blocks until every write of every document has reached its file: for quitting, after the last close.
    static void waitForAllWrites();

  signals:
    void documentStateChanged(FoliantDocument::DocumentState state);

  private:
    using Buffer = std::shared_ptr<std::vector<std::uint8_t>>;

    void finishOpen(bool readable, const std::shared_ptr<std::vector<std::uint8_t>>& bytes,
                    const QString& error, const CompletionHandler& completionHandler);
    // Encodes and queues the changes not yet queued; false (SavingError raised) when they cannot be encoded
    // or the document may not write. `onWritten` hears how this write ended.
    bool queueWrite(CompletionHandler onWritten = nullptr);
    void finishWrite(bool written, std::uint64_t changeCount, Buffer buffer, const QString& error);
    // Runs `then` on the GUI thread once the writes queued so far have ended.
    void afterQueuedWrites(std::function<void()> then);
    void answerLater(CompletionHandler completionHandler, bool success);
    void autosaveTimerFired();
    bool mayWrite() const { return isOpen_ && !isClosing_; }
    void setState(DocumentState state);

    QString filePath_;
    const ImageCodec& codec_;
    FoliantDataPtr data_;
    float savedZoomFactor_ = 0;
    FoliantDocumentDelegate* delegate_ = nullptr;
    std::uint64_t dataSize_ = 0;
    Point savedPanDelta_;

    bool isOpening_ = false;
    bool isOpen_ = false;
    bool isClosing_ = false;
    // Changes counted by updateChangeCount; the count the last queued write holds; the count on disk.
    std::uint64_t changeCount_ = 0;
    std::uint64_t queuedChangeCount_ = 0;
    std::uint64_t savedChangeCount_ = 0;
    DocumentState documentState_ = Normal;
    QString errorString_;
    QTimer autosaveTimer_;
    // The encoding buffer, null while the file thread holds it; a second one kept from an overlapping save.
    Buffer contents_;
    Buffer spareContents_;
};

Q_DECLARE_OPERATORS_FOR_FLAGS(FoliantDocument::DocumentState)

}  // namespace velumen
