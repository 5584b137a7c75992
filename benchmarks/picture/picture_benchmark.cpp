#include "benchmarks/example_field.h"
#include "benchmarks/report.h"
#include "core/picture/picture.h"
#include "testing/ball_union.h"
#include "testing/picture_fields.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace zrk::bench {

namespace {

using namespace picture;

struct Subject {
    std::string name;
    PreparedField field;
    PositionBox region = cube(1.5);
    double iso = 0;
    SolidSide solid = SolidSide::Below;
    bool isDear = false;
    /// Of libfive's heightmap with normals, 512^2 from above, one thread (-O3 -march=native, floats, depths
    /// rounded to voxels), on an AMD EPYC of family 26; 0 where not known. libfive isn't packaged, so its
    /// times can't be taken here.
    double libfiveMs = 0;
    double noLess = 0;                              ///< times faster than that
    std::shared_ptr<const void> document = nullptr; ///< what the field reads

    InsideField inside() const { return {field, iso, solid}; }
};

std::vector<Subject> subjects()
{
    const ExampleField beams = exampleField("beams.zrk.json");
    const ExampleField mesh = exampleField("mesh.zrk.json");
    return {
        {.name = "gyroid", .field = prepared(TwistedGyroid{}), .libfiveMs = 328, .noLess = 8},
        {.name = "shells", .field = prepared(Shells{}), .libfiveMs = 45.8, .noLess = 2.5},
        {.name = "sphere", .field = prepared(Ball{}), .libfiveMs = 17.2, .noLess = 2},
        {.name = "density", .field = prepared(Waves{}), .iso = 0.6, .solid = SolidSide::Above},
        {.name = "beams", .field = PreparedField(beams.field), .document = beams.document},
        {.name = "mesh",
         .field = PreparedField(mesh.field),
         .region = {Interval<double>(-0.5, 5.5), {-0.5, 5.5}, {-0.5, 5.5}},
         .isDear = true,
         .document = mesh.document},
    };
}

Camera seen(const PositionBox& region, std::int32_t size, const Vector3& from = {0.5, -0.72, 0.47})
{
    return viewOf(region, size, from);
}

/// Whether a pixel's ray is in the solid somewhere within a pixel of a depth. The dense march steps over what
/// a ray only grazes.
bool isInSolid(const InsideField& field, const Camera& camera, std::int32_t x, std::int32_t y, double depth)
{
    constexpr int kSteps = 1000; // a pixel, to either side
    for (int i = -kSteps; i <= kSteps; ++i) {
        const Vector3 p = camera.position(x, y, depth + i * camera.pixelAt(depth) / kSteps);
        double value = 0;
        field.values({&p[0], &p[1], &p[2], 1}, &value);
        if (value < 0) {
            return true;
        }
    }
    return false;
}

/// Compares 16384 rays with a dense march: how many hit where nothing is or miss what that hits, and by how
/// many pixels the depths of all but one in a hundred differ at most.
void compareHits(benchmark::State& state, const Subject& subject)
{
    constexpr std::int32_t kSize = 512;
    constexpr std::int32_t kStride = 4;
    const InsideField field = subject.inside();
    for (auto _ : state) {
        const Camera camera = seen(subject.region, kSize);
        PictureWork work(2, nullptr);
        Tracer tracer(field, subject.region, work);
        DepthPicture picture(kSize, kSize);
        tracer.trace(camera, Detail::Normals, picture);
        double wrong = 0;
        std::vector<double> errors;
        for (std::int32_t y = 0; y < kSize; y += kStride) {
            for (std::int32_t x = 0; x < kSize; x += kStride) {
                const std::size_t at = picture.at(x, y);
                const bool isHit = picture.kinds[at] != PixelKind::Nothing;
                const Hit hit = denseHit(field, subject.region, camera, x, y);
                if (!(hit.depth < DepthPicture::kNoDepth)) {
                    wrong += isHit && !isInSolid(field, camera, x, y, picture.depths[at]) ? 1 : 0;
                } else if (!isHit) {
                    ++wrong;
                } else {
                    errors.push_back(std::abs(picture.depths[at] - hit.depth) / camera.pixelAt(hit.depth));
                }
            }
        }
        std::sort(errors.begin(), errors.end());
        state.counters["wrong"] = wrong;
        state.counters["off"] = errors.empty() ? 0.0 : errors[errors.size() * 99 / 100];
    }
}

void trace(benchmark::State& state, const Subject& subject, const Camera& camera, std::size_t threads)
{
    PictureWork work(threads, nullptr);
    Tracer tracer(subject.inside(), subject.region, work);
    DepthPicture picture(camera.width, camera.height);
    timeBusier(state, [&] { tracer.trace(camera, Detail::Normals, picture); });
}

PictureSettings pictureOf(const Subject& subject, std::int32_t size)
{
    PictureSettings settings;
    settings.region = subject.region;
    settings.iso = subject.iso;
    settings.solid = subject.solid;
    settings.width = size;
    settings.height = size;
    settings.threads = 2;
    return settings;
}

/// Wants to stop from a time on, or when it is told to.
class Stop final : public ProgressMonitor {
public:
    using Clock = std::chrono::steady_clock;
    std::optional<Clock::time_point> from;

