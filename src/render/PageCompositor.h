// The editor's drawing: the GL state it sets once, the layers of a page on the surface (paper, master
// images, page images with their frames, ink), the frame loop's repaint on the dirty flag, the live
// drawing of a growing stroke, and pictures of pages. The editor owns one and keeps its fields current
// (zoom, pan, the shown page's ink and image textures); nothing here decides what a touch means.
#pragma once

#include <QImage>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "ink/ViewTransform.h"
#include "ink/KColor.h"
#include "ink/KGeometry.h"
#include "ink/KVSPointSetArray.h"
#include "ink/StrokeSampler.h"
#include "objects/FoliantImage.h"
#include "objects/KImage.h"
#include "render/EAGLView.h"
#include "render/InkBuffers.h"

namespace velumen {

// One entry of a texture collection: the model object and the texture of its pixels.
struct ImageTextureEntry {
    FoliantImagePtr object;
    GLuint texture = 0;
    // The filter the texture was made with: a change of the object's filter makes it anew.
    std::int32_t filterType = 0;
};

// A page to draw, shown or not: its ink and its placed images, back first.
struct PageContent {
    KVSPointSetArrayPtr pointSets;
    std::vector<FoliantImagePtr> images;
};

class PageCompositor : public StrokeRenderer {
  public:
    explicit PageCompositor(EAGLView& view);
    ~PageCompositor() override;
    PageCompositor(const PageCompositor&) = delete;
    PageCompositor& operator=(const PageCompositor&) = delete;

    EAGLView& view() { return view_; }

    // Pages are drawn through `transform`, which belongs to the caller (the editor's viewport) and must
    // outlive the compositor; until it is given, the identity.
    void readTransformFrom(const ViewTransform& transform) { transformSource_ = &transform; }
    // The transform of the present drawing: the viewport's, or its enlargement while a large picture is taken.
    ViewTransform viewTransform() const { return enlarged_ ? *enlarged_ : *transformSource_; }

    // ---- State the editor keeps ----
    GLuint brushTextureId = 0;
    GLuint brush2TextureId = 0;
    GLuint pictureBorder1TextureId = 0;
    GLuint inkSnapshotTextureId = 0;
    // Sprites drawn since the last full repaint.
    std::int64_t numPoints = 0;
    bool isFrameUpdateNeeded = false;
    bool isFrameLocked = false;
    bool isApplicationSuspended = false;
    // The shown page's ink, oldest first.
    KVSPointSetArrayPtr pointSets = std::make_shared<KVSPointSetArray>();
    // Decodes a page image of a page that is not shown (whole-page pictures); may be empty.
    std::function<KImagePtr(const FoliantImage&)> decodeImage;

    std::vector<ImageTextureEntry> _masterImageTextures;
    std::vector<ImageTextureEntry> _pageImageTextures;

    // ---- Set-up ----
    // Pixel scale and the shared state: the surface's scale follows the screen when supportRetina.
    void initializeEagl(double screenScale, bool supportRetina = true);
    // The fixed textures: "Particle.png" into the brush, "Particle2.png" into the second brush and, when
    // there is none yet, the picture frame at most 1024 across.
    void loadFixedTextures();
    void deleteFixedTextures();
    // "Particle.png" into brushTextureId; without a picture the brush stays 0 and ink draws as squares.
    void initializeBrush();
    // A mipmapped texture from a picture into the name; an empty picture leaves it as it is.
    void initializeBrush(GLuint& texture, const KImage& image);
    // The current colour, premultiplied by its alpha.
    void setBrushColorWithKColor(const KColor& color);
    void setBrushColorWithRed(double red, double green, double blue, double alpha);
    // The square of the screen scale (1 on a 1x screen, 4 on a 2x screen): it only enters the attenuation
    // formula. It is the scale the surface draws at now, which a window learns only once it is shown.
    float screenScaleFactor() const;
    // a = 1 / ((2 scale)^2 screenScaleFactor): a dot of size s is s x 2 x scale x screen scale pixels.
    float pointAttenuationForScale(double scale) const;

