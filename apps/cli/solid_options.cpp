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

std::string placeOf(const Job& job)
{
    const zrkmodel::PinAddress address = job.output().address;
    return fmt::format("{}, output {} of node {}", job.document.name(), address.output, address.node);
}

} // namespace zrkcli
