#pragma once

#include "core/values/tensor.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <vector>

namespace zrk::picture {

/// What a pixel shows.
enum class PixelKind : std::uint8_t {
    Nothing,
    Ground, ///< the plane that the solid stands on
    Surface,
    CutLowerX, ///< the solid cut off at a face of the region: two for each axis
    CutUpperX,
    CutLowerY,
    CutUpperY,
    CutLowerZ,
    CutUpperZ,
    CutByViewer, ///< the solid cut off where the viewer stands in it
};

inline bool isCut(PixelKind kind) { return kind >= PixelKind::CutLowerX; }
inline bool isSolid(PixelKind kind) { return kind >= PixelKind::Surface; }

using Float3 = Tensor<3, float>;

/// Values of the pixels of a picture, not set at first: that would take long where pictures are large, and
/// can't be interrupted.
template <class T>
class PixelArray {
public:
    PixelArray() = default;
    explicit PixelArray(std::size_t count)
        : _values(std::make_unique_for_overwrite<T[]>(count)), _count(count)
    {}

    std::size_t size() const { return _count; }
    T& operator[](std::size_t i) { return _values[i]; }
    const T& operator[](std::size_t i) const { return _values[i]; }
    const T* begin() const { return _values.get(); }
    const T* end() const { return _values.get() + _count; }

private:
    std::unique_ptr<T[]> _values;
    std::size_t _count = 0;
};

/// What the rays of a picture's pixels hit first; row 0 on top. A trace sets its pixels.
struct DepthPicture {
    static constexpr double kNoDepth = std::numeric_limits<double>::infinity();

    std::int32_t width = 0;
    std::int32_t height = 0;
    PixelArray<double> depths; ///< along the camera's forward axis; infinite where nothing is hit
    PixelArray<PixelKind> kinds;
    PixelArray<Float3> normals; ///< unit vectors out of the solid; not set where nothing is hit
    PixelArray<float> values;   ///< at cuts only, the field against its iso value: negative inside

    DepthPicture() = default;
    DepthPicture(std::int32_t w, std::int32_t h) : width(w), height(h)
    {
        const std::size_t count = static_cast<std::size_t>(w) * static_cast<std::size_t>(h);
        depths = PixelArray<double>(count);
        kinds = PixelArray<PixelKind>(count);
        normals = PixelArray<Float3>(count);
        values = PixelArray<float>(count);
    }

    std::size_t pixelCount() const { return depths.size(); }
    std::size_t at(std::int32_t x, std::int32_t y) const
    {
        return static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x);
    }
    bool contains(std::int32_t x, std::int32_t y) const
    {
        return x >= 0 && y >= 0 && x < width && y < height;
    }
};

/// A bit for each pixel of a picture, in rows of words; the lowest bit is the leftmost pixel.
struct PixelMask {
    std::int32_t wordsPerRow = 0;
    std::vector<std::uint64_t> words;

    PixelMask() = default;
    PixelMask(std::int32_t width, std::int32_t height)
        : wordsPerRow((width + 63) / 64),
          words(static_cast<std::size_t>(wordsPerRow) * static_cast<std::size_t>(height))
    {}

    std::uint64_t& word(std::int32_t x, std::int32_t y) { return words[place(x, y)]; }
    std::uint64_t word(std::int32_t x, std::int32_t y) const { return words[place(x, y)]; }
    void set(std::int32_t x, std::int32_t y) { word(x, y) |= std::uint64_t{1} << (x % 64); }
    bool has(std::int32_t x, std::int32_t y) const { return (word(x, y) >> (x % 64) & 1) != 0; }

private:
    std::size_t place(std::int32_t x, std::int32_t y) const
    {
        return static_cast<std::size_t>(y) * static_cast<std::size_t>(wordsPerRow) +
               static_cast<std::size_t>(x / 64);
    }
};

} // namespace zrk::picture
