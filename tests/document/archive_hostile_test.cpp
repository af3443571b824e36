// Book files that are broken or built to hurt: each must be refused with ArchiveError, or give the
// documented empty book or empty run, quickly and in bounded memory, never crash. The shapes come from
// tests/document/fixtures/make_books.py; truncations and single-byte corruptions are made here.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "document/FoliantData.h"
#include "document/KeyedArchive.h"
#include "fixtures/archive_test_support.h"

namespace velumen {
namespace {

using namespace archive_test;

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kAddressSanitizer = true;
#else
constexpr bool kAddressSanitizer = false;
#endif

// Wall time after which a read counts as hung (the sanitizer build runs unoptimised, some fifty times
// slower on these files), and memory beyond the test's own that a read may use at its peak (under
// AddressSanitizer freed blocks stay in quarantine, so the peak says little below a gigabyte).
constexpr double kHangSeconds = kAddressSanitizer ? 100 : 10;
constexpr long kExtraMemoryKb = kAddressSanitizer ? 1L << 20 : 256L << 10;

// What a read in a child came to; a child exits with kFirstCode plus the outcome's index.
enum class Outcome { Book, Inkless, Empty, Refused, OtherException, Crashed, Hung };
constexpr const char* kOutcomeNames[] = {"a book with ink", "a book without ink", "an empty book", "refused",
                                         "an exception other than ArchiveError", "a crash", "a hang"};
constexpr int kFirstCode = 10;

bool hasInk(const FoliantData& book) {
    for (const FoliantPagePtr& page : book.pages()) {
        if (!page->pointSets) continue;
        for (const KVSPointSetPtr& run : page->pointSets->pointSets())
            if (run->length() > 0) return true;
    }
    return false;
}

long statusKb(const char* field) {
    for (const std::string& line : readLines("/proc/self/status"))
        if (line.rfind(field, 0) == 0) return std::strtol(line.c_str() + std::strlen(field), nullptr, 10);
    return 0;
}

struct ChildRead {
    Outcome outcome;
    double seconds;
    long extraKb;
};

// The whole read and the partial read of the bytes, in a child process that is killed when it hangs.
ChildRead readInChild(const Bytes& bytes) {
    const long baseKb = statusKb("VmRSS:");
    const auto start = std::chrono::steady_clock::now();
    const pid_t pid = fork();
    if (pid == 0) {
        if (!kAddressSanitizer) {
            // A runaway allocation fails here instead of taking the machine's memory.
            const rlim_t limit = static_cast<rlim_t>(statusKb("VmSize:") + (4L << 20)) * 1024;
            const rlimit rl{limit, limit};
            setrlimit(RLIMIT_AS, &rl);
        }
        Outcome outcome = Outcome::OtherException;
        try {
            const FoliantDataPtr book = unarchiveFoliantData(bytes, nullptr);
            outcome = !book ? Outcome::Empty : hasInk(*book) ? Outcome::Book : Outcome::Inkless;
            unarchivePartialData(bytes, nullptr);
        } catch (const ArchiveError&) {
            outcome = Outcome::Refused;
        } catch (...) {
            outcome = Outcome::OtherException;
        }
        _exit(kFirstCode + static_cast<int>(outcome));
    }
    int status = 0;
    rusage usage{};
    Outcome outcome = Outcome::Hung;
    while (wait4(pid, &status, WNOHANG, &usage) == 0) {
        if (std::chrono::steady_clock::now() - start > std::chrono::duration<double>(kHangSeconds)) {
            kill(pid, SIGKILL);
            wait4(pid, &status, 0, &usage);
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (seconds <= kHangSeconds) {
        const int code = WIFEXITED(status) ? WEXITSTATUS(status) - kFirstCode : -1;
        outcome = code >= 0 && code <= static_cast<int>(Outcome::OtherException) ? static_cast<Outcome>(code)
                                                                                  : Outcome::Crashed;
    }
    return {outcome, seconds, usage.ru_maxrss - baseKb};
}

bool allowed(const std::string& expected, Outcome outcome) {
    const bool refused = outcome == Outcome::Refused;
    const bool book = outcome == Outcome::Book || outcome == Outcome::Inkless;
    if (expected == "refused") return refused;
    if (expected == "empty") return outcome == Outcome::Empty;
    if (expected == "book") return book;
    if (expected == "refused-or-book") return refused || book;
    if (expected == "refused-or-inkless") return refused || outcome == Outcome::Inkless;
    ADD_FAILURE() << "unknown outcome " << expected;
    return false;
}

TEST(ArchiveHostile, BuiltShapesAreRefusedOrReadAsDocumentedQuicklyInBoundedMemory) {
    TempDir dir;
    ASSERT_TRUE(runCommand(bookScript("hostile") + quoted(dir.path().string())));
    const std::vector<std::string> manifest = readLines(dir.file("manifest.txt"));
    ASSERT_GE(manifest.size(), 25u);
    for (const std::string& line : manifest) {
        const std::string file = line.substr(0, line.find(' '));
        const std::string expected = line.substr(line.find(' ') + 1);
        SCOPED_TRACE(file);
        const Bytes bytes = readFile(dir.file(file + ".velumen"));
        const ChildRead read = readInChild(bytes);
        EXPECT_TRUE(allowed(expected, read.outcome))
            << "expected " << expected << ", got " << kOutcomeNames[static_cast<int>(read.outcome)]
            << " after " << read.seconds << " s";
        EXPECT_LT(read.extraKb, kExtraMemoryKb)
            << "a peak of " << read.extraKb / 1024 << " MiB beyond the test's own";
    }
}

// The files the loops below start from: a full book as our writer lays it out, and two from the fixture
// script with compressed and legacy runs.
std::vector<std::pair<std::string, Bytes>> soundBooks(const TempDir& dir) {
    std::vector<std::pair<std::string, Bytes>> books;
    if (!runCommand(bookScript("fixtures") + quoted(dir.path().string()))) return books;
    const FoliantDataPtr current = unarchiveFoliantData(readFile(dir.file("current.velumen")), nullptr);
    books.emplace_back("current, written by us", archivedDataWithRootObject(*current, nullptr));
    for (const char* fixture : {"compressed", "legacy"})
        books.emplace_back(fixture, readFile(dir.file(std::string(fixture) + ".velumen")));
    return books;
}

TEST(ArchiveHostile, EveryTruncationIsRefused) {
    TempDir dir;
    const auto books = soundBooks(dir);
    ASSERT_EQ(books.size(), 3u);
    for (const auto& [label, bytes] : books) {
        SCOPED_TRACE(label);
        ASSERT_TRUE(unarchiveFoliantData(bytes, nullptr));
        EXPECT_EQ(unarchiveFoliantData(std::span(bytes).first(0), nullptr), nullptr);
        int accepted = 0;
        for (std::size_t size = 1; size < bytes.size(); ++size) {
            const std::span<const std::uint8_t> prefix = std::span(bytes).first(size);
            EXPECT_FALSE(unarchivePartialData(prefix, nullptr));
            try {
                unarchiveFoliantData(prefix, nullptr);
                if (++accepted <= 3) ADD_FAILURE() << "the first " << size << " bytes read as a book";
            } catch (const ArchiveError&) {
            }
        }
    }
}

TEST(ArchiveHostile, EverySingleByteCorruptionIsSurvivedAndWhatReadsWritesBackStably) {
    TempDir dir;
    const auto books = soundBooks(dir);
    ASSERT_EQ(books.size(), 3u);
    for (const auto& [label, original] : books) {
        SCOPED_TRACE(label);
        Bytes bytes = original;
        int read = 0;
        for (std::size_t at = 0; at < bytes.size(); ++at) {
            bytes[at] ^= 0xFF;
            unarchivePartialData(bytes, nullptr);
            FoliantDataPtr book;
            try {
                book = unarchiveFoliantData(bytes, nullptr);
            } catch (const ArchiveError&) {
            }
            // Whatever was read can be written, and reads back to what writes the same bytes (checked on
            // a share of the readable corruptions, which keeps the loop short under the sanitizers).
            if (book && ++read % 3 == 1) {
                const Bytes first = archivedDataWithRootObject(*book, nullptr);
                const Bytes second =
                    archivedDataWithRootObject(*unarchiveFoliantData(first, nullptr), nullptr);
                EXPECT_EQ(first, second) << "after flipping byte " << at;
            }
            bytes[at] ^= 0xFF;
        }
        // Flips in point bytes, JPEG bytes and text leave a readable book: the loop reached the decoders.
        EXPECT_GT(read, 0);
    }
}

}  // namespace
}  // namespace velumen
