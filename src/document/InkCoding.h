// The archive forms of the ink classes: runs, run lists, colours, the small value classes, pen slots and
// the legacy runs of old books (read only).
#pragma once

#include <optional>
#include <string_view>

#include "document/KeyedArchive.h"
#include "ink/KColor.h"
#include "ink/KLine.h"
#include "ink/KPointSet.h"
#include "ink/KVSPointSetArray.h"
#include "ink/Pens.h"

namespace velumen {

// KColor: "r", "g", "b", "a" as 32-bit floats; a missing key reads as 0.
void encodeWithCoder(const KColor& color, KeyedEncoder& coder);
KColor initKColorWithCoder(const KeyedDecoder& coder);
// A colour object under a key; nil or absent gives nullopt, another class raises.
void encodeColorForKey(KeyedEncoder& coder, std::string_view key, const KColor& color);
std::optional<KColor> decodeColorForKey(const KeyedDecoder& coder, std::string_view key);

// KPoint: "x", "y"; KRect: "x", "y", "width", "height"; all 32-bit floats.
void encodeWithCoder(const KPoint& point, KeyedEncoder& coder);
KPoint initKPointWithCoder(const KeyedDecoder& coder);
void encodeWithCoder(const KRect& rect, KeyedEncoder& coder);
KRect initKRectWithCoder(const KeyedDecoder& coder);
// KLine: "points" (an array of boxed points), "color", "strokeThickness" (32-bit float).
void encodeWithCoder(const KLine& line, KeyedEncoder& coder);
KLine initKLineWithCoder(const KeyedDecoder& coder);

// KVSPointSet: "length" (recomputed), "data" (the point bytes as they are), "color". Reading also takes
// "zipMode" 1 with "gzipdata"; a stream that does not inflate gives an empty run. The point count is
// always the byte length over 12.
void encodeWithCoder(const KVSPointSet& run, KeyedEncoder& coder);
KVSPointSetPtr initKVSPointSetWithCoder(const KeyedDecoder& coder);
// KVSPointSetArray: "pointSets", an array of runs; missing gives an empty list.
void encodeWithCoder(const KVSPointSetArray& runs, KeyedEncoder& coder);
KVSPointSetArrayPtr initKVSPointSetArrayWithCoder(const KeyedDecoder& coder);
// A run list under a key (the pages' "pointSets", the clipboard's "pointsData").
void encodePointSetsForKey(KeyedEncoder& coder, std::string_view key, const KVSPointSetArray* runs);
KVSPointSetArrayPtr decodePointSetsForKey(const KeyedDecoder& coder, std::string_view key);

// Legacy runs: "length", "data" (8 bytes a point), "pointSize", "color"; the list under "pointSets".
KPointSetPtr initKPointSetWithCoder(const KeyedDecoder& coder);
std::shared_ptr<KPointSetArray> initKPointSetArrayWithCoder(const KeyedDecoder& coder);

// PenSettings: "color", "thickness", "inkType"; "version" is read and replaced by 1.
void encodeWithCoder(const PenSettings& pen, KeyedEncoder& coder);
PenSettings initPenSettingsWithCoder(const KeyedDecoder& coder);

}  // namespace velumen
