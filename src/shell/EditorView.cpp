#include "shell/EditorView.h"

#include <QLabel>
#include <QPainter>
#include <QResizeEvent>
#include <QVariantAnimation>
#include <cmath>

namespace velumen {

// A transparent layer over the surface where the running tool paints its overlay.
class EditorView::ToolOverlay : public QWidget {
  public:
    explicit ToolOverlay(QWidget* parent) : QWidget(parent) {
        setAttribute(Qt::WA_TransparentForMouseEvents);
        setAttribute(Qt::WA_NoSystemBackground);
        hide();
    }
    const Tool* tool = nullptr;

  protected:
    void paintEvent(QPaintEvent*) override {
        if (!tool) return;
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        tool->drawOverlay(painter);
    }
};

EditorView::EditorView(EditorSession& session, std::optional<DeviceProfile> forcedProfile, QWidget* parent)
    : QWidget(parent),
      router(session.dispatcher, session.viewport),
      session_(session),
      forcedProfile_(forcedProfile),
      displayLink_([this] { compositor.drawFrame(); }) {
    compositor.readTransformFrom(session_.viewport.view);
    router.edgeSwipes = &session_.edgeSwipes;
    // The map of the page while it is panned or zoomed: at every two-finger step, gone at the touch's end;
    // after the wheel it lingers a moment.
    positionSatelliteView_ = new KPositionSatelliteView(this);
    router.didMovePageByWheel = [this] {
        showPositionSatelliteView();
        positionSatelliteView_->fadeOut(kWheelMapLingerMilliseconds);
    };
    toolOverlay_ = new ToolOverlay(this);
    if (surface.viewDidLoad()) {
        canvas_ = surface.createWidget(this);
        // The surface has no window of its own before it is shown: ask the one it will show in.
        compositor.initializeEagl(canvas_->window()->devicePixelRatioF());
        compositor.loadFixedTextures();
        session_.sampler.renderer = &compositor;
        router.attach(canvas_);
        // Overshoot moves the surface inside its frame; at the end of a touch it springs back.
        springBack_ = new QVariantAnimation(this);
        springBack_->setDuration(kSpringBackMilliseconds);
        springBack_->setEasingCurve(QEasingCurve::InOutQuad);
        connect(springBack_, &QVariantAnimation::valueChanged, this, [this](const QVariant& value) {
            canvas_->setGeometry(QRect(value.toPoint(), size()));
        });
        surface.eaglView().eaglViewDidLayoutSubViews = [this] { compositor.isFrameUpdateNeeded = true; };
    } else {
        auto* label = new QLabel("<p>No OpenGL 3.3 context could be made: pages cannot be shown.</p>", this);
        label->setAlignment(Qt::AlignCenter);
        router.attach(this);
    }
}

EditorView::~EditorView() {
    displayLink_.invalidate();
    session_.sampler.renderer = nullptr;
    session_.sampler.cancelCurrentLine();
    // The surface widget refers to the view it shows, a member: it goes first.
    delete canvas_;
    canvas_ = nullptr;
}

void EditorView::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    layoutForSize({double(width()), double(height())});
}

void EditorView::layoutForSize(Size size) {
    positionSatelliteView_->placeInParent();
    if (canvas_) {
        springBack_->stop();
        canvas_->setGeometry(QRect(QPoint(0, 0), QSize(int(std::lround(size.width)), int(std::lround(size.height)))));
        shownTranslation_ = {};
        surface.eaglView().layoutSubviews(size);
    }
    EditorViewport& viewport = session_.viewport;
    viewport.profile = forcedProfile_.value_or(deviceProfileForViewSize(size));
    viewport.layoutForFrameSize(size);
    applyProfile();
    if (needsDocumentLayout_ && session_.book()) {
        viewport.handleDocumentChanged();
        needsDocumentLayout_ = false;
    }
    followSurfaceTranslation();
    compositor.isFrameUpdateNeeded = true;
}

void EditorView::followSurfaceTranslation() {
    if (!canvas_) return;
    const Point t = session_.viewport.surfaceTranslation;
    const QPoint target(int(std::lround(t.x)), int(std::lround(t.y)));
    if (target == shownTranslation_) return;
    shownTranslation_ = target;
    springBack_->stop();
    if (session_.viewport.springsBack && canvas_->pos() != target) {
        springBack_->setStartValue(canvas_->pos());
        springBack_->setEndValue(target);
        springBack_->start();
        return;
    }
    canvas_->setGeometry(QRect(target, canvas_->size()));
}

void EditorView::applyProfile() {
    const bool tablet = session_.viewport.profile == DeviceProfile::Tablet;
    session_.applySettings();
    // Made once, over the surface; it starts lowered.
    if (tablet && !wristGuard_) wristGuard_ = new WristGuardView(this);
    if (wristGuard_) {
        wristGuard_->setShown(tablet &&
                              !session_.globals.defaults().boolForKey(FoliantGlobals::kShouldHideWristGuard));
        wristGuard_->layoutWristguardForViewSize(session_.viewport.eaglFrameSize);
    }
}

QWidget* EditorView::toolOverlay() const {
    return toolOverlay_;
}

void EditorView::showToolOverlay(const Tool* tool) {
    const bool shown = tool && tool->hasOverlay();
    toolOverlay_->tool = shown ? tool : nullptr;
    if (!shown) {
        toolOverlay_->hide();
        return;
    }
    toolOverlay_->setGeometry(rect());
    toolOverlay_->show();
    toolOverlay_->raise();
    toolOverlay_->update();
}

void EditorView::showPageInk() {
    const FoliantDataPtr& book = session_.book();
    compositor.pointSets = book && book->pointSets() ? book->pointSets() : std::make_shared<KVSPointSetArray>();
    compositor.isFrameUpdateNeeded = true;
}

void EditorView::redrawAllLines() {
    if (canvas_) compositor.redrawAllLines();
}

QImage EditorView::screenImage() {
    if (!canvas_) return {};
    redrawAllLines();
    return compositor.getThumbnailImage();
}

void EditorView::showPositionSatelliteView() {
    const EditorViewport& viewport = session_.viewport;
    positionSatelliteView_->showFrame(viewport.currentFrame(), QString::fromStdString(viewport.percentageText()));
}

void EditorView::hidePositionSatelliteView() {
    positionSatelliteView_->fadeOut();
}

void EditorView::startDisplayLink() {
    displayLink_.start(screen());
}

}  // namespace velumen
