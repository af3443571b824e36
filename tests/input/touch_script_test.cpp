// Touch scripts: lines with one time make one event, lines written from records read back as the same
// records, and a stylus among the toolkit's devices counts as connected.
#include <gtest/gtest.h>

#include <QPointingDevice>

#include "TouchRig.h"
#include "input/StylusDetector.h"
#include "input/TouchRouter.h"
#include "input/TouchScript.h"

namespace {

using namespace velumen;

TEST(TouchScript, SameTimeMakesOneEventAndWrittenLinesReadBack) {
    TouchRecord a;
    a.id = 3;
    a.phase = TouchPhase::Began;
    a.type = TouchType::Stylus;
    a.location = {10.125, 1.0 / 3.0};
    a.force = 0.7;
    a.majorRadius = 12.5;
    a.timestamp = 0.1;
    TouchRecord b = a;
    b.id = 4;
    b.type = TouchType::Finger;
    b.majorRadius.reset();
    TouchRecord c = b;
    c.phase = TouchPhase::Ended;
    c.timestamp = 0.2;
    const Size view{600, 750};
    const std::string text = "# two touches land together\n" + touchScriptLine(a, view) + "\n\n" +
                             touchScriptLine(b, view) + "\n" + touchScriptLine(c, view) + "\n";
    std::string error;
    const auto script = parseTouchScript(QByteArray::fromStdString(text), error);
    ASSERT_TRUE(script) << error;
    ASSERT_EQ(script->events.size(), 2u);
    EXPECT_EQ(script->events[0].line, 2);
    EXPECT_EQ(script->events[0].viewSize, view);
    ASSERT_EQ(script->events[0].touches.size(), 2u);
    const TouchRecord& readA = script->events[0].touches[0];
    EXPECT_EQ(readA.id, 3);
    EXPECT_EQ(readA.type, TouchType::Stylus);
    EXPECT_EQ(readA.location.y, 1.0 / 3.0);
    EXPECT_EQ(readA.force, 0.7);
    EXPECT_EQ(readA.majorRadius, 12.5);
    EXPECT_FALSE(script->events[0].touches[1].majorRadius);
    EXPECT_EQ(script->events[1].touches[0].phase, TouchPhase::Ended);
    EXPECT_EQ(script->events[1].line, 5);
}

TEST(TouchScript, PenAndZoomLinesReadBackAndStandAlone) {
    TouchRecord down;
    down.id = 1;
    down.location = {10, 20};
    down.timestamp = 0.5;
    TouchRecord up = down;
    up.phase = TouchPhase::Ended;
    up.timestamp = 0.6;
    const Size view{600, 750};
    const ScriptPen brush{3, 40.5f, KColor{0.8, 0.1, 1.0 / 3.0, 0.25}};
    const ScriptPen eraser{0, std::nullopt, std::nullopt};
    // A pen line at the time of a touch stays its own event, as does the touch after it.
    const std::string text = touchScriptPenLine(0.5, brush) + "\n" + touchScriptZoomLine(0.5, 1.3f) + "\n" +
                             touchScriptLine(down, view) + "\n" + touchScriptLine(up, view) + "\n" +
                             touchScriptPenLine(0.6, eraser) + "\n" +
                             "{\"time\":0.6,\"pen\":{\"index\":2,\"color\":[0,0.5,1]}}\n";
    std::string error;
    const auto script = parseTouchScript(QByteArray::fromStdString(text), error);
    ASSERT_TRUE(script) << error;
    ASSERT_EQ(script->events.size(), 6u);
    const auto& e = script->events;
    ASSERT_TRUE(e[0].pen && !e[0].zoom && e[0].touches.empty());
    EXPECT_EQ(e[0].pen->index, 3);
    EXPECT_EQ(e[0].pen->width, 40.5f);
    EXPECT_TRUE(e[0].pen->color && e[0].pen->color->isEqualToColor(*brush.color));
    EXPECT_EQ(e[0].pen->color->a, 0.25);
    ASSERT_TRUE(e[1].zoom && !e[1].pen);
    EXPECT_EQ(*e[1].zoom, 1.3f);
    EXPECT_EQ(e[2].touches.size(), 1u);
    EXPECT_EQ(e[2].line, 3);
    EXPECT_EQ(e[3].touches.size(), 1u);
    ASSERT_TRUE(e[4].pen);
    EXPECT_EQ(e[4].pen->index, 0);
    EXPECT_FALSE(e[4].pen->width || e[4].pen->color);
    ASSERT_TRUE(e[5].pen && e[5].pen->color);
    EXPECT_EQ(e[5].pen->color->a, 1.0);  // alpha left out is opaque
    EXPECT_EQ(script->firstViewSize(), view);
    EXPECT_FALSE(parseTouchScript("{\"time\":0,\"zoom\":2}", error)->firstViewSize());
}

TEST(TouchScript, BadPenAndZoomLinesNameTheirLineAndFault) {
    const std::string began = "{\"time\":0,\"phase\":\"began\",\"id\":1,\"x\":1,\"y\":1,\"type\":\"finger\","
                              "\"view\":[600,750]}\n";
    const std::string ended = "{\"time\":0,\"phase\":\"ended\",\"id\":1,\"x\":1,\"y\":1,\"type\":\"finger\","
                              "\"view\":[600,750]}\n";
    const std::pair<std::string, std::string> cases[] = {
        {"{\"time\":1,\"pen\":2}", "\"pen\" must be an object"},
        {"{\"time\":1,\"pen\":{}}", "\"index\""},
        {"{\"time\":1,\"pen\":{\"index\":5}}", "\"index\""},
        {"{\"time\":1,\"pen\":{\"index\":-1}}", "\"index\""},
        {"{\"time\":1,\"pen\":{\"index\":1.5}}", "\"index\""},
        {"{\"time\":1,\"pen\":{\"index\":\"2\"}}", "\"index\""},
        {"{\"time\":1,\"pen\":{\"index\":1,\"width\":0}}", "\"width\""},
        {"{\"time\":1,\"pen\":{\"index\":1,\"width\":-3}}", "\"width\""},
        {"{\"time\":1,\"pen\":{\"index\":1,\"width\":1001}}", "\"width\""},
        {"{\"time\":1,\"pen\":{\"index\":1,\"color\":[1,0]}}", "\"color\""},
        {"{\"time\":1,\"pen\":{\"index\":1,\"color\":[1,0,0,1,1]}}", "\"color\""},
        {"{\"time\":1,\"pen\":{\"index\":1,\"color\":[1,0,1.5]}}", "\"color\""},
        {"{\"time\":1,\"pen\":{\"index\":1,\"color\":\"red\"}}", "\"color\""},
        {"{\"time\":1,\"pen\":{\"index\":1,\"size\":3}}", "unknown field \"size\""},
        {"{\"time\":1,\"zoom\":0}", "\"zoom\""},
        {"{\"time\":1,\"zoom\":-2}", "\"zoom\""},
        {"{\"time\":1,\"zoom\":1e300}", "\"zoom\""},
        {"{\"time\":1,\"zoom\":\"2\"}", "\"zoom\""},
        {"{\"time\":1,\"zoom\":2,\"pen\":{\"index\":1}}", "not two"},
        {"{\"time\":1,\"zoom\":2,\"phase\":\"moved\"}", "not two"},
        {"{\"pen\":{\"index\":1}}", "\"time\""},
    };
    for (const auto& [line, what] : cases) {
        std::string error;
        EXPECT_FALSE(parseTouchScript(QByteArray::fromStdString(began + ended + line + "\n"), error)) << line;
        EXPECT_EQ(error.rfind("LINE 3: ", 0), 0u) << error;
        EXPECT_NE(error.find(what), std::string::npos) << error;
    }
    // Not while a touch is down; after it ends, or after it is cancelled, again.
    std::string error;
    EXPECT_FALSE(parseTouchScript(QByteArray::fromStdString(began + "{\"time\":0,\"zoom\":2}\n"), error));
    EXPECT_EQ(error, "LINE 2: the pen and the zoom cannot change while a touch is down");
    std::string cancelled = ended;
    cancelled.replace(cancelled.find("ended"), 5, "cancelled");
    EXPECT_TRUE(parseTouchScript(QByteArray::fromStdString(began + cancelled + "{\"time\":0,\"zoom\":2}\n"), error))
        << error;
}

// A script played event by event through the router into the real dispatcher and sampler.
struct ScriptRig : Rig {
    TouchRouter router{dispatcher, viewport};

