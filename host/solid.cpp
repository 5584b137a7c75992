#include "host/solid.h"

#include "formats/png.h"

#include <fmt/core.h>

#include <algorithm>

namespace zrkmodel {

zrk::Result<Solid> solidOf(const OutputField& output, const zrk::BBox<double>& bounds,
                           std::optional<double> iso, bool isDensity, const std::string& place,
                           const std::string& remedy)
{
    if (output.tag != Tag::Scalar) {
        return zrk::refused({place, fmt::format("a pin with the tag {}", output.tag.name()),
                             "one with the tag Scalar, which a solid is taken of", remedy});
    }
    const bool isAbove = isDensity || output.isDensity;
    return Solid{bounds, iso.value_or(surfaceLevelOf(isAbove)),
                 isAbove ? zrk::SolidSide::Above : zrk::SolidSide::Below};
}

zrk::Result<zrk::PositionBox> regionOf(const zrk::BBox<double>& bounds, const std::string& remedy)
{
    zrk::PositionBox region;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        if (!(bounds.min[axis] < bounds.max[axis])) {
            return zrk::refused(
                {"bounds", fmt::format("no extent along {}", "xyz"[axis]), "a box with room in it", remedy});
        }
        region[axis] = {bounds.min[axis], bounds.max[axis]};
    }
    return region;
}

void cutTowardsViewer(zrk::PositionBox& region, std::size_t axis, double value, const zrk::Vector3& from)
{
    (from[axis] < 0 ? region[axis].lower : region[axis].upper) = value;
}

zrk::Fault nothingSolid(const std::string& place, const Solid& solid, const zrk::PositionBox& region,
                        const std::string& remedy)
{
    return {place,
            fmt::format("nothing {} {:g} in the bounds {:g},{:g},{:g},{:g},{:g},{:g}",
                        solid.side == zrk::SolidSide::Above ? "above" : "below", solid.iso, region[0].lower,
                        region[1].lower, region[2].lower, region[0].upper, region[1].upper, region[2].upper),
            "a field with a surface there", remedy, zrk::FaultKind::FailedWork};
}

zrk::Result<void> writeShaded(const std::string& file, const zrk::ShadedPicture& picture, bool isTransparent,
                              const zrk::KeepGoing& keepGoing)
{
    if (isTransparent) {
        return zrk::writePng(file, picture, keepGoing);
    }
    zrk::Picture opaque(picture.dims[0], picture.dims[1]);
    for (std::size_t i = 0; i < opaque.pixelCount(); ++i) {
        std::copy_n(&picture.data[4 * i], 3, &opaque.data[3 * i]);
    }
    return zrk::writePng(file, opaque, keepGoing);
}

} // namespace zrkmodel
