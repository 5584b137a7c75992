#include "core/picture/surface_paint.h"

#include "core/picture/paint_scale.h"

#include <algorithm>
#include <cmath>

namespace zrk::picture {

SurfacePaint::SurfacePaint(const PreparedField& field, const PictureSettings& settings,
                           const std::optional<Interval<double>>& range)
    : _field(field), _settings(settings), _range(range)
{}

Float3 SurfacePaint::colorOf(const Vector3& components) const
{
    if (hasNaN(components)) {
        return plainColor();
    }
    if (!_range) {
        return linear(components);
    }
    return linear(scaleColor(*_range, components[0]));
}

Float3 SurfacePaint::plainColor()
{
    static const Float3 color = linear({0xd8 / 255.0, 0xd3 / 255.0, 0xca / 255.0});
    return color;
}

void SurfacePaint::materials(const Camera& camera, const DepthPicture& picture, std::int32_t row,
                             const std::vector<std::int32_t>& columns, std::vector<Material>& out) const
{
    const std::size_t count = columns.size();
    out.assign(count, {});
    for (std::size_t i = 0; i < count; ++i) {
        const bool isSurface = picture.kinds[picture.at(columns[i], row)] == PixelKind::Surface;
        out[i] = {plainColor(), 1, isSurface};
    }
    if (!readsFields()) {
        return;
    }
    std::vector<double> numbers(7 * count);
    double* const x = numbers.data();
    double* const y = x + count;
    double* const z = y + count;
    double* const values = z + count;
    for (std::size_t i = 0; i < count; ++i) {
        const Vector3 at = camera.position(columns[i], row, picture.depths[picture.at(columns[i], row)]);
        x[i] = at[0];
        y[i] = at[1];
        z[i] = at[2];
    }
    if (_settings.paint) {
        RecordArrays record;
        record.components = {values, values + count, values + 2 * count};
        _settings.paint->evaluate({x, y, z, count}, record);
        for (std::size_t i = 0; i < count; ++i) {
            out[i].color = colorOf({values[i], values[count + i], values[2 * count + i]});
        }
    }
    if (_settings.fadesByWeight) {
        RecordArrays record;
        record.weights = values;
        _field.evaluate({x, y, z, count}, record);
        for (std::size_t i = 0; i < count; ++i) {
            out[i].opacity = values[i] > 0 ? static_cast<float>(std::min(values[i], 1.0)) : 0.0F;
        }
    }
}

} // namespace zrk::picture
