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
    EXPECT_EQ(dispatcher.touchMode, TouchModeDraw);
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
