// Compiled as the rest of the library, for the processors that it is for.
#include "core/values/processor.h"

namespace zrk {

ProcessorFeatures requiredProcessorFeatures()
{
    ProcessorFeatures features = 0;
#if defined(__AVX__)
    features |= 1u << 0;
#endif
#if defined(__AVX2__)
    features |= 1u << 1;
#endif
#if defined(__BMI__)
    features |= 1u << 2;
#endif
#if defined(__BMI2__)
    features |= 1u << 3;
#endif
#if defined(__F16C__)
    features |= 1u << 4;
#endif
#if defined(__FMA__)
    features |= 1u << 5;
#endif
#if defined(__LZCNT__)
    features |= 1u << 6;
#endif
#if defined(__MOVBE__)
    features |= 1u << 7;
#endif
#if defined(__AVX512F__)
    features |= 1u << 8;
#endif
#if defined(__AVX512BW__)
    features |= 1u << 9;
#endif
#if defined(__AVX512CD__)
    features |= 1u << 10;
#endif
#if defined(__AVX512DQ__)
    features |= 1u << 11;
#endif
#if defined(__AVX512VL__)
    features |= 1u << 12;
#endif
    return features;
}

const char* codePath()
{
#if !defined(ZRK_SIMD) || !ZRK_SIMD
    return "portable, 1 lane";
#elif defined(__AVX512F__)
    return "x86-64-v4, 8 lanes";
#elif defined(__AVX2__) && defined(__FMA__)
    return "x86-64-v3, 4 lanes";
#elif defined(__AVX__)
    return "x86-64-v2 with AVX, 4 lanes";
#else
    return "x86-64-v2, 2 lanes";
#endif
}

} // namespace zrk
