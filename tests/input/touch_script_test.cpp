// Touch scripts: lines with one time make one event, lines written from records read back as the same
// records, and a stylus among the toolkit's devices counts as connected.
#include <gtest/gtest.h>

#include <QPointingDevice>

#include "input/StylusDetector.h"
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
