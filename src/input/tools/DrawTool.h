// Drawing: the pointer's samples go to the stroke engine, which paints the stroke live and commits it to
// the page editor as one run at the end.
#pragma once

#include "document/PageInkEditor.h"
#include "input/tools/Tool.h"

namespace velumen {

class DrawTool : public Tool {
  public:
    // A stroke of fewer raw points dies when a second finger lands; a longer one is kept.
    static constexpr std::size_t kMinRawPointsToKeep = 10;

    DrawTool(StrokeSampler& sampler, PageInkEditor& editor) : sampler_(sampler), editor_(editor) {}

    EditorEffects begin(const StrokeSample& sample) override;
    EditorEffects move(const StrokeSample& sample) override;
    EditorEffects end(const StrokeSample& sample, bool cancelled) override;
    EditorEffects cancel() override;
    EditorEffects interrupt() override;

  private:
    StrokeSampler& sampler_;
    PageInkEditor& editor_;
};

}  // namespace velumen
