#pragma once

#include "core/values/export.h"
#include "core/values/stop.h"

#include <cstddef>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

namespace zrk {

/// Asks the system to put large pages behind memory that nobody has touched yet. It may decline; then
/// ordinary pages serve. Does nothing where the system isn't Linux.
ZRK_API void wishLargePages(void* memory, std::size_t bytes);

/// Makes room for `count` values and asks the system for large pages behind the new ones. With ordinary
/// pages, touching a large raster for the first time takes about as long as computing a cheap field.
/// Throws std::bad_alloc or std::length_error when there is no room.
template <class T>
void reserveOnLargePages(std::vector<T>& values, std::size_t count)
{
    values.reserve(count);
    wishLargePages(values.data() + values.size(), (values.capacity() - values.size()) * sizeof(T));
}

/// Resizes as `values.resize(count)` does, and looks for a request to stop meanwhile: clearing a gigabyte
/// takes a good part of a second. Elements that were there stay.
template <class T>
void resizeInPieces(std::vector<T>& values, std::size_t count)
{
    constexpr std::size_t kPiece = (std::size_t{1} << 24) / sizeof(T);
    if (count > values.size() + kPiece) {
        values.reserve(count);
    }
    while (count > values.size() + kPiece) {
        values.resize(values.size() + kPiece);
        stopIfAsked();
    }
    values.resize(count);
}

/// The allocator of a `LargeArray`.
template <class T>
struct LargePageAllocator : std::allocator<T> {
    static_assert(std::is_trivially_copyable_v<T> && std::is_trivially_destructible_v<T>);

    template <class U>
    struct rebind {
        using other = LargePageAllocator<U>;
    };

    T* allocate(std::size_t count)
    {
        T* const memory = std::allocator<T>::allocate(count);
        wishLargePages(memory, count * sizeof(T));
        return memory;
    }
    /// Leaves an element that is given no value as the memory is.
    void construct(T*) {}
    template <class First, class... Rest>
    void construct(T* place, First&& first, Rest&&... rest)
    {
        std::construct_at(place, std::forward<First>(first), std::forward<Rest>(rest)...);
    }
};

/// A vector on large pages. The elements that `resize` adds have no defined value until they are written.
/// Several threads can fill them, and the pages are then cleared by the threads that touch them first.
template <class T>
using LargeArray = std::vector<T, LargePageAllocator<T>>;

} // namespace zrk
