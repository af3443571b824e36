// A file's bytes mapped read-only into memory, so that reading a large book costs only the pages of the
// file that are actually touched.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace velumen {

class MappedFile {
  public:
    // nullopt when the file cannot be opened or mapped; `error` then says why. An empty file maps to no
    // bytes.
    static std::optional<MappedFile> open(const std::string& path, std::string* error = nullptr);

    MappedFile(MappedFile&& other) noexcept;
    MappedFile& operator=(MappedFile&& other) noexcept;
    MappedFile(const MappedFile&) = delete;
    MappedFile& operator=(const MappedFile&) = delete;
    ~MappedFile();

    std::span<const std::uint8_t> bytes() const { return {data_, size_}; }

  private:
    MappedFile(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}
    void release();

    const std::uint8_t* data_ = nullptr;
    std::size_t size_ = 0;
};

}  // namespace velumen
