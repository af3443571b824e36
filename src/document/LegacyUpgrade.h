// The upgrade of ink stored by books older than version 102: legacy runs with one point size
// per run become runs with a size per point. The decoder calls it as soon as it has read a legacy array.
#pragma once

#include "ink/KPointSet.h"
#include "ink/KVSPointSetArray.h"

namespace velumen {

// Walks the legacy runs in order. A run of length 0 (or a missing one) is dropped; every other run becomes
// a KVSPointSet of the same length and colour whose points keep x and y and get size = pointSize * 0.5 in
// float (the legacy value was the size of the sprite itself, which the renderer now draws twice as large).
// Order of runs and of points is kept. Always returns an array, empty when nothing survives.
KVSPointSetArrayPtr convertKPointSetArrayToKVSPointSetArray(const KPointSetArray& legacy);

}  // namespace velumen
