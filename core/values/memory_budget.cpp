#include "core/values/memory_budget.h"

#include "core/values/fault.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <charconv>
#include <cstdio>
#include <limits>
#include <unistd.h>

namespace zrk {

namespace {

std::atomic<double> budget{std::numeric_limits<double>::infinity()};

} // namespace

double memoryBudget() { return budget.load(std::memory_order_relaxed); }

void setMemoryBudget(double bytes) { budget.store(bytes, std::memory_order_relaxed); }

double memoryInUse()
{
    // Pages: of the address space, in memory, and of these the copies of files.
    long space = 0;
    long resident = 0;
    long files = 0;
    std::FILE* status = std::fopen("/proc/self/statm", "re");
    if (!status) {
        return 0;
    }
    const bool isRead = std::fscanf(status, "%ld %ld %ld", &space, &resident, &files) == 3;
    std::fclose(status);
    return isRead ? static_cast<double>(resident - files) * static_cast<double>(sysconf(_SC_PAGESIZE)) : 0;
}

void checkMemory(double bytes, const std::string& place, const std::string& found, const std::string& remedy)
{
    const double most = memoryBudget();
    if (most == std::numeric_limits<double>::infinity()) {
        return;
    }
    const double used = memoryInUse();
    if (used + bytes > most) {
        throw FaultError({place, found + ", which needs " + shownBytes(bytes),
                          "at most " + shownBytes(std::max(0.0, most - used)) +
                              ", what is left of the budget of " + shownBytes(most),
                          remedy + ", or allow more with --memory", FaultKind::FailedWork});
    }
}

std::string shownBytes(double bytes)
{
    constexpr std::array<const char*, 4> kUnits = {"KiB", "MiB", "GiB", "TiB"};
    std::size_t unit = 0;
    double size = bytes / 1024;
    while (size >= 1024 && unit + 1 < kUnits.size()) {
        size /= 1024;
        ++unit;
    }
    std::array<char, 512> text{};
    // Not printf, which writes 1,5 where the locale of the program does.
    const auto [end, error] =
        std::to_chars(text.data(), text.data() + text.size(), size, std::chars_format::fixed, 1);
    return std::string(text.data(), end) + " " + kUnits[unit];
}

} // namespace zrk
