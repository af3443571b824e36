// The silent conversion of a picture into ink and the editor's command that feeds it from a picture file:
// no preview, the fixed threshold, the ink half a screen wide at the current zoom and centred where the user
// looks, added to the current page as one undo step. The reading and converting run on a worker thread; the
// editor takes no input meanwhile.
#pragma once

#include <QString>
#include <cstdint>
#include <functional>
#include <string>

#include "document/EditorEffects.h"
#include "imagetoink/RgbaImage.h"
#include "ink/KVSPointSetArray.h"
#include "input/EditorViewport.h"

class QObject;
class QWidget;

namespace velumen {

class EditorSession;

// The threshold of the conversion without a preview.
inline constexpr std::uint8_t kTracegrabThreshold = 118;

// The width ink from a picture may have: half of the screen's width at the zoom, the screen being 1024 units
// wide on a tablet and 850 on a phone.
float tracegrabTargetWidth(DeviceProfile profile, float zoomFactor);

// The picture's ink at the fixed threshold, its origin at 0, 0 (empty when the picture has no foreground).
KVSPointSetArrayPtr traceGrabImage(RgbaImage picture, float targetWidth);

// Reads the picture in the file and converts it on a worker thread; `done` runs on `context`'s thread with
// the ink, or with nullptr and the reason the picture could not be read. Nothing runs if `context` is gone.
void traceGrabFileInBackground(QObject* context, const QString& path, float targetWidth,
                               std::function<void(KVSPointSetArrayPtr ink, std::string why)> done);

// The command "Convert Picture To Ink…": a file dialog, then convertPictureFileToInk with the chosen file.
void convertPictureToInk(QWidget* editor, EditorSession& session, std::function<void(EditorEffects)> apply);

// The picture in the file as ink on the session's current page: centred on the middle of the visible part
// of the page, pulled into the page, one undo step; no ink, nothing added. `editor` takes no input until
// the conversion is over; a picture that cannot be read is reported in an alert over it. `apply` gets the
// effects of the edit; `finished` runs at the end in every case. Nothing happens without an editable book.
void convertPictureFileToInk(QWidget* editor, EditorSession& session, const QString& path,
                             std::function<void(EditorEffects)> apply, std::function<void()> finished = {});

}  // namespace velumen
