#pragma once

#include "core/values/export.h"

#include <cstddef>
#include <cstdint>

namespace zrk {

/// Sets of instructions, a bit each, in the order of `describeProcessorFault`'s names.
using ProcessorFeatures = std::uint32_t;

/// What this machine offers: the processor has it and the system saves its registers. 0 on other processors
/// than x86-64.
ProcessorFeatures processorFeatures();

/// What the code of this library was compiled for.
ProcessorFeatures requiredProcessorFeatures();

/// Writes the message of a machine that lacks some of what is required, a line on what is missing and one
/// with the remedy, and returns its length; 0 if it lacks nothing. Text beyond `size` is cut off; it ends
/// with a 0.
std::size_t describeProcessorFault(ProcessorFeatures offered, ProcessorFeatures required, char* text,
                                   std::size_t size);

/// Links in the check that runs when the library is loaded, before anything else of it: where the machine
/// lacks instructions that the code is made of, it tells so on standard error and ends the program with
/// status 1. Without it the first of these instructions would end the program with a signal.
void requireProcessor();

/// The level of x86-64 that the code of this library was compiled for, with the lanes of a batch: "x86-64-v4,
/// 8 lanes". Other processors read as "portable, 1 lane".
ZRK_API const char* codePath();

} // namespace zrk
