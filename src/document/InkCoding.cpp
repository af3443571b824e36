#include "document/InkCoding.h"

#include <cstring>

#include "document/GZip.h"

namespace velumen {

namespace {

// Boxed points inside a line, in the form the platform's value boxes take.
constexpr std::int64_t kPointValueKind = 1;

void encodePointValue(const Point& point, KeyedEncoder& coder) {
    coder.encodeInt("NS.special", kPointValueKind);
    coder.encodeCGPoint("NS.pointval", point);
}

}  // namespace

void encodeWithCoder(const KColor& color, KeyedEncoder& coder) {
    coder.encodeFloat("r", static_cast<float>(color.r));
    coder.encodeFloat("g", static_cast<float>(color.g));
    coder.encodeFloat("b", static_cast<float>(color.b));
    coder.encodeFloat("a", static_cast<float>(color.a));
}

KColor initKColorWithCoder(const KeyedDecoder& coder) {
    return {coder.decodeFloatForKey("r"), coder.decodeFloatForKey("g"), coder.decodeFloatForKey("b"),
            coder.decodeFloatForKey("a")};
}

void encodeColorForKey(KeyedEncoder& coder, std::string_view key, const KColor& color) {
    coder.encodeObject(key, &color, {"KColor", "NSObject"},
                       [](const KColor& c, KeyedEncoder& inner) { encodeWithCoder(c, inner); });
}

std::optional<KColor> decodeColorForKey(const KeyedDecoder& coder, std::string_view key) {
    return coder.decodeValueForKey<KColor>(key, {"KColor"}, initKColorWithCoder);
}

void encodeWithCoder(const KPoint& point, KeyedEncoder& coder) {
    coder.encodeFloat("x", static_cast<float>(point.x));
    coder.encodeFloat("y", static_cast<float>(point.y));
}

KPoint initKPointWithCoder(const KeyedDecoder& coder) {
    return {coder.decodeFloatForKey("x"), coder.decodeFloatForKey("y")};
}

void encodeWithCoder(const KRect& rect, KeyedEncoder& coder) {
    coder.encodeFloat("x", static_cast<float>(rect.x));
    coder.encodeFloat("y", static_cast<float>(rect.y));
    coder.encodeFloat("width", static_cast<float>(rect.width));
    coder.encodeFloat("height", static_cast<float>(rect.height));
}

KRect initKRectWithCoder(const KeyedDecoder& coder) {
    return {coder.decodeFloatForKey("x"), coder.decodeFloatForKey("y"), coder.decodeFloatForKey("width"),
            coder.decodeFloatForKey("height")};
}

void encodeWithCoder(const KLine& line, KeyedEncoder& coder) {
    std::vector<std::shared_ptr<Point>> boxes;
    boxes.reserve(line.points.size());
    for (const Point& p : line.points) boxes.push_back(std::make_shared<Point>(p));
    coder.encodeArray("points", boxes, {"NSMutableArray", "NSArray", "NSObject"}, {"NSValue", "NSObject"},
                      encodePointValue);
    encodeColorForKey(coder, "color", line.color);
    coder.encodeFloat("strokeThickness", static_cast<float>(line.strokeThickness));
}

KLine initKLineWithCoder(const KeyedDecoder& coder) {
    KLine line;
    const auto boxes = coder.decodeArrayForKey<Point>("points", {"NSValue", "KPoint"}, [](const KeyedDecoder& box) {
        if (box.containsValueForKey("NS.pointval")) return std::make_shared<Point>(box.decodeCGPointForKey("NS.pointval"));
        return std::make_shared<Point>(initKPointWithCoder(box).toCGPoint());
    });
    if (boxes) {
        for (const auto& p : *boxes) line.points.push_back(*p);
    }
    line.color = decodeColorForKey(coder, "color").value_or(KColor{});
    line.strokeThickness = coder.decodeFloatForKey("strokeThickness");
    return line;
}

void encodeWithCoder(const KVSPointSet& run, KeyedEncoder& coder) {
    const PointBuffer& data = run.data();
    coder.encodeInt("length", static_cast<std::int32_t>(data.byteSize() / KVSPointSet::kStride));
    if (data.isPresent())
        coder.encodeData("data", {data.bytes(), data.byteSize()});
    else
        coder.encodeNil("data");
    encodeColorForKey(coder, "color", run.color());
}

KVSPointSetPtr initKVSPointSetWithCoder(const KeyedDecoder& coder) {
    KeyedUnarchiver& unarchiver = coder.unarchiver();
    // "length" is not read: the point count always follows the bytes.
    const std::int32_t zipMode = coder.decodeInt32ForKey("zipMode");
    PointBuffer points;
    if (zipMode == 1) {
        if (const auto stream = coder.decodeDataForKey("gzipdata")) {
            // A stream that would inflate beyond what the archive may still allocate is treated as corrupt,
            // and what it inflated is charged either way, so that many such streams cannot each cost the
            // whole budget.
            const std::uint64_t room = unarchiver.budget() - unarchiver.charged();
            std::size_t produced = 0;
            auto inflated = gzipInflate(*stream, static_cast<std::size_t>(room), &produced);
            unarchiver.chargeBytes(produced);
            if (inflated) points = PointBuffer::copyOf(inflated->data(), inflated->size());
        }
    } else if (const auto bytes = coder.decodeDataForKey("data")) {
        unarchiver.chargeBytes(bytes->size());
        points = PointBuffer::copyOf(bytes->data(), bytes->size());
    }
    const std::optional<KColor> color = decodeColorForKey(coder, "color");
    // A missing buffer is a run of no points.
    if (!points.isPresent()) points = PointBuffer::zeroed(0);
    KVSPointSetPtr run = KVSPointSet::initWithData(std::move(points));
    run->setColor(color.value_or(KColor{}));
    return run;
}

void encodeWithCoder(const KVSPointSetArray& runs, KeyedEncoder& coder) {
    coder.encodeArray("pointSets", runs.pointSets(), {"NSMutableArray", "NSArray", "NSObject"},
                      {"KVSPointSet", "NSObject"},
                      [](const KVSPointSet& run, KeyedEncoder& inner) { encodeWithCoder(run, inner); });
}

KVSPointSetArrayPtr initKVSPointSetArrayWithCoder(const KeyedDecoder& coder) {
    auto runs = std::make_shared<KVSPointSetArray>();
    if (auto list = coder.decodeArrayForKey<KVSPointSet>("pointSets", {"KVSPointSet"}, initKVSPointSetWithCoder))
        runs->pointSets() = std::move(*list);
    return runs;
}

void encodePointSetsForKey(KeyedEncoder& coder, std::string_view key, const KVSPointSetArray* runs) {
    coder.encodeObject(key, runs, {"KVSPointSetArray", "NSObject"},
                       [](const KVSPointSetArray& list, KeyedEncoder& inner) { encodeWithCoder(list, inner); });
}

KVSPointSetArrayPtr decodePointSetsForKey(const KeyedDecoder& coder, std::string_view key) {
    return coder.decodeObjectForKey<KVSPointSetArray>(key, {"KVSPointSetArray"}, initKVSPointSetArrayWithCoder);
}

KPointSetPtr initKPointSetWithCoder(const KeyedDecoder& coder) {
    coder.decodeInt32ForKey("length");
    PointBuffer points = PointBuffer::zeroed(0);
    if (const auto bytes = coder.decodeDataForKey("data")) {
        coder.unarchiver().chargeBytes(bytes->size());
        points = PointBuffer::copyOf(bytes->data(), bytes->size());
    }
    KPointSetPtr run = KPointSet::initWithData(std::move(points));
    run->setPointSize(coder.decodeFloatForKey("pointSize"));
    run->setColor(decodeColorForKey(coder, "color").value_or(KColor{}));
    return run;
}

std::shared_ptr<KPointSetArray> initKPointSetArrayWithCoder(const KeyedDecoder& coder) {
    auto runs = std::make_shared<KPointSetArray>();
    if (auto list = coder.decodeArrayForKey<KPointSet>("pointSets", {"KPointSet"}, initKPointSetWithCoder))
        runs->pointSets() = std::move(*list);
    return runs;
}

void encodeWithCoder(const PenSettings& pen, KeyedEncoder& coder) {
    encodeColorForKey(coder, "color", pen.color);
    coder.encodeFloat("thickness", pen.thickness);
    coder.encodeInt("inkType", static_cast<std::int32_t>(pen.inkType));
}

PenSettings initPenSettingsWithCoder(const KeyedDecoder& coder) {
    coder.decodeInt32ForKey("version");
    std::optional<float> thickness;
    if (coder.containsValueForKey("thickness")) thickness = coder.decodeFloatForKey("thickness");
    std::optional<std::int32_t> inkType;
    if (coder.containsValueForKey("inkType")) inkType = coder.decodeInt32ForKey("inkType");
    return PenSettings::fromDecoded(decodeColorForKey(coder, "color"), thickness, inkType);
}

}  // namespace velumen
