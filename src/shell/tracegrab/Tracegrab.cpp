// The silent conversion: reading and converting on a worker thread, the result placed on the page back on
// the editor's thread; the file dialog opens without a nested event loop.
#include "shell/tracegrab/Tracegrab.h"

#include <QFileDialog>
#include <QFileInfo>
#include <QMessageBox>
#include <QPointer>
#include <QThread>
#include <memory>

#include "imagetoink/FLTracegrabber.h"
#include "imagetoink/qt/TracegrabPicture.h"
#include "shell/EditorSession.h"

namespace velumen {

float tracegrabTargetWidth(DeviceProfile profile, float zoomFactor) {
    const float screen = profile == DeviceProfile::Phone ? 850.0f : 1024.0f;
    return screen / zoomFactor * 0.5f;
}

KVSPointSetArrayPtr traceGrabImage(RgbaImage picture, float targetWidth) {
    FLTracegrabber tracegrabber;
    tracegrabber.setImage(std::move(picture));
    tracegrabber.setTargetWidth(targetWidth);
    KVSPointSetArrayPtr ink = tracegrabber.pointSetsWithThreshold(kTracegrabThreshold);
    return ink ? ink : std::make_shared<KVSPointSetArray>();
}

void traceGrabFileInBackground(QObject* context, const QString& path, float targetWidth,
                               std::function<void(KVSPointSetArrayPtr ink, std::string why)> done) {
    struct Outcome {
        KVSPointSetArrayPtr ink;
        std::string why;
    };
    auto outcome = std::make_shared<Outcome>();
    QThread* worker = QThread::create([outcome, path, targetWidth] {
        std::optional<RgbaImage> picture =
            readTracegrabPicture(path, tracegrabSizeLimit(totalMemory(), false), outcome->why);
        if (picture) outcome->ink = traceGrabImage(std::move(*picture), targetWidth);
    });
    // Queued to the context's thread; dropped with the context.
    QObject::connect(worker, &QThread::finished, context,
                     [outcome, done = std::move(done)] { done(outcome->ink, outcome->why); });
    QObject::connect(worker, &QThread::finished, worker, &QObject::deleteLater);
    worker->start();
}

void convertPictureToInk(QWidget* editor, EditorSession& session, std::function<void(EditorEffects)> apply) {
    if (!session.book() || session.isBookLocked() || session.isGestureRunning()) return;
    auto* dialog =
        new QFileDialog(editor, "Convert Picture To Ink", QString(),
                        "Pictures (*.png *.jpg *.jpeg *.bmp *.gif *.webp *.tif *.tiff);;All files (*)");
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setFileMode(QFileDialog::ExistingFile);
    dialog->setAcceptMode(QFileDialog::AcceptOpen);
    QObject::connect(dialog, &QFileDialog::fileSelected, editor,
                     [editor, &session, apply](const QString& path) {
                         convertPictureFileToInk(editor, session, path, apply);
                     });
    dialog->open();
}

void convertPictureFileToInk(QWidget* editor, EditorSession& session, const QString& path,
                             std::function<void(EditorEffects)> apply, std::function<void()> finished) {
    if (!session.book() || session.isBookLocked() || session.isGestureRunning()) {
        if (finished) finished();
        return;
    }
    const EditorViewport& viewport = session.viewport;
    const float targetWidth = tracegrabTargetWidth(viewport.profile, viewport.view.zoomFactor);
    const Rect visible = viewport.currentFrame();
    const Point centre{visible.midX(), visible.midY()};
    editor->setEnabled(false);
    QPointer<QWidget> guard(editor);
    traceGrabFileInBackground(
        editor, path, targetWidth,
        [guard, &session, centre, path, apply, finished](KVSPointSetArrayPtr ink, std::string why) {
            guard->setEnabled(true);
            if (!ink) {
                auto* box = new QMessageBox(QMessageBox::Warning, "Cannot Convert Picture",
                                            QFileInfo(path).fileName() + ": " + QString::fromStdString(why),
                                            QMessageBox::Ok, guard);
                box->setAttribute(Qt::WA_DeleteOnClose);
                box->open();
            } else if (ink->count() > 0 && session.book() && !session.isBookLocked()) {
                const EditorEffects effects = session.editor.addPointSetsCentredAt(ink, centre);
                if (apply) apply(effects);
            }
            if (finished) finished();
        });
}

}  // namespace velumen
