// The shown page's ink kept in GPU memory: what a repaint uploads after each kind of change, that the
// pixels are those of drawing every run on its own, and that runs out of view are passed over by their
// bounds grown by their largest dot.
#include <cmath>
#include <random>

#include "GLTestSupport.h"

using namespace velumen;
using namespace velumen::test;

namespace {

std::uint64_t bytesOf(const KVSPointSetArray& list) {
    std::uint64_t bytes = 0;
    for (const auto& run : list.pointSets())
        bytes += run ? run->length() * KVSPointSet::kStride : 0;
    return bytes;
}

// A stroke of count dots from (x, y) to the right, size 3.
KVSPointSetPtr stroke(float x, float y, int count, KColor color, float size = 3) {
    auto run = KVSPointSet::initWithLength(std::uint64_t(count));
    float* p = run->buffer();
    for (int i = 0; i < count; ++i)
        p[3 * i] = x + float(i) * 0.5f, p[3 * i + 1] = y + float(i % 7), p[3 * i + 2] = size;
    run->setColor(color);
    return run;
}

// The shown page as resident ink and the same runs sent one by one; the second list is not the shown one.
int residentAgainstStreamed(GLSurface& s) {
    KVSPointSetArray streamed;
    streamed.addObjectsFromArray(*s.compositor.pointSets);
    return maxDifference(renderInk(s, *s.compositor.pointSets), renderInk(s, streamed));
}

// Bytes uploaded and draw calls issued by one repaint.
struct Repaint {
    std::uint64_t bytes, draws;
};
Repaint repaint(GLSurface& s) {
    const std::uint64_t bytes = s.gl().bytesUploaded(), draws = s.gl().drawCallCount();
    s.compositor.redrawAllLines();
    return {s.gl().bytesUploaded() - bytes, s.gl().drawCallCount() - draws};
}

const KColor kInk{0.1, 0.2, 0.6, 0.7};
const KColor kRed{0.9, 0.1, 0.1, 0.5};

}  // namespace

TEST(ResidentInk, ShowsTheSamePixelsAsRunsSentOneByOne) {
    GLSurface s({64, 64}, 2.0);
    VELUMEN_REQUIRE_GL(s);
    std::mt19937 rng(5);
    std::uniform_real_distribution<float> at(-40, 100);
    const KColor colours[] = {kInk, kRed, {0, 0, 0, 1}};
    auto& page = *s.compositor.pointSets;
    for (int r = 0; r < 36; ++r)
        page.addObject(stroke(at(rng), at(rng), 12 + r, colours[(r / 4) % 3], 2 + float(r % 5)));
    // A big dot whose centre lies outside, an empty run, and one run listed twice.
    page.addObject(dots({-30, 20, 70}, kRed));
    page.addObject(KVSPointSet::initWithLength(0));
    page.addObject(page.objectAtIndex(3));

    for (const auto& [zoom, pan] : {std::pair{1.0f, Point{0, 0}}, std::pair{2.5f, Point{-30, 12}},
                                    std::pair{0.4f, Point{20, 20}}}) {
        SCOPED_TRACE(zoom);
        s.transform.zoomFactor = zoom;
        s.transform.inkPanDelta = pan;
        EXPECT_EQ(residentAgainstStreamed(s), 0);
    }
    // Neighbours of one colour went by one call: fewer calls than runs in view.
    s.transform.zoomFactor = 1;
    s.transform.inkPanDelta = {};
    const Repaint r = repaint(s);
    EXPECT_LT(r.draws, 20u);
    EXPECT_GT(r.draws, 0u);
}

