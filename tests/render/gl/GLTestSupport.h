// A small GL surface for tests, and helpers to read its pixels.
#pragma once

#include <gtest/gtest.h>

#include <QImage>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "render/EAGLViewController.h"
#include "render/PageCompositor.h"

namespace velumen::test {

// Under CI a missing context is a failure, elsewhere the test is skipped.
inline bool requiredGL() {
    const char* ci = std::getenv("CI");
    return ci && std::strcmp(ci, "true") == 0;
}

#define VELUMEN_REQUIRE_GL(surface)                                                     \
    do {                                                                                \
        if (!(surface).ok) {                                                            \
            if (::velumen::test::requiredGL()) FAIL() << "no GL context could be made"; \
            GTEST_SKIP() << "no GL context";                                            \
        }                                                                               \
    } while (0)

// A surface of bounds points at a pixel scale, with its compositor and the fixed textures.
struct GLSurface {
    EAGLViewController controller;
    PageCompositor compositor{controller.eaglView()};
    // The transform the compositor draws through.
    ViewTransform transform;
    bool ok = false;

    GLSurface(Size bounds, double scale, bool textures = true) {
        compositor.readTransformFrom(transform);
        ok = controller.viewDidLoad();
        if (!ok) return;
        compositor.initializeEagl(scale);
        view().layoutSubviews(bounds);
        if (textures) compositor.loadFixedTextures();
    }
    EAGLView& view() { return controller.eaglView(); }
    GLLayer& gl() { return view().layer(); }
};

// The list drawn at the compositor's zoom and pan over white paper, or over transparent black.
inline QImage renderInk(GLSurface& s, const KVSPointSetArray& list, bool paper = true) {
    return s.view().getImageWithSize(s.view().bounds(), [&] {
        const float white = paper ? 1.0f : 0.0f;
        s.gl().clearColor(white, white, white, white);
        s.gl().clear();
        s.gl().pushMatrix();
        s.gl().translatef(s.transform.inkPanDelta.x, s.transform.inkPanDelta.y);
        s.gl().scalef(s.transform.zoomFactor, s.transform.zoomFactor);
        s.gl().setPointAttenuation(s.compositor.pointAttenuationForScale(s.transform.zoomFactor));
        s.compositor.renderPointSets(list);
        s.gl().popMatrix();
    });
}

// Raw bytes R, G, B, A of a pixel, whatever the image's alpha tag.
struct Rgba {
    int r, g, b, a;
};
inline Rgba at(const QImage& image, int x, int y) {
    const uchar* p = image.constScanLine(y) + x * 4;
    return {p[0], p[1], p[2], p[3]};
}

// Largest difference of any channel of any pixel; -1 when the sizes differ.
inline int maxDifference(const QImage& a, const QImage& b) {
    if (a.size() != b.size() || a.isNull()) return -1;
    int worst = 0;
    for (int y = 0; y < a.height(); ++y) {
        const uchar* p = a.constScanLine(y);
        const uchar* q = b.constScanLine(y);
        for (int i = 0; i < a.width() * 4; ++i)
            worst = std::max(worst, std::abs(int(p[i]) - int(q[i])));
    }
    return worst;
}

// Pixels of a row that are not paper white.
inline int inkedInRow(const QImage& image, int y) {
    int n = 0;
    for (int x = 0; x < image.width(); ++x) {
        const Rgba c = at(image, x, y);
        if (c.r < 250 || c.g < 250 || c.b < 250) ++n;
    }
    return n;
}

inline KVSPointSetPtr dots(std::initializer_list<float> records, KColor color) {
    auto run = KVSPointSet::initWithLength(records.size() / 3);
    std::copy(records.begin(), records.end(), run->buffer());
    run->setColor(color);
    return run;
}

}  // namespace velumen::test
