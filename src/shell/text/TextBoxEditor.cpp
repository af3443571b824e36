#include "shell/text/TextBoxEditor.h"

#include <QEvent>
#include <QTextCursor>
#include <QTextDocument>
#include <algorithm>
#include <cmath>

#include "objects/TextBoxRules.h"
#include "shell/EditorSession.h"
#include "shell/text/TextFonts.h"
#include "shell/text/TextToolbar.h"

namespace velumen {

namespace {
// Keeps the overlay over the whole surface as the surface is laid out.
class FollowSize : public QObject {
  public:
    FollowSize(QWidget* surface, QWidget* overlay) : QObject(overlay), overlay_(overlay) {
        surface->installEventFilter(this);
        overlay->setGeometry(surface->rect());
    }
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Resize) overlay_->setGeometry(static_cast<QWidget*>(watched)->rect());
        return false;
    }

  private:
    QWidget* overlay_;
};
}  // namespace

TextBoxEditor::TextBoxEditor(EditorSession& session, QWidget* surface, QWidget* toolbarHost)
    : QObject(surface), session_(session) {
    overlay_ = new TextOverlayView(surface);
    overlay_->delegate = this;
    new FollowSize(surface, overlay_);
    overlay_->show();
    overlay_->raise();
    toolbar_ = new TextToolbar(*this, session.globals, toolbarHost);
    toolbar_->hide();
    followViewTransform();
}

TextBoxEditor::~TextBoxEditor() {
    overlay_->delegate = nullptr;
}

void TextBoxEditor::followViewTransform() {
    overlay_->setPageTransform(session_.viewport.view);
}

// ---- Views of the shown page ----

TextBoxItem* TextBoxEditor::insertTextViewForTextBox(const FoliantTextBoxPtr& box) {
    auto* view = new TextBoxItem(box, overlay_->pageLayer());
    view->textChanged = [this, view] {
        if (view == active_) overlay_->positionGrips();
    };
    view->finishRequested = [this] { endEditing(); };
    views_.push_back(view);
    return view;
}

void TextBoxEditor::removeView(TextBoxItem* view) {
    if (view == active_) {
        active_ = nullptr;
        session_.isEditingText = false;
        editedBox_.reset();
        preEditedTextBoxState_.reset();
        overlay_->setEditedItem(nullptr);
        toolbar_->hide();
    }
    std::erase(views_, view);
    delete view;
}

void TextBoxEditor::initializePageTextViews() {
    if (active_) endEditing();
    removeAllPageTextViews();
    const auto& page = session_.editor.currentPage();
    shownPage_ = page;
    if (!page) return;
    views_.reserve(page->textBoxes.size());
    for (const FoliantTextBoxPtr& box : page->textBoxes)
        if (box) insertTextViewForTextBox(box);
}

void TextBoxEditor::followCurrentPage() {
    const auto& page = session_.editor.currentPage();
    if (page == shownPage_.lock() && (page || views_.empty())) return;
    initializePageTextViews();
}

void TextBoxEditor::removeAllPageTextViews() {
    while (!views_.empty()) removeView(views_.back());
}

void TextBoxEditor::syncPageTextViews() {
    const auto& page = session_.editor.currentPage();
    const std::vector<FoliantTextBoxPtr> boxes = page ? page->textBoxes : std::vector<FoliantTextBoxPtr>{};
    for (TextBoxItem* view : std::vector<TextBoxItem*>(views_))
        if (std::find(boxes.begin(), boxes.end(), view->box()) == boxes.end()) removeView(view);
    std::vector<TextBoxItem*> ordered;
    for (const FoliantTextBoxPtr& box : boxes) {
        if (!box) continue;
        TextBoxItem* view = textViewForTextBox(box);
        if (!view)
            view = insertTextViewForTextBox(box);
        else if (view == active_)
            view->showStyle();
        else
            view->showBox();
        ordered.push_back(view);
    }
    views_ = ordered;
    for (std::size_t i = 0; i < views_.size(); ++i) views_[i]->setZValue(double(i));
    overlay_->positionGrips();
}

void TextBoxEditor::refreshAllTextViews() {
    for (TextBoxItem* view : views_) {
        if (view == active_) continue;
        const Rect frame = textbox::shownFrame(view->box()->frame);
        view->setShownOrigin(frame.origin());
    }
    overlay_->positionGrips();
}

