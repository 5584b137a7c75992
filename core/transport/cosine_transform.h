#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace zrk::fft {

/// A block of values over D axes that is transformed in place.
template <class T, int D>
class DCTInterface;

template <class T>
class DCTInterface<T, 3> {
public:
    virtual ~DCTInterface() = default;
    /// Takes new extents; the values are undefined afterwards.
    virtual void resize(std::int32_t n0, std::int32_t n1, std::int32_t n2) = 0;
    /// Samples to cosine coefficients.
    virtual void forward() = 0;
    /// Undoes `forward`.
    virtual void inverse() = 0;
    /// Value (i, j, k) stands at (i * n1 + j) * n2 + k.
    virtual T* data() = 0;
};

/// Cosine transforms of types 2, not normalized, and 3 over 8 times the number of values, by pocketfft. Both
/// leave a block with an extent of 0 alone. An object belongs to one thread at a time.
template <class T>
class DCTPocket;

template <>
class DCTPocket<double> : public DCTInterface<double, 3> {
public:
    std::size_t threadCount = 1; ///< at least 1

    void resize(std::int32_t n0, std::int32_t n1, std::int32_t n2) override;
    void forward() override;
    void inverse() override;
    double* data() override { return _buffer.data(); }

    const std::int32_t (&dims() const)[3] { return _dims; }

private:
    std::int32_t _dims[3] = {};
    std::vector<double> _buffer;
};

} // namespace zrk::fft

namespace zrk::optimalTransport {

/// Returns the eigenvalues of the second difference with step 1 / n on n cells whose ends let nothing pass.
/// Its eigenvectors are cosines of m half waves: (2 cos(pi m / n) - 2) n^2 for m = 0 to n - 1.
///
/// Source: Strang, "The discrete cosine transform", SIAM Review 41(1), 1999, doi:10.1137/S0036144598336745.
std::vector<double> laplacianEigenvalues(std::int32_t n);

/// A cosine transform that knows the spectrum of the Laplacian on the unit box without flux through its
/// faces.
template <class T>
class DCT;

template <>
class DCT<double> final : public fft::DCTPocket<double> {
public:
    void resize(std::int32_t n0, std::int32_t n1, std::int32_t n2) override;
    /// @{ Those along one axis, as many as its extent.
    const std::vector<double>& eigenvaluesX() const { return _eigenvaluesX; }
    const std::vector<double>& eigenvaluesY() const { return _eigenvaluesY; }
    const std::vector<double>& eigenvaluesZ() const { return _eigenvaluesZ; }
    /// @}

private:
    std::vector<double> _eigenvaluesX;
    std::vector<double> _eigenvaluesY;
    std::vector<double> _eigenvaluesZ;
};

/// Replaces the values r of the transform by a phi with -Laplacian(phi) = r. The mean of r, for which there
/// is no phi, comes out negated.
///
/// Source of the method: Press, Teukolsky, Vetterling, Flannery, "Numerical Recipes", 3rd edition, 2007,
/// section 20.4: a cosine transform, a division of each coefficient by its eigenvalue, and the transform
/// back.
void applyInverseLaplacian(DCT<double>& dct);

} // namespace zrk::optimalTransport
