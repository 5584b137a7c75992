#pragma once

#include "core/picture/cut_faces.h"
#include "core/picture/inside_field.h"
#include "core/picture/picture.h"
#include "core/picture/shading.h"

#include <optional>

namespace zrk::picture {

/// What the solid is made of at the places of a picture. Safe from many threads.
class SurfacePaint {
public:
    /// The first two must outlive this object.
    /// @param range  values at the ends of the colours, for a paint of one component; nothing for others.
    SurfacePaint(const PreparedField& field, const PictureSettings& settings,
                 const std::optional<Interval<double>>& range);

    bool readsFields() const { return _settings.paint || _settings.fadesByWeight; }

    /// Writes the materials of some pixels of a row; cuts get their colours by `CutFaces` afterwards.
    /// @param columns  of the pixels, which show the solid.
    void materials(const Camera& camera, const DepthPicture& picture, std::int32_t row,
                   const std::vector<std::int32_t>& columns, std::vector<Material>& out) const;

    static Float3 plainColor();

private:
    const PreparedField& _field;
    const PictureSettings& _settings;
    std::optional<Interval<double>> _range;

    Float3 colorOf(const Vector3& components) const;
};

} // namespace zrk::picture
