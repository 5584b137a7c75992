#pragma once

#include "core/values/batch.h"

#include <complex>
#include <cstddef>
#include <cstdint>
#include <memory>

/// The transforms that rasters and transport use, all by pocketfft.
namespace zrk {

/// Returns the smallest length from n on whose real transform is quick.
std::size_t quickTransformLength(std::size_t n);

/// Fourier transform of real lines of one length, as many side by side as a batch has lanes.
///
/// A spectrum is stored as r0, r1, i1, r2, i2, ... and takes the place of the line. Safe to use from many
/// threads. Throws std::runtime_error for a length of 0.
class RealLineTransform {
public:
    explicit RealLineTransform(std::size_t length);
    ~RealLineTransform();
    RealLineTransform(RealLineTransform&&) noexcept;

    std::size_t length() const;
    void forward(Batch* lines) const;
    /// Undoes `forward`.
    void inverse(Batch* lines) const;

private:
    struct Plan;
    std::unique_ptr<const Plan> _plan;
};

/// Cosine transform of types 2 and 3, otherwise like RealLineTransform.
class CosineLineTransform {
public:
    explicit CosineLineTransform(std::size_t length);
    ~CosineLineTransform();
    CosineLineTransform(CosineLineTransform&&) noexcept;

    /// Type 2, not normalized: coefficient m is 2 * sum of x[i] * cos(pi m (i + 1/2) / n).
    void forward(Batch* lines) const;
    /// Type 3 over 2 n: undoes `forward`.
    void inverse(Batch* lines) const;

private:
    struct Plan;
    std::unique_ptr<const Plan> _plan;
};

/// Writes the half spectrum of a block, axis 0 running fastest in both. Axis 2 is the halved one, with
/// dims[2] / 2 + 1 coefficients. Nothing is written for a block without values.
///
/// @param threads  0 means all processors.
void realToComplex(const std::int32_t (&dims)[3], const double* block, std::complex<double>* spectrum,
                   std::size_t threads);
/// Undoes `realToComplex`. The spectrum stays as it is.
void complexToReal(const std::int32_t (&dims)[3], const std::complex<double>* spectrum, double* block,
                   std::size_t threads);

/// Transforms a block in place along its three axes, axis 2 running fastest, by the cosine transform of type
/// 2, not normalized. A block without values is left alone.
void cosineTransform(const std::int32_t (&dims)[3], double* block, std::size_t threads);
/// Undoes `cosineTransform`, by the cosine transform of type 3 over 8 * dims[0] * dims[1] * dims[2].
void inverseCosineTransform(const std::int32_t (&dims)[3], double* block, std::size_t threads);

} // namespace zrk
