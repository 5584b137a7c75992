#pragma once

#include "model/json.h"

#include <functional>

namespace zrkworkbench {

/// @{ Documents that the window is measured with.

/// So many nodes, an even number: spheres that are joined by twos into one solid, and a shell around it.
zrkmodel::ZRKJson chainOfNodes(int count);

/// The smaller of a sphere and a twisted gyroid, in bounds with edges of one length.
zrkmodel::ZRKJson sphereAndGyroid();

/// A raster of a field of so many waves that it takes a minute and more to freeze.
zrkmodel::ZRKJson slowRaster();

/// Gradients of gradients, of which a slice takes a minute and more.
zrkmodel::ZRKJson nestedGradients();

/// @}

/// Lets the window work until something holds, or for so many milliseconds; returns how many it took.
double waitFor(const std::function<bool()>& holds, double patience = 60000);

} // namespace zrkworkbench
