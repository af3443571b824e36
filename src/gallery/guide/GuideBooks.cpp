// The guide books: their words, the stroke lettering, the touch scripts, and the book made from them.
#include "gallery/guide/GuideBooks.h"

#include <QHash>
#include <QPainter>
#include <QPainterPath>
#include <QTemporaryDir>
#include <cmath>
#include <cstring>

#include "input/TouchRouter.h"
#include "input/TouchScript.h"
#include "shell/DefaultsStore.h"
#include "shell/EditorSession.h"

namespace velumen {

namespace {

constexpr Size kScriptView{768, 1024};
constexpr double kMargin = 48;

// Each shape: strokes split by '|', points "x,y" on a grid 4 wide and 6 high, y downwards.
const QHash<QChar, const char*>& shapes() {
    static const QHash<QChar, const char*> table = {
        {'A', "0,6 2,0 4,6|1,3 3,3"},
        {'B', "0,6 0,0 3,0 4,1 4,2 3,3 0,3|3,3 4,4 4,5 3,6 0,6"},
        {'C', "4,1 3,0 1,0 0,1 0,5 1,6 3,6 4,5"},
        {'D', "0,0 0,6 3,6 4,5 4,1 3,0 0,0"},
        {'E', "4,0 0,0 0,6 4,6|0,3 3,3"},
        {'F', "4,0 0,0 0,6|0,3 3,3"},
        {'G', "4,1 3,0 1,0 0,1 0,5 1,6 3,6 4,5 4,3 2,3"},
        {'H', "0,0 0,6|4,0 4,6|0,3 4,3"},
        {'I', "1,0 3,0|2,0 2,6|1,6 3,6"},
        {'J', "4,0 4,5 3,6 1,6 0,5"},
        {'K', "0,0 0,6|4,0 0,3 4,6"},
        {'L', "0,0 0,6 4,6"},
        {'M', "0,6 0,0 2,3 4,0 4,6"},
        {'N', "0,6 0,0 4,6 4,0"},
        {'O', "1,0 3,0 4,1 4,5 3,6 1,6 0,5 0,1 1,0"},
        {'P', "0,6 0,0 3,0 4,1 4,2 3,3 0,3"},
        {'Q', "1,0 3,0 4,1 4,5 3,6 1,6 0,5 0,1 1,0|2,4 4,6"},
        {'R', "0,6 0,0 3,0 4,1 4,2 3,3 0,3|2,3 4,6"},
        {'S', "4,1 3,0 1,0 0,1 0,2 1,3 3,3 4,4 4,5 3,6 1,6 0,5"},
        {'T', "0,0 4,0|2,0 2,6"},
        {'U', "0,0 0,5 1,6 3,6 4,5 4,0"},
        {'V', "0,0 2,6 4,0"},
        {'W', "0,0 1,6 2,3 3,6 4,0"},
        {'X', "0,0 4,6|4,0 0,6"},
        {'Y', "0,0 2,3 4,0|2,3 2,6"},
        {'Z', "0,0 4,0 0,6 4,6"},
        {'0', "1,0 3,0 4,1 4,5 3,6 1,6 0,5 0,1 1,0|4,1 0,5"},
        {'1', "1,1 2,0 2,6|1,6 3,6"},
        {'2', "0,1 1,0 3,0 4,1 4,2 0,6 4,6"},
        {'3', "0,1 1,0 3,0 4,1 4,2 3,3 1,3|3,3 4,4 4,5 3,6 1,6 0,5"},
        {'4', "3,6 3,0 0,4 4,4"},
        {'5', "4,0 0,0 0,3 3,3 4,4 4,5 3,6 0,6"},
        {'6', "4,1 3,0 1,0 0,1 0,5 1,6 3,6 4,5 4,4 3,3 0,3"},
        {'7', "0,0 4,0 1,6"},
        {'8', "1,0 3,0 4,1 4,2 3,3 1,3 0,4 0,5 1,6 3,6 4,5 4,4 3,3|1,3 0,2 0,1 1,0"},
        {'9', "4,3 1,3 0,2 0,1 1,0 3,0 4,1 4,5 3,6 0,6"},
        {'.', "2,5.5 2,6"},
        {',', "2,5 1.5,6.5"},
        {':', "2,1.5 2,2|2,4.5 2,5"},
        {';', "2,1.5 2,2|2,4.5 1.5,6"},
        {'-', "1,3 3,3"},
        {'+', "0,3 4,3|2,1 2,5"},
        {'=', "0,2 4,2|0,4 4,4"},
        {'/', "4,0 0,6"},
        {'(', "3,0 2,1 2,5 3,6"},
        {')', "1,0 2,1 2,5 1,6"},
        {'[', "3,0 1,0 1,6 3,6"},
        {']', "1,0 3,0 3,6 1,6"},
        {'?', "0,1 1,0 3,0 4,1 4,2 2,3 2,4|2,5.5 2,6"},
        {'!', "2,0 2,4|2,5.5 2,6"},
        {'\'', "2,0 2,1.5"},
        {'>', "0,1 4,3 0,5"},
        {'<', "4,1 0,3 4,5"},
    };
    return table;
}

constexpr double kAdvance = 5.5;   // grid steps from one letter to the next
constexpr double kLineSteps = 11;  // grid steps from one line to the next

std::vector<Point> parseStroke(const QString& text, Point origin, double unit) {
    std::vector<Point> points;
    for (const QString& pair : text.split(QLatin1Char(' '), Qt::SkipEmptyParts)) {
        const QStringList xy = pair.split(QLatin1Char(','));
        points.push_back({origin.x + xy[0].toDouble() * unit, origin.y + xy[1].toDouble() * unit});
    }
    return points;
}

// Every stroke of a page: the title twice the size of the lines.
std::vector<std::pair<int, std::vector<Point>>> pageStrokes(const GuidePage& page, double unit) {
    std::vector<std::pair<int, std::vector<Point>>> strokes;
    const double titleUnit = unit * 2;
    for (auto& s : letterStrokes(page.title, {kMargin, kMargin}, titleUnit))
        strokes.emplace_back(3, std::move(s));
    double y = kMargin + titleUnit * kLineSteps;
    for (const QString& line : page.lines) {
        for (auto& s : letterStrokes(line, {kMargin, y}, unit))
            strokes.emplace_back(1, std::move(s));
        y += unit * kLineSteps;
    }
    return strokes;
}

}  // namespace

std::vector<GuidePage> quickStartGuidePages() {
    return {
        {"Welcome to Velumen",
         {"Your books live in the gallery.", "Click a book to open it; Return opens", "the selected one.",
          "Ctrl+N: a new book.   F2: rename it.", "Ctrl+D: duplicate it.   Del: delete it.",
          "Ctrl+F: search.   Sort by date or name.", "Right click a book for its menu.",
          "Ctrl+W closes the book: back to the gallery."}},
        {"Pens",
         {"1 Fountain Pen      2 Pencil", "3 Brush      4 Highlighter", "E Eraser: rub out what you wrote.",
          "P: pens and colours.", "Shift+P: edit the colour of the palette.",
          "[ a thinner pen     ] a thicker pen", "I: pick a colour from the page.",
          "Esc: stop picking colours."}},
        {"Gestures",
         {"One finger, the mouse or a stylus draws.", "Two fingers pan; pinch to zoom.",
          "Swipe in from the left or right edge", "to turn the page (on phones).",
          "Draw with the stylus only: the pen button.", "Hold the undo button for its menu."}},
        {"Commands",
         {"Ctrl+Z undo      Ctrl+Shift+Z redo", "PgDown next page    PgUp previous page",
          "Pages: the list of the book's pages.", "Ctrl+L locks or unlocks the book.",
          "Ctrl+, touch and stylus settings.", "Ctrl+Q quits; every change is saved."}},
        {"Pictures and Text",
         {"Ctrl+Shift+I puts a picture on the page;", "drag it, pull its grip, frame or grey it.",
          "Insert: a photo, a PDF's pages, stationery.", "T: a text box. Type, style it, then Esc.",
          "Drop picture files onto the page."}},
    };
}

std::vector<GuidePage> releaseNotePages() {
    return {{"New in this version",
             {"The gallery: every book at a glance.", "Search your books; sort by date or name.",
              "Make, rename, duplicate and delete books.", "Your books live in Documents/Velumen.",
              "File managers show their thumbnails."}}};
}

std::vector<std::vector<Point>> letterStrokes(const QString& text, Point origin, double unit) {
    std::vector<std::vector<Point>> strokes;
    double x = origin.x;
    for (const QChar c : text) {
        const auto found = shapes().constFind(c.toUpper());
        if (found != shapes().constEnd()) {
            for (const QString& part : QString::fromLatin1(found.value()).split(QLatin1Char('|')))
                strokes.push_back(parseStroke(part, {x, origin.y}, unit));
        }
        x += kAdvance * unit;
    }
    return strokes;
}

QByteArray guidePageScript(const GuidePage& page, double startTime, double unit) {
    QByteArray script;
    double t = startTime;
    int pen = -1;
    for (const auto& [penIndex, stroke] : pageStrokes(page, unit)) {
        if (penIndex != pen) {
            pen = penIndex;
            ScriptPen choice;
            choice.index = pen;
            choice.width = pen == 3 ? 6.0f : 3.0f;
            choice.color = pen == 3 ? KColor{0.1f, 0.3f, 0.6f, 1.0f} : KColor{0.1f, 0.1f, 0.1f, 1.0f};
            script += QByteArray::fromStdString(touchScriptPenLine(t, choice)) + '\n';
        }
        // The points of a stroke, with steps of at most 3 points between samples.
        std::vector<Point> samples{stroke.front()};
        for (std::size_t i = 1; i < stroke.size(); ++i) {
            const Point a = stroke[i - 1], b = stroke[i];
            const int steps = std::max(1, int(std::ceil(std::hypot(b.x - a.x, b.y - a.y) / 3.0)));
            for (int k = 1; k <= steps; ++k)
                samples.push_back({a.x + (b.x - a.x) * k / steps, a.y + (b.y - a.y) * k / steps});
        }
        TouchRecord touch;
        touch.id = 1;
        touch.type = TouchType::Finger;
        for (std::size_t i = 0; i < samples.size(); ++i) {
            touch.phase = i == 0 ? TouchPhase::Began
                                 : (i + 1 == samples.size() ? TouchPhase::Ended : TouchPhase::Moved);
            touch.previousLocation = i == 0 ? samples[i] : samples[i - 1];
            touch.location = samples[i];
            touch.timestamp = t;
            script += QByteArray::fromStdString(touchScriptLine(touch, kScriptView)) + '\n';
            t += 1.0 / 60.0;
        }
        t += 0.25;
    }
    return script;
}

QImage guidePagePreview(const GuidePage& page, double unit, QSize size) {
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::white);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    // The script's view shows the page at its fit: the page's width fills the view's.
    const double scale = size.width() / kScriptView.width;
    painter.scale(scale, scale);
    for (const auto& [pen, stroke] : pageStrokes(page, unit)) {
        painter.setPen(
            QPen(pen == 3 ? QColor::fromRgbF(0.1f, 0.3f, 0.6f) : QColor::fromRgbF(0.1f, 0.1f, 0.1f),
                 pen == 3 ? 3.0 : 1.5, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        QPainterPath path;
        path.moveTo(stroke.front().x, stroke.front().y);
        for (const Point& p : stroke)
            path.lineTo(p.x, p.y);
        painter.drawPath(path);
    }
    return image;
}

FoliantDataPtr makeGuideBook(const std::vector<GuidePage>& pages, double unit, std::string& error) {
    QTemporaryDir settings;
    FoliantGlobals globals(openDefaultsStore(settings.filePath("defaults.plist")), 0.0);
    ManualClock clock(0.0);
    auto book = std::make_shared<FoliantData>();
    double start = 0;
    for (const GuidePage& page : pages) {
        // Each page is written alone, then joins the book.
        auto sheet = std::make_shared<FoliantData>();
        EditorSession session(globals, clock);
        session.setBook(sheet);
        session.viewport.layoutForFrameSize(kScriptView);
        session.viewport.showHomeView();
        TouchRouter router(session.dispatcher, session.viewport);
        router.didRouteEvent = [&session](const EditorEffects& effects) {
            if (effects.gestureEnded) session.editor.endUndoGrouping();
        };
        const std::optional<TouchScript> script = parseTouchScript(guidePageScript(page, start, unit), error);
        if (!script) return nullptr;
        TouchScriptHooks hooks;
        hooks.choosePen = [&session](const ScriptPen& pen) {
            session.setPenTypeIndex(pen.index, pen.width);
            if (pen.color) session.setPenColor(*pen.color);
        };
        playTouchScript(*script, router, clock, hooks);
        start = clock.now() + 1.0;
        if (sheet->pointSets()) sheet->pointSets()->consolidatePointSets();
        book->pages().push_back(sheet->pages().front());
    }
    book->setPageNum(0);
    if (!pages.empty()) {
        const QImage preview = guidePagePreview(pages.front(), unit, QSize(384, 480));
        auto image = std::make_shared<KImage>();
        image->width = preview.width();
        image->height = preview.height();
        image->pixels.resize(std::size_t(image->width) * std::size_t(image->height));
        for (int y = 0; y < preview.height(); ++y)
            std::memcpy(image->pixels.data() + std::size_t(y) * std::size_t(image->width),
                        preview.constScanLine(y), std::size_t(image->width) * 4);
        book->setThumbnail(image);
    }
    return book;
}

}  // namespace velumen
