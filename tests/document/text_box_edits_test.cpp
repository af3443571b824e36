// Text boxes through the page editor (every edit undone and redone to the very objects, an editing session
// as one step, no step for a session that changed nothing) and through the book file: every field of a box
// written and read back twice, whatever odd values it holds.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "document/FoliantData.h"
#include "document/PageInkEditor.h"
#include "objects/FoliantTextBox.h"

namespace velumen {
namespace {

FoliantTextBoxPtr box(std::string text, Rect frame) {
    return FoliantTextBox::foliantTextBoxWithText(text, frame, KFont::initWithFontName("DejaVuSans-Bold", 24), 1, 0);
}

class TextBoxEdits : public ::testing::Test {
  protected:
    TextBoxEdits() {
        editor.setCurrentPage(page);
        editor.takeEffects();
    }
    void undo() {
        editor.undoManager()->undo();
        editor.endUndoGrouping();
    }
    void redo() {
        editor.undoManager()->redo();
        editor.endUndoGrouping();
    }
    std::shared_ptr<FoliantPage> page = std::make_shared<FoliantPage>();
    PageInkEditor editor;
};

TEST_F(TextBoxEdits, AddRemoveAndRestyleAreUndoneToTheSameObjectsInTheirPlace) {
    auto a = box("a", {0, 0, 100, 30}), b = box("b", {10, 10, 100, 30}), c = box("c", {20, 20, 100, 30});
    for (const auto& x : {a, b, c}) {
        const EditorEffects added = editor.addTextBox(x);
        EXPECT_TRUE(added.textBoxesChanged && added.bookChanged);
        editor.endUndoGrouping();
    }
    EXPECT_EQ(page->textBoxes, (std::vector<FoliantTextBoxPtr>{a, b, c}));
    editor.removeTextBox(b);
    editor.endUndoGrouping();
    EXPECT_EQ(page->textBoxes, (std::vector<FoliantTextBoxPtr>{a, c}));
    undo();
    EXPECT_EQ(page->textBoxes, (std::vector<FoliantTextBoxPtr>{a, b, c}));
    redo();
    EXPECT_EQ(page->textBoxes, (std::vector<FoliantTextBoxPtr>{a, c}));
    undo();

    FoliantTextBox state = *c;
    state.text = "changed";
    state.textAlignment = 2;
    editor.setTextBoxState(c, state);
    editor.endUndoGrouping();
    editor.setTextBoxFrame(c, {1, 2, 3, 4});
    editor.endUndoGrouping();
    EXPECT_EQ(c->text, "changed");
    EXPECT_EQ(c->frame, (Rect{1, 2, 3, 4}));
    undo();
    EXPECT_EQ(c->frame, (Rect{20, 20, 100, 30}));
    undo();
    EXPECT_EQ(c->text, "c");
    EXPECT_EQ(c->textAlignment, 0);
    redo();
    EXPECT_EQ(c->text, "changed");
}

TEST_F(TextBoxEdits, ASessionIsOneStepAndASessionWithoutChangeLeavesNone) {
    auto a = box("<Text>", {0, 0, 750, 61});
    editor.addTextBox(a);
    editor.endUndoGrouping();
    // Nothing changed: no step, no change of the book.
    const FoliantTextBox before = *a;
    EXPECT_FALSE(editor.recordTextBoxEdit(a, before).bookChanged);
    editor.endUndoGrouping();
    // Text, font, size, colour and alignment in one session, written by the view as it went.
    a->text = "hello";
    a->font = KFont::initWithFontName("LiberationSerif-Italic", 36);
    a->foregroundColor = {1, 0, 0, 1};
    a->backgroundColor = {0, 1, 0, 0.5};
    a->textAlignment = 1;
    a->frame = {5, 6, 400, 80};
    const FoliantTextBox after = *a;
    EXPECT_TRUE(editor.recordTextBoxEdit(a, before).bookChanged);
    editor.endUndoGrouping();
    undo();
    EXPECT_TRUE(a->isEqualToTextBox(before));
    ASSERT_EQ(page->textBoxes.size(), 1u);  // one undo took the whole session, not the box
    redo();
    EXPECT_TRUE(a->isEqualToTextBox(after));
    // A width drag is its own step.
    const Rect wide = a->frame;
    a->frame.width = 90;
    editor.recordTextBoxFrameChange(a, wide);
    editor.endUndoGrouping();
    undo();
    EXPECT_EQ(a->frame, wide);
    EXPECT_EQ(a->text, "hello");
}

TEST(TextBoxFile, EveryFieldOfEveryBoxSurvivesTwoRoundTripsOfTheBook) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    auto book = std::make_shared<FoliantData>();
    book->pages().push_back(FoliantData::createNewPage());
    book->setPageNum(0);
    auto& boxes = book->pages()[0]->textBoxes;
    auto plain = box("Grüße, world\nline two\ttab", {12.5, 40.25, 300.75, 61});
    plain->alpha = 0.75;
    // Colours and alpha are stored as floats: values a float holds exactly.
    plain->foregroundColor = {0.125, 0.25, 0.375, 0.5};
    plain->backgroundColor = {0.875, 0.75, 0.625, 0.5};
    plain->borderStyle = 3;
    plain->textAlignment = 2;
    // A family no machine has keeps its name.
    auto missing = box("", {0, 0, 10, 10});
    missing->font = KFont::initWithFontName("NoSuchFamilyAnywhere-BoldOblique", 0);
    auto odd = box(std::string(1 << 20, 'x'), {nan, -5, -100, nan});
    odd->font = KFont::initWithFontName("", 10000);
    odd->textAlignment = 77;
    boxes = {plain, missing, odd};

    std::vector<std::uint8_t> bytes = archivedDataWithRootObject(*book, nullptr);
    for (int trip = 0; trip < 2; ++trip) {
        FoliantDataPtr back = unarchiveFoliantData(bytes, nullptr);
        ASSERT_TRUE(back);
        const auto& read = back->pages()[0]->textBoxes;
        ASSERT_EQ(read.size(), 3u);
        EXPECT_TRUE(read[0]->isEqualToTextBox(*plain));
        EXPECT_TRUE(read[1]->isEqualToTextBox(*missing));
        EXPECT_EQ(read[1]->font.fontName, "NoSuchFamilyAnywhere-BoldOblique");
        EXPECT_EQ(read[2]->text.size(), std::size_t(1) << 20);
        EXPECT_TRUE(std::isnan(read[2]->frame.x));
        EXPECT_EQ(read[2]->frame.width, -100);
        EXPECT_EQ(read[2]->font.pointSize, 10000.0f);
        EXPECT_EQ(read[2]->textAlignment, 77);
        bytes = archivedDataWithRootObject(*back, nullptr);
    }
}

}  // namespace
}  // namespace velumen
