#include "apps/cli/solid_options.h"

#include <fmt/core.h>

namespace zrkcli {

void SolidOptions::addTo(CLI::App& command)
{
    SamplingOptions::addTo(command);
    command.add_option(
        "--bounds", bounds,
        "corners x0,y0,z0,x1,y1,z1; without them the document's modelBounds, or the unit cube");
    command.add_option("--iso", iso,
                       "value at the surface (default 0, or 0.5 for a density). Solid is what lies below it, "
                       "for a density what lies above it");
    command.add_flag("--density", isDensity,
                     "take the field for a density; outputs named density are anyway");
}

zrkmodel::Solid solidOf(const SolidOptions& options, const Job& job)
{
    zrkmodel::Solid solid = zrk::valueOrThrow(zrkmodel::solidOf(
        job.output(), {}, options.iso, options.isDensity, placeOf(job),
        fmt::format("choose one with --pin; `zrk check {}` lists the outputs and their tags, and `zrk slice` "
                    "draws vectors and colours",
                    options.document)));
    if (options.iso) {
        checkFinite("--iso", *options.iso);
    }
    solid.bounds = boundsToSample(options.bounds, job.document);
    return solid;
}

void PaintOptions::addTo(CLI::App& command)
{
    command.add_option(
        "--color", color,
        "output with the solid's colours, NODE:OUT; a scalar is shown by dark violet to yellow");
    command.add_option("--range", range, "values LO,HI at the ends of a scalar's colours");
}

Paint paintOf(const PaintOptions& options, const zrkmodel::GraphDocument& document)
{
    Paint paint;
    if (options.range) {
        paint.range = parseRange(*options.range);
    }
    if (!options.color.empty()) {
        const zrkmodel::OutputField output =
            zrk::valueOrThrow(document.outputField(parsePin("--color", options.color)));
        if (output.tag != zrkmodel::Tag::Color && output.tag != zrkmodel::Tag::Vector3d &&
            output.tag != zrkmodel::Tag::Scalar) {
            throw zrk::FaultError({"--color " + options.color,
                                   fmt::format("a pin with the tag {}", output.tag.name()),
                                   "one with the tag Color, Vector3d or Scalar",
                                   "`zrk check` lists the outputs of a document and their tags"});
        }
        paint.field =
            zrk::valueOrThrow(zrk::attempt("--color", [&] { return zrk::PreparedField(output.field); }));
    }
    if (paint.range && !(paint.field && paint.field->componentCount() == 1)) {
        throw zrk::FaultError({"--range", zrk::quotation(*options.range),
                               "a scalar output after --color, whose values it is about",
                               "leave --range out, or colour by a scalar"});
    }
    return paint;
}

std::string shownScale(const std::optional<zrk::Interval<double>>& range)
{
    return range ? fmt::format(", colours from {:.4g} to {:.4g}", range->lower, range->upper) : "";
}

std::string placeOf(const Job& job)
{
    const zrkmodel::PinAddress address = job.output().address;
    return fmt::format("{}, output {} of node {}", job.document.name(), address.output, address.node);
}

} // namespace zrkcli
