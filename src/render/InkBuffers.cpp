#include "render/InkBuffers.h"

#include <algorithm>

namespace velumen {

namespace {

constexpr std::size_t kStride = KVSPointSet::kStride;
// The smallest buffer, and the granule of every buffer size.
constexpr std::size_t kMinimumBytes = std::size_t(1) << 20;
constexpr std::size_t kGranule = std::size_t(1) << 16;

std::size_t roundUp(std::size_t bytes) {
    return (bytes + kGranule - 1) / kGranule * kGranule;
}

}  // namespace

const std::vector<InkBuffers::Slot>& InkBuffers::sync(const KVSPointSetArray& list) {
    if (generation_ != gl_.generation()) {
        // The context was made anew: the old buffer went with the old one.
        buffer_ = 0;
        release();
        generation_ = gl_.generation();
    }
    const auto& runs = list.pointSets();
    if (runs.size() == synced_.size()) {
        std::size_t i = 0;
        while (i < runs.size() && runs[i].get() == synced_[i].run &&
               (!runs[i] || runs[i]->version() == synced_[i].version))
            ++i;
        if (i == runs.size()) return slots_;
    }

    ++sync_;
    order_.assign(runs.size(), nullptr);
    stale_.clear();
    for (std::size_t i = 0; i < runs.size(); ++i) {
        const KVSPointSetPtr& run = runs[i];
        if (!run || run->length() == 0) continue;
        Entry& e = entries_[run->version()];
        order_[i] = &e;
        if (e.seen == sync_) continue;  // the same points twice in the list (a run, or copies of it)
        e.seen = sync_;
        if (!e.placed) stale_.push_back({run.get(), &e});
    }

    // A run whose points changed since the last sync takes over the slot of its old points, unless those
    // are still shown (by a copy): an eraser step writes its runs where they were. A new run at a dead
    // one's address is not that run.
    if (!stale_.empty()) {
        previous_.clear();
        for (std::size_t i = 0; i < synced_.size(); ++i)
            if (synced_[i].run) previous_.emplace(synced_[i].run, i);
        for (const auto& [run, e] : stale_) {
            const auto was = previous_.find(run);
            if (was == previous_.end()) continue;
            const Synced& last = synced_[was->second];
            if (last.owner.lock().get() != run) continue;
            const auto old = entries_.find(last.version);
            if (old == entries_.end() || old->second.seen == sync_ || !old->second.placed) continue;
            e->offset = old->second.offset;
            e->capacity = old->second.capacity;
            e->placed = true;
            old->second.placed = false;  // the slot went over, with its bytes
        }
    }

    // Points that left the list give their slots back.
    bool changed = !stale_.empty();
    for (auto it = entries_.begin(); it != entries_.end();) {
        if (it->second.seen != sync_) {
            free(it->second);
            it = entries_.erase(it);
            changed = true;
        } else {
            ++it;
        }
    }

    // Changed points are written over the slot they took over when they still fit (an eraser step only
    // shrinks runs); otherwise they need a new slot, and all new slots go behind the last one, in list
    // order.
    std::size_t needed = 0;
    for (const auto& [run, e] : stale_) {
        const std::size_t bytes = run->length() * kStride;
        if (e->placed && bytes > e->capacity) free(*e);
        if (e->placed) {
            e->rewrite = bytes;
        } else {
            needed += bytes;
        }
    }
    // A buffer four times larger than its runs (the page before was denser) is made smaller.
    const bool oversized = changed && capacity_ > std::max(kMinimumBytes, 4 * (live_ + needed));
    if (end_ + needed > capacity_ || oversized) relayout(needed);
    for (const auto& [run, e] : stale_) {
        const std::size_t bytes = run->length() * kStride;
        if (!e->placed) {
            e->offset = end_;
            e->capacity = bytes;
            e->placed = true;
            end_ += bytes;
            live_ += bytes;
        }
        gl_.writeRecordBuffer(buffer_, e->offset, run->constBuffer(), bytes);
        e->count = run->length();
        e->rewrite = 0;
    }

    // Only a change can scatter the runs, so an unchanged page is never moved.
    if (changed && scatter() > 8 + runs.size() / 8) relayout(0);
    fillSlots();
    synced_.resize(runs.size());
    for (std::size_t i = 0; i < runs.size(); ++i)
        synced_[i] = {runs[i].get(), runs[i] ? runs[i]->version() : 0, runs[i]};
    return slots_;
}

void InkBuffers::fillSlots() {
    slots_.resize(order_.size());
    for (std::size_t i = 0; i < order_.size(); ++i) {
        const Entry* e = order_[i];
        slots_[i] = e && e->placed ? Slot{e->offset, e->count} : Slot{};
    }
}

std::size_t InkBuffers::scatter() const {
    std::size_t breaks = 0;
    const Entry* previous = nullptr;
    for (const Entry* e : order_) {
        if (!e || !e->placed) continue;
        if (previous && previous->offset + previous->count * kStride != e->offset) ++breaks;
        previous = e;
    }
    return breaks;
}

void InkBuffers::free(Entry& e) {
    if (!e.placed) return;
    e.placed = false;
    live_ -= e.capacity;
    if (live_ == 0) end_ = 0;
}

void InkBuffers::relayout(std::size_t extra) {
    ++relayouts_;
    const std::size_t wanted = live_ + extra;
    std::size_t capacity = capacity_;
    // Half as much again as is needed; the same size when the holes alone make the room and it is not
    // far too large.
    if (wanted > capacity_ * 3 / 4 || capacity_ > 4 * wanted)
        capacity = roundUp(std::max(kMinimumBytes, wanted + wanted / 2));
    GLuint fresh = gl_.createRecordBuffer(capacity);
    if (!fresh) {
        // No program: nothing can be drawn anyway. Keep the books straight for the next attempt.
        for (auto& [version, e] : entries_)
            e.placed = false;
        gl_.deleteRecordBuffer(buffer_);
        capacity_ = end_ = live_ = 0;
        return;
    }
    // Each kept run keeps only the bytes it uses, and a run about to be written over only the bytes it is
    // about to receive (its old records are not copied). Stretches that stay neighbours are copied by one
    // call.
    std::size_t to = 0;
    std::size_t copyFrom = 0, copyTo = 0, copyBytes = 0;
    auto copyPending = [&] {
        if (copyBytes) gl_.copyRecordBuffer(buffer_, copyFrom, fresh, copyTo, copyBytes);
        copyBytes = 0;
    };
    for (Entry* e : order_) {
        if (!e || !e->placed || e->moved == relayouts_) continue;
        e->moved = relayouts_;
        if (e->rewrite) {
            copyPending();
            e->offset = to;
            e->capacity = e->rewrite;
            to += e->rewrite;
            continue;
        }
        const std::size_t bytes = e->count * kStride;
        if (copyBytes && copyFrom + copyBytes == e->offset && copyTo + copyBytes == to) {
            copyBytes += bytes;
        } else {
            copyPending();
            copyFrom = e->offset;
            copyTo = to;
            copyBytes = bytes;
        }
        e->offset = to;
        e->capacity = bytes;
        to += bytes;
    }
    copyPending();
    gl_.deleteRecordBuffer(buffer_);
    buffer_ = fresh;
    capacity_ = capacity;
    end_ = live_ = to;
}

void InkBuffers::release() {
    if (generation_ == gl_.generation() && gl_.isReady()) {
        gl_.deleteRecordBuffer(buffer_);
    }
    buffer_ = 0;
    entries_.clear();
    order_.clear();
    stale_.clear();
    slots_.clear();
    synced_.clear();
    previous_.clear();
    capacity_ = end_ = live_ = 0;
}

}  // namespace velumen
