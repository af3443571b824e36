// A touch dispatcher with the drawing and erasing tools on a real book page with its undo stack and the real
// stroke sampler, fed touch records as the router makes them.
#pragma once

#include <gtest/gtest.h>

#include <map>

#include "document/PageInkEditor.h"
#include "input/TouchDispatcher.h"
#include "input/tools/DrawTool.h"
#include "input/tools/EraserTool.h"
#include "ink/Pens.h"

namespace velumen {

struct Rig : ::testing::Test {
    PenTables tables;
    FoliantData book;
    PageInkEditor editor;
    ManualClock clock{10.0};
    EditorViewport viewport;
    StrokeSampler sampler{editor, clock, viewport.view};
    DrawTool drawTool{sampler, editor};
    EraserTool eraserTool{editor, viewport, sampler};
    TouchDispatcher dispatcher{viewport};
    std::map<std::int64_t, TouchRecord> down;
    // What the dispatcher reported since the start, merged; and the fingers refused for the stylus.
    EditorEffects effects;
    int flashes = 0;

    void SetUp() override {
        book.pages().push_back(FoliantData::createNewPage());
        book.setPageNum(0);
        editor.setCurrentPage(book.currentPage());
        viewport.document = &book;
        viewport.layoutForFrameSize({768, 1024});
        viewport.showHomeView();
        dispatcher.document = &book;
        dispatcher.registerTool(TouchMode::Draw, drawTool);
        dispatcher.registerTool(TouchMode::Erase, eraserTool);
    }
    // The pen by index (0 is the eraser) at a width; a single pointer then erases or draws.
    void usePen(std::int64_t index, float width) {
        sampler.setPenTypeIndex(index, width, tables);
        dispatcher.singlePointerMode = index == 0 ? TouchMode::Erase : TouchMode::Draw;
    }
    void take(const EditorEffects& e) {
        effects |= e;
        if (e.stylusRefused) ++flashes;
    }

    std::size_t runs() const { return book.pointSets() ? book.pointSets()->count() : 0; }
    std::size_t undoCount() { return editor.undoManager() ? editor.undoManager()->undoCount() : 0; }

    TouchEvent event() const {
        TouchEvent e;
        for (const auto& [id, t] : down)
            e.allTouches.push_back(t);
        return e;
    }
    TouchRecord& put(std::int64_t id, Point p, TouchPhase phase) {
        TouchRecord& t = down[id];
        t.id = id;
        t.previousLocation = phase == TouchPhase::Began ? p : t.location;
        t.location = p;
        t.phase = phase;
        return t;
    }
    void begin(std::int64_t id, Point p, TouchType type = TouchType::Finger,
               std::optional<double> radius = {}) {
        TouchRecord& t = put(id, p, TouchPhase::Began);
        t.type = type;
        t.majorRadius = radius;
        t.force = type == TouchType::Stylus ? 0.5 : 0;
        take(dispatcher.touchesBegan({t}, event()));
    }
    void move(std::int64_t id, Point p, std::optional<double> radius = {}) {
        clock.advance(0.02);
        TouchRecord& t = put(id, p, TouchPhase::Moved);
        if (radius) t.majorRadius = radius;
        take(dispatcher.touchesMoved({t}, event()));
    }
    void end(std::int64_t id, bool cancelled = false) {
        clock.advance(0.02);
        TouchRecord t = down.at(id);
        t.phase = cancelled ? TouchPhase::Cancelled : TouchPhase::Ended;
        down[id] = t;
        const TouchEvent e = event();
        down.erase(id);
        take(cancelled ? dispatcher.touchesCancelled({t}, e) : dispatcher.touchesEnded({t}, e));
    }
    // A one-finger stroke with n movement samples.
    void strokeWithSamples(std::int64_t id, int n) {
        begin(id, {100, 100});
        for (int i = 1; i <= n; ++i)
            move(id, {100.0 + 10 * i, 100.0 + 3 * i});
    }
};

}  // namespace velumen
