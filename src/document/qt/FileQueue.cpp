#include "document/qt/FileQueue.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <new>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

namespace velumen {

FileQueue& FileQueue::shared() {
    static FileQueue queue;
    return queue;
}

FileQueue::FileQueue() : thread_([this] { run(); }) {}

FileQueue::~FileQueue() {
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_all();
    thread_.join();
}

void FileQueue::post(std::function<void()> job) {
    {
        std::lock_guard lock(mutex_);
        jobs_.push_back(std::move(job));
    }
    wake_.notify_one();
}

void FileQueue::waitUntilIdle() {
    std::unique_lock lock(mutex_);
    idle_.wait(lock, [this] { return jobs_.empty() && !busy_; });
}

void FileQueue::run() {
    std::unique_lock lock(mutex_);
    for (;;) {
        wake_.wait(lock, [this] { return stopping_ || !jobs_.empty(); });
        if (jobs_.empty()) return;  // stopping, and nothing left to do
        std::function<void()> job = std::move(jobs_.front());
        jobs_.pop_front();
        busy_ = true;
        lock.unlock();
        job();
        job = nullptr;  // whatever the job held goes before the queue counts as idle
        lock.lock();
        busy_ = false;
        if (jobs_.empty()) idle_.notify_all();
    }
}

namespace {

QString systemError(const QString& path, const char* what, int code) {
    return path + QStringLiteral(": ") + QString::fromLatin1(what) + QStringLiteral(" (") +
           QString::fromLocal8Bit(std::strerror(code)) + QStringLiteral(")");
}

// Makes the rename that put a file in `folder` durable. Best effort: some file systems refuse it.
void syncFolder(const QString& folder) {
    const int fd = ::open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) return;
    (void)::fsync(fd);
    ::close(fd);
}

}  // namespace

bool readWholeFile(const QString& path, std::vector<std::uint8_t>& bytes, QString& error) {
    bytes.clear();
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        error = path + QStringLiteral(": cannot be opened (") + file.errorString() + QStringLiteral(")");
        return false;
    }
    struct stat info {};
    if (::fstat(file.handle(), &info) != 0) {
        error = systemError(path, "cannot be examined", errno);
        return false;
    }
    if (!S_ISREG(info.st_mode)) {
        error = path + QStringLiteral(": is not a file");
        return false;
    }
    try {
        // The size is a hint: the loop reads to the end even if the file changed meanwhile.
        bytes.resize(static_cast<std::size_t>(info.st_size) + 1);
        std::size_t filled = 0;
        for (;;) {
            if (filled == bytes.size()) bytes.resize(bytes.size() + (std::size_t{1} << 20));
            const qint64 got = file.read(reinterpret_cast<char*>(bytes.data() + filled),
                                         static_cast<qint64>(bytes.size() - filled));
            if (got < 0) {
                error =
                    path + QStringLiteral(": cannot be read (") + file.errorString() + QStringLiteral(")");
                bytes.clear();
                return false;
            }
            if (got == 0) break;
            filled += static_cast<std::size_t>(got);
        }
        bytes.resize(filled);
    } catch (const std::bad_alloc&) {
        bytes = {};
        error = path + QStringLiteral(": too large to read");
        return false;
    }
    return true;
}

bool writeFileAtomically(const QString& path, const std::vector<std::uint8_t>& bytes, QString& error) {
    QSaveFile file(path);
    // Never fall back to writing the file in place.
    file.setDirectWriteFallback(false);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Unbuffered)) {
        error = path + QStringLiteral(": cannot be written (") + file.errorString() + QStringLiteral(")");
        return false;
    }
    const char* next = reinterpret_cast<const char*>(bytes.data());
    qint64 left = static_cast<qint64>(bytes.size());
    while (left > 0) {
        const qint64 wrote = file.write(next, left);
        if (wrote <= 0) {
            error = path + QStringLiteral(": cannot be written (") + file.errorString() + QStringLiteral(")");
            file.cancelWriting();
            return false;  // the temporary file goes with `file`
        }
        next += wrote;
        left -= wrote;
    }
    if (!file.flush()) {
        error = path + QStringLiteral(": cannot be written (") + file.errorString() + QStringLiteral(")");
        file.cancelWriting();
        return false;
    }
    // The bytes reach the disk before the name points at them; a late write error (a full disk) shows here.
    if (::fsync(file.handle()) != 0) {
        error = systemError(path, "cannot be written", errno);
        file.cancelWriting();
        return false;
    }
    if (!file.commit()) {
        error = path + QStringLiteral(": cannot be written (") + file.errorString() + QStringLiteral(")");
        return false;
    }
    syncFolder(QFileInfo(path).absolutePath());
    return true;
}

}  // namespace velumen
