#include "benchmarks/mesh/mesh_benchmarks.h"

#include <cstdio>
#include <exception>

int main(int argc, char** argv)
{
    try {
        std::vector<zrk::bench::Row> rows = zrk::bench::registerBeams();
        for (const auto& others : {zrk::bench::registerMeshFields(), zrk::bench::registerObjReading()}) {
            rows.insert(rows.end(), others.begin(), others.end());
        }
        return zrk::bench::run(argc, argv, rows);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "bench_mesh: %s\n", failure.what());
        return 1;
    }
}
