// The conversion of pictures into ink without any toolkit: the high-pass mask against a plain reference of
// its arithmetic, the colour buckets at their edges, the two passes against a slow independent version on
// random pictures, and the cases where a picture gives no ink.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <random>
#include <vector>

#include "imagetoink/FLDenoiseFilter.h"
#include "imagetoink/FLHighPassFilter.h"
#include "imagetoink/FLTracegrabber.h"

namespace velumen {
namespace {

constexpr std::uint8_t kDefaultThreshold = 118;

std::vector<double> rgba(const KColor& c) {
    return {c.r, c.g, c.b, c.a};
}

void setPixel(RgbaImage& image, int x, int y, std::uint8_t r, std::uint8_t g, std::uint8_t b,
              std::uint8_t a = 255) {
    std::uint8_t* p = image.pixel(x, y);
    p[0] = r;
    p[1] = g;
    p[2] = b;
    p[3] = a;
}

RgbaImage flat(int w, int h, std::uint8_t v) {
    RgbaImage image(w, h, v);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            image.pixel(x, y)[3] = 255;
    return image;
}

// A picture with uneven paper, strokes of random colours and a little noise; some pixels transparent.
RgbaImage randomPicture(std::mt19937& rng, int w, int h, bool withAlpha) {
    std::uniform_int_distribution<int> byte(0, 255);
    RgbaImage image(w, h);
    const int base = 150 + byte(rng) % 100;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const int v = std::clamp(base - (x + y) / 3 + byte(rng) % 9, 0, 255);
            const auto a = static_cast<std::uint8_t>(withAlpha && byte(rng) < 40 ? byte(rng) : 255);
            const auto premultiplied = static_cast<std::uint8_t>(v * a / 255);
            setPixel(image, x, y, premultiplied, premultiplied, premultiplied, a);
        }
    const int strokes = 1 + byte(rng) % 6;
    for (int s = 0; s < strokes; ++s) {
        const auto r = static_cast<std::uint8_t>(byte(rng)), g = static_cast<std::uint8_t>(byte(rng)),
                   b = static_cast<std::uint8_t>(byte(rng));
        int x = byte(rng) % w, y = byte(rng) % h;
        for (int step = 0; step < 3 * (w + h); ++step) {
            setPixel(image, x, y, r, g, b);
            x = std::clamp(x + byte(rng) % 3 - 1, 0, w - 1);
            y = std::clamp(y + byte(rng) % 3 - 1, 0, h - 1);
        }
    }
    return image;
}

// ---- The mask ----

// The blur, invert and blend exactly as stated, one pixel and one tap at a time in double precision, each
// stage rounded to a byte.
RgbaImage referenceMask(const RgbaImage& s, int r) {
    const int w = s.width, h = s.height, n = 2 * r + 1;
    RgbaImage across(w, h), blurred(w, h), mask(w, h);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            for (int c = 0; c < 4; ++c) {
                double sum = 0;
                for (int k = -r; k <= r; ++k)
                    sum += s.pixel(std::clamp(x + k, 0, w - 1), y)[c];
                across.pixel(x, y)[c] = static_cast<std::uint8_t>(std::lround(sum / n));
            }
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            for (int c = 0; c < 4; ++c) {
                double sum = 0;
                for (int k = -r; k <= r; ++k)
                    sum += across.pixel(x, std::clamp(y + k, 0, h - 1))[c];
                blurred.pixel(x, y)[c] = static_cast<std::uint8_t>(std::lround(sum / n));
            }
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const std::uint8_t* b = blurred.pixel(x, y);
            const double m = b[3] / 255.0 * 0.5;
            for (int c = 0; c < 3; ++c) {
                const double source = s.pixel(x, y)[c] / 255.0, inverted = 1.0 - b[c] / 255.0;
                mask.pixel(x, y)[c] =
                    static_cast<std::uint8_t>(std::lround((source * (1 - m) + inverted * m) * 255));
            }
            mask.pixel(x, y)[3] = s.pixel(x, y)[3];
        }
    return mask;
}

