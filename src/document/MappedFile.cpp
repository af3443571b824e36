#include "document/MappedFile.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

namespace velumen {

std::optional<MappedFile> MappedFile::open(const std::string& path, std::string* error) {
    auto failed = [error](const char* what) -> std::optional<MappedFile> {
        if (error) *error = std::string(what) + ": " + std::strerror(errno);
        return std::nullopt;
    };
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return failed("cannot open");
    struct stat info {};
    if (::fstat(fd, &info) != 0) {
        const int saved = errno;
        ::close(fd);
        errno = saved;
        return failed("cannot read its size");
    }
    if (!S_ISREG(info.st_mode)) {
        ::close(fd);
        errno = EISDIR;
        return failed("not a regular file");
    }
    const auto size = static_cast<std::size_t>(info.st_size);
    if (size == 0) {
        ::close(fd);
        return MappedFile(nullptr, 0);
    }
    void* data = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, fd, 0);
    ::close(fd);
    if (data == MAP_FAILED) return failed("cannot map");
    return MappedFile(static_cast<const std::uint8_t*>(data), size);
}

MappedFile::MappedFile(MappedFile&& other) noexcept
    : data_(std::exchange(other.data_, nullptr)), size_(std::exchange(other.size_, 0)) {}

MappedFile& MappedFile::operator=(MappedFile&& other) noexcept {
    if (this != &other) {
        release();
        data_ = std::exchange(other.data_, nullptr);
        size_ = std::exchange(other.size_, 0);
    }
    return *this;
}

MappedFile::~MappedFile() { release(); }

void MappedFile::release() {
    if (data_) ::munmap(const_cast<std::uint8_t*>(data_), size_);
    data_ = nullptr;
    size_ = 0;
}

}  // namespace velumen
