// How the process treats memory it frees. Ink lives in many buffers of kilobytes to megabytes that are
// copied and dropped together (an eraser gesture copies the whole page at touch down; closing a book
// consolidates its runs). Handing that memory back to the system after every such step and faulting it in
// again on the next costs more than the copies themselves, so the notebook keeps freed memory for reuse.
#pragma once

namespace velumen {

// Call once at start, before large allocations. Has no effect where the C library offers no such control.
void keepFreedMemoryForReuse();

}  // namespace velumen
