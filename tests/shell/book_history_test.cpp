// Random sequences of strokes, erasures, clears, page adds, moves, deletes and turns, with undo and redo,
// against a reference model of per-page history: every state comes back run for run (the same run objects,
// as long as they were), a cleared page gets its very list back, and a new page never inherits a stack.
#include <gtest/gtest.h>

#include <map>
#include <random>

#include "document/PageInkEditor.h"
#include "input/EditorViewport.h"
#include "input/tools/EraserTool.h"
#include "shell/pages/PageNavigator.h"

namespace velumen {
namespace {

// What a page shows: its runs as objects with their lengths.
using PageState = std::vector<std::pair<const KVSPointSet*, std::uint64_t>>;

struct Step {
    PageState state;
    // A clear is undone by the very list it took.
    const KVSPointSetArray* list = nullptr;
};

struct History {
    std::vector<Step> undo, redo;
};

struct Rig {
    FoliantData book;
    PageInkEditor editor;
    EditorViewport viewport;
    ManualClock clock;
    StrokeSampler sampler{editor, clock, viewport.view};
    EraserTool eraser{editor, viewport, sampler};
    std::unique_ptr<PageNavigator> navigator;
    std::map<const FoliantPage*, History> model;
    std::mt19937 random{20261121};

    Rig() {
        book.pages().push_back(FoliantData::createNewPage());
        book.setPageNum(0);
        editor.setCurrentPage(book.currentPage());
        viewport.document = &book;
        viewport.layoutForFrameSize({768, 1024});
        viewport.showHomeView();
        navigator = std::make_unique<PageNavigator>(book, editor, viewport);
    }
    FoliantPage& page() { return *book.currentPage(); }
    History& history() { return model[book.currentPage().get()]; }
    PageState state() {
        PageState s;
        if (page().pointSets)
            for (const auto& run : page().pointSets->pointSets())
                s.emplace_back(run.get(), run->length());
        return s;
    }
    double uniform(double lo, double hi) { return std::uniform_real_distribution<double>(lo, hi)(random); }
    int below(int n) { return std::uniform_int_distribution<int>(0, n - 1)(random); }

    // An edit that records one step on the current page when `recorded`.
    template <typename Edit>
    void edit(Edit e, bool clears = false) {
        Step before{state(), clears && page().pointSets ? page().pointSets.get() : nullptr};
        const bool recorded = e();
        editor.endUndoGrouping();
        if (!recorded) {
            EXPECT_EQ(state(), before.state);
            return;
        }
        history().undo.push_back(before);
        history().redo.clear();
    }
    bool stroke() {
        auto run = KVSPointSet::initWithLength(std::uint64_t(5 + below(40)));
        const double x = uniform(50, 700), y = uniform(50, 950);
        float* p = run->buffer();
        for (std::uint64_t i = 0; i < run->length(); ++i) {
            p[3 * i] = float(x + 4.0 * double(i));
            p[3 * i + 1] = float(y + 2.0 * double(i));
            p[3 * i + 2] = 3;
        }
        auto added = std::make_shared<KVSPointSetArray>();
        added->pointSets().push_back(run);
        editor.addPointSets(added);
        return true;
    }
    // One eraser gesture of a few stamps, as the touch path runs it.
    bool erase() {
        if (!page().pointSets) page().pointSets = std::make_shared<KVSPointSetArray>();
        const PageState before = state();
        const Point at = viewport.viewPointFromEaglPoint({uniform(0, 800), uniform(0, 1000)});
        eraser.begin({at});
        eraser.move({{at.x + 10, at.y}});
        eraser.end({{at.x + 20, at.y}}, false);
        return state() != before;
    }
    void checkStacks() {
        UndoManager* manager = editor.undoManager();
        ASSERT_NE(manager, nullptr);
        EXPECT_EQ(manager->canUndo(), !history().undo.empty());
        EXPECT_EQ(manager->canRedo(), !history().redo.empty());
    }
    void undo() {
        if (history().undo.empty()) return;
        const Step step = history().undo.back();
        history().undo.pop_back();
        history().redo.push_back({state(), page().pointSets.get()});
        editor.undoManager()->undo();
        EXPECT_EQ(state(), step.state);
        if (step.list) {
            EXPECT_EQ(page().pointSets.get(), step.list);
        }
    }
    void redo() {
        if (history().redo.empty()) return;
        const Step step = history().redo.back();
        history().redo.pop_back();
        history().undo.push_back({state(), nullptr});
        editor.undoManager()->redo();
        EXPECT_EQ(state(), step.state);
    }
};

TEST(BookHistory, RandomEditsUndoAndRedoAgainstAReferenceModel) {
    Rig r;
    std::map<std::string, int> counts;
    for (int i = 0; i < 3000 && !::testing::Test::HasFailure(); ++i) {
        const int pages = int(r.book.pages().size());
        switch (r.below(12)) {
            case 0:
            case 1:
            case 2:
                r.edit([&] { return r.stroke(); });
                ++counts["stroke"];
                break;
            case 3:
            case 4:
                r.edit([&] { return r.erase(); });
                ++counts["erase"];
                break;
            case 5:
                r.edit(
                    [&] {
                        r.editor.clearBoard();
                        return true;
                    },
                    true);
                ++counts["clear"];
                break;
            case 6:
            case 7:
                r.undo();
                ++counts["undo"];
                break;
            case 8:
                r.redo();
                ++counts["redo"];
                break;
            case 9:
                if (pages < 8) {
                    r.navigator->insertNewPageAtIndex(std::uint64_t(r.book.pageNum() + 1));
                    r.navigator->turnToPage(r.book.pageNum() + 1, false);
                    ++counts["add"];
                }
                break;
            case 10: {
                const FoliantPage* current = r.book.currentPage().get();
                r.navigator->didMovePage(r.below(pages), r.below(pages));
                EXPECT_EQ(r.book.currentPage().get(), current);  // the same page stays in front
                ++counts["move"];
                break;
            }
            default:
                if (r.below(3) == 0 && pages > 1) {
                    r.navigator->didDeletePageWithIndex(r.below(pages));
                    ++counts["delete"];
                } else {
                    r.navigator->turnToPage(r.below(pages), false);
                    ++counts["turn"];
                }
                break;
        }
        r.checkStacks();
    }
    // Every kind of step ran often enough to mean something.
    for (const char* kind : {"stroke", "erase", "clear", "undo", "redo", "add", "move", "delete", "turn"})
        EXPECT_GT(counts[kind], 20) << kind;
}

}  // namespace
}  // namespace velumen
