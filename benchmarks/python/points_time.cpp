// What calls.py compares with: evaluates a document's output at points, in C++ alone, each time it is asked.
//
//     python_points_time DOC POINTS
//
// POINTS holds x, y, z of one point after the other as doubles. For each line of standard input it evaluates
// all of them into a fresh array and prints the seconds that took and the sum of the values.
#include "components/registration.h"
#include "core/engine/parallel_loop.h"
#include "core/engine/prepared_field.h"
#include "host/graph_document.h"

#include <chrono>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <memory>
#include <numeric>
#include <string>
#include <vector>

namespace {

/// Values at points that are given by coordinates, on all processors.
std::unique_ptr<double[]> evaluate(const zrk::PreparedField& field, const std::vector<double> (&axes)[3])
{
    constexpr std::size_t kPointsATask = 16 * zrk::kBlockSamples;
    const std::size_t count = axes[0].size();
    std::unique_ptr<double[]> values(new double[count]);
    const auto tasks = static_cast<std::int32_t>((count + kPointsATask - 1) / kPointsATask);
    zrk::parallelTasks(tasks, static_cast<std::int32_t>(zrk::workerCount(0)), [&](std::int32_t k) {
        const std::size_t first = static_cast<std::size_t>(k) * kPointsATask;
        field.evaluate(axes[0].data() + first, axes[1].data() + first, axes[2].data() + first,
                       std::min(kPointsATask, count - first), values.get() + first);
    });
    return values;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::cerr << "found " << argc - 1 << " arguments, expected DOC POINTS\n";
        return 2;
    }
    zrkmodel::ZRKGraphComponentsInit::initializeModule();
    zrkmodel::DocumentWarnings warnings;
    const auto document = zrk::valueOrThrow(zrkmodel::GraphDocument::load(argv[1], warnings));
    const zrk::PreparedField field(zrk::valueOrThrow(document.outputField()).field);

    std::ifstream file(argv[2], std::ios::binary);
    std::vector<double> axes[3];
    for (double point[3]; file.read(reinterpret_cast<char*>(point), sizeof point);) {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            axes[axis].push_back(point[axis]);
        }
    }
    for (std::string line; std::getline(std::cin, line);) {
        const auto begun = std::chrono::steady_clock::now();
        const auto values = evaluate(field, axes);
        const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begun;
        std::printf("%.9f %.17g\n", taken.count(),
                    std::accumulate(values.get(), values.get() + axes[0].size(), 0.0));
        std::fflush(stdout);
    }
    return 0;
}
