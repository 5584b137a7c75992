#include "benchmarks/report.h"
#include "core/picture/picture.h"
#include "testing/ball_union.h"
#include "testing/picture_fields.h"

#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>

namespace zrk::bench {

namespace {

using namespace picture;

struct Subject {
    std::string name;
    InsideField field;
    double libfiveMs; ///< of its heightmap with normals, 512^2 from above, one thread; 0 where not known
    double noLess;    ///< times faster than that
};

/// The times of libfive's heightmap (-O3 -march=native, floats, depths rounded to voxels) are from an AMD
/// EPYC of family 26, one thread. libfive isn't packaged, so they can't be taken here.
std::vector<Subject> subjects()
{
    return {{"gyroid", {prepared(TwistedGyroid{}), 0, SolidSide::Below}, 328, 8},
            {"shells", {prepared(Shells{}), 0, SolidSide::Below}, 45.8, 2.5},
            {"sphere", {prepared(Ball{}), 0, SolidSide::Below}, 17.2, 2},
            {"density", {prepared(Waves{}), 0.6, SolidSide::Above}, 0, 0}};
}

Camera seen(std::int32_t size, const Vector3& from = {0.5, -0.72, 0.47})
{
    return viewOf(cube(1.5), size, from);
}

/// Throws if a ray of every few hits what a dense march doesn't, or otherwise.
void checkHits(const Subject& subject)
{
    constexpr std::int32_t kSize = 512;
    constexpr std::int32_t kStride = 16;
    const Camera camera = seen(kSize);
    PictureWork work(2, nullptr);
    Tracer tracer(subject.field, cube(1.5), work);
    DepthPicture picture(kSize, kSize);
    tracer.trace(camera, Detail::Normals, picture);
    for (std::int32_t y = 0; y < kSize; y += kStride) {
        for (std::int32_t x = 0; x < kSize; x += kStride) {
            const bool isHit = picture.kinds[picture.at(x, y)] != PixelKind::Nothing;
            const Hit hit = denseHit(subject.field, cube(1.5), camera, x, y);
            if (isHit != (hit.depth < DepthPicture::kNoDepth)) {
                throw std::runtime_error(subject.name + ": a ray differs from a dense march");
            }
        }
    }
}

void trace(benchmark::State& state, const InsideField& field, const Camera& camera, std::size_t threads)
{
    PictureWork work(threads, nullptr);
    Tracer tracer(field, cube(1.5), work);
    DepthPicture picture(camera.width, camera.height);
    for (auto _ : state) {
        tracer.trace(camera, Detail::Normals, picture);
        benchmark::ClobberMemory();
    }
}

PictureSettings wholePicture(std::int32_t size, std::size_t threads)
{
    PictureSettings settings;
    settings.region = cube(1.5);
    settings.width = size;
    settings.height = size;
    settings.threads = threads;
    return settings;
}

void draw(benchmark::State& state, const PictureSettings& settings, bool stopsAtFirst)
{
    class Stop final : public ProgressMonitor {
    public:
        bool isWanted = false;
        void progress(double) override {}
        bool interruptRequested() override { return isWanted; }
    };
    const PreparedField field = prepared(TwistedGyroid{});
    for (auto _ : state) {
        Stop stop;
        drawPictures(
            field, settings,
            [&](const ShadedPicture& picture, const PictureStep&) {
                benchmark::DoNotOptimize(picture.data.data());
                stop.isWanted = stopsAtFirst;
            },
            &stop);
    }
}

template <class Body>
void add(const std::string& name, Body body)
{
    // Wall-clock time, as not all work is on the thread that is measured.
    benchmark::RegisterBenchmark(name.c_str(), body)->UseRealTime()->Unit(benchmark::kMillisecond);
}

std::vector<Row> registerAll()
{
    std::vector<Row> rows;
    const auto milliseconds = [&rows](const std::string& what, const std::string& entry, double most) {
        rows.push_back(counter(what + ", ms", entry, "ms").atMost(most));
    };
    const auto timed = [](const std::string& name, auto body) {
        add(name, [body](benchmark::State& state) {
            body(state);
            state.counters["ms"] = benchmark::Counter(
                1e-3, benchmark::Counter::Flags(benchmark::Counter::kIsIterationInvariantRate |
                                                benchmark::Counter::kInvert));
        });
    };
    for (const Subject& subject : subjects()) {
        checkHits(subject);
        for (const std::int32_t size : {128, 512, 1024}) {
            const std::string stem = subject.name + "/" + std::to_string(size);
            for (const std::size_t threads : {1, 2}) {
                timed(stem + "/" + std::to_string(threads),
                      [=](benchmark::State& state) { trace(state, subject.field, seen(size), threads); });
            }
        }
        milliseconds("trace of " + subject.name + ", 512^2, 2 threads", subject.name + "/512/2", 18);
        milliseconds("   1024^2", subject.name + "/1024/2", 65);
        rows.push_back(ratio("   1024^2: 2 threads, times faster than one", {subject.name + "/1024/1"},
                             {subject.name + "/1024/2"})
                           .noLess(1.85));
        if (subject.libfiveMs > 0) {
            const std::string above = subject.name + "/512/above";
            add(above, [=](benchmark::State& state) {
                trace(state, subject.field, seen(512, {0, 0, 1}), 1);
                state.counters["libfive"] = benchmark::Counter(subject.libfiveMs * 1e-3,
                                                               benchmark::Counter::kIsIterationInvariantRate);
            });
            rows.push_back(
                counter("   512^2 from above, 1 thread: times faster than libfive's heightmap took", above,
                        "libfive")
                    .noLess(subject.noLess));
        }
    }
    const InsideField chain(PreparedField(chains::unionOfBalls(64, 0.25)), 0, SolidSide::Below);
    const InsideField formula(prepared(chains::BallUnion{chains::manyBalls(64, 0.25)}), 0, SolidSide::Below);
    timed("union/chain", [=](benchmark::State& state) { trace(state, chain, seen(512), 1); });
    timed("union/formula", [=](benchmark::State& state) { trace(state, formula, seen(512), 1); });
    rows.push_back(ratio("64 spheres, 512^2: chain with what is left of it, of one formula with all",
                         {"union/chain"}, {"union/formula"})
                       .atMost(0.5));
    PictureSettings coarse = wholePicture(1024, 2);
    coarse.firstSize = 128;
    timed("first/128", [=](benchmark::State& state) { draw(state, coarse, true); });
    milliseconds("first picture of the gyroid, 128^2, framing included, 2 threads", "first/128", 3);
    timed("whole/1024", [](benchmark::State& state) { draw(state, wholePicture(1024, 2), false); });
    milliseconds("whole picture of the gyroid, 1024^2, 2 threads", "whole/1024", 500);
    return rows;
}

} // namespace

} // namespace zrk::bench

int main(int argc, char** argv)
{
    try {
        return zrk::bench::run(argc, argv, zrk::bench::registerAll());
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "bench_picture: %s\n", failure.what());
        return 1;
    }
}