TEST(HighPassFilter, RadiusIsNormalisedFromItsHalves) {
    const std::vector<std::pair<double, int>> cases{{5.0, 6}, {4.2, 4}, {2.0, 2},  {1.0, 2}, {0.9, 0},
                                                    {0.4, 0}, {0.0, 0}, {-3.0, 0}, {NAN, 0}, {7.0, 8}};
    for (const auto& [radius, expected] : cases)
        EXPECT_EQ(normalizedBlurRadius(radius), expected) << radius;
    FLHighPassFilter filter;
    EXPECT_EQ(normalizedBlurRadius(filter.blurRadiusInPixels()), 6);
    filter.setFilterStrength(4.2);
    EXPECT_EQ(normalizedBlurRadius(filter.blurRadiusInPixels()), 4);
}

TEST(HighPassFilter, MaskIsWithinOneLevelOfThePlainArithmeticOnRandomPictures) {
    std::mt19937 rng(7);
    const std::vector<std::pair<int, int>> sizes{{1, 1},   {1, 17},  {23, 1}, {5, 5},
                                                 {13, 13}, {40, 31}, {97, 64}};
    for (const auto& [w, h] : sizes)
        for (const bool alpha : {false, true}) {
            const RgbaImage picture = randomPicture(rng, w, h, alpha);
            const RgbaImage reference = referenceMask(picture, 6);
            for (const unsigned threads : {1u, 3u}) {
                const RgbaImage mask = FLHighPassFilter().imageByFilteringImage(picture, threads);
                ASSERT_EQ(mask.width, w);
                ASSERT_EQ(mask.height, h);
                int worst = 0;
                for (std::size_t i = 0; i < mask.bytes.size(); ++i) {
                    if (i % 4 == 3)
                        ASSERT_EQ(mask.bytes[i], picture.bytes[i]) << "alpha at byte " << i;
                    else
                        worst = std::max(worst, std::abs(mask.bytes[i] - reference.bytes[i]));
                }
                EXPECT_LE(worst, 1) << w << " x " << h << " alpha " << alpha << " threads " << threads;
            }
        }
}

TEST(HighPassFilter, FlatPictureGivesMidGreyEverywhere) {
    for (const std::uint8_t level : {0, 37, 128, 200, 255}) {
        const RgbaImage mask = FLHighPassFilter().imageByFilteringImage(flat(30, 20, level));
        for (std::size_t i = 0; i < mask.bytes.size(); ++i) {
            if (i % 4 == 3) continue;
            ASSERT_GE(mask.bytes[i], 127) << int(level);
            ASSERT_LE(mask.bytes[i], 128) << int(level);
        }
    }
}

TEST(HighPassFilter, OnePixelLineIsDarkWithALightHaloThatIsNeverForeground) {
    RgbaImage picture = flat(41, 9, 255);
    for (int y = 0; y < 9; ++y)
        setPixel(picture, 20, y, 0, 0, 0);
    // The radius decides how far the halo reaches: six pixels for the default, four at strength 4.2.
    for (const auto& [strength, reach] : std::vector<std::pair<double, int>>{{5.0, 6}, {4.2, 4}}) {
        FLHighPassFilter filter;
        filter.setFilterStrength(strength);
        const RgbaImage mask = filter.imageByFilteringImage(picture);
        const int n = 2 * reach + 1;
        // 0.5 + 0.5 (0 - (n - 1) / n), to within a level.
        const double onLine = (0.5 - 0.5 * (n - 1.0) / n) * 255;
        EXPECT_NEAR(mask.pixel(20, 4)[0], onLine, 1.0);
        for (int x = 0; x < 41; ++x) {
            const int distance = std::abs(x - 20);
            const std::uint8_t v = mask.pixel(x, 4)[1];
            if (distance == 0) continue;
            if (distance <= reach)
                EXPECT_GT(v, 128) << "halo at " << x;
            else
                EXPECT_TRUE(v == 127 || v == 128) << "paper at " << x << ": " << int(v);
            EXPECT_FALSE(FLTracegrabber::isForeground(mask.pixel(x, 4), 128)) << x;
        }
    }
}

