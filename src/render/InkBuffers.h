// The shown page's ink records kept in GPU memory, so that a repaint draws them where they lie instead of
// sending every run again. All runs live in one buffer, each in a slot of its own, laid out in the order
// of the page so that neighbouring runs of one colour can be drawn by one call. Slots are keyed by the
// runs' versions, which name their points: points are written when a version is new to the list (a
// stroke, an eraser step, a transform, an undo that brings back other points), never again while it
// stays, and a version that leaves the list gives its slot back. A copy of a run shares its version, so
// the copy that an eraser gesture works on, or an undo that puts unchanged runs back, uploads nothing.
// When edits have scattered the runs (strokes put at the back, runs that outgrew their slots), the
// buffer is laid out in list order again on the GPU, without uploading anything. The context must be
// current for every call.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <unordered_map>
#include <utility>
#include <vector>

#include "ink/KVSPointSetArray.h"
#include "render/GLLayer.h"

namespace velumen {

class InkBuffers {
  public:
    explicit InkBuffers(GLLayer& gl) : gl_(gl) {}
    ~InkBuffers() = default;
    InkBuffers(const InkBuffers&) = delete;
    InkBuffers& operator=(const InkBuffers&) = delete;

    // Where a run's records lie in buffer(): count records from byte offset on. count 0 for a run that
    // is null or empty.
    struct Slot {
        std::size_t offset = 0;
        std::uint64_t count = 0;
    };

    // Brings the buffer in line with the list: writes the runs that are new or changed, lets go of the
    // runs that are no longer in it, and returns one slot per entry of the list, in its order. When the
    // free space at the end does not hold the new runs, the kept runs are moved into a new buffer in the
    // order of the list, on the GPU, without being uploaded again; so they are when the buffer has become
    // four times larger than they need (then it shrinks).
    const std::vector<Slot>& sync(const KVSPointSetArray& list);
    // The buffer that the slots of the last sync point into; 0 before any run was written.
    GLuint buffer() const { return buffer_; }
    // Deletes the buffer and forgets every run; the next sync writes them all. A buffer of a context that
    // is gone is forgotten without being deleted.
    void release();

    // Versions held, bytes in their slots, the size of the buffer, and how often it was laid out anew.
    std::size_t runCount() const { return entries_.size(); }
    std::size_t liveBytes() const { return live_; }
    std::size_t capacity() const { return capacity_; }
    std::uint64_t relayoutCount() const { return relayouts_; }

  private:
    struct Entry {
        std::size_t offset = 0;
        std::size_t capacity = 0;  // bytes of the slot; at least count * 12
        std::uint64_t count = 0;
        std::uint64_t seen = 0;    // the sync that last found the run in the list
        std::uint64_t moved = 0;   // the relayout that last moved it
        std::size_t rewrite = 0;   // while a sync runs: bytes about to be written over the slot
        bool placed = false;
    };
    void free(Entry& e);
    // A new buffer with room for the placed runs, laid out in list order, and `extra` bytes behind them.
    void relayout(std::size_t extra);
    void fillSlots();
    // Pairs of neighbours in the list that do not lie back to back in the buffer.
    std::size_t scatter() const;

    GLLayer& gl_;
    std::unordered_map<std::uint64_t, Entry> entries_;  // by version
    std::vector<Entry*> order_;  // per list position, the run's entry (nullptr for an empty run)
    // The runs whose points are not in the buffer yet, with their entries.
    std::vector<std::pair<const KVSPointSet*, Entry*>> stale_;
    // While a sync runs: where each run of the last sync stood in its list.
    std::unordered_map<const KVSPointSet*, std::size_t> previous_;
    std::vector<Slot> slots_;
    // The list of the last sync, run by run with its version: an equal list needs no work at all.
    // The weak reference tells the same run from a new one at a dead run's address.
    struct Synced {
        const KVSPointSet* run;
        std::uint64_t version;
        std::weak_ptr<KVSPointSet> owner;
    };
    std::vector<Synced> synced_;
    GLuint buffer_ = 0;
    std::size_t capacity_ = 0;
    std::size_t end_ = 0;   // first byte behind the last slot
    std::size_t live_ = 0;  // bytes of all slots
    std::uint64_t sync_ = 0;
    std::uint64_t relayouts_ = 0;
    std::uint64_t generation_ = 0;  // the layer's context that the buffer belongs to
};

}  // namespace velumen