TextBoxItem* TextBoxEditor::textViewForTextBox(const FoliantTextBoxPtr& box) const {
    for (TextBoxItem* view : views_)
        if (view->box() == box) return view;
    return nullptr;
}

TextBoxItem* TextBoxEditor::pageTextViewAtPoint(Point p) const {
    for (TextBoxItem* view : views_) {
        const Rect f = view->shownFrame();
        if (p.x >= f.x && p.x < f.x + f.width && p.y >= f.y && p.y < f.y + f.height) return view;
    }
    return nullptr;
}

// ---- Editing ----

void TextBoxEditor::insertTextBox(Point pagePoint) {
    const auto& page = session_.editor.currentPage();
    if (!page || session_.isBookLocked()) return;
    if (active_) endEditing();
    const FLTextSettings& defaults = session_.globals.defaultTextSettings();
    auto box = FoliantTextBox::foliantTextBoxWithText(FoliantTextBox::kNewBoxText,
                                                      textbox::newTextBoxFrame(pagePoint, kPageSize),
                                                      KFont::initWithFontName(defaults.fontName, defaults.fontSize), 1.0, 0);
    box->textAlignment = defaults.textAlignment;
    box->foregroundColor = defaults.foregroundColor;
    box->backgroundColor = defaults.backgroundColor;
    apply(session_.editor.addTextBox(box));
    if (TextBoxItem* view = textViewForTextBox(box)) beginEditingTextBoxWithTextView(view);
}

void TextBoxEditor::beginEditingTextBoxWithTextView(TextBoxItem* view) {
    if (active_ && active_ != view) endEditing();
    if (!view || active_ == view || session_.isBookLocked()) return;
    // A text too long to show whole is never edited, so that nothing of it is lost.
    if (view->box()->text.size() > textbox::kMaximumShownTextLength) return;
    const FoliantGlobals& globals = session_.globals;
    active_ = view;
    editedBox_ = view->box();
    editedPage_ = session_.editor.currentPage();
    preEditedTextBoxState_ = *editedBox_;
    preEditedTextBoxFontFamily_ = textfonts::familyForFontName(editedBox_->font.fontName).toStdString();
    session_.isEditingText = true;
    view->setEditing(true, globals.selectedTextBoxBorderColor);
    overlay_->setEditedItem(view);
    if (view->document()->toPlainText() == QString::fromUtf8(FoliantTextBox::kNewBoxText.data(),
                                                             qsizetype(FoliantTextBox::kNewBoxText.size()))) {
        QTextCursor cursor(view->document());
        cursor.select(QTextCursor::Document);
        view->setTextCursor(cursor);
    }
    toolbar_->showControlsForTextBox(*editedBox_);
}

void TextBoxEditor::endEditing() {
    if (!active_) return;
    TextBoxItem* view = std::exchange(active_, nullptr);
    session_.isEditingText = false;
    const FoliantTextBoxPtr box = std::exchange(editedBox_, nullptr);
    const FoliantTextBox before = *std::exchange(preEditedTextBoxState_, std::nullopt);
    // Style changes, drags and the grip wrote the frame as they went; typing leaves it to the end, and a
    // session that changed nothing leaves the stored frame (sound or not) as it was.
    const std::string typed = view->document()->toPlainText().toStdString();
    if (typed != box->text) {
        box->text = typed;
        box->frame = view->shownFrame();
    }
    view->setEditing(false, {});
    overlay_->setEditedItem(nullptr);
    toolbar_->hideTextControls();
    EditorEffects effects = session_.editor.recordTextBoxEdit(box, before, std::exchange(editedPage_, nullptr));
    const std::string family = textfonts::familyForFontName(box->font.fontName).toStdString();
    if (family != preEditedTextBoxFontFamily_) session_.globals.addRecentFontFamily(family);
    effects.repaint = true;
    apply(effects);
}

// ---- Pointer on the overlay ----

void TextBoxEditor::textOverlayTappedAt(Point pagePoint) {
    if (TextBoxItem* view = pageTextViewAtPoint(pagePoint); view && view != active_)
        beginEditingTextBoxWithTextView(view);
    else
        endEditing();
}

void TextBoxEditor::textOverlayGripBegan() {
    if (editedBox_) textBoxBeingEditedPreTouchFrame_ = editedBox_->frame;
}

void TextBoxEditor::textOverlayGripMoved(double dx) {
    if (!active_) return;
    const Rect start = textbox::shownFrame(textBoxBeingEditedPreTouchFrame_);
    active_->setShownWidth(textbox::draggedWidth(dx, start.width));
    editedBox_->frame = active_->shownFrame();
}