TEST(HighPassFilter, TransparentAreaKeepsItsAlphaAndTheSourceValue) {
    RgbaImage picture(20, 20, 0);
    for (int y = 0; y < 20; ++y)
        for (int x = 10; x < 20; ++x)
            setPixel(picture, x, y, 200, 100, 50, 255);
    const RgbaImage mask = FLHighPassFilter().imageByFilteringImage(picture);
    for (int y = 0; y < 20; ++y) {
        // Far from the opaque half the blur's alpha is 0: no mixing, the (empty) source shows.
        for (int x = 0; x < 3; ++x)
            EXPECT_EQ(mask.pixel(x, y)[3], 0);
        EXPECT_EQ(mask.pixel(0, y)[0], 0);
        EXPECT_EQ(mask.pixel(19, y)[3], 255);
    }
}

TEST(DenoiseFilter, KeepsLightnessAndAlphaAndTakesTheBlurredColour) {
    FLDenoiseFilter filter;
    EXPECT_EQ(normalizedBlurRadius(filter.filterStrength()), 2);
    // A grey pixel inside red: its lightness stays, its colour turns towards the red around it.
    RgbaImage picture(9, 9);
    for (int y = 0; y < 9; ++y)
        for (int x = 0; x < 9; ++x)
            setPixel(picture, x, y, 200, 40, 40, 255);
    setPixel(picture, 4, 4, 90, 90, 90, 200);
    const RgbaImage out = filter.imageByFilteringImage(picture);
    const std::uint8_t* p = out.pixel(4, 4);
    EXPECT_EQ(p[3], 200);
    EXPECT_GT(p[0], p[1] + 40);
    const double lightness = 0.3 * p[0] + 0.59 * p[1] + 0.11 * p[2];
    EXPECT_NEAR(lightness, 90, 3);
    // A flat picture is its own blur.
    const RgbaImage flatOut = filter.imageByFilteringImage(flat(7, 7, 120));
    EXPECT_EQ(flatOut.bytes, flat(7, 7, 120).bytes);
}

// ---- The buckets ----

TEST(TracegrabberBuckets, LevelsStepAtTheCubesEdges) {
    const std::vector<std::pair<int, int>> cases{{0, 0},   {42, 0},  {43, 1},  {85, 1},  {86, 2},  {128, 2},
                                                 {129, 3}, {171, 3}, {172, 4}, {214, 4}, {215, 5}, {255, 5}};
    for (const auto& [c, level] : cases)
        EXPECT_EQ(FLTracegrabber::colorLevel(static_cast<std::uint8_t>(c)), level) << c;
}

TEST(TracegrabberBuckets, SaturatedColoursUseTheCubeAndGreysTheGreenByte) {
    struct Case {
        std::uint8_t r, g, b;
        int bucket;
    };
    const std::vector<Case> cases{
        {255, 0, 0, 180},  // pure red: red level 5
        {0, 0, 255, 5},    // pure blue
        {200, 150, 100, 36 * 4 + 6 * 3 + 2},
        {0, 0, 0, 0},  // black: no saturation
        {30, 30, 30, 0},
        {90, 90, 90, 43},
        {85, 85, 85, 0},  // g / 86 = 0
        {86, 86, 86, 43},
        {214, 214, 214, 86},
        {215, 215, 215, 215},
        {255, 255, 255, 215},
        {214, 200, 210, 86},  // saturation below 0.2: the green byte alone decides
        {230, 214, 214, 86},
        {220, 255, 240, 215},
    };
    for (const Case& c : cases)
        EXPECT_EQ(FLTracegrabber::bucketOf(c.r, c.g, c.b), c.bucket)
            << int(c.r) << "," << int(c.g) << "," << int(c.b);
    const KColor red = FLTracegrabber::bucketColor(180);
    EXPECT_EQ(rgba(red), (std::vector<double>{1.0, 0.0, 0.0, 0.5}));
    EXPECT_EQ(rgba(FLTracegrabber::bucketColor(43)), (std::vector<double>{0.2, 0.2, 0.2, 0.5}));
    EXPECT_EQ(rgba(FLTracegrabber::bucketColor(86)), (std::vector<double>{0.4, 0.4, 0.4, 0.5}));
}

