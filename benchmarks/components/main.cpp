#include "benchmarks/components/component_benchmarks.h"

#include <cstdio>
#include <exception>

int main(int argc, char** argv)
{
    try {
        std::vector<zrk::bench::Row> rows = zrk::bench::registerPointwise();
        for (const zrk::bench::Row& row : zrk::bench::registerCurves()) {
            rows.push_back(row);
        }
        return zrk::bench::run(argc, argv, rows);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "bench_components: %s\n", failure.what());
        return 1;
    }
}
