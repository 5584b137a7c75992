#include "benchmarks/peak_memory.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>

namespace zrk::bench {

void printPeakMemory()
{
    // VmHWM counts from the start of the program. ru_maxrss would include what the process held before it
    // became this program.
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmHWM:")) {
            std::printf("%.0f\n", std::stod(line.substr(6)) * 1024);
        }
    }
}

double peakMemoryOfCall(const std::string& argument)
{
    const std::string program = std::filesystem::read_symlink("/proc/self/exe").string();
    const std::string command = "'" + program + "' '" + argument + "'";
    const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
    double bytes = 0;
    if (!pipe || std::fscanf(pipe.get(), "%lf", &bytes) != 1) {
        throw std::runtime_error("no peak memory from: " + command);
    }
    return bytes;
}

} // namespace zrk::bench
