#include "apps/cli/commands.h"
#include "apps/cli/messages.h"
#include "apps/cli/options.h"
#include "apps/cli/progress_bar.h"
#include "host/field_grid.h"
#include "host/slice_picture.h"

#include <fmt/core.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <optional>

namespace zrkcli {

namespace {

struct SliceOptions : SamplingOptions {
    std::string file;
    std::string axis = "z";
    double at = 0.5;
    int size = 512;
    std::optional<std::string> range;
};

void slice(const SliceOptions& options)
{
    if (!options.file.ends_with(".png")) {
        throw zrk::FaultError({"-o", zrk::quotation(options.file), "a file name ending in .png",
                               "slices are written as PNG; `zrk sample` writes volumes"});
    }
    checkFinite("--at", options.at);
    zrkmodel::SliceStyle style;
    if (options.range) {
        const zrk::Interval<double> range = parseRange(*options.range);
        style.range = {range.lower, range.upper};
    }
    const Job job(options);
    const int axis = options.axis[0] - 'x';
    const zrkmodel::SlicePlane plane(boundsToSample(std::nullopt, job.document), axis, options.at,
                                     options.size);
    const auto values = withProgress("sampling", options.quiet, [&](ProgressBar& bar) {
        return zrk::valueOrThrow(zrkmodel::sampleField(job.output.field, plane, &bar, options.threads));
    });
    if (job.output.tag == zrkmodel::Tag::Scalar) {
        style.contour = job.output.surfaceLevel;
        style.insideAbove = job.output.isDensity;
    }
    const zrkmodel::SliceGrid grid{plane.width(), plane.height(), static_cast<int>(job.output.tag.components),
                                   values};
    const zrkmodel::SlicePicture slice = zrkmodel::drawSlice(grid, style);
    zrk::valueOrThrow(zrk::writePng(options.file, slice.picture));
    if (!options.quiet) {
        tell("{}: {} x {} pixels, {} = {:g}, colours from {:.4g} to {:.4g}{}\n", zrk::printable(options.file),
             plane.width(), plane.height(), options.axis, plane.coordinate(), slice.range.low,
             slice.range.high, style.contour ? fmt::format(", dark line at {:g}", *style.contour) : "");
    }
}

} // namespace

void addSliceCommand(const Program& program)
{
    CLI::App* command = program.app.add_subcommand("slice", "draw one slice of a field as a picture");
    auto options = std::make_shared<SliceOptions>();
    options->addTo(*command);
    command->add_option("-o,--output", options->file, "picture to write, .png")->required();
    command->add_option("--axis", options->axis, "axis that the slice is across: x, y or z (default)")
        ->check(CLI::IsMember({"x", "y", "z"}));
    command->add_option("--at", options->at, "place along the axis, 0..1 (default 0.5)")
        ->check(CLI::Range(0.0, 1.0));
    command->add_option("--size", options->size, "pixels along the longer side (default 512)")
        ->check(CLI::Range(16, 16384));
    command->add_option("--range", options->range, "values LO,HI at the ends of the colours");
    command->callback([&work = program.work, options] { work = [options] { slice(*options); }; });
}

} // namespace zrkcli
