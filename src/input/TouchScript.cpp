#include "input/TouchScript.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>
#include <charconv>
#include <cmath>
#include <set>

#include "input/TouchRouter.h"

namespace velumen {

namespace {

// A view larger than this, in points, is no screen.
constexpr double kMaxViewSide = 32768;
// Ids must fit a double exactly.
constexpr double kMaxId = 9007199254740992.0;
// Pen type indices of the palettes: the eraser, then the four pens.
constexpr int kPenTypeCount = 5;
// The widest pen a script may choose, in page units.
constexpr double kMaxPenWidth = 1000;

std::string lineError(int line, const std::string& what) {
    char digits[16];
    const auto end = std::to_chars(digits, digits + sizeof digits, line).ptr;
    return "LINE " + std::string(digits, end) + ": " + what;
}

std::optional<double> number(const QJsonObject& o, const char* key) {
    const QJsonValue v = o.value(QLatin1String(key));
    if (!v.isDouble()) return std::nullopt;
    const double d = v.toDouble();
    if (!std::isfinite(d)) return std::nullopt;
    return d;
}

std::optional<TouchPhase> phaseNamed(const QString& name) {
    if (name == QLatin1String("began")) return TouchPhase::Began;
    if (name == QLatin1String("moved")) return TouchPhase::Moved;
    if (name == QLatin1String("stationary")) return TouchPhase::Stationary;
    if (name == QLatin1String("ended")) return TouchPhase::Ended;
    if (name == QLatin1String("cancelled")) return TouchPhase::Cancelled;
    return std::nullopt;
}

const char* phaseName(TouchPhase phase) {
    switch (phase) {
        case TouchPhase::Began:
            return "began";
        case TouchPhase::Moved:
            return "moved";
        case TouchPhase::Stationary:
            return "stationary";
        case TouchPhase::Ended:
            return "ended";
        case TouchPhase::Cancelled:
            return "cancelled";
    }
    return "moved";
}

// The pen of a pen line, or an error text.
std::optional<ScriptPen> penNamed(const QJsonValue& value, std::string& what) {
    if (!value.isObject()) {
        what = "\"pen\" must be an object with \"index\" and optionally \"width\" and \"color\"";
        return std::nullopt;
    }
    const QJsonObject o = value.toObject();
    for (auto it = o.begin(); it != o.end(); ++it) {
        if (it.key() != QLatin1String("index") && it.key() != QLatin1String("width") &&
            it.key() != QLatin1String("color")) {
            what = "\"pen\" has an unknown field \"" + it.key().toStdString() + "\"";
            return std::nullopt;
        }
    }
    ScriptPen pen;
    const std::optional<double> index = number(o, "index");
    if (!index || *index != std::floor(*index) || *index < 0 || *index >= kPenTypeCount) {
        what =
            "\"index\" of \"pen\" must be 0 (eraser), 1 (fountain pen), 2 (pencil), 3 (brush) or 4 "
            "(hilighter)";
        return std::nullopt;
    }
    pen.index = int(*index);
    if (o.contains(QLatin1String("width"))) {
        const std::optional<double> width = number(o, "width");
        if (!width || !(*width > 0) || *width > kMaxPenWidth) {
            what = "\"width\" of \"pen\" must be a number of page units above 0 and at most 1000";
            return std::nullopt;
        }
        pen.width = float(*width);
    }
    if (o.contains(QLatin1String("color"))) {
        const QJsonArray c = o.value(QLatin1String("color")).toArray();
        bool good = c.size() == 3 || c.size() == 4;
        double channels[4] = {0, 0, 0, 1};
        for (qsizetype i = 0; good && i < c.size(); ++i) {
            good = c[i].isDouble() && c[i].toDouble() >= 0 && c[i].toDouble() <= 1;
            if (good) channels[i] = c[i].toDouble();
        }
        if (!good) {
            what =
                "\"color\" of \"pen\" must be [red, green, blue] or [red, green, blue, alpha], each from 0 "
                "to 1";
            return std::nullopt;
        }
        pen.color = KColor{channels[0], channels[1], channels[2], channels[3]};
    }
    return pen;
}

std::string text(double v) {
    char buffer[32];
    const auto end = std::to_chars(buffer, buffer + sizeof buffer, v).ptr;
    return std::string(buffer, end);
}

}  // namespace

std::optional<TouchScript> parseTouchScript(const QByteArray& text, std::string& error) {
    TouchScript script;
    const QList<QByteArray> lines = text.split('\n');
    double lastTime = -INFINITY;
    // Ids of the touches down so far.
    std::set<std::int64_t> down;
    for (qsizetype i = 0; i < lines.size(); ++i) {
        const int lineNumber = int(i + 1);
        const QByteArray line = lines[i].trimmed();
        if (line.isEmpty() || line.startsWith('#')) continue;
        auto fail = [&](const std::string& what) {
            error = lineError(lineNumber, what);
            return std::nullopt;
        };
        QJsonParseError parseError;
        const QJsonDocument doc = QJsonDocument::fromJson(line, &parseError);
        if (parseError.error != QJsonParseError::NoError)
            return fail("not JSON (" + parseError.errorString().toStdString() + ")");
        if (!doc.isObject()) return fail("not a JSON object");
        const QJsonObject o = doc.object();

        const std::optional<double> time = number(o, "time");
        if (!time || *time < 0) return fail("\"time\" must be a number of seconds, 0 or more");
        if (*time < lastTime) return fail("\"time\" goes back");

        const bool isPen = o.contains(QLatin1String("pen"));
        const bool isZoom = o.contains(QLatin1String("zoom"));
        if (isPen || isZoom) {
            if ((isPen && isZoom) || o.contains(QLatin1String("phase")))
                return fail("a line is a touch, a pen or a zoom, not two of them");
            if (!down.empty()) return fail("the pen and the zoom cannot change while a touch is down");
            TouchScriptEvent event{*time, {0, 0}, {}, lineNumber, std::nullopt, std::nullopt};
            if (isPen) {
                std::string what;
                event.pen = penNamed(o.value(QLatin1String("pen")), what);
                if (!event.pen) return fail(what);
            } else {
                const std::optional<double> zoom = number(o, "zoom");
                if (!zoom || !(*zoom > 0) || !std::isfinite(float(*zoom)))
                    return fail("\"zoom\" must be a number above 0");
                event.zoom = float(*zoom);
            }
            script.events.push_back(std::move(event));
            lastTime = *time;
            continue;
        }

        const std::optional<TouchPhase> phase = phaseNamed(o.value(QLatin1String("phase")).toString());
        if (!phase) return fail("\"phase\" must be began, moved, stationary, ended or cancelled");
        const std::optional<double> id = number(o, "id");
        if (!id || *id != std::floor(*id) || std::fabs(*id) > kMaxId)
            return fail("\"id\" must be an integer");
        const std::optional<double> x = number(o, "x");
        const std::optional<double> y = number(o, "y");
        if (!x || !y) return fail("\"x\" and \"y\" must be numbers");
        const QString type = o.value(QLatin1String("type")).toString();
        if (type != QLatin1String("finger") && type != QLatin1String("stylus"))
            return fail("\"type\" must be finger or stylus");
        double force = 0;
        if (o.contains(QLatin1String("force"))) {
            const std::optional<double> f = number(o, "force");
            if (!f || *f < 0 || *f > 1) return fail("\"force\" must be a number from 0 to 1");
            force = *f;
        }
        std::optional<double> radius;
        if (o.contains(QLatin1String("radius")) && !o.value(QLatin1String("radius")).isNull()) {
            radius = number(o, "radius");
            if (!radius || *radius < 0) return fail("\"radius\" must be a number of points, 0 or more");
        }
        const QJsonArray view = o.value(QLatin1String("view")).toArray();
        if (view.size() != 2 || !view[0].isDouble() || !view[1].isDouble())
            return fail("\"view\" must be [width, height]");
        const Size viewSize{view[0].toDouble(), view[1].toDouble()};
        if (!(viewSize.width >= 1 && viewSize.width <= kMaxViewSide && viewSize.height >= 1 &&
              viewSize.height <= kMaxViewSide))
            return fail("\"view\" must be between 1 and 32768 points each way");

        TouchRecord t;
        t.id = static_cast<std::int64_t>(*id);
        t.phase = *phase;
        t.type = type == QLatin1String("stylus") ? TouchType::Stylus : TouchType::Finger;
        t.location = t.previousLocation = {*x, *y};
        t.force = force;
        t.maximumPossibleForce = 1.0;
        t.majorRadius = radius;
        t.timestamp = *time;

        const bool joins = !script.events.empty() && !script.events.back().touches.empty() &&
                           script.events.back().time == *time &&
                           script.events.back().viewSize.width == viewSize.width &&
                           script.events.back().viewSize.height == viewSize.height;
        if (!joins) script.events.push_back({*time, viewSize, {}, lineNumber, std::nullopt, std::nullopt});
        script.events.back().touches.push_back(t);
        lastTime = *time;
        if (t.phase == TouchPhase::Began) down.insert(t.id);
        if (t.phase == TouchPhase::Ended || t.phase == TouchPhase::Cancelled) down.erase(t.id);
    }
    return script;
}

std::string touchScriptLine(const TouchRecord& t, Size viewSize) {
    std::string line = "{\"time\":" + text(t.timestamp) + ",\"phase\":\"" + phaseName(t.phase) +
                       "\",\"id\":" + text(double(t.id)) + ",\"x\":" + text(t.location.x) +
                       ",\"y\":" + text(t.location.y) + ",\"type\":\"" +
                       (t.type == TouchType::Stylus ? "stylus" : "finger") + "\",\"force\":" + text(t.force);
    if (t.majorRadius) line += ",\"radius\":" + text(*t.majorRadius);
    line += ",\"view\":[" + text(viewSize.width) + "," + text(viewSize.height) + "]}";
    return line;
}

std::string touchScriptPenLine(double time, const ScriptPen& pen) {
    std::string line = "{\"time\":" + text(time) + ",\"pen\":{\"index\":" + text(pen.index);
    if (pen.width) line += ",\"width\":" + text(double(*pen.width));
    if (pen.color) {
        const KColor& c = *pen.color;
        line += ",\"color\":[" + text(c.r) + "," + text(c.g) + "," + text(c.b) + "," + text(c.a) + "]";
    }
    return line + "}}";
}

std::string touchScriptZoomLine(double time, float zoom) {
    return "{\"time\":" + text(time) + ",\"zoom\":" + text(double(zoom)) + "}";
}

std::optional<Size> TouchScript::firstViewSize() const {
    for (const TouchScriptEvent& event : events) {
        if (!event.touches.empty()) return event.viewSize;
    }
    return std::nullopt;
}

void playTouchScript(const TouchScript& script, TouchRouter& router, ManualClock& clock,
                     const TouchScriptHooks& hooks) {
    std::optional<Size> shown;
    for (const TouchScriptEvent& event : script.events) {
        if (event.pen || event.zoom) {
            clock.set(event.time);
            if (event.pen && hooks.choosePen) hooks.choosePen(*event.pen);
            if (event.zoom && hooks.setZoom) hooks.setZoom(*event.zoom);
            continue;
        }
        if (!shown || shown->width != event.viewSize.width || shown->height != event.viewSize.height) {
            shown = event.viewSize;
            if (hooks.resize) hooks.resize(event.viewSize);
        }
        clock.set(event.time);
        router.routeRecords(event.touches);
    }
}

}  // namespace velumen