TEST(ResidentInk, UploadsOnlyWhatChanged) {
    GLSurface s({64, 64}, 1.0);
    VELUMEN_REQUIRE_GL(s);
    auto& page = *s.compositor.pointSets;
    auto a = stroke(5, 5, 100, kInk), b = stroke(5, 30, 50, kRed), c = stroke(30, 50, 20, kInk);
    page.addObject(a);
    page.addObject(b);
    page.addObject(c);
    EXPECT_EQ(repaint(s).bytes, 170u * 12);
    const auto snapshot = KVSPointSetArray::initWithPointSetArray(page);

    // Unchanged: repaints, a pan and a zoom upload nothing.
    EXPECT_EQ(repaint(s).bytes, 0u);
    s.transform.inkPanDelta = {7, -3};
    s.transform.zoomFactor = 1.5f;
    EXPECT_EQ(repaint(s).bytes, 0u);
    s.transform.inkPanDelta = {};
    s.transform.zoomFactor = 1;

    // A stroke: its run alone.
    auto d = stroke(36, 15, 30, kRed);
    page.addObject(d);
    EXPECT_EQ(repaint(s).bytes, 30u * 12);
    EXPECT_EQ(repaint(s).bytes, 0u);

    // An eraser step through b and d only: those two again, at their new lengths.
    ASSERT_TRUE(page.removePointsInCircle({27, 15, 16, 16}, false));
    ASSERT_LT(b->length(), 50u);
    ASSERT_LT(d->length(), 30u);
    ASSERT_EQ(a->length(), 100u);
    EXPECT_EQ(repaint(s).bytes, (b->length() + d->length()) * 12);
    EXPECT_EQ(residentAgainstStreamed(s), 0);

    // A run that outgrows its slot moves behind the others, and its neighbours stay as they were. In one
    // repaint: b grows back within its old slot while a stroke too large for the buffer's free space
    // makes it lay the runs out anew.
    a->addPointsFromSet(*stroke(20, 40, 10, kInk));
    EXPECT_EQ(repaint(s).bytes, 110u * 12);
    EXPECT_EQ(residentAgainstStreamed(s), 0);
    const std::uint64_t relayouts = s.compositor.inkBuffers().relayoutCount();
    b->addPointsFromSet(*stroke(10, 20, int(50 - b->length()), kRed));
    auto big = stroke(-100000, 0, 100000, kRed);
    big->buffer()[3 * 99999] = 60;  // its last dot in view
    page.addObject(big);
    EXPECT_EQ(repaint(s).bytes, (50u + 100000u) * 12);
    EXPECT_GT(s.compositor.inkBuffers().relayoutCount(), relayouts);
    EXPECT_EQ(residentAgainstStreamed(s), 0);
    const std::size_t grown = s.compositor.inkBuffers().capacity();
    EXPECT_GE(grown, 100050u * 12);
    page.removeObject(big);

    // The same runs moved in place: every run again, and the pixels follow them. The buffer, far too
    // large now, shrinks.
    page.applyDelta({6, 9});
    EXPECT_EQ(repaint(s).bytes, bytesOf(page));
    EXPECT_LT(s.compositor.inkBuffers().capacity(), grown);
    EXPECT_EQ(residentAgainstStreamed(s), 0);

    // A run taken away uploads nothing and gives its space back.
    page.removeObject(c);
    EXPECT_EQ(repaint(s).bytes, 0u);
    EXPECT_EQ(s.compositor.inkBuffers().runCount(), 3u);

    // Undo to the copy taken earlier: its runs are other objects, written once; the others are let go.
    s.compositor.pointSets = snapshot;
    EXPECT_EQ(repaint(s).bytes, 170u * 12);
    EXPECT_EQ(s.compositor.inkBuffers().runCount(), 3u);
    EXPECT_EQ(s.compositor.inkBuffers().liveBytes(), 170u * 12);
    EXPECT_EQ(repaint(s).bytes, 0u);
    EXPECT_EQ(residentAgainstStreamed(s), 0);

    // Another page drawn for a picture is sent run by run and leaves the shown page's buffer alone.
    PageContent other;
    other.pointSets = std::make_shared<KVSPointSetArray>();
    other.pointSets->addObject(stroke(1, 1, 10, kInk));
    const std::uint64_t before = s.gl().bytesUploaded();
    s.compositor.getThumbnailForPage(other, {40, 50});
    EXPECT_EQ(s.gl().bytesUploaded() - before, 10u * 12);
    EXPECT_EQ(repaint(s).bytes, 0u);
}