// The bucket as the rules state it, with the saturation computed in float for each colour.
int referenceBucket(int r, int g, int b) {
    const float channels[3] = {r / 255.0f, g / 255.0f, b / 255.0f};
    const float hi = *std::max_element(channels, channels + 3),
                lo = *std::min_element(channels, channels + 3);
    const float saturation = (hi == lo || hi == 0.0f) ? 0.0f : (hi - lo) / hi;
    if (saturation >= 0.2f) {
        const auto level = [](int c) { return static_cast<int>(std::floor(c * 191.0 / 8192.0)); };
        return 36 * level(r) + 6 * level(g) + level(b);
    }
    return g < 215 ? (g / 86) * 43 : 215;
}

TEST(TracegrabberBuckets, EveryColourGoesToTheBucketTheRulesGive) {
    for (int r = 0; r < 256; ++r)
        for (int g = 0; g < 256; ++g)
            for (int b = 0; b < 256; ++b)
                if (FLTracegrabber::bucketOf(static_cast<std::uint8_t>(r), static_cast<std::uint8_t>(g),
                                             static_cast<std::uint8_t>(b)) != referenceBucket(r, g, b))
                    FAIL() << r << "," << g << "," << b;
}

// ---- The two passes ----

struct ExpectedPoint {
    float x, y, size;
};

// Written from the rules alone: every pixel but the last row and column, its bucket from its colour when the
// mask marks it, the points grouped per bucket in row order.
std::map<int, std::vector<ExpectedPoint>> slowConversion(const RgbaImage& picture,
                                                         const std::vector<std::uint8_t>& mask,
                                                         std::uint8_t threshold, float targetWidth) {
    std::map<int, std::vector<ExpectedPoint>> runs;
    const int w = picture.width, h = picture.height;
    float s = 1.0f;
    if (targetWidth < static_cast<float>(w)) s = targetWidth / static_cast<float>(w);
    for (int y = 0; y + 1 < h; ++y)
        for (int x = 0; x + 1 < w; ++x) {
            const std::size_t i = (static_cast<std::size_t>(y) * w + x) * 4;
            bool foreground = false;
            for (int c = 0; c < 3; ++c)
                foreground = foreground || mask[i + c] < threshold;
            if (!foreground) continue;
            const std::uint8_t* p = picture.pixel(x, y);
            const int bucket = referenceBucket(p[0], p[1], p[2]);
            if (bucket == 215) continue;
            runs[bucket].push_back({static_cast<float>(x) * s, static_cast<float>(y) * s, 2.0f * s});
        }
    return runs;
}

void expectSameRuns(const KVSPointSetArray& actual,
                    const std::map<int, std::vector<ExpectedPoint>>& expected) {
    ASSERT_EQ(actual.count(), expected.size());
    std::size_t k = 0;
    for (const auto& [bucket, points] : expected) {
        const KVSPointSet& run = *actual.objectAtIndex(k++);
        EXPECT_EQ(rgba(run.color()), rgba(FLTracegrabber::bucketColor(bucket)));
        ASSERT_EQ(run.length(), points.size()) << "bucket " << bucket;
        const float* f = run.constBuffer();
        for (std::size_t i = 0; i < points.size(); ++i) {
            ASSERT_EQ(f[3 * i], points[i].x) << "bucket " << bucket << " point " << i;
            ASSERT_EQ(f[3 * i + 1], points[i].y) << "bucket " << bucket << " point " << i;
            ASSERT_EQ(f[3 * i + 2], points[i].size);
        }
    }
}

