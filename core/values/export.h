#pragma once

/// Marks what the shared libraries export: what stands in installed headers, and what the programs and the
/// panels use. All else is hidden. `cmake/exported_symbols.txt` is the list of it.
#define ZRK_API [[gnu::visibility("default")]]
