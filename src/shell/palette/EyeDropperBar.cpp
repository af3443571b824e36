#include "shell/palette/EyeDropperBar.h"

#include <QAction>
#include <QHBoxLayout>
#include <QLabel>
#include <QPropertyAnimation>
#include <QToolButton>

#include "shell/palette/PaletteWidgets.h"

namespace velumen {

EyeDropperBar::EyeDropperBar(QAction* done, QWidget* host) : QFrame(host) {
    setObjectName("eyeDropperToolbar");
    setFrameShape(QFrame::StyledPanel);
    setAutoFillBackground(true);
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(10, 4, 10, 4);
    layout->addWidget(new QLabel("Touch ink on the page to take its colour", this));
    _eyeDropperColorView = new QWidget(this);
    _eyeDropperColorView->setObjectName("eyeDropperColorView");
    _eyeDropperColorView->setFixedSize(28, 28);
    _eyeDropperColorView->setAutoFillBackground(true);
    layout->addWidget(_eyeDropperColorView);
    auto* doneButton = new QToolButton(this);
    doneButton->setDefaultAction(done);
    doneButton->setToolButtonStyle(Qt::ToolButtonTextOnly);
    layout->addWidget(doneButton);
    slide_ = new QPropertyAnimation(this, "pos", this);
    slide_->setDuration(300);
    connect(slide_, &QPropertyAnimation::finished, this, [this] {
        if (!shown_) hide();
    });
    showColor(std::nullopt);
    hide();
}

void EyeDropperBar::showColor(const std::optional<KColor>& color) {
    shownColor_ = color;
    QPalette pal = _eyeDropperColorView->palette();
    pal.setColor(QPalette::Window, color ? qColorOf({color->r, color->g, color->b, 1.0}) : QColor(Qt::transparent));
    _eyeDropperColorView->setPalette(pal);
}

void EyeDropperBar::showEyeDropperToolbar(bool show, bool animated) {
    shown_ = show;
    adjustSize();
    const int x = parentWidget() ? (parentWidget()->width() - width()) / 2 : 0;
    const int y = 48;  // under the toolbar
    const QPoint place(x, y), above(x, -height());
    slide_->stop();
    if (show) {
        QFrame::show();
        raise();
    }
    if (!animated) {
        move(show ? place : above);
        if (!show) hide();
        return;
    }
    slide_->setStartValue(show ? above : pos());
    slide_->setEndValue(show ? place : above);
    slide_->start();
}

}  // namespace velumen