TEST(Tracegrabber, TwoPassesMatchASlowIndependentVersionOnRandomPictures) {
    std::mt19937 rng(11);
    std::uniform_int_distribution<int> side(1, 90), byte(0, 255);
    const float widths[] = {1024.0f, 37.5f, 10.0f, 64.0f};
    for (int round = 0; round < 40; ++round) {
        const RgbaImage picture = randomPicture(rng, side(rng), side(rng), round % 3 == 0);
        FLTracegrabber grabber;
        grabber.setTargetWidth(widths[round % 4]);
        // Bands of rows on several threads must give the very same runs.
        grabber.setThreadCount(1 + round % 3);
        grabber.setImage(picture);
        // Several thresholds on the same object: each run rewrites the scratch bytes it reads.
        for (int t = 0; t < 3; ++t) {
            const auto threshold = static_cast<std::uint8_t>(t == 0 ? kDefaultThreshold : byte(rng));
            const KVSPointSetArrayPtr runs = grabber.pointSetsWithThreshold(threshold);
            ASSERT_NE(runs, nullptr);
            SCOPED_TRACE(::testing::Message() << "round " << round << " threshold " << int(threshold));
            expectSameRuns(
                *runs, slowConversion(picture, grabber.maskImageData(), threshold, grabber.targetWidth()));
        }
    }
}

TEST(Tracegrabber, AnotherThresholdOnTheSameObjectGivesWhatAFreshObjectGives) {
    std::mt19937 rng(3);
    const RgbaImage picture = randomPicture(rng, 60, 45, false);
    FLTracegrabber reused;
    reused.setImage(picture);
    const std::vector<std::uint8_t> mask = reused.maskImageData();
    ASSERT_GT(reused.pointSetsWithThreshold(250)->count(), 0u);
    const KVSPointSetArrayPtr again = reused.pointSetsWithThreshold(100);
    FLTracegrabber fresh;
    fresh.setImage(picture);
    const KVSPointSetArrayPtr once = fresh.pointSetsWithThreshold(100);
    ASSERT_EQ(again->count(), once->count());
    for (std::size_t k = 0; k < once->count(); ++k) {
        const KVSPointSet& a = *again->objectAtIndex(k);
        const KVSPointSet& b = *once->objectAtIndex(k);
        ASSERT_EQ(a.length(), b.length());
        EXPECT_EQ(rgba(a.color()), rgba(b.color()));
        EXPECT_TRUE(std::equal(a.constBuffer(), a.constBuffer() + 3 * a.length(), b.constBuffer()));
    }
    // The mask is the picture's, made once: thresholds do not touch it.
    EXPECT_EQ(reused.maskImageData(), mask);
}

TEST(Tracegrabber, PicturesWithoutForegroundGiveAnEmptyList) {
    struct Case {
        const char* name;
        RgbaImage picture;
        std::uint8_t threshold;
    };
    RgbaImage dot = flat(30, 30, 255);
    setPixel(dot, 10, 10, 0, 0, 0);
    const std::vector<Case> cases{
        {"white at 127", flat(50, 40, 255), 127},
        {"white at the default", flat(50, 40, 255), kDefaultThreshold},
        {"mid grey at 127", flat(50, 40, 128), 127},
        {"a dark dot at threshold 0", dot, 0},
        {"one pixel", flat(1, 1, 0), 255},
        {"one column", flat(1, 40, 0), 255},
        {"one row", flat(40, 1, 0), 255},
    };
    for (const Case& c : cases) {
        FLTracegrabber grabber;
        grabber.setImage(c.picture);
        const KVSPointSetArrayPtr runs = grabber.pointSetsWithThreshold(c.threshold);
        ASSERT_NE(runs, nullptr) << c.name;
        EXPECT_EQ(runs->count(), 0u) << c.name;
    }
    FLTracegrabber none;
    EXPECT_EQ(none.pointSetsWithThreshold(kDefaultThreshold), nullptr);
    EXPECT_FALSE(none.previewImageWithThreshold(kDefaultThreshold).has_value());
    none.setImage(RgbaImage(0, 5));
    EXPECT_EQ(none.image(), nullptr);
}

