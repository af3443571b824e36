// Where a finished stroke goes: the page-list edits of the editor, each registering its own undo.
#pragma once

#include "ink/KVSPointSetArray.h"

namespace velumen {

class InkCommitTarget {
  public:
    virtual ~InkCommitTarget() = default;
    virtual void addPointSets(const KVSPointSetArrayPtr& pointSets) = 0;
    virtual void addPointSetsAtBack(const KVSPointSetArrayPtr& pointSets) = 0;
};

}  // namespace velumen
