#include "shell/EditorSession.h"

namespace velumen {

EditorSession::EditorSession(FoliantGlobals& globals_, const Clock& clock) : clock_(clock), globals(globals_) {
    dispatcher.registerTool(TouchMode::Draw, drawTapTool);
    dispatcher.registerTool(TouchMode::Erase, eraseTapTool);
    dispatcher.registerTool(TouchMode::EyeDrop, eyeDropperTool);
    dispatcher.registerTool(TouchMode::EditImage, imageEditTool);
    dispatcher.isObjectAtPoint = [this](Point p) { return editor.pageImageAtPoint(p) != nullptr; };
    sampler.usePenSettings(0, globals.penTables());
    updateSinglePointerMode();
    dispatcher.isPencilConnected = stylusDetector.isPencilConnected();
    applySettings();
}

void EditorSession::setBook(FoliantDataPtr book) {
    sampler.cancelCurrentLine();
    abandonEditingImage();
    book_ = std::move(book);
    if (book_ && book_->pages().empty()) {
        book_->pages().push_back(FoliantData::createNewPage());
        book_->setPageNum(0);
    }
    if (book_ && !book_->pointSets()) book_->setPointSets(std::make_shared<KVSPointSetArray>());
    editor.setCurrentPage(book_ ? book_->currentPage() : nullptr);
    viewport.document = book_.get();
    dispatcher.document = book_.get();
}

void EditorSession::setPenTypeIndex(int index, std::optional<float> width) {
    const std::vector<float>& widths = globals.penWidths();
    const auto slot = std::size_t(index);
    float w = sampler.currentStrokeThickness;
    if (width)
        w = *width;
    else if (slot < widths.size())
        w = widths[slot];
    sampler.setPenTypeIndex(index, w, globals.penTables());
    updateSinglePointerMode();
}

void EditorSession::setPenColor(const KColor& color) {
    sampler.setPenColor(color, globals.penTables());
}

void EditorSession::updateSinglePointerMode() {
    if (imageEditTool.isEditing())
        dispatcher.singlePointerMode = TouchMode::EditImage;
    else if (isEyeDropPickingColor_)
        dispatcher.singlePointerMode = TouchMode::EyeDrop;
    else
        dispatcher.singlePointerMode = sampler.inkType == InkTypeEraser ? TouchMode::Erase : TouchMode::Draw;
}

void EditorSession::beginEyeDropping(std::size_t colorIndex) {
    eyeDropperColorIndex_ = colorIndex;
    isEyeDropPickingColor_ = true;
    updateSinglePointerMode();
}

void EditorSession::endEyeDropping() {
    isEyeDropPickingColor_ = false;
    updateSinglePointerMode();
}

std::optional<EyeDropperTool::Pick> EditorSession::applyEyeDropperPick() {
    const auto pick = eyeDropperTool.takePick();
    if (!pick || !pick->color) return pick;
    std::vector<KColor> colors = globals.penColors();
    if (eyeDropperColorIndex_ < colors.size()) {
        colors[eyeDropperColorIndex_] = *pick->color;
        globals.setPenColors(std::move(colors));
    }
    setPenColor(*pick->color);
    return pick;
}

EditorEffects EditorSession::beginEditingImage(const FoliantImagePtr& image, bool isPageImage) {
    if (!image || isBookLocked()) return {};
    const EditorEffects effects = imageEditTool.beginEditingImage(image, isPageImage);
    updateSinglePointerMode();
    return effects;
}

EditorEffects EditorSession::finishEditingImage() {
    EditorEffects effects = imageEditTool.finishEditingImage();
    updateSinglePointerMode();
    return effects;
}

void EditorSession::abandonEditingImage() {
    imageEditTool.abandonEditing();
    updateSinglePointerMode();
}

void EditorSession::applySettings() {
    dispatcher.policy = {globals.disablePalmRejection(), globals.onlyDrawWithStylus()};
    eraserTool.isErasingSelectedColor = globals.isErasingSelectedColor();
    edgeSwipes.enabled = viewport.profile == DeviceProfile::Phone && !globals.disableScreenPanning();
    edgeSwipes.viewWidth = viewport.eaglFrameSize.width;
}

EditorEffects EditorSession::undo() {
    if (isGestureRunning() || isBookLocked()) return {};
    return editor.undo();
}

EditorEffects EditorSession::redo() {
    if (isGestureRunning() || isBookLocked()) return {};
    return editor.redo();
}

}  // namespace velumen
