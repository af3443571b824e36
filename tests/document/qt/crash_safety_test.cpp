// Saves that a real child process makes of a large book: killed at random moments it always leaves one of
// the two books it alternates between, readable; on a full disk the old file stays byte for byte.
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <random>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "TestBooks.h"
#include "document/KeyedArchive.h"
#include "objects/qt/QtImageCodec.h"

extern char** environ;

namespace velumen {
namespace {

namespace fs = std::filesystem;
using namespace testbooks;

struct Child {
    pid_t pid = -1;
    int out = -1;  // the child's standard output
};

Child spawnChild(const std::vector<std::string>& args) {
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0) return {};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, fds[1], STDOUT_FILENO);
    std::vector<char*> argv{const_cast<char*>(VELUMEN_SAVE_CHILD)};
    for (const std::string& a : args)
        argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    Child child;
    if (::posix_spawn(&child.pid, VELUMEN_SAVE_CHILD, &actions, nullptr, argv.data(), environ) != 0)
        child.pid = -1;
    posix_spawn_file_actions_destroy(&actions);
    ::close(fds[1]);
    child.out = fds[0];
    return child;
}

// What the child printed up to the end of the first line, or up to its exit.
std::string firstLine(const Child& child, int timeoutMs) {
    std::string text;
    char c;
    pollfd wanted{child.out, POLLIN, 0};
    while (::poll(&wanted, 1, timeoutMs) == 1 && ::read(child.out, &c, 1) == 1) {
        if (c == '\n') break;
        text += c;
    }
    return text;
}

// Whether the stopped child holds a file in `dir` open other than the book: its save's temporary file
// (unnamed until the save commits it).
bool isWritingInto(pid_t pid, const fs::path& dir, const fs::path& book) {
    std::error_code error;
    for (const auto& fd : fs::directory_iterator("/proc/" + std::to_string(pid) + "/fd", error)) {
        const std::string target = fs::read_symlink(fd.path(), error).string();
        if (!error && target.starts_with(dir.string() + "/") && target != book.string()) return true;
    }
    return false;
}

int waitForExit(Child& child) {
    int status = 0;
    ::waitpid(child.pid, &status, 0);
    ::close(child.out);
    return status;
}

class CrashSafetyTest : public ::testing::Test {
  protected:
    void SetUp() override {
        path = dir / "Big Book.velumen";
        // About 5 MB of ink on four pages.
        asWritten = inkBook(4, 100000);
        shifted = inkBook(4, 100000);
        shiftBook(*shifted);
        bytes = archivedDataWithRootObject(*asWritten, &codec);
        writeFile(path, bytes);
    }

    // Removes what is in the folder besides the book; true if there was anything.
    bool clearLeftovers() {
        bool any = false;
        for (const auto& entry : fs::directory_iterator(dir)) {
            if (entry.path() == path) continue;
            fs::remove(entry.path());
            any = true;
        }
        return any;
    }

    QtImageCodec codec;
    TempDir temp;
    const fs::path dir = temp.path();
    fs::path path;
    FoliantDataPtr asWritten, shifted;
    Bytes bytes;
};

TEST_F(CrashSafetyTest, AWriterKilledMidSaveLeavesOneOfItsTwoBooks) {
    constexpr int kTrials = 100;
    // Kills fall in the first few saves after the child's "ready" (the first save already under way).
    constexpr int kWindowMs = 100;
    std::mt19937 rng(0x5eed);
    std::uniform_int_distribution<int> delay(0, kWindowMs * 1000);
    int readAsWritten = 0, readShifted = 0, killedMidWrite = 0;
    for (int trial = 0; trial < kTrials; ++trial) {
        SCOPED_TRACE("trial " + std::to_string(trial));
        writeFile(path, bytes);  // the child alternates between what it reads and that shifted
        Child child = spawnChild({"churn", path.string()});
        ASSERT_GT(child.pid, 0);
        ASSERT_EQ(firstLine(child, 60000), "ready");
        std::this_thread::sleep_for(std::chrono::microseconds(delay(rng)));
        // Stopped first, so that what it was doing can be seen at the moment of the kill.
        ::kill(child.pid, SIGSTOP);
        ::waitpid(child.pid, nullptr, WUNTRACED);
        killedMidWrite += isWritingInto(child.pid, dir, path);
        ::kill(child.pid, SIGKILL);
        const int status = waitForExit(child);
        ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL)
            << "the child ended by itself: " << status;

        FoliantDataPtr onDisk;
        ASSERT_NO_THROW(onDisk = unarchiveFoliantData(fileBytes(path), &codec));
        ASSERT_TRUE(onDisk);
        const bool isAsWritten = sameInk(*onDisk, *asWritten), isShifted = sameInk(*onDisk, *shifted);
        ASSERT_TRUE(isAsWritten || isShifted);
        readAsWritten += isAsWritten;
        readShifted += isShifted;
        clearLeftovers();
    }
    std::printf("%d kills: %d left the book as written, %d the shifted one, %d came during a write\n",
                kTrials, readAsWritten, readShifted, killedMidWrite);
    RecordProperty("kills", kTrials);
    RecordProperty("killed_mid_write", killedMidWrite);
    // The kills reached both books and the inside of a write, or the test proved nothing.
    EXPECT_GT(readAsWritten, 0);
    EXPECT_GT(readShifted, 0);
    EXPECT_GT(killedMidWrite, 0);
}

TEST_F(CrashSafetyTest, AFullDiskLeavesTheOldFileAndRaisesSavingError) {
    Child child = spawnChild({"fill", path.string(), std::to_string(bytes.size() / 2)});
    ASSERT_GT(child.pid, 0);
    const std::string said = firstLine(child, 60000);
    const int status = waitForExit(child);
    std::printf("the child: %s\n", said.c_str());
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << said;
    EXPECT_EQ(fileBytes(path), bytes);
    EXPECT_FALSE(clearLeftovers());
}

}  // namespace
}  // namespace velumen