void TextBoxEditor::textOverlayGripEnded() {
    if (!active_) return;
    // A drag of the grip is its own undo step; the session's step then starts from its result.
    apply(session_.editor.recordTextBoxFrameChange(editedBox_, textBoxBeingEditedPreTouchFrame_));
    preEditedTextBoxState_->frame.width = editedBox_->frame.width;
    preEditedTextBoxState_->frame.height = editedBox_->frame.height;
}

void TextBoxEditor::textOverlayDragBegan() {
    if (active_) textBoxBeingEditedPreTouchFrame_ = active_->shownFrame();
}

void TextBoxEditor::textOverlayDragMoved(Point delta) {
    if (!active_) return;
    const Rect start = textBoxBeingEditedPreTouchFrame_;
    const Rect now = active_->shownFrame();
    const Point origin = textbox::draggedOrigin({start.x + delta.x, start.y + delta.y}, {now.width, now.height}, kPageSize);
    active_->setShownOrigin(origin);
    editedBox_->frame = active_->shownFrame();
}

void TextBoxEditor::textOverlayDragEnded() {}

// ---- Style of the edited box ----

void TextBoxEditor::styleChanged() {
    if (!active_) return;
    active_->showStyle();
    editedBox_->frame = active_->shownFrame();
    overlay_->positionGrips();
    toolbar_->updateFontControlsWithFont(editedBox_->font);
    toolbar_->updateAlignment(editedBox_->textAlignment);
}

void TextBoxEditor::setFontName(const std::string& fontName) {
    if (!editedBox_ || fontName.empty()) return;
    editedBox_->font.fontName = fontName;
    styleChanged();
    session_.globals.setRecentFontName(fontName);
}

void TextBoxEditor::cycleTextFont() {
    if (!editedBox_) return;
    setFontName(textfonts::nextFontNameInRing(editedBox_->font.fontName));
}

void TextBoxEditor::updateEditedPointSize(float size) {
    if (!editedBox_) return;
    editedBox_->font = editedBox_->font.fontWithSize(size);
    styleChanged();
    session_.globals.setRecentFontSize(size);
}

void TextBoxEditor::stepTextSize(int direction) {
    if (!editedBox_) return;
    const float stored = editedBox_->font.pointSize;
    const int present = std::isfinite(stored) ? int(std::clamp(stored, -1e6f, 1e6f)) : int(textbox::kDefaultPointSize);
    const int size = direction < 0 ? textbox::smallerTextSize(present) : textbox::largerTextSize(present);
    if (size != present) updateEditedPointSize(float(size));
}

void TextBoxEditor::textAlignmentTapped() {
    if (!editedBox_) return;
    editedBox_->textAlignment = (textbox::shownAlignment(editedBox_->textAlignment) + 1) % 3;
    styleChanged();
}

void TextBoxEditor::setForegroundColor(const KColor& color) {
    if (!editedBox_) return;
    editedBox_->foregroundColor = color;
    styleChanged();
}

void TextBoxEditor::setBackgroundColor(const KColor& color) {
    if (!editedBox_) return;
    editedBox_->backgroundColor = color;
    styleChanged();
}

void TextBoxEditor::setAsDefaultStyle() {
    if (!editedBox_) return;
    FLTextSettings settings = session_.globals.defaultTextSettings();
    settings.fontName = editedBox_->font.fontName;
    settings.fontSize = std::isfinite(editedBox_->font.pointSize) ? std::trunc(editedBox_->font.pointSize)
                                                                   : textbox::kDefaultPointSize;
    settings.textAlignment = textbox::shownAlignment(editedBox_->textAlignment);
    settings.foregroundColor = editedBox_->foregroundColor;
    settings.backgroundColor = editedBox_->backgroundColor;
    session_.globals.setDefaultTextSettings(settings);
}

void TextBoxEditor::resetToDefaultStyle() {
    if (!editedBox_) return;
    const FLTextSettings& defaults = session_.globals.defaultTextSettings();
    editedBox_->font = KFont::initWithFontName(defaults.fontName, defaults.fontSize);
    editedBox_->textAlignment = defaults.textAlignment;
    editedBox_->foregroundColor = defaults.foregroundColor;
    editedBox_->backgroundColor = defaults.backgroundColor;
    styleChanged();
    session_.globals.setRecentFontSize(defaults.fontSize);
}

}  // namespace velumen
