// The editor's text boxes: the live views of the shown page's boxes on the overlay, the editing session
// (its start, its one undo step at its end against a copy taken at its start), the width grip and the drag
// that move and resize the edited box, and what the text toolbar and its pickers ask of the edited box
// (font, style, size, alignment, colours, the favourite style). Every undoable change goes through the
// page editor and comes back as effects for the editor to apply; typing touches only the overlay.
#pragma once

#include <QObject>
#include <QPointer>
#include <functional>
#include <optional>
#include <vector>

#include "document/EditorEffects.h"
#include "document/FoliantPage.h"
#include "objects/FoliantTextBox.h"
#include "shell/text/TextOverlayView.h"

namespace velumen {

class EditorSession;
class TextToolbar;

class TextBoxEditor : public QObject, public TextOverlayDelegate {
  public:
    // The overlay goes over `surface` (it moves with it) and the toolbar into `toolbarHost`.
    TextBoxEditor(EditorSession& session, QWidget* surface, QWidget* toolbarHost);
    ~TextBoxEditor() override;

    // Applies effects of the page editor (set by the editor that owns this).
    std::function<void(const EditorEffects&)> applyEffects;

    TextOverlayView* overlay() const { return overlay_; }
    TextToolbar* toolbar() const { return toolbar_; }

    // ---- Views of the shown page ----
    // Views for the current page's boxes, made anew; an editing session ends first.
    void initializePageTextViews();
    void removeAllPageTextViews();
    // The views follow the model after an edit or an undo: views of boxes that left go, new boxes get
    // one, the others show their model again (the edited one keeps what is being typed).
    void syncPageTextViews();
    // The views follow the current page: made anew when it is another page than the one they show.
    void followCurrentPage();
    // Re-assigns each view's frame from its model (at the end of a zoom).
    void refreshAllTextViews();
    // The overlay follows the ink's zoom and pan.
    void followViewTransform();
    const std::vector<TextBoxItem*>& pageTextViews() const { return views_; }
    TextBoxItem* textViewForTextBox(const FoliantTextBoxPtr& box) const;
    // The first view (back to front) whose frame holds the page point.
    TextBoxItem* pageTextViewAtPoint(Point pagePoint) const;

    // ---- Editing ----
    // A new box at the page point, in the default style, holding "<Text>", at once in editing with its text
    // selected. Nothing in a locked book or without a page.
    void insertTextBox(Point pagePoint);
    // Starts a session on the view (ending another first); nothing in a locked book.
    void beginEditingTextBoxWithTextView(TextBoxItem* view);
    // Ends the session: text and frame go into the model, one undo step when the box changed.
    void endEditing();
    bool isEditing() const { return active_ != nullptr; }
    TextBoxItem* activeTextView() const { return active_; }
    const FoliantTextBoxPtr& textBoxBeingEdited() const { return editedBox_; }

    // ---- What the toolbar and pickers ask of the edited box ----
    // The face for the box (the font pickers give a family's regular face, the style picker a face).
    void setFontName(const std::string& fontName);
    void cycleTextFont();
    // Point size: the model's font at the size, the view, fit, the recent size.
    void updateEditedPointSize(float size);
    // The smaller (-1) and larger (+1) buttons along the ladder of sizes.
    void stepTextSize(int direction);
    void textAlignmentTapped();
    void setForegroundColor(const KColor& color);
    void setBackgroundColor(const KColor& color);
    // The edited box's style becomes the default of new boxes; and the reverse.
    void setAsDefaultStyle();
    void resetToDefaultStyle();

    // TextOverlayDelegate
    void textOverlayTappedAt(Point pagePoint) override;
    void textOverlayGripBegan() override;
    void textOverlayGripMoved(double dx) override;
    void textOverlayGripEnded() override;
    void textOverlayDragBegan() override;
    void textOverlayDragMoved(Point delta) override;
    void textOverlayDragEnded() override;

  private:
    TextBoxItem* insertTextViewForTextBox(const FoliantTextBoxPtr& box);
    void removeView(TextBoxItem* view);
    // The edited view's style was changed in the model: the view shows it, fits, and the grip follows.
    void styleChanged();
    void apply(const EditorEffects& effects) {
        if (applyEffects) applyEffects(effects);
    }

    EditorSession& session_;
    TextOverlayView* overlay_ = nullptr;
    TextToolbar* toolbar_ = nullptr;
    std::vector<TextBoxItem*> views_;
    TextBoxItem* active_ = nullptr;
    FoliantTextBoxPtr editedBox_;
    // The page whose boxes the views show, and the page of the session (the current page may have turned).
    std::weak_ptr<FoliantPage> shownPage_;
    std::shared_ptr<FoliantPage> editedPage_;
    std::optional<FoliantTextBox> preEditedTextBoxState_;
    std::string preEditedTextBoxFontFamily_;
    Rect textBoxBeingEditedPreTouchFrame_;
};

}  // namespace velumen
