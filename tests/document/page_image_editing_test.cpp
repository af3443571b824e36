// The page editor's picture edits: each is one undo step that brings back the very objects in their
// places, the master image's undo brings back every field, the hit test follows the rotated outline, and
// pictures survive a save and a read byte for byte after undo and redo.
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "document/FoliantData.h"
#include "document/KeyedArchive.h"
#include "document/PageInkEditor.h"

namespace velumen {
namespace {

FoliantImagePtr picture(Rect frame, std::uint8_t fill = 1) {
    auto image = std::make_shared<FoliantImage>();
    image->frame = frame;
    image->setImageData(std::make_shared<const std::vector<std::uint8_t>>(std::vector<std::uint8_t>(64, fill)), 1);
    return image;
}

class PageImageEditing : public ::testing::Test {
  protected:
    PageImageEditing() {
        book->pages().push_back(page);
        editor.setCurrentPage(page);
        editor.takeEffects();
    }
    // What the event loop does after each event.
    void step() { editor.endUndoGrouping(); }
    void undo() {
        editor.undo();
        step();
    }
    void redo() {
        editor.redo();
        step();
    }

    FoliantDataPtr book = std::make_shared<FoliantData>();
    FoliantPagePtr page = std::make_shared<FoliantPage>();
    PageInkEditor editor;
};

TEST_F(PageImageEditing, AddRemoveAndZOrderUndoToTheSameObjectsInTheirPlaces) {
    auto a = picture({0, 0, 10, 10}), b = picture({0, 0, 20, 20}), c = picture({0, 0, 30, 30});
    for (const auto& image : {a, b, c}) {
        const EditorEffects effects = editor.addPageImage(image);
        EXPECT_TRUE(effects.repaint);
        EXPECT_TRUE(effects.bookChanged);
        step();
    }
    ASSERT_EQ(page->images, (std::vector<FoliantImagePtr>{a, b, c}));
    // Removing the middle one and undoing puts it back in the middle, not on top.
    editor.removePageImage(b);
    step();
    EXPECT_EQ(page->images, (std::vector<FoliantImagePtr>{a, c}));
    undo();
    EXPECT_EQ(page->images, (std::vector<FoliantImagePtr>{a, b, c}));
    redo();
    EXPECT_EQ(page->images, (std::vector<FoliantImagePtr>{a, c}));
    undo();
    // Front and back again.
    editor.bringPageImageToFront(a);
    step();
    EXPECT_EQ(page->images, (std::vector<FoliantImagePtr>{b, c, a}));
    // Already in front: no step.
    editor.takeEffects();
    EXPECT_FALSE(editor.bringPageImageToFront(a).any());
    undo();
    EXPECT_EQ(page->images, (std::vector<FoliantImagePtr>{a, b, c}));
    // Out-of-range moves and unknown pictures do nothing.
    EXPECT_FALSE(editor.movePageImageWithIndex(0, 7).any());
    EXPECT_FALSE(editor.removePageImage(picture({})).any());
    // Undoing every addition empties the page.
    undo();
    undo();
    undo();
    EXPECT_TRUE(page->images.empty());
}

TEST_F(PageImageEditing, RestoringAStateIsOneStepAndItsUndoBringsBackEveryField) {
    auto image = picture({10, 20, 300, 200});
    editor.addPageImage(image);
    step();
    const FoliantImagePtr before = image->copy();
    FoliantImagePtr after = image->copy();
    after->frame = {50, 60, 600, 400};
    after->alpha = 0.35;
    after->angle = 0.5f;
    after->borderStyle = 1;
    after->filterType = 1;
    editor.setFoliantImage(image, after);
    step();
    EXPECT_TRUE(image->isEqualToFoliantImage(*after));
    undo();
    EXPECT_TRUE(image->isEqualToFoliantImage(*before));
    redo();
    EXPECT_TRUE(image->isEqualToFoliantImage(*after));
    // An equal state records nothing.
    EXPECT_FALSE(editor.setFoliantImage(image, image->copy()).any());
}

TEST_F(PageImageEditing, MasterImageUndoRestoresTheOneBeforeWithAllItsFields) {
    auto paper = picture({0, 0, 1536, 1920}, 7);
    paper->alpha = 0.2;
    paper->filterType = 1;
    editor.setMasterImage(book, paper);
    step();
    ASSERT_EQ(book->masterImages().size(), 1u);
    // "Blank" removes it; undo brings back the very object.
    editor.setMasterImage(book, nullptr);
    step();
    EXPECT_TRUE(book->masterImages().empty());
    undo();
    ASSERT_EQ(book->masterImages().size(), 1u);
    EXPECT_EQ(book->masterImages().front(), paper);
    EXPECT_EQ(paper->alpha, 0.2);
    EXPECT_EQ(paper->filterType, 1);
    undo();
    EXPECT_TRUE(book->masterImages().empty());
}

TEST_F(PageImageEditing, HitTestFollowsTheRotatedOutlineFrontFirst) {
    auto back = picture({0, 0, 400, 400});
    auto front = picture({100, 100, 400, 100});
    front->angle = float(std::numbers::pi / 2);  // a quarter turn: now 100 wide and 400 tall about (300, 150)
    editor.addPageImage(back);
    editor.addPageImage(front);
    // Inside the unrotated rect but outside the turned outline: the picture behind, or none.
    EXPECT_EQ(editor.pageImageAtPoint({450, 150}), nullptr);
    EXPECT_EQ(editor.pageImageAtPoint({150, 150}), back);
    // Inside the turned outline, outside the unrotated rect: the front picture.
    EXPECT_EQ(editor.pageImageAtPoint({300, 330}), front);
    EXPECT_EQ(editor.pageImageAtPoint({300, 0}), front);
    EXPECT_EQ(editor.pageImageAtPoint({600, 600}), nullptr);
}

TEST_F(PageImageEditing, PicturesSurviveSaveAndReadByteForByteAfterUndoAndRedo) {
    auto a = picture({1, 2, 3, 4}, 0xA1), b = picture({5, 6, 7, 8}, 0xB2);
    b->borderStyle = 1;
    b->filterType = 1;
    b->alpha = 0.45;
    editor.addPageImage(a);
    step();
    editor.addPageImage(b);
    step();
    editor.setMasterImage(book, picture({-20, -20, 1576, 1960}, 0xC3));
    step();
    undo();
    redo();
    const auto bytes = archivedDataWithRootObject(*book, nullptr);
    const FoliantDataPtr back = unarchiveFoliantData(bytes, nullptr);
    ASSERT_TRUE(back);
    ASSERT_EQ(back->pages().size(), 1u);
    const auto& images = back->pages()[0]->images;
    ASSERT_EQ(images.size(), 2u);
    EXPECT_EQ(*images[0]->imageData(), *a->imageData());
    EXPECT_EQ(*images[1]->imageData(), *b->imageData());
    EXPECT_EQ(images[1]->frame, b->frame);
    EXPECT_EQ(images[1]->borderStyle, 1);
    EXPECT_EQ(images[1]->filterType, 1);
    EXPECT_NEAR(images[1]->alpha, 0.45, 1e-6);
    ASSERT_EQ(back->masterImages().size(), 1u);
    EXPECT_EQ(back->masterImages()[0]->imageData()->front(), 0xC3);
}

}  // namespace
}  // namespace velumen
