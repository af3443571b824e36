// The archive forms of pen slots, lines and colours: what each reads back when keys are missing or zero.
#include <gtest/gtest.h>

#include <functional>

#include "document/GZip.h"
#include "document/InkCoding.h"
#include "document/KeyedArchive.h"

namespace velumen {
namespace {

// `value` written under `className` (by its own coder unless `write` is given) and read back by `decode`.
template <class T, class Decode>
auto roundTrip(const T& value, std::string_view className, Decode decode,
               std::function<void(KeyedEncoder&)> write = nullptr) {
    KeyedArchiver archiver;
    const auto encode = [&](const T& v, KeyedEncoder& c) {
        if constexpr (requires { encodeWithCoder(v, c); }) {
            if (!write) return encodeWithCoder(v, c);
        }
        write(c);
    };
    const auto bytes = archiver.archivedDataWithRootObject(value, {className, "NSObject"}, encode);
    KeyedUnarchiver unarchiver(*bytes);
    using Result = decltype(decode(std::declval<const KeyedDecoder&>()));
    return *unarchiver.decodeRootObject<Result>(
        {className}, [&](const KeyedDecoder& c) { return std::make_shared<Result>(decode(c)); });
}

TEST(InkCoding, PenSettingsFallBackForMissingAndZeroValues) {
    PenSettings pen = PenSettings::initWithColor({0.2, 0.4, 0.6, 0.8}, 7.5f);
    pen.inkType = InkTypeBrush;
    pen.version = 9;
    const PenSettings back = roundTrip(pen, "PenSettings", initPenSettingsWithCoder);
    EXPECT_EQ(back.version, 1);
    EXPECT_EQ(back.thickness, 7.5f);
    EXPECT_EQ(back.inkType, InkTypeBrush);
    EXPECT_EQ(back.color.g, static_cast<double>(0.4f));  // colours travel as 32-bit floats

    // A record with a zero thickness, no colour and no ink type, and a stray version.
    const PenSettings sparse = roundTrip(pen, "PenSettings", initPenSettingsWithCoder, [](KeyedEncoder& c) {
        c.encodeFloat("thickness", 0);
        c.encodeInt("version", 7);
    });
    EXPECT_EQ(sparse.thickness, 4.0f);
    EXPECT_EQ(sparse.inkType, InkTypeFountainPen);
    EXPECT_EQ(sparse.version, 1);
    EXPECT_TRUE(sparse.color.isEqualToColor({0, 0, 0, static_cast<double>(0.05f)}));
}

TEST(InkCoding, LinesPointsAndRectsKeepSinglePrecision) {
    KLine line;
    line.points = {{1.1, 2.2}, {-3.5, 1e10}};
    line.color = {0.1, 0.2, 0.3, 0.4};
    line.strokeThickness = 2.7;
    const KLine back = roundTrip(line, "KLine", initKLineWithCoder);
    EXPECT_EQ(back.points, line.points);  // boxed points keep doubles
    EXPECT_EQ(back.strokeThickness, static_cast<double>(2.7f));
    EXPECT_EQ(back.color.a, static_cast<double>(0.4f));

    const KRect rect = roundTrip(KRect{0.1, 0.2, 300.3, -4}, "KRect", initKRectWithCoder);
    EXPECT_EQ(rect.width, static_cast<double>(300.3f));
    EXPECT_EQ(rect.height, -4.0);
    const KPoint point = roundTrip(KPoint{1.0 / 3.0, 0}, "KPoint", initKPointWithCoder);
    EXPECT_EQ(point.x, static_cast<double>(1.0f / 3.0f));
}

TEST(InkCoding, RunsReadFromCompressedPointsAndRepairTheirLength) {
    // Old files kept points compressed; the reader takes either stream and ignores a wrong "length".
    std::vector<std::uint8_t> points(12 * 5 + 7);
    for (std::size_t i = 0; i < points.size(); ++i) points[i] = static_cast<std::uint8_t>(i * 31);
    const auto stream = gzipDeflate(points).value();
    const KColor blue{0, 0, 1, 1};
    for (const int zipMode : {1, 0}) {
        SCOPED_TRACE(zipMode);
        const auto run = roundTrip(0, "KVSPointSet", initKVSPointSetWithCoder, [&](KeyedEncoder& c) {
            c.encodeInt("length", 1000);
            c.encodeInt("zipMode", zipMode);
            c.encodeData("gzipdata", stream);
            c.encodeData("data", points);
            encodeColorForKey(c, "color", blue);
        });
        EXPECT_EQ(run->length(), 5u);
        ASSERT_EQ(run->data().byteSize(), points.size());
        EXPECT_TRUE(std::equal(points.begin(), points.end(), run->data().bytes()));
        EXPECT_TRUE(run->color().isEqualToColor(blue));
    }
}

}  // namespace
}  // namespace velumen
