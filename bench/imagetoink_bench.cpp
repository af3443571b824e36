// The conversion of pictures into ink: the mask and one threshold on a 1280 x 1280 photo-like picture, each
// against one memcpy of the picture's bytes in the same run, and a 12-megapixel JPEG from its bytes to ink on
// a page (decoded at reduced size, converted, placed), against a memcpy of its decoded size.
#include <QBuffer>
#include <QImage>
#include <QImageWriter>
#include <QPainter>
#include <cmath>

#include "bench_support.h"
#include "document/PageInkEditor.h"
#include "imagetoink/FLHighPassFilter.h"
#include "imagetoink/FLTracegrabber.h"
#include "imagetoink/qt/TracegrabPicture.h"

namespace velumen::bench {
namespace {

// Paper lit unevenly with pencil lines, a few coloured strokes and some grain.
QImage photoLike(int width, int height) {
    QImage image(width, height, QImage::Format_RGB32);
    std::mt19937 rng(5);
    std::uniform_int_distribution<int> grain(-3, 3);
    for (int y = 0; y < height; ++y) {
        auto* row = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < width; ++x) {
            const double light = 1.0 - 0.3 * (x + y) / double(width + height);
            const int g = grain(rng);
            row[x] = qRgb(std::clamp(int(248 * light) + g, 0, 255), std::clamp(int(242 * light) + g, 0, 255),
                          std::clamp(int(228 * light) + g, 0, 255));
        }
    }
    QPainter painter(&image);
    const double unit = width / 1280.0;
    painter.setPen(QPen(QColor(90, 90, 95), 3 * unit));
    for (int i = 0; i < 40; ++i)
        painter.drawLine(QPointF(60 * unit, (40 + i * 30) * unit),
                         QPointF((600 + (i * 37) % 600) * unit, (60 + i * 29) * unit));
    painter.setPen(QPen(QColor(200, 30, 40), 5 * unit));
    painter.drawEllipse(QPointF(900 * unit, 500 * unit), 250 * unit, 180 * unit);
    painter.setPen(QPen(QColor(30, 60, 190), 4 * unit));
    painter.drawRect(QRectF(700 * unit, 800 * unit, 400 * unit, 300 * unit));
    return image;
}

const RgbaImage& picture1280() {
    static const RgbaImage picture = rgbaImageFromQImage(photoLike(1280, 1280));
    return picture;
}

void BM_Memcpy1280(benchmark::State& state) {
    memcpyBaseline(state, picture1280().bytes.data(), picture1280().bytes.size());
}
BENCHMARK(BM_Memcpy1280)->Unit(benchmark::kMillisecond);

void BM_Mask1280(benchmark::State& state) {
    const RgbaImage& picture = picture1280();
    for (auto _ : state) {
        RgbaImage mask = FLHighPassFilter().imageByFilteringImage(picture);
        benchmark::DoNotOptimize(mask.bytes.data());
    }
}
BENCHMARK(BM_Mask1280)->Unit(benchmark::kMillisecond)->UseRealTime();

// The same on the calling thread alone: the filter's cost in CPU time, whatever else the machine runs.
void BM_Mask1280OneThread(benchmark::State& state) {
    const RgbaImage& picture = picture1280();
    for (auto _ : state) {
        RgbaImage mask = FLHighPassFilter().imageByFilteringImage(picture, 1);
        benchmark::DoNotOptimize(mask.bytes.data());
    }
}
BENCHMARK(BM_Mask1280OneThread)->Unit(benchmark::kMillisecond);

void BM_PointSetsAtDefaultThreshold1280(benchmark::State& state) {
    FLTracegrabber grabber;
    grabber.setImage(picture1280());
    std::uint64_t points = 0;
    for (auto _ : state) {
        const KVSPointSetArrayPtr ink = grabber.pointSetsWithThreshold(118);
        points = 0;
        for (const auto& run : ink->pointSets())
            points += run->length();
        benchmark::DoNotOptimize(points);
    }
    state.counters["points"] = static_cast<double>(points);
}
BENCHMARK(BM_PointSetsAtDefaultThreshold1280)->Unit(benchmark::kMillisecond)->UseRealTime();

const QByteArray& jpeg12Megapixels() {
    static const QByteArray bytes = [] {
        QBuffer buffer;
        buffer.open(QIODevice::WriteOnly);
        QImageWriter writer(&buffer, "jpeg");
        writer.setQuality(90);
        writer.write(photoLike(4000, 3000));
        return buffer.data();
    }();
    return bytes;
}

void BM_Memcpy12Megapixels(benchmark::State& state) {
    static const std::vector<std::uint8_t> bytes(std::size_t{4000} * 3000 * 4, 200);
    memcpyBaseline(state, bytes.data(), bytes.size());
}
BENCHMARK(BM_Memcpy12Megapixels)->Unit(benchmark::kMillisecond);

void BM_TwelveMegapixelJpegToInkOnPage(benchmark::State& state) {
    QByteArray bytes = jpeg12Megapixels();
    std::uint64_t points = 0;
    for (auto _ : state) {
        QBuffer buffer(&bytes);
        buffer.open(QIODevice::ReadOnly);
        std::string why;
        std::optional<RgbaImage> picture = readTracegrabPicture(&buffer, 1280, why);
        if (!picture) {
            state.SkipWithError(why.c_str());
            return;
        }
        FLTracegrabber grabber;
        grabber.setTargetWidth(512);
        grabber.setImage(std::move(*picture));
        const KVSPointSetArrayPtr ink = grabber.pointSetsWithThreshold(118);
        auto page = std::make_shared<FoliantPage>();
        PageInkEditor editor;
        editor.setCurrentPage(page);
        editor.addPointSetsCentredAt(ink, {768, 960});
        points = pointBytes(*ink) / KVSPointSet::kStride;
    }
    state.counters["points"] = static_cast<double>(points);
}
BENCHMARK(BM_TwelveMegapixelJpegToInkOnPage)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
}  // namespace velumen::bench

int main(int argc, char** argv) {
    using velumen::bench::Ratio;
    return velumen::bench::runAndReport(
        argc, argv,
        {
            {"mask of 1280 x 1280 (ms) / memcpy of its bytes", "BM_Mask1280/real_time", "BM_Memcpy1280",
             "<= 10"},
            {"mask of 1280 x 1280, one thread (ms) / memcpy", "BM_Mask1280OneThread", "BM_Memcpy1280",
             "<= 10"},
            {"ink at threshold 118, 1280 x 1280 (ms) / memcpy",
             "BM_PointSetsAtDefaultThreshold1280/real_time", "BM_Memcpy1280", "<= 4"},
            {"12 MP JPEG to ink on a page (ms) / memcpy of 12 MP",
             "BM_TwelveMegapixelJpegToInkOnPage/real_time", "BM_Memcpy12Megapixels",
             "(goal: measured < 500 ms)"},
        });
}