    std::size_t linePoints() const { return sampler.currentLine ? sampler.currentLine->points.size() : 0; }
};

TEST_F(ScriptRig, StationaryTouchesAddNoSampleButAStylusPressingHarderDoes) {
    auto line = [](double time, const char* phase, std::int64_t id, double x, const char* type, double force) {
        return "{\"time\":" + std::to_string(time) + ",\"phase\":\"" + phase + "\",\"id\":" + std::to_string(id) +
               ",\"x\":" + std::to_string(x) + ",\"y\":300,\"type\":\"" + type +
               "\",\"force\":" + std::to_string(force) + ",\"view\":[768,1024]}\n";
    };
    // Each event, and the raw points of the stroke after it.
    const std::pair<std::string, std::size_t> steps[] = {
        {line(0.00, "began", 5, 100, "stylus", 0.5), 1},
        {line(0.02, "moved", 5, 130, "stylus", 0.5), 2},
        // Nothing changed: no sample, however long after the last one.
        {line(0.04, "stationary", 5, 130, "stylus", 0.5), 2},
        {line(0.50, "stationary", 5, 130, "stylus", 0.5), 2},
        // Only the pressure changed, as a movement and as a stationary update: each is a sample.
        {line(0.52, "moved", 5, 130, "stylus", 0.9), 3},
        {line(0.54, "stationary", 5, 130, "stylus", 0.3), 4},
        {line(0.58, "moved", 5, 160, "stylus", 0.3), 5},
    };
    std::string text;
    for (const auto& [l, points] : steps)
        text += l;
    std::string error;
    const auto script = parseTouchScript(QByteArray::fromStdString(text), error);
    ASSERT_TRUE(script) << error;
    ASSERT_EQ(script->events.size(), std::size(steps));
    for (std::size_t i = 0; i < std::size(steps); ++i) {
        clock.set(script->events[i].time);
        router.routeRecords(script->events[i].touches);
        EXPECT_EQ(linePoints(), steps[i].second) << "after line " << i + 1;
    }
    EXPECT_EQ(dispatcher.touchMode, TouchMode::Draw);
    // The last pressure update set the stroke's pressure factor: 2 x 0.3, at least 0.8.
    EXPECT_EQ(sampler.forceFactor, 0.8);
}

TEST(StylusDetector, OnlyPenKindsCount) {
    const QPointingDevice mouse("mouse", 1, QInputDevice::DeviceType::Mouse, QPointingDevice::PointerType::Generic,
                                QInputDevice::Capability::Position, 1, 3);
    const QPointingDevice screen("screen", 2, QInputDevice::DeviceType::TouchScreen,
                                 QPointingDevice::PointerType::Finger, QInputDevice::Capability::Position, 10, 0);
    const QPointingDevice pen("pen", 3, QInputDevice::DeviceType::Stylus, QPointingDevice::PointerType::Pen,
                              QInputDevice::Capability::Pressure, 1, 2);
    const QPointingDevice airbrush("airbrush", 4, QInputDevice::DeviceType::Airbrush,
                                   QPointingDevice::PointerType::Pen, QInputDevice::Capability::Pressure, 1, 2);
    EXPECT_FALSE(StylusDetector::hasStylus({}));
    EXPECT_FALSE(StylusDetector::hasStylus({&mouse, &screen, nullptr}));
    EXPECT_TRUE(StylusDetector::hasStylus({&mouse, &pen}));
    EXPECT_TRUE(StylusDetector::hasStylus({&airbrush}));
}

}  // namespace
