#include "render/PageCompositor.h"

#include <QImage>
#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "render/KGLUtils.h"

namespace velumen {

namespace {

// Whether none of a run's dots can reach the viewport: its centres' extent grown by its largest dot.
bool isOutsideView(const GLLayer::ViewportTest& view, const KVSPointSet& run) {
    const KVSPointSet::CentreBounds& b = run.centreBounds();
    return view.isOutside(b.minX, b.minY, b.maxX, b.maxY, b.maxSize);
}

}  // namespace

PageCompositor::PageCompositor(EAGLView& view) : view_(view), gl_(view.layer()), inkBuffers_(view.layer()) {}

PageCompositor::~PageCompositor() {
    view_.renderingQueue().sync([this] {
        if (!view_.context()) return;
        for (auto& e : _pageImageTextures)
            gl_.deleteTexture(e.texture);
        for (auto& e : _masterImageTextures)
            gl_.deleteTexture(e.texture);
        gl_.deleteTexture(inkSnapshotTextureId);
        gl_.deleteTexture(brushTextureId);
        gl_.deleteTexture(brush2TextureId);
        gl_.deleteTexture(pictureBorder1TextureId);
        inkBuffers_.release();
    });
}

// ---- Set-up ----

void PageCompositor::initializeEagl(double screenScale, bool supportRetina) {
    view_.setSupportRetina(supportRetina, screenScale);
}

void PageCompositor::loadFixedTextures() {
    initializeBrush();
    initializeBrush(brush2TextureId, KGLUtils::kImageFromQImage(QImage(":/Particle2.png")));
    if (pictureBorder1TextureId == 0) {
        const KImage frame = KGLUtils::kImageFromQImage(QImage(":/Picture Border 1.png"));
        view_.renderingQueue().sync([&] {
            if (view_.context())
                KGLUtils::createTextureWithNonPow2ImageAndMaxSize(gl_, pictureBorder1TextureId, frame, 1024);
        });
    }
}

void PageCompositor::deleteFixedTextures() {
    view_.renderingQueue().sync([this] {
        if (!view_.context()) return;
        gl_.deleteTexture(brushTextureId);
        gl_.deleteTexture(brush2TextureId);
        gl_.deleteTexture(pictureBorder1TextureId);
    });
}

void PageCompositor::initializeBrush() {
    initializeBrush(brushTextureId, KGLUtils::kImageFromQImage(QImage(":/Particle.png")));
}

void PageCompositor::initializeBrush(GLuint& texture, const KImage& image) {
    view_.renderingQueue().sync([&] {
        if (view_.context()) KGLUtils::createTextureWithPow2Image(gl_, texture, image);
    });
}

void PageCompositor::setBrushColorWithKColor(const KColor& c) {
    setBrushColorWithRed(c.r, c.g, c.b, c.a);
}

void PageCompositor::setBrushColorWithRed(double red, double green, double blue, double alpha) {
    gl_.color4f(float(red * alpha), float(green * alpha), float(blue * alpha), float(alpha));
}

float PageCompositor::screenScaleFactor() const {
    // The surface's own scale, never one remembered from set-up: the back buffer and every picture are
    // made at it, so dots keep their share of the page at any pixel ratio.
    const float scale = float(view_.contentsScale());
    return scale * scale;
}

float PageCompositor::pointAttenuationForScale(double scale) const {
    const float twice = float(2.0 * scale);
    return 1.0f / (twice * twice * screenScaleFactor());
}

// ---- Texture collections ----

GLuint PageCompositor::createTextureForFoliantImage(const FoliantImage& image, const KImage& pixels) {
    GLuint texture = 0;
    view_.renderingQueue().sync([&] {
        if (!view_.context()) return;
        if (image.filterType == 1) {
            KGLUtils::createTextureWithNonPow2ImageAndMaxSize(gl_, texture, KGLUtils::grayScaleImage(pixels),
                                                              2048);
        } else {
            KGLUtils::createTextureWithNonPow2ImageAndMaxSize(gl_, texture, pixels, 2048);
        }
    });
    return texture;
}

bool PageCompositor::addMasterImage(const FoliantImagePtr& image, const KImage& pixels) {
    if (!image) return false;
    const GLuint texture = createTextureForFoliantImage(*image, pixels);
    if (!texture) return false;
    _masterImageTextures.push_back({image, texture});
    isFrameUpdateNeeded = true;
    return true;
}

bool PageCompositor::addPageImage(const FoliantImagePtr& image, const KImage& pixels) {
    if (!image) return false;
    const GLuint texture = createTextureForFoliantImage(*image, pixels);
    if (!texture) return false;
    _pageImageTextures.push_back({image, texture});
    isFrameUpdateNeeded = true;
    return true;
}

void PageCompositor::removePageImage(const FoliantImagePtr& image) {
    auto it = std::find_if(_pageImageTextures.begin(), _pageImageTextures.end(),
                           [&](const ImageTextureEntry& e) { return e.object == image; });
    if (it == _pageImageTextures.end()) return;
    view_.renderingQueue().sync([&] {
        if (view_.context()) gl_.deleteTexture(it->texture);
    });
    _pageImageTextures.erase(it);
    isFrameUpdateNeeded = true;
}

void PageCompositor::removeAllPageImageTextures() {
    view_.renderingQueue().sync([&] {
        if (!view_.context()) return;
        for (auto& e : _pageImageTextures)
            gl_.deleteTexture(e.texture);
    });
    _pageImageTextures.clear();
}

void PageCompositor::removeAllMasterImageTextures() {
    view_.renderingQueue().sync([&] {
        if (!view_.context()) return;
        for (auto& e : _masterImageTextures)
            gl_.deleteTexture(e.texture);
    });
    _masterImageTextures.clear();
}

// ---- Repaint ----

void PageCompositor::applyPageTransform(double zoom, Point panDelta) {
    gl_.pushMatrix();
    gl_.translatef(panDelta.x, panDelta.y);
    gl_.scalef(zoom, zoom);
    gl_.setPointAttenuation(pointAttenuationForScale(zoom));
}

void PageCompositor::renderAllLines() {
    gl_.pushMatrix();
    view_.clearCanvas();
    applyPageTransform(viewTransform().zoomFactor, viewTransform().inkPanDelta);
    renderAllImages();
    if (pointSets) renderPointSets(*pointSets);
    // Text boxes are live views over the surface; off-screen pictures draw them through their own layer.
    gl_.popMatrix();
    gl_.popMatrix();
    gl_.flush();
}

void PageCompositor::renderAllLinesWithoutBackground() {
    gl_.pushMatrix();
    view_.clearCanvas();
    applyPageTransform(viewTransform().zoomFactor, viewTransform().inkPanDelta);
    gl_.clearColor(1, 1, 1, 0);
    gl_.clear();
    renderPageImages();
    if (pointSets) renderPointSets(*pointSets);
    gl_.popMatrix();
    gl_.popMatrix();
    gl_.flush();
}

void PageCompositor::renderPointSets(const KVSPointSetArray& sets) {
    if (&sets == pointSets.get()) {
        renderResidentPointSets(sets);
        return;
    }
    const GLuint brush = brushTextureId;
    const GLLayer::ViewportTest view = gl_.viewportTest();
    for (const KVSPointSetPtr& run : sets.pointSets()) {
        if (!run || run->length() == 0 || isOutsideView(view, *run)) continue;
        setBrushColorWithKColor(run->color());
        gl_.bindTexture(brush);
        gl_.drawPoints(run->constBuffer(), run->length());
    }
    gl_.color4f(1, 1, 1, 1);
    gl_.bindTexture(0);
}

void PageCompositor::renderResidentPointSets(const KVSPointSetArray& sets) {
    const std::vector<InkBuffers::Slot>& places = inkBuffers_.sync(sets);
    const GLuint buffer = inkBuffers_.buffer();
    const GLLayer::ViewportTest view = gl_.viewportTest();
    // A batch is a stretch of visible runs that lie back to back in the buffer and reach GL with the
    // very same colour: one draw of them is the same as one draw each, in the same order.
    std::array<float, 4> colour{};
    std::size_t offset = 0;
    std::uint64_t count = 0;
    auto drawBatch = [&] {
        if (count == 0) return;
        gl_.color4f(colour[0], colour[1], colour[2], colour[3]);
        gl_.bindTexture(brushTextureId);
        gl_.drawPointsFromBuffer(buffer, offset, count);
        count = 0;
    };
    const auto& runs = sets.pointSets();
    for (std::size_t i = 0; i < runs.size(); ++i) {
        const InkBuffers::Slot& slot = places[i];
        if (slot.count == 0) continue;
        if (isOutsideView(view, *runs[i])) {
            drawBatch();
            continue;
        }
        setBrushColorWithKColor(runs[i]->color());
        const std::array<float, 4> c = gl_.color();
        if (count && c == colour && offset + count * KVSPointSet::kStride == slot.offset) {
            count += slot.count;
            continue;
        }
        drawBatch();
        colour = c;
        offset = slot.offset;
        count = slot.count;
    }
    drawBatch();
    gl_.color4f(1, 1, 1, 1);
    gl_.bindTexture(0);
}

void PageCompositor::renderEntry(const ImageTextureEntry& entry) {
    if (!entry.object || !entry.texture) return;
    const FoliantImage& image = *entry.object;
    gl_.renderTexture(entry.texture, image.frame, float(image.alpha), image.angle);
}

void PageCompositor::renderAllImages() {
    renderBackgroundImages();
    renderPageImages();
}

void PageCompositor::renderBackgroundImages() {
    for (const ImageTextureEntry& e : _masterImageTextures)
        renderEntry(e);
}

void PageCompositor::renderPageImages() {
    for (const ImageTextureEntry& e : _pageImageTextures) {
        if (e.object) renderBorderForFoliantImage(*e.object);
        renderEntry(e);
    }
}

void PageCompositor::renderBorderForFoliantImage(const FoliantImage& image) {
    if (image.borderStyle != 1 || !pictureBorder1TextureId) return;
    const Rect& f = image.frame;
    const double t = double(float(std::max(f.width, f.height) / 768.0 * 30.0));
    gl_.renderTexture(pictureBorder1TextureId, {f.x - t, f.y - t, f.width + 2 * t, f.height + 3 * t},
                      float(image.alpha), image.angle);
}

void PageCompositor::renderImagesForPage(const PageContent& page) {
    renderBackgroundImages();
    for (const FoliantImagePtr& image : page.images) {
        if (!image) continue;
        renderBorderForFoliantImage(*image);
        const KImagePtr pixels = decodeImage ? decodeImage(*image) : nullptr;
        if (!pixels) continue;
        GLuint texture = 0;
        KGLUtils::createTextureWithNonPow2ImageAndMaxSize(
            gl_, texture, image->filterType == 1 ? KGLUtils::grayScaleImage(*pixels) : *pixels, 2048);
        if (!texture) continue;
        gl_.renderTexture(texture, image->frame, float(image->alpha), image->angle);
        gl_.deleteTexture(texture);
    }
}

// ---- Frame loop ----

void PageCompositor::redrawAllLines() {
    if (isApplicationSuspended) return;
    numPoints = 0;
    view_.renderingQueue().sync([this] {
        if (!view_.setFramebuffer()) return;
        renderAllLines();
        view_.presentFramebuffer();
        ++repaints_;
    });
}

void PageCompositor::drawFrame() {
    if (isFrameUpdateNeeded && !isFrameLocked && !isApplicationSuspended) {
        redrawAllLines();
        isFrameUpdateNeeded = false;
    }
}

// ---- Back-drawn strokes ----

void PageCompositor::saveInkSnapshotTexture() {
    deleteInkSnapshotTexture();
    view_.renderingQueue().sync([this] {
        if (!view_.setFramebuffer()) return;
        const int w = view_.framebufferWidth, h = view_.framebufferHeight;
        GLuint texture = gl_.createRenderTexture(w, h, true);
        GLuint framebuffer = gl_.createFramebufferForTexture(texture);
        if (!framebuffer) {
            gl_.deleteTexture(texture);
            return;
        }
        const GLuint saved = gl_.boundFramebuffer();
        gl_.bindFramebuffer(framebuffer);
        gl_.viewport(0, 0, w, h);
        applyPageTransform(viewTransform().zoomFactor, viewTransform().inkPanDelta);
        gl_.clearColor(0, 0, 0, 0);
        gl_.clear();
        if (pointSets) renderPointSets(*pointSets);
        gl_.bindFramebuffer(saved);
        gl_.deleteFramebuffer(framebuffer);
        inkSnapshotTextureId = texture;
        snapshotWidth_ = w;
        snapshotHeight_ = h;
        gl_.flush();
        gl_.popMatrix();
    });
}

void PageCompositor::renderInkSnapshotTexture() {
    if (!inkSnapshotTextureId) return;
    // In view points over the whole surface: the texture has the back buffer's pixels, one for one.
    const Size b = view_.bounds();
    gl_.pushMatrix();
    gl_.loadOrtho(b.width, b.height);
    gl_.renderTexture(inkSnapshotTextureId, {0, 0, b.width, b.height}, 1.0f, 0, true);
    gl_.popMatrix();
}

void PageCompositor::deleteInkSnapshotTexture() {
    if (!inkSnapshotTextureId) return;
    view_.renderingQueue().sync([this] {
        if (view_.context()) gl_.deleteTexture(inkSnapshotTextureId);
        inkSnapshotTextureId = 0;
    });
}

void PageCompositor::deleteInkSnapshot() {
    deleteInkSnapshotTexture();
}

// ---- Live drawing ----

void PageCompositor::beginSegment(const KColor& lineColor, bool atBack, const KVSPointSetArray& strokeSoFar,
                                  double zoom, Point panDelta) {
    view_.renderingQueue().sync([&] {
        segmentOpen_ = view_.setFramebuffer();
        if (!segmentOpen_) return;
        applyPageTransform(zoom, panDelta);
        if (atBack) {
            view_.clearCanvas();
            renderAllImages();
            renderPointSets(strokeSoFar);
        }
        gl_.bindTexture(brushTextureId);
        setBrushColorWithKColor(lineColor);
    });
}

void PageCompositor::drawCurvedRun(const KVSPointSet& run) {
    if (!segmentOpen_) return;
    view_.renderingQueue().sync([&] { gl_.drawPoints(run.constBuffer(), run.length()); });
    numPoints += std::int64_t(run.length());
}

void PageCompositor::drawStraightRun(const KVSPointSet& run, float pointSize) {
    if (!segmentOpen_) return;
    view_.renderingQueue().sync([&] { gl_.drawPointsWithSize(run.constBuffer(), run.length(), pointSize); });
    numPoints += std::int64_t(run.length());
}

void PageCompositor::endSegment(bool atBack) {
    if (!segmentOpen_) return;
    segmentOpen_ = false;
    view_.renderingQueue().sync([&] {
        if (atBack) renderInkSnapshotTexture();
        gl_.color4f(1, 1, 1, 1);
        gl_.bindTexture(0);
        gl_.popMatrix();
        gl_.flush();
        view_.presentFramebuffer();
    });
}

// ---- Pictures ----

PageContent PageCompositor::currentPage() const {
    PageContent page;
    page.pointSets = pointSets;
    for (const ImageTextureEntry& e : _pageImageTextures)
        page.images.push_back(e.object);
    return page;
}

QImage PageCompositor::getThumbnailImage() {
    isFrameLocked = true;
    QImage image = view_.getImageWithSize(view_.bounds(), [this] { renderAllLines(); });
    isFrameLocked = false;
    return image;
}

QImage PageCompositor::getThumbnailForPage(const PageContent& page, Size size, bool textBoxes) {
    const float scale = float(size.width / 768.0);
    return view_.getImageWithSize(size, [&] { renderFullPage(page, scale, textBoxes); });
}

void PageCompositor::renderFullPage(const PageContent& page, float scaleFactor, bool textBoxes) {
    (void)textBoxes;  // text boxes are drawn by the text layer, which is not part of the GL picture
    const double s = double(scaleFactor) * 0.5;
    gl_.pushMatrix();
    gl_.scalef(s, s);
    view_.clearCanvas();
    gl_.setPointAttenuation(pointAttenuationForScale(s));
    renderImagesForPage(page);
    if (page.pointSets) renderPointSets(*page.pointSets);
    gl_.popMatrix();
    gl_.flush();
}

QImage PageCompositor::getFullPageThumbnailImage() {
    isFrameLocked = true;
    int m = 0;
    view_.renderingQueue().sync([&] {
        if (view_.context()) m = gl_.maxTextureSize();
    });
    const int c = std::max(1, int(view_.contentsScale()));
    const double f = m < 2048 ? 0.5 : 1.0;
    QImage image = getThumbnailForPage(currentPage(), {kPageSize.width * f / c, kPageSize.height * f / c}, true);
    isFrameLocked = false;
    return image;
}

float PageCompositor::getMaxViewScaleFactor() {
    int m = 0;
    view_.renderingQueue().sync([&] {
        if (view_.context()) m = gl_.maxTextureSize();
    });
    if (m >= 2049) m = 2048;
    const int c = std::max(1, int(view_.contentsScale()));
    const Size b = view_.bounds();
    if (2 * b.width * c > m || 2 * b.height * c > m) return 1.0f;
    return 2.0f;
}

QImage PageCompositor::getLargeThumbnailImageWithNoBackground(bool noBackground) {
    isFrameLocked = true;
    const ViewTransform saved = viewTransform();
    const Size savedBounds = view_.bounds();
    const float s = getMaxViewScaleFactor();
    const Size large{savedBounds.width * s, savedBounds.height * s};
    enlarged_ = ViewTransform{saved.zoomFactor * s, {saved.inkPanDelta.x * s, saved.inkPanDelta.y * s}};
    view_.layoutSubviews(large);
    redrawAllLines();
    QImage image = view_.getImageWithSize(large, [&] {
        if (noBackground) {
            renderAllLinesWithoutBackground();
        } else {
            renderAllLines();
        }
    });
    enlarged_.reset();
    view_.layoutSubviews(savedBounds);
    redrawAllLines();
    isFrameLocked = false;
    return image;
}

}  // namespace velumen
