#include "ink/MemoryPolicy.h"

#include <cstdlib>  // defines __GLIBC__ where it applies

#if defined(__GLIBC__)
#include <malloc.h>
#endif

namespace velumen {

void keepFreedMemoryForReuse() {
#if defined(__GLIBC__)
    // Give memory back only when 256 MiB lie free at the top of the heap; serve blocks below 32 MiB (the most
    // it allows) from the heap, where freed ones are reused, instead of mapping and unmapping each; grow the
    // heap 16 MiB ahead.
    mallopt(M_TRIM_THRESHOLD, 256 << 20);
    mallopt(M_MMAP_THRESHOLD, 32 << 20);
    mallopt(M_TOP_PAD, 16 << 20);
#endif
}

}  // namespace velumen
