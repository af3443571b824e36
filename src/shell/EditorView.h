// The editor's picture: the GL surface in its frame, the compositor that draws the session's page through
// the viewport's transform at every display tick, and the router that turns the toolkit's events on the
// surface into touches for the session's dispatcher. Also the overlays of the page: its map, the wrist
// guard and the spring-back of the overshoot.
#pragma once

#include <QImage>
#include <QWidget>
#include <optional>

#include "input/TouchRouter.h"
#include "render/DisplayLink.h"
#include "render/EAGLViewController.h"
#include "render/PageCompositor.h"
#include "shell/EditorSession.h"
#include "shell/KPositionSatelliteView.h"
#include "shell/WristGuardView.h"

class QVariantAnimation;

namespace velumen {

class EditorView : public QWidget {
  public:
    // The overshoot's spring-back at the end of a touch, and how long the map stays after the wheel.
    static constexpr int kSpringBackMilliseconds = 200;
    static constexpr int kWheelMapLingerMilliseconds = 600;

    // `forcedProfile` overrides the device profile that the view's size implies.
    EditorView(EditorSession& session, std::optional<DeviceProfile> forcedProfile, QWidget* parent = nullptr);
    ~EditorView() override;

    EAGLViewController surface;
    PageCompositor compositor{surface.eaglView()};
    TouchRouter router;

    // False when no GL context could be made: then touches still make ink but nothing is shown.
    bool hasSurface() const { return canvas_ != nullptr; }
    // The widget that receives the touches (the GL surface, or this frame without GL).
    QWidget* touchTarget() const { return canvas_ ? canvas_ : const_cast<EditorView*>(this); }
    QWidget* canvas() const { return canvas_; }

    // Lays the surface out at this size in points: the profile, the zoom limits, the pan and zoom (the
    // book's own the first time after setNeedsDocumentLayout), the overlays.
    void layoutForSize(Size size);
    void setNeedsDocumentLayout() { needsDocumentLayout_ = true; }
    // The session's page ink is the one shown; repaint at the next tick.
    void showPageInk();
    // Repaints the whole page now.
    void redrawAllLines();
    // Moves the surface by the viewport's overshoot when it changed: at once, or in the spring-back's short
    // animation from where the surface is. A spring-back under way goes on while nothing new is asked.
    void followSurfaceTranslation();
    // The surface as the user sees it, at its pixel size; null without GL.
    QImage screenImage();

    // The map of the page: shown at 0.4 alpha with the visible part and the zoom; faded out over 0.2 s.
    void showPositionSatelliteView();
    void hidePositionSatelliteView();
    KPositionSatelliteView* positionSatelliteView() const { return positionSatelliteView_; }
    WristGuardView* wristGuard() const { return wristGuard_; }
    // The wrist guard and the edge swipes for the layout's profile and the settings.
    void applyProfile();
    // Shows the overlay of the tool whose gesture runs, painted anew, or hides it (no tool, or none to show).
    void showToolOverlay(const Tool* tool);
    QWidget* toolOverlay() const;

    void startDisplayLink();
    void stopDisplayLink() { displayLink_.invalidate(); }

  protected:
    void resizeEvent(QResizeEvent* event) override;

  private:
    EditorSession& session_;
    std::optional<DeviceProfile> forcedProfile_;
    QWidget* canvas_ = nullptr;
    bool needsDocumentLayout_ = true;
    WristGuardView* wristGuard_ = nullptr;
    KPositionSatelliteView* positionSatelliteView_ = nullptr;
    class ToolOverlay;
    ToolOverlay* toolOverlay_ = nullptr;
    QVariantAnimation* springBack_ = nullptr;
    // Where the surface was last sent (or is going, in a spring-back).
    QPoint shownTranslation_;
    DisplayLink displayLink_;
};

}  // namespace velumen
