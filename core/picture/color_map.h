#pragma once

#include "core/values/tensor.h"

#include <utility>
#include <vector>

namespace zrk {

/// An sRGB colour, components 0 to 1.
using Rgb = Tensor<3, double>;

/// Colours for the numbers 0 to 1: a finely stepped table. Immutable, safe to share between threads.
class ColorMap {
public:
    /// @param colors  from 0 to 1 in equal steps, at least one.
    explicit ColorMap(std::vector<Rgb> colors) : colors(std::move(colors)) {}

    /// The colour at t; below 0, above 1 and NaN give the nearer end (NaN the lower).
    const Rgb& at(double t) const;

private:
    std::vector<Rgb> colors;
};

/// Dark violet over green to yellow; lightness grows evenly. For values without a special level.
///
/// Source: "viridis" by N. Smith and S. van der Walt, matplotlib 2.0, 2015 (CC0). Here: nine of its
/// colours, with straight lines between them in CIELAB.
const ColorMap& sequentialMap();

/// Blue to orange, pale on both sides of the middle, where it steps from one hue to the other;
/// equally far from the middle is equally strong. For values on two sides of a level.
///
/// Source: K. Moreland, "Diverging color maps for scientific visualization", ISVC 2009,
/// doi:10.1007/978-3-642-10520-3_9. Here: his interpolation, with end colours that colour-blind
/// readers tell apart as well, and without the neutral middle, so that the sides differ in thin parts too.
const ColorMap& divergingMap();

} // namespace zrk
