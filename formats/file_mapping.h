#pragma once

#include "core/values/export.h"

#include <cstddef>
#include <span>
#include <utility>

namespace zrk {

/// The bytes of an open file as memory that is read only: the system brings parts of it in when they are
/// read, and takes them away again when memory is short.
class ZRK_API FileMapping {
public:
    FileMapping() = default;
    /// Maps the first `size` bytes, which may be 0. Empty with errno where that fails.
    FileMapping(int descriptor, std::size_t size);
    ~FileMapping();
    FileMapping(FileMapping&& other) noexcept { *this = std::move(other); }
    FileMapping& operator=(FileMapping&& other) noexcept
    {
        std::swap(_bytes, other._bytes);
        std::swap(_size, other._size);
        return *this;
    }

    std::size_t size() const { return _size; }
    template <class T>
    std::span<const T> as() const
    {
        return {static_cast<const T*>(_bytes), _size / sizeof(T)};
    }
    /// Gives back the memory of what was read; it is brought in again when it is needed.
    void drop() const;

private:
    void* _bytes = nullptr;
    std::size_t _size = 0;
};

} // namespace zrk
