// Compiled for every x86-64, and it calls nothing of the standard library's templates, whose code another
// source of the program may have brought for newer processors.
#include "core/values/processor.h"

#include <cstring>

#include <unistd.h>

#if defined(__x86_64__)
#include <cpuid.h>
#endif

namespace zrk {

namespace {

constexpr const char* kNames[] = {"AVX",   "AVX2",    "BMI1",     "BMI2",     "F16C",     "FMA",     "LZCNT",
                                  "MOVBE", "AVX512F", "AVX512BW", "AVX512CD", "AVX512DQ", "AVX512VL"};

/// Runs before the constructors of all static objects, as these may hold newer instructions.
[[gnu::constructor(101)]] void checkProcessor()
{
    char text[512];
    const std::size_t length =
        describeProcessorFault(processorFeatures(), requiredProcessorFeatures(), text, sizeof text);
    if (length > 0) {
        [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, text, length);
        ::_exit(1);
    }
}

} // namespace

void requireProcessor() {}

ProcessorFeatures processorFeatures()
{
#if defined(__x86_64__)
    unsigned a = 0;
    unsigned b = 0;
    unsigned c = 0;
    unsigned d = 0;
    const unsigned basic = __get_cpuid(1, &a, &b, &c, &d) != 0 ? c : 0;
    const unsigned extended = __get_cpuid(0x80000001, &a, &b, &c, &d) != 0 ? c : 0;
    __builtin_cpu_init();
    const bool bits[] = {__builtin_cpu_supports("avx") != 0,
                         __builtin_cpu_supports("avx2") != 0,
                         __builtin_cpu_supports("bmi") != 0,
                         __builtin_cpu_supports("bmi2") != 0,
                         (basic & bit_F16C) != 0,
                         __builtin_cpu_supports("fma") != 0,
                         (extended & bit_LZCNT) != 0,
                         (basic & bit_MOVBE) != 0,
                         __builtin_cpu_supports("avx512f") != 0,
                         __builtin_cpu_supports("avx512bw") != 0,
                         __builtin_cpu_supports("avx512cd") != 0,
                         __builtin_cpu_supports("avx512dq") != 0,
                         __builtin_cpu_supports("avx512vl") != 0};
    ProcessorFeatures features = 0;
    for (std::size_t k = 0; k < sizeof bits; ++k) {
        features |= (bits[k] ? 1u : 0u) << k;
    }
    return features;
#else
    return 0;
#endif
}

std::size_t describeProcessorFault(ProcessorFeatures offered, ProcessorFeatures required, char* text,
                                   std::size_t size)
{
    std::size_t length = 0;
    const auto add = [&](const char* more) {
        const std::size_t count = std::strlen(more);
        const std::size_t room = size - 1 - length;
        std::memcpy(text + length, more, count < room ? count : room);
        length += count < room ? count : room;
    };
    for (std::size_t k = 0; k < sizeof kNames / sizeof *kNames; ++k) {
        if ((required & ~offered) >> k & 1u) {
            add(length == 0 ? "zrk: processor, found none of the instructions " : ", ");
            add(kNames[k]);
        }
    }
    if (length > 0) {
        add(", expected them all, as ");
        add(codePath());
        add(" of this build needs them\n  remedy: use a newer machine (x86-64-v3 is Intel's Haswell, AMD's "
            "Excavator and "
            "later), or build for this one with -DZRK_ARCH=native\n");
    }
    text[length] = '\0';
    return length;
}

} // namespace zrk