// An eraser gesture works on a copy of the page and, at its end, puts the unchanged runs of the page as
// it was back beside the changed ones; its undo brings the old points of the changed runs back. Only points
// that are new to the list are ever uploaded.
TEST(ResidentInk, AnEraserGestureAndItsUndoUploadOnlyTheChangedRuns) {
    GLSurface s({64, 64}, 1.0);
    VELUMEN_REQUIRE_GL(s);
    auto page = std::make_shared<KVSPointSetArray>();
    for (int r = 0; r < 12; ++r)
        page->addObject(stroke(2, 4 + 5 * float(r), 40, r % 3 ? kInk : kRed));
    s.compositor.pointSets = page;
    EXPECT_EQ(repaint(s).bytes, bytesOf(*page));
    const QImage before = s.view().getImage();

    // The gesture begins on a copy: nothing to upload.
    s.compositor.pointSets = KVSPointSetArray::initWithPointSetArray(*page);
    auto& working = *s.compositor.pointSets;
    EXPECT_EQ(repaint(s).bytes, 0u);

    // Two steps: each uploads the runs it changed, written where they were (their slots keep their size).
    const std::size_t held = s.compositor.inkBuffers().liveBytes();
    std::uint64_t changed = 0;
    for (const Rect& stamp : {Rect{0, 8, 10, 10}, Rect{0, 20, 10, 10}}) {
        std::vector<std::uint64_t> lengths;
        for (const auto& run : working.pointSets())
            lengths.push_back(run->length());
        ASSERT_TRUE(working.removePointsInCircle(stamp, false));
        changed = 0;
        for (std::size_t i = 0; i < working.count(); ++i)
            if (working.objectAtIndex(i)->length() != lengths[i]) changed += working.objectAtIndex(i)->length();
        const std::size_t capacity = s.compositor.inkBuffers().capacity();
        EXPECT_EQ(repaint(s).bytes, changed * 12);
        EXPECT_EQ(s.compositor.inkBuffers().capacity(), capacity);
        EXPECT_EQ(s.compositor.inkBuffers().liveBytes(), held);
        EXPECT_EQ(residentAgainstStreamed(s), 0);
    }

    // The end: the page's own runs where nothing changed, the working ones elsewhere. Nothing to upload.
    auto kept = std::make_shared<KVSPointSetArray>();
    auto oldRuns = std::make_shared<KVSPointSetArray>();
    for (std::size_t i = 0; i < page->count(); ++i) {
        const bool same = page->objectAtIndex(i)->length() == working.objectAtIndex(i)->length();
        kept->addObject(same ? page->objectAtIndex(i) : working.objectAtIndex(i));
        if (!same) oldRuns->addObject(page->objectAtIndex(i));
    }
    ASSERT_GT(oldRuns->count(), 0u);
    s.compositor.pointSets = kept;
    EXPECT_EQ(repaint(s).bytes, 0u);

    // Undo: the page as it was, whose changed runs alone are new to the buffer; the picture is the first.
    s.compositor.pointSets = page;
    EXPECT_EQ(repaint(s).bytes, bytesOf(*oldRuns));
    EXPECT_EQ(maxDifference(s.view().getImage(), before), 0);
    EXPECT_EQ(s.compositor.inkBuffers().runCount(), page->count());
}

// Turning to another page: its runs are new, even where one lies at an address that a run of the page
// before had, and they are laid out in their own order, so neighbours of one colour still go by one call.
TEST(ResidentInk, AnotherPageIsWrittenAfreshInItsOwnOrder) {
    GLSurface s({64, 64}, 1.0);
    VELUMEN_REQUIRE_GL(s);
    // Half the runs in one colour, half in another.
    auto page = [](int runs, float shift) {
        auto list = std::make_shared<KVSPointSetArray>();
        for (int r = 0; r < runs; ++r)
            list->addObject(stroke(float(r % 30) + shift, float(r % 60), 20, 2 * r < runs ? kInk : kRed));
        return list;
    };
    for (int turn = 0; turn < 6; ++turn) {
        // The page before is let go before the next one is made, so its addresses are free for reuse; a
        // small page and a large one take turns.
        const int runs = turn % 2 ? 200 : 12;
        s.compositor.pointSets = nullptr;
        s.compositor.pointSets = page(runs, float(turn));
        const Repaint r = repaint(s);
        EXPECT_EQ(r.bytes, bytesOf(*s.compositor.pointSets));
        EXPECT_EQ(r.draws, 2u) << "turn " << turn;
        EXPECT_EQ(residentAgainstStreamed(s), 0);
        EXPECT_EQ(s.compositor.inkBuffers().runCount(), std::size_t(runs));
    }
}

TEST(ResidentInk, StrokesPutAtTheBackKeepTheOrderAndTheBufferIsLaidOutAgain) {
    GLSurface s({64, 64}, 1.0);
    VELUMEN_REQUIRE_GL(s);
    auto& page = *s.compositor.pointSets;
    for (int r = 0; r < 40; ++r)
        page.addObject(stroke(float(r), float(r), 20, kInk));
    EXPECT_EQ(repaint(s).draws, 1u);

    // Highlighter strokes go to the front of the list but are written behind the others: the order of
    // drawing is the list's, and once they scatter the runs, the buffer is laid out again without
    // uploading anything but the new strokes.
    const std::uint64_t relayouts = s.compositor.inkBuffers().relayoutCount();
    for (int r = 0; r < 16; ++r) {
        page.insertObject(stroke(50 - float(r), 5 + float(r), 25, r % 2 ? kRed : kInk), 0);
        EXPECT_EQ(repaint(s).bytes, 25u * 12);
        EXPECT_EQ(residentAgainstStreamed(s), 0);
    }
    EXPECT_GT(s.compositor.inkBuffers().relayoutCount(), relayouts);
    EXPECT_LE(repaint(s).draws, 17u);
    EXPECT_EQ(s.compositor.inkBuffers().liveBytes(), bytesOf(page));
}

