#include "apps/cli/commands.h"
#include "apps/cli/messages.h"
#include "apps/cli/progress_bar.h"
#include "apps/cli/slice_options.h"
#include "host/field_grid.h"
#include "host/field_remarks.h"
#include "host/slice_legend.h"
#include "host/slice_picture.h"
#include "host/solid.h"

#include <fmt/core.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <optional>

namespace zrkcli {

namespace {

zrkmodel::SlicePlane planeOf(const SliceOptions& options, const zrkmodel::GraphDocument& document)
{
    constexpr int kAcrossZ = 2;
    const zrkmodel::DocumentView& view = document.view();
    const int axis = options.axis ? (*options.axis)[0] - 'x' : view.axis.value_or(kAcrossZ);
    return {boundsToSample(std::nullopt, document), axis, options.at.value_or(view.at.value_or(0.5)),
            options.size};
}

zrkmodel::SliceStyle styleOf(const SliceOptions& options, const Job& job, const zrkmodel::OutputField& output)
{
    zrkmodel::SliceStyle style;
    const auto range = options.range ? parseRange(*options.range) : job.document.view().range;
    if (range) {
        style.range = {range->lower, range->upper};
    }
    if (output.tag == zrkmodel::Tag::Scalar) {
        style.insideAbove = options.isDensity || output.isDensity;
        style.contour = options.iso.value_or(zrkmodel::surfaceLevelOf(style.insideAbove));
    }
    return style;
}

void drawSliceOf(const SliceOptions& options, const Job& job, const zrkmodel::OutputField& output)
{
    const std::string file = job.fileOf(output, options.file);
    const zrkmodel::SlicePlane plane = planeOf(options, job.document);
    const zrkmodel::SliceStyle style = styleOf(options, job, output);
    const auto values = withProgress("sampling", options.quiet, [&](ProgressBar& bar) {
        return zrk::valueOrThrow(zrkmodel::sampleField(output.field, plane, &bar, options.threads));
    });
    const int components = static_cast<int>(output.tag.components);
    const zrkmodel::SlicePicture slice =
        zrkmodel::drawSlice({plane.width(), plane.height(), components, values, values.isWeightless}, style);
    const zrkmodel::SliceScale scale{plane.pixelSize(), job.document.unit()};
    const zrk::Picture picture = zrkmodel::finishedSlice(slice, style, components, scale, options.hasLegend);
    zrk::valueOrThrow(zrk::writePng(file, picture));
    tellRemarks(zrkmodel::remarksOn(values.summary, output, job.document.name()), options.quiet);
    if (!options.quiet) {
        const auto& summary = values.summary;
        tell("{}: {} x {} pixels, {} = {:g}, colours from {:.4g} to {:.4g}{}{}\n", zrk::printable(file),
             picture.dims[0], picture.dims[1], "xyz"[plane.axis()], plane.coordinate(), slice.range.low,
             slice.range.high, style.contour ? fmt::format(", dark line at {:g}", *style.contour) : "",
             summary.weightless > 0 ? ", dots where the weight is 0" : "");
    }
}

} // namespace

void SliceOptions::addTo(CLI::App& command)
{
    addWithSeveralPinsTo(command);
    command.add_option("-o,--output", file, "picture to write, .png")->required();
    command
        .add_option("--axis", axis,
                    "axis that the slice is across: x, y or z; without it that of the document's view, or z")
        ->check(CLI::IsMember({"x", "y", "z"}));
    command
        .add_option("--at", at, "place along the axis, 0..1; without it that of the document's view, or 0.5")
        ->check(CLI::Range(0.0, 1.0));
    command.add_option("--size", size, "pixels along the longer side (default 512)")
        ->check(CLI::Range(16, 16384));
    command.add_option("--range", range, "values LO,HI at the ends of the colours");
    command.add_option("--iso", iso, "value at the surface, for scalars (default 0, or 0.5 for a density)");
    command.add_flag(
        "--density", isDensity,
        "take the field for a density, which is solid above that value; outputs named density are anyway");
    command.add_flag("--legend", hasLegend, "a strip below with colours, values and a scale bar");
}

void check(const SliceOptions& options)
{
    checkPictureName(options.file);
    if (options.at) {
        checkFinite("--at", *options.at);
    }
    if (options.iso) {
        checkFinite("--iso", *options.iso);
    }
    if (options.range) {
        parseRange(*options.range);
    }
    for (const std::string& pin : options.pins) {
        parsePin("--pin", pin);
    }
}

void drawSlices(const SliceOptions& options, std::vector<std::filesystem::path>* files)
{
    check(options);
    const Job job(options, files);
    for (const zrkmodel::OutputField& output : job.outputs) {
        drawSliceOf(options, job, output);
    }
}

void addSliceCommand(const Program& program)
{
    CLI::App* command = program.app.add_subcommand("slice", "draw one slice of a field as a picture");
    auto options = std::make_shared<SliceOptions>();
    options->addTo(*command);
    command->callback([&work = program.work, options] { work = [options] { drawSlices(*options); }; });
}

} // namespace zrkcli
