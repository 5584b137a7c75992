#include "formats/file_mapping.h"

#include <sys/mman.h>

namespace zrk {

FileMapping::FileMapping(int descriptor, std::size_t size)
{
    void* const bytes = size > 0 ? ::mmap(nullptr, size, PROT_READ, MAP_SHARED, descriptor, 0) : MAP_FAILED;
    if (bytes != MAP_FAILED) {
        _bytes = bytes;
        _size = size;
    }
}

FileMapping::~FileMapping()
{
    if (_bytes) {
        ::munmap(_bytes, _size);
    }
}

void FileMapping::drop() const
{
    if (_bytes) {
        (void)::madvise(_bytes, _size, MADV_DONTNEED);
    }
}

} // namespace zrk