    void progress(double) override {}
    bool interruptRequested() override { return from && Clock::now() >= *from; }
};

/// Draws all pictures, or only the first coarse one.
void draw(benchmark::State& state, const Subject& subject, const PictureSettings& settings, bool stopsAtFirst)
{
    timeBusier(state, [&] {
        Stop stop;
        drawPictures(
            subject.field, settings,
            [&](const ShadedPicture& picture, const PictureStep&) {
                benchmark::DoNotOptimize(picture.data.data());
                if (stopsAtFirst) {
                    stop.from = Stop::Clock::now();
                }
            },
            &stop);
    });
}

/// Stops a picture at a hundred times, spread over its work, and counts the longest and the usual way to the
/// end.
void cancel(benchmark::State& state, const Subject& subject)
{
    constexpr int kStops = 100;
    const PictureSettings settings = pictureOf(subject, 512);
    const auto drawUntil = [&](std::optional<Stop::Clock::time_point> end) {
        Stop stop;
        stop.from = end;
        drawPictures(
            subject.field, settings, [](const ShadedPicture&, const PictureStep&) {}, &stop);
        return Stop::Clock::now();
    };
    for (auto _ : state) {
        const auto start = Stop::Clock::now();
        const auto whole = drawUntil(std::nullopt) - start;
        std::vector<double> waits;
        for (int i = 0; i < kStops; ++i) {
            const auto end = Stop::Clock::now() + whole * i / kStops;
            waits.push_back(std::chrono::duration<double, std::milli>(drawUntil(end) - end).count());
        }
        std::sort(waits.begin(), waits.end());
        state.counters["longest ms"] = waits.back();
        state.counters["median ms"] = waits[waits.size() / 2];
    }
}

template <class Body>
void add(const std::string& name, Body body)
{
    benchmark::RegisterBenchmark(name.c_str(), body)->UseManualTime()->Unit(benchmark::kMillisecond);
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
    const auto once = [](const std::string& name, auto body) {
        benchmark::RegisterBenchmark(name.c_str(), body)->Iterations(1)->Repetitions(1);
    };
    for (const Subject& subject : subjects()) {
        const std::string hits = subject.name + "/hits";
        once(hits, [=](benchmark::State& state) { compareHits(state, subject); });
        rows.push_back(counter(subject.name + ": wrong hits of 16384 rays", hits, "wrong").atMost(0));
        rows.push_back(counter("   99 % of depths off, pixels", hits, "off").atMost(0.1));
        for (const std::int32_t size : {128, 512, 1024}) {
            const std::string stem = subject.name + "/" + std::to_string(size);
            for (const std::size_t threads : {1, 2}) {
                if (!subject.isDear || size < 1024) {
                    timed(stem + "/" + std::to_string(threads), [=](benchmark::State& state) {
                        trace(state, subject, seen(subject.region, size), threads);
                    });
                }
            }
        }
        const std::string of512 = "   trace of 512^2, 2 threads";
        if (subject.isDear) {
            rows.push_back(counter(of512 + ", ms", subject.name + "/512/2", "ms"));
        } else {
            milliseconds(of512, subject.name + "/512/2", 18);
            milliseconds("   1024^2", subject.name + "/1024/2", 65);
        }
        for (const std::string size : {"512", "1024"}) {
            rows.push_back(ratio("   " + size + "^2: 2 threads, times faster than one",
                                 {subject.name + "/" + size + "/1"}, {subject.name + "/" + size + "/2"})
                               .noLess(1.85));
        }
        if (subject.libfiveMs > 0) {
            const std::string above = subject.name + "/512/above";
            add(above, [=](benchmark::State& state) {
                trace(state, subject, seen(subject.region, 512, {0, 0, 1}), 1);
                state.counters["libfive"] = benchmark::Counter(subject.libfiveMs * 1e-3,
                                                               benchmark::Counter::kIsIterationInvariantRate);
            });
            rows.push_back(
                counter("   512^2 from above, 1 thread: times faster than libfive's heightmap took", above,
                        "libfive")
                    .noLess(subject.noLess));
        }
        if (subject.name == "gyroid" || subject.isDear) {
            PictureSettings coarse = pictureOf(subject, 1024);
            coarse.firstSize = 128;
            timed(subject.name + "/framed",
                  [=](benchmark::State& state) { draw(state, subject, coarse, true); });
            coarse.camera = seen(subject.region, 1024);
            timed(subject.name + "/first",
                  [=](benchmark::State& state) { draw(state, subject, coarse, true); });
            milliseconds("   first picture, 128^2, 2 threads", subject.name + "/first",
                         subject.isDear ? 40 : 3);
            rows.push_back(counter("   the same with framing, ms", subject.name + "/framed", "ms"));
            once(subject.name + "/cancel", [=](benchmark::State& state) { cancel(state, subject); });
            rows.push_back(counter("   from cancel to stop, 512^2, 2 threads, the longest of 100, ms",
                                   subject.name + "/cancel", "longest ms")
                               .atMost(subject.isDear ? 10 : 5));
        }
        if (subject.name == "gyroid") {
            timed("gyroid/whole",
                  [=](benchmark::State& state) { draw(state, subject, pictureOf(subject, 1024), false); });
            milliseconds("   whole picture, 1024^2, 2 threads", "gyroid/whole", 500);
        }
    }
    const Subject unions[] = {
        {.name = "chain", .field = PreparedField(chains::unionOfBalls(64, 0.25))},
        {.name = "plain", .field = PreparedField(chains::unionOfBalls<chains::Undecided>(64, 0.25))},
        {.name = "formula", .field = prepared(chains::BallUnion{chains::manyBalls(64, 0.25)})},
    };
    for (const Subject& subject : unions) {
        timed("union/" + subject.name,
              [=](benchmark::State& state) { trace(state, subject, seen(subject.region, 512), 1); });
    }
    rows.push_back(ratio("64 spheres, 512^2: chain with what is left of it, over all of it", {"union/chain"},
                         {"union/plain"})
                       .atMost(0.5));
    rows.push_back(ratio("   over one formula with all", {"union/chain"}, {"union/formula"}));
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
