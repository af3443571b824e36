// A panel that floats over the editor beside the control that opened it, the way a popover does on a touch
// screen: it is a child of the editor (so it sits over the page and never becomes a window of its own), it
// never takes the keyboard focus when shown, and it does not grab input, so strokes, the toolbar and the
// wrist guard keep receiving their events. A press outside it may close it; widgets named as pass-through
// (the control that opened it, a parent panel) never do.
#pragma once

#include <QFrame>
#include <QPointer>
#include <functional>
#include <vector>

namespace velumen {

class FloatingPanel : public QFrame {
  public:
    explicit FloatingPanel(QWidget* host);
    ~FloatingPanel() override;

    // Shows the panel under `anchor` (its arrow would point up at it), kept inside the host; shown again,
    // it moves to the new anchor. The host's keyboard focus stays where it is.
    void showFromWidget(QWidget* anchor);
    // Shows the panel over the whole host (a sheet).
    void showOverHost();
    // Hides it; `dismissed` is called when it was showing.
    void dismiss();
    bool isShowing() const { return isVisible(); }

    // A press outside the panel and outside every pass-through widget closes it (the press still goes on to
    // where it landed). Off: only dismiss() closes it.
    void setClosesOnOutsidePress(bool closes) { closesOnOutsidePress_ = closes; }
    void setPassthroughViews(std::vector<QPointer<QWidget>> views) { passthroughViews_ = std::move(views); }
    // Called once the panel closed, by dismiss() or by a press outside.
    std::function<void()> dismissed;

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    bool isInside(const QPoint& globalPoint) const;

    bool closesOnOutsidePress_ = true;
    std::vector<QPointer<QWidget>> passthroughViews_;
};

}  // namespace velumen
