#include "input/TouchScript.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>
#include <charconv>
#include <cmath>

#include "input/TouchRouter.h"

namespace velumen {

namespace {

// A view larger than this, in points, is no screen.
constexpr double kMaxViewSide = 32768;
// Ids must fit a double exactly.
constexpr double kMaxId = 9007199254740992.0;

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
        const std::optional<TouchPhase> phase = phaseNamed(o.value(QLatin1String("phase")).toString());
        if (!phase) return fail("\"phase\" must be began, moved, stationary, ended or cancelled");
        const std::optional<double> id = number(o, "id");
        if (!id || *id != std::floor(*id) || std::fabs(*id) > kMaxId) return fail("\"id\" must be an integer");
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

        const bool joins = !script.events.empty() && script.events.back().time == *time &&
                           script.events.back().viewSize.width == viewSize.width &&
                           script.events.back().viewSize.height == viewSize.height;
        if (!joins) script.events.push_back({*time, viewSize, {}, lineNumber});
        script.events.back().touches.push_back(t);
        lastTime = *time;
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

void playTouchScript(const TouchScript& script, TouchRouter& router, ManualClock& clock,
                     const std::function<void(Size)>& resize) {
    std::optional<Size> shown;
    for (const TouchScriptEvent& event : script.events) {
        if (!shown || shown->width != event.viewSize.width || shown->height != event.viewSize.height) {
            shown = event.viewSize;
            if (resize) resize(event.viewSize);
        }
        clock.set(event.time);
        router.routeRecords(event.touches);
    }
}

}  // namespace velumen
