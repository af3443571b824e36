// The books the notebook ships with, made by our own code at build time: the guide explains the gallery,
// the pens, the gestures and the commands in a few pages, and the release note says what is new. Their
// words are written as ink: each line is drawn by a touch script in a simple stroke lettering and played
// into a book through the editor's own touch path, without a display, so that the same build always writes
// the same bytes. A page keeps its words as text too, for the day pages hold text boxes beside their ink.
#pragma once

#include <QByteArray>
#include <QImage>
#include <QString>
#include <QStringList>
#include <vector>

#include "document/FoliantData.h"
#include "ink/KGeometry.h"

namespace velumen {

struct GuidePage {
    QString title;
    QStringList lines;
};

// The guide, in the order of its pages; `large` is the guide for the larger phone screens (same words, the
// letters a size larger).
std::vector<GuidePage> quickStartGuidePages();
// What is new in this version.
std::vector<GuidePage> releaseNotePages();

// The strokes of `text` in the lettering, in view points, its top left at `origin`, letters `unit` points
// per grid step (a capital is 6 steps high and 4 wide). Lower case is drawn as capitals; a character
// without a shape is a space.
std::vector<std::vector<Point>> letterStrokes(const QString& text, Point origin, double unit);

// The touch script that writes a page on a view of 768 by 1024 points: a pen line, then one finger per
// stroke, 1/60 s between samples, starting at `startTime`.
QByteArray guidePageScript(const GuidePage& page, double startTime, double unit);

// A book of these pages written through the touch path, with a preview of its first page; null with
// `error` set when a script could not be played.
FoliantDataPtr makeGuideBook(const std::vector<GuidePage>& pages, double unit, std::string& error);

// The preview of a page: its words drawn in the same strokes on white.
QImage guidePagePreview(const GuidePage& page, double unit, QSize size);

}  // namespace velumen