TEST(ResidentInk, RunsOutOfViewArePassedOverByTheirLargestDot) {
    GLSurface s({64, 64}, 1.0, false);  // plain squares
    VELUMEN_REQUIRE_GL(s);
    auto& page = *s.compositor.pointSets;
    // Centres left of the view; the dot of size 40 is 80 units across and reaches 30 units into it.
    auto run = dots({-20, 30, 2, -15, 20, 2, -10, 10, 40}, {0, 0, 0, 1});
    page.addObject(run);
    Repaint r = repaint(s);
    EXPECT_EQ(r.draws, 1u);
    EXPECT_EQ(inkedInRow(s.view().getImage(), 10), 30);

    // Without the big dot the run lies wholly outside: no draw at all.
    ASSERT_TRUE(run->removePointsInRect({-11, 9, 2, 2}));
    r = repaint(s);
    EXPECT_EQ(r.draws, 0u);
    EXPECT_EQ(inkedInRow(s.view().getImage(), 20), 0);

    // Moved into view in place, it is drawn again from its new records.
    page.applyDelta({40, 0});
    r = repaint(s);
    EXPECT_EQ(r.draws, 1u);
    EXPECT_EQ(r.bytes, 2u * 12);
    EXPECT_EQ(inkedInRow(s.view().getImage(), 20), 4);
}

// The culling test is conservative under every projection the surface uses (the page transform, the
// snapshot's flipped one) and under a turned one: a box it passes over never has a pixel in view.
TEST(ResidentInk, CullingNeverPassesOverAVisibleDot) {
    GLSurface s({48, 40}, 1.5, false);
    VELUMEN_REQUIRE_GL(s);
    std::mt19937 rng(11);
    std::uniform_real_distribution<float> near(-40, 90), size(0.1f, 30);
    const double turn = 0.6;
    const Affine2D turned{std::cos(turn), std::sin(turn), -std::sin(turn), std::cos(turn), 5, -8};
    int passedOver = 0, blankSingles = 0, singles = 0;
    for (const auto& [zoom, flip, rotate] :
         {std::tuple{1.0, false, false}, std::tuple{2.5, true, false}, std::tuple{0.7, false, true}}) {
        for (int k = 0; k < 200; ++k) {
            // Every other run is a single dot, whose box is as tight as it gets.
            const bool single = k % 2 == 0;
            // The first pair: turned, one dot shows near the left edge while the box's far corner lies well
            // left of the view.
            const KVSPointSetPtr run =
                single   ? dots({near(rng), near(rng), size(rng)}, {0, 0, 0, 1})
                : k == 1 ? dots({10, 20, 2, 0, 80, 2}, {0, 0, 0, 1})
                         : dots({near(rng), near(rng), size(rng), near(rng), near(rng), size(rng)}, {0, 0, 0, 1});
            bool outside = false;
            const QImage image = s.view().getImageWithSize(s.view().bounds(), [&] {
                GLLayer& gl = s.gl();
                gl.clearColor(1, 1, 1, 1);
                gl.clear();
                gl.pushMatrix();
                if (rotate) gl.loadMatrix(turned.then(gl.matrix()));
                if (flip) {
                    gl.translatef(0, 40);
                    gl.scalef(zoom, -zoom);
                } else {
                    gl.scalef(zoom, zoom);
                }
                gl.setPointAttenuation(s.compositor.pointAttenuationForScale(zoom));
                const auto& b = run->centreBounds();
                outside = gl.viewportTest().isOutside(b.minX, b.minY, b.maxX, b.maxY, b.maxSize);
                gl.color4f(0, 0, 0, 1);
                gl.drawPoints(run->constBuffer(), run->length());
                gl.color4f(1, 1, 1, 1);
                gl.popMatrix();
            });
            int inked = 0;
            for (int y = 0; y < image.height(); ++y)
                inked += inkedInRow(image, y);
            if (outside) {
                ++passedOver;
                EXPECT_EQ(inked, 0) << "zoom " << zoom << " flip " << flip << " rotate " << rotate;
            } else if (single) {
                ++singles;
                if (inked == 0) ++blankSingles;
            }
        }
    }
    // Both answers occur, and a single dot drawn without showing (the test's pixel of margin) is rare.
    EXPECT_GT(passedOver, 100);
    EXPECT_GT(singles, 100);
    EXPECT_LE(blankSingles * 10, singles);
}
