#pragma once

#include <cstddef>
#include <vector>

namespace zrk {

/// Asks the system for large pages behind memory that nobody has touched yet.
void wishLargePages(void* memory, std::size_t bytes);

/// Makes room for `count` values and asks the system for large pages behind those that are new:
/// touching a large raster for the first time otherwise takes about as long as computing a
/// cheap field. Throws std::bad_alloc or std::length_error when there is no room.
template <class T>
void reserveOnLargePages(std::vector<T>& values, std::size_t count)
{
    values.reserve(count);
    wishLargePages(values.data() + values.size(), (values.capacity() - values.size()) * sizeof(T));
}

} // namespace zrk
