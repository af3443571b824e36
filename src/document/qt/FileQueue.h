// The one thread that reads and writes book files: jobs run one at a time, in the order they were posted,
// never on the GUI thread. A read posted after a write of the same file sees what that write left.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include <QString>

namespace velumen {

class FileQueue {
  public:
    // The queue of the process, started on first use.
    static FileQueue& shared();

    FileQueue();
    // Runs what is left, then ends the thread.
    ~FileQueue();
    FileQueue(const FileQueue&) = delete;
    FileQueue& operator=(const FileQueue&) = delete;

    void post(std::function<void()> job);
    // Blocks until every job posted so far has finished.
    void waitUntilIdle();

  private:
    void run();

    std::mutex mutex_;
    std::condition_variable wake_;
    std::condition_variable idle_;
    std::deque<std::function<void()>> jobs_;
    bool busy_ = false;
    bool stopping_ = false;
    std::thread thread_;
};

// The whole of a regular file. False with `error` when it cannot be opened or read (a folder, a missing
// file, a read error, more bytes than memory holds).
bool readWholeFile(const QString& path, std::vector<std::uint8_t>& bytes, QString& error);

// Replaces the file at `path` by `bytes` through a temporary file in the same folder: write, flush, fsync,
// then rename over the old file, and fsync the folder. On any failure the old file stays as it was, the
// temporary file is removed, and `error` says why.
bool writeFileAtomically(const QString& path, const std::vector<std::uint8_t>& bytes, QString& error);

}  // namespace velumen
