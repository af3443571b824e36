// Fuzz target for the book reader: any bytes either fail cleanly or give a book that writes, reads back
// and writes again to the same bytes. The gallery's read runs on every input too.
#include <cstdint>
#include <cstdlib>
#include <span>

#include "document/FoliantData.h"
#include "document/KeyedArchive.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace velumen;
    const std::span<const std::uint8_t> bytes(data, size);
    (void)unarchivePartialData(bytes, nullptr);
    FoliantDataPtr book;
    try {
        book = unarchiveFoliantData(bytes, nullptr);
    } catch (const ArchiveError&) {
        return 0;
    }
    if (!book) return 0;
    std::vector<std::uint8_t> written;
    try {
        written = archivedDataWithRootObject(*book, nullptr);
    } catch (const ArchiveError&) {
        return 0;  // text that cannot be written again
    }
    const FoliantDataPtr again = unarchiveFoliantData(written, nullptr);
    if (!again || archivedDataWithRootObject(*again, nullptr) != written) std::abort();
    return 0;
}
