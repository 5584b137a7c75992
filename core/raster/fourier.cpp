#include "core/raster/fourier.h"

#include "core/values/large_pages.h"
#include "core/values/stop.h"

#include <algorithm>
#include <cstdlib>
#include <vector>

namespace {

/// pocketfft asks for sizes that are no multiples of the alignment. The standard library grants them,
/// sanitizers don't.
[[maybe_unused]] void* roundedAlignedAlloc(std::size_t alignment, std::size_t size)
{
    return std::aligned_alloc(alignment, (size + alignment - 1) / alignment * alignment);
}

} // namespace

#define aligned_alloc roundedAlignedAlloc
#include <pocketfft_hdronly.h>
#undef aligned_alloc

namespace zrk {

namespace {

using Shape = pocketfft::shape_t;
using Strides = pocketfft::stride_t;

Shape shapeOf(const std::int32_t (&dims)[3])
{
    return {static_cast<std::size_t>(dims[0]), static_cast<std::size_t>(dims[1]),
            static_cast<std::size_t>(dims[2])};
}

bool isEmpty(const std::int32_t (&dims)[3]) { return dims[0] <= 0 || dims[1] <= 0 || dims[2] <= 0; }

/// In bytes, axis 0 running fastest.
Strides firstAxisFastest(const std::int32_t (&dims)[3], std::size_t bytes)
{
    const auto step = static_cast<std::ptrdiff_t>(bytes);
    return {step, step * dims[0], step * dims[0] * dims[1]};
}

Strides lastAxisFastest(const std::int32_t (&dims)[3], std::size_t bytes)
{
    const auto step = static_cast<std::ptrdiff_t>(bytes);
    return {step * dims[1] * dims[2], step * dims[2], step};
}

double valueCount(const std::int32_t (&dims)[3]) { return static_cast<double>(dims[0]) * dims[1] * dims[2]; }

const Shape kAllAxes{0, 1, 2};

/// Transforms can't be stopped. Calls transform(shape, offset) for one slab after the other of a block, each
/// some planes across an axis thick, and looks for a request to stop between them; `offset` is that of a
/// slab's first value, in values.
template <class Transform>
void inSlabs(Shape shape, const Strides& strides, std::size_t axis, std::size_t bytes,
             const Transform& transform)
{
    constexpr std::size_t kValues = std::size_t{1} << 19;
    const std::size_t planes = shape[axis];
    const std::size_t thickness =
        std::max<std::size_t>(1, kValues * planes / (shape[0] * shape[1] * shape[2]));
    for (std::size_t first = 0; first < planes; first += thickness) {
        stopIfAsked();
        shape[axis] = std::min(thickness, planes - first);
        transform(shape, first * static_cast<std::size_t>(strides[axis]) / bytes);
    }
}

const Shape kFirstTwoAxes{0, 1};
constexpr std::size_t kLastAxis = 2;

} // namespace

std::size_t quickTransformLength(std::size_t n) { return pocketfft::detail::util::good_size_real(n); }

// The plans stand in pocketfft's inner namespace, whose arrays of lines may be of any number type;
// its outer functions would copy each line once more.

struct RealLineTransform::Plan {
    pocketfft::detail::pocketfft_r<double> transform;
};

RealLineTransform::RealLineTransform(std::size_t length)
    : _plan(new Plan{pocketfft::detail::pocketfft_r<double>(length)})
{}
RealLineTransform::~RealLineTransform() = default;
RealLineTransform::RealLineTransform(RealLineTransform&&) noexcept = default;

std::size_t RealLineTransform::length() const { return _plan->transform.length(); }
void RealLineTransform::forward(Batch* lines) const { _plan->transform.exec(lines, 1.0, true); }
void RealLineTransform::inverse(Batch* lines) const
{
    _plan->transform.exec(lines, 1.0 / static_cast<double>(length()), false);
}

struct CosineLineTransform::Plan {
    pocketfft::detail::T_dcst23<double> transform;
};

CosineLineTransform::CosineLineTransform(std::size_t length)
    : _plan(new Plan{pocketfft::detail::T_dcst23<double>(length)})
{}
CosineLineTransform::~CosineLineTransform() = default;
CosineLineTransform::CosineLineTransform(CosineLineTransform&&) noexcept = default;

void CosineLineTransform::forward(Batch* lines) const { _plan->transform.exec(lines, 1.0, false, 2, true); }
void CosineLineTransform::inverse(Batch* lines) const
{
    const double factor = 0.5 / static_cast<double>(_plan->transform.length());
    _plan->transform.exec(lines, factor, false, 3, true);
}

void realToComplex(const std::int32_t (&dims)[3], const double* block, std::complex<double>* spectrum,
                   std::size_t threads)
{
    if (isEmpty(dims)) {
        return;
    }
    using Complex = std::complex<double>;
    const Strides blockStrides = firstAxisFastest(dims, sizeof(double));
    const Strides spectrumStrides = firstAxisFastest(dims, sizeof(Complex));
    Shape shape = shapeOf(dims);
    inSlabs(shape, blockStrides, 1, sizeof(double), [&](const Shape& slab, std::size_t offset) {
        pocketfft::r2c(slab, blockStrides, spectrumStrides, kLastAxis, pocketfft::FORWARD, block + offset,
                       spectrum + offset, 1.0, threads);
    });
    shape[kLastAxis] = shape[kLastAxis] / 2 + 1;
    inSlabs(shape, spectrumStrides, kLastAxis, sizeof(Complex), [&](const Shape& slab, std::size_t offset) {
        pocketfft::c2c(slab, spectrumStrides, spectrumStrides, kFirstTwoAxes, pocketfft::FORWARD,
                       spectrum + offset, spectrum + offset, 1.0, threads);
    });
}

void complexToReal(const std::int32_t (&dims)[3], const std::complex<double>* spectrum, double* block,
                   std::size_t threads)
{
    if (isEmpty(dims)) {
        return;
    }
    using Complex = std::complex<double>;
    const Strides blockStrides = firstAxisFastest(dims, sizeof(double));
    const Strides spectrumStrides = firstAxisFastest(dims, sizeof(Complex));
    const Shape shape = shapeOf(dims);
    Shape half = shape;
    half[kLastAxis] = half[kLastAxis] / 2 + 1;
    LargeArray<Complex> between(half[0] * half[1] * half[2]);
    inSlabs(half, spectrumStrides, kLastAxis, sizeof(Complex), [&](const Shape& slab, std::size_t offset) {
        pocketfft::c2c(slab, spectrumStrides, spectrumStrides, kFirstTwoAxes, pocketfft::BACKWARD,
                       spectrum + offset, between.data() + offset, 1.0, threads);
    });
    inSlabs(shape, blockStrides, 1, sizeof(double), [&](const Shape& slab, std::size_t offset) {
        pocketfft::c2r(slab, spectrumStrides, blockStrides, kLastAxis, pocketfft::BACKWARD,
                       between.data() + offset, block + offset, 1.0 / valueCount(dims), threads);
    });
}

void cosineTransform(const std::int32_t (&dims)[3], double* block, std::size_t threads)
{
    if (!isEmpty(dims)) {
        const Strides strides = lastAxisFastest(dims, sizeof(double));
        pocketfft::dct(shapeOf(dims), strides, strides, kAllAxes, 2, block, block, 1.0, false, threads);
    }
}

void inverseCosineTransform(const std::int32_t (&dims)[3], double* block, std::size_t threads)
{
    if (!isEmpty(dims)) {
        const Strides strides = lastAxisFastest(dims, sizeof(double));
        pocketfft::dct(shapeOf(dims), strides, strides, kAllAxes, 3, block, block,
                       1.0 / (8 * valueCount(dims)), false, threads);
    }
}

} // namespace zrk
