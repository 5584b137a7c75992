// The bounds of formulas from outside, which see one lane whatever this library is compiled for.
#if defined(ZRK_SIMD) && ZRK_SIMD
#undef ZRK_SIMD
#define ZRK_SIMD 0
#include "core/values/interval_batch.cpp"
#endif