TEST(Tracegrabber, PaleGreyDotsAtTheWhiteEdge) {
    // A grey dot with green 214 is mid grey; one step lighter it is white and makes no ink, though both are
    // foreground on white paper.
    for (const auto& [grey, runs] : std::vector<std::pair<std::uint8_t, std::size_t>>{{214, 1}, {215, 0}}) {
        RgbaImage picture = flat(30, 30, 255);
        setPixel(picture, 12, 15, grey, grey, grey);
        FLTracegrabber grabber;
        grabber.setImage(picture);
        ASSERT_TRUE(
            FLTracegrabber::isForeground(&grabber.maskImageData()[(15 * 30 + 12) * 4], kDefaultThreshold));
        const KVSPointSetArrayPtr ink = grabber.pointSetsWithThreshold(kDefaultThreshold);
        ASSERT_EQ(ink->count(), runs) << int(grey);
        if (runs == 0) continue;
        EXPECT_EQ(rgba(ink->objectAtIndex(0)->color()), rgba(FLTracegrabber::bucketColor(86)));
        ASSERT_EQ(ink->objectAtIndex(0)->length(), 1u);
        EXPECT_EQ(ink->objectAtIndex(0)->constBuffer()[0], 12.0f);
        EXPECT_EQ(ink->objectAtIndex(0)->constBuffer()[1], 15.0f);
    }
}

TEST(Tracegrabber, ScaleOnlyShrinksPicturesWiderThanTheTarget) {
    struct Case {
        int width;
        float target;
        float scale;
    };
    for (const Case& c : std::vector<Case>{
             {100, 1024.0f, 1.0f}, {100, 100.0f, 1.0f}, {200, 50.0f, 0.25f}, {2048, 1024.0f, 0.5f}}) {
        RgbaImage picture = flat(c.width, 8, 255);
        setPixel(picture, c.width / 2, 4, 0, 0, 0);
        FLTracegrabber grabber;
        grabber.setTargetWidth(c.target);
        grabber.setImage(picture);
        const KVSPointSetArrayPtr ink = grabber.pointSetsWithThreshold(kDefaultThreshold);
        ASSERT_EQ(ink->count(), 1u);
        const float* p = ink->objectAtIndex(0)->constBuffer();
        EXPECT_EQ(p[0], static_cast<float>(c.width / 2) * c.scale) << c.width;
        EXPECT_EQ(p[1], 4.0f * c.scale);
        EXPECT_EQ(p[2], 2.0f * c.scale);
    }
}

TEST(Tracegrabber, LastRowAndColumnAreInThePreviewButNeverInk) {
    RgbaImage picture = flat(20, 16, 255);
    setPixel(picture, 19, 5, 0, 0, 0);    // last column
    setPixel(picture, 7, 15, 255, 0, 0);  // last row
    setPixel(picture, 3, 3, 0, 0, 0);
    FLTracegrabber grabber;
    grabber.setImage(picture);
    const std::optional<RgbaImage> preview = grabber.previewImageWithThreshold(kDefaultThreshold);
    ASSERT_TRUE(preview.has_value());
    const auto pixelIs = [&](int x, int y, std::vector<std::uint8_t> v) {
        const std::uint8_t* p = preview->pixel(x, y);
        return std::vector<std::uint8_t>(p, p + 4) == v;
    };
    EXPECT_TRUE(pixelIs(19, 5, {0, 0, 0, 255}));
    EXPECT_TRUE(pixelIs(7, 15, {255, 0, 0, 255}));
    EXPECT_TRUE(pixelIs(3, 3, {0, 0, 0, 255}));
    EXPECT_TRUE(pixelIs(10, 10, {255, 255, 255, 255}));
    const KVSPointSetArrayPtr ink = grabber.pointSetsWithThreshold(kDefaultThreshold);
    ASSERT_EQ(ink->count(), 1u);
    ASSERT_EQ(ink->objectAtIndex(0)->length(), 1u);
    EXPECT_EQ(ink->objectAtIndex(0)->constBuffer()[0], 3.0f);
}

}  // namespace
}  // namespace velumen