    // ---- Texture collections ----
    // Entries for the shown page or the book's master images, made once from the decoded pixels.
    // A picture without pixels makes no texture and no entry: false.
    bool addMasterImage(const FoliantImagePtr& image, const KImage& pixels);
    bool addPageImage(const FoliantImagePtr& image, const KImage& pixels);
    void removePageImage(const FoliantImagePtr& image);
    void removeAllPageImageTextures();
    void removeAllMasterImageTextures();
    // One texture for a page object: grey when its filter says so, its own size up to 2048.
    GLuint createTextureForFoliantImage(const FoliantImage& image, const KImage& pixels);

    // ---- Repaint (inside a batch of the rendering queue) ----
    void renderAllLines();
    // The same without the master images, over white at alpha 0.
    void renderAllLinesWithoutBackground();
    // Each run in order with its own colour; a run whose dots all lie outside the viewport is passed over.
    // The shown page's list (pointSets) is drawn from its copy in GPU memory, which this brings up to
    // date; any other list is sent to GL run by run.
    void renderPointSets(const KVSPointSetArray& sets);
    void renderAllImages();
    void renderBackgroundImages();
    void renderPageImages();
    void renderBorderForFoliantImage(const FoliantImage& image);
    // Master images from their textures, then the page's own images through short-lived textures.
    void renderImagesForPage(const PageContent& page);

    // ---- Frame loop ----
    // Full repaint now, as one batch: bind, renderAllLines, present. Nothing while suspended.
    void redrawAllLines();
    // The display link's target: one repaint when the flag is set and nothing holds it back.
    void drawFrame();
    std::uint64_t repaintCount() const { return repaints_; }
    // The shown page's ink as kept in GPU memory.
    const InkBuffers& inkBuffers() const { return inkBuffers_; }

    // ---- Back-drawn strokes ----
    // The shown page's ink over transparent black, in a texture as large as the back buffer.
    void saveInkSnapshotTexture();
    // That texture over the whole surface, pixel for pixel.
    void renderInkSnapshotTexture();
    void deleteInkSnapshotTexture();

    // ---- Pictures ----
    // The surface as the user sees it, at its pixel size.
    QImage getThumbnailImage();
    // A whole page at w x h points (4:5 suits the page); text boxes are drawn by their own layer.
    QImage getThumbnailForPage(const PageContent& page, Size size = {200, 250}, bool textBoxes = true);
    void renderFullPage(const PageContent& page, float scaleFactor, bool textBoxes);
    // The shown page, as large as the device's textures safely allow.
    QImage getFullPageThumbnailImage();
    // 2.0, or 1.0 when the view at twice its size would not fit a texture of at most 2048.
    float getMaxViewScaleFactor();
    // The view at raised resolution; without background, transparent where there is no content.
    QImage getLargeThumbnailImage() { return getLargeThumbnailImageWithNoBackground(false); }
    QImage getLargeThumbnailImageWithNoBackground(bool noBackground);
    // The shown page as a PageContent.
    PageContent currentPage() const;

    // ---- Live drawing of a stroke ----
    void saveInkSnapshot() override { saveInkSnapshotTexture(); }
    void deleteInkSnapshot() override;
    void beginSegment(const KColor& lineColor, bool atBack, const KVSPointSetArray& strokeSoFar, double zoom,
                      Point panDelta) override;
    void drawCurvedRun(const KVSPointSet& run) override;
    void drawStraightRun(const KVSPointSet& run, float pointSize) override;
    void endSegment(bool atBack) override;

  private:
    ViewTransform identity_;
    const ViewTransform* transformSource_ = &identity_;
    std::optional<ViewTransform> enlarged_;
    // Push, then the page transform and its attenuation.
    void applyPageTransform(double zoom, Point panDelta);
    void renderEntry(const ImageTextureEntry& entry);
    // The shown page's runs from GPU memory, neighbours of one colour by one draw.
    void renderResidentPointSets(const KVSPointSetArray& sets);

    EAGLView& view_;
    GLLayer& gl_;
    int snapshotWidth_ = 0;
    int snapshotHeight_ = 0;
    bool segmentOpen_ = false;
    std::uint64_t repaints_ = 0;
    InkBuffers inkBuffers_;
};

}  // namespace velumen
