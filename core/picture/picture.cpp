#include "core/picture/picture.h"

#include "core/picture/cut_faces.h"
#include "core/picture/edges.h"
#include "core/picture/light_map.h"
#include "core/picture/paint_scale.h"
#include "core/picture/screen_light.h"
#include "core/picture/shading.h"
#include "core/picture/solid_extent.h"
#include "core/picture/surface_paint.h"
#include "core/picture/tracer.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <numbers>

namespace zrk {

namespace picture {
namespace {

constexpr double kMargin = 0.1;      ///< share of the picture around the solid
constexpr double kGroundFades = 1.1; ///< in radii of the solid
constexpr double kGroundEnds = 3.2;
constexpr double kLeastDescent = 0.03; ///< a flatter look doesn't see the ground
constexpr std::int32_t kLeastLightMap = 192;
constexpr std::int32_t kMostLightMap = 1024;
constexpr Tensor<3, double> kBackdropTop = {0xf7 / 255.0, 0xf8 / 255.0, 0xfa / 255.0};
constexpr Tensor<3, double> kBackdropBottom = {0xcd / 255.0, 0xd5 / 255.0, 0xde / 255.0};
constexpr Float3 kShadowTakes = {1, 0.94F, 0.84F}; ///< shadows on the ground are bluish
constexpr Float3 kShadowColor = {0.010F, 0.016F, 0.032F};

/// A rotated grid of places in a pixel.
///
/// Source: Akenine-Moeller, "An extremely inexpensive multisampling scheme", Chalmers technical report 03-14,
/// 2003, which names it.
constexpr double kPlaces[4][2] = {{-0.125, -0.375}, {0.375, -0.125}, {0.125, 0.375}, {-0.375, 0.125}};

/// Points around the z axis through a centre, as far out as any of the given ones at about their height.
std::vector<Vector3> turnedAround(const std::vector<Vector3>& points, const SolidExtent& extent)
{
    constexpr std::size_t kLevels = 64;
    constexpr int kTurns = 32;
    const Vector3 centre = extent.centre();
    const double lowest = extent.box[2].lower;
    const double height = std::max(extent.box[2].upper - lowest, 1e-300);
    std::array<double, kLevels> radii{};
    for (const Vector3& point : points) {
        const double level = (point[2] - lowest) / height * (kLevels - 1);
        double& radius = radii[static_cast<std::size_t>(std::clamp(level, 0.0, kLevels - 1.0))];
        radius = std::max(radius, std::hypot(point[0] - centre[0], point[1] - centre[1]));
    }
    std::vector<Vector3> all;
    for (std::size_t level = 0; level < kLevels; ++level) {
        for (int turn = 0; turn < kTurns; ++turn) {
            const double angle = 2 * std::numbers::pi * turn / kTurns;
            all.push_back({centre[0] + radii[level] * std::cos(angle),
                           centre[1] + radii[level] * std::sin(angle),
                           lowest + height * static_cast<double>(level) / (kLevels - 1)});
        }
    }
    return all;
}

/// One picture on its way.
class Drawing {
public:
    Drawing(Tracer& tracer, const PreparedField& field, const PictureSettings& settings,
            const SolidExtent& extent, const std::optional<Interval<double>>& paintRange,
            const Camera& camera)
        : _tracer(tracer),
          _work(tracer.work()),
          _settings(settings),
          _extent(extent),
          _camera(camera),
          _studio(camera),
          _paint(field, settings, paintRange),
          _picture(camera.width, camera.height)
    {}

    /// False when it was interrupted, as for all below.
    bool drawFinally(double share)
    {
        stage(0.15 * share);
        if (!_tracer.trace(_camera, Detail::Normals, _picture)) {
            return false;
        }
        stage(0.15 * share);
        const std::int32_t longer = std::max(_camera.width, _camera.height);
        if (!addGround(_camera, nullptr, _picture) ||
            !_lights.build(_tracer, _extent, _studio.towardsKeyLight(),
                           std::clamp(longer * 3 / 4, kLeastLightMap, kMostLightMap))) {
            return false;
        }
        stage(0.3 * share);
        _light.emplace(_camera, _picture, _lights, _extent.diagonal());
        if (!_light->fill(_work)) {
            return false;
        }
        stage(0.1 * share);
        _cuts.emplace(_picture);
        return shadeAll() && smoothEdges(0.3 * share);
    }

    bool drawCoarsely()
    {
        if (!_tracer.trace(_camera, Detail::Normals, _picture)) {
            return false;
        }
        _cuts.emplace(_picture);
        return shadeAll();
    }

    bool writeBytes(ShadedPicture& result)
    {
        result = ShadedPicture(_camera.width, _camera.height);
        return forRows([&](std::int32_t y) {
            unsigned char* byte = &result.data[4 * _picture.at(0, y)];
            for (std::int32_t x = 0; x < _camera.width; ++x) {
                const Shade& shade = _shades[_picture.at(x, y)];
                const float inverse = shade.opacity > 0 ? 1 / shade.opacity : 0;
                for (const float component : shade.color) {
                    *byte++ = srgbByte(component * inverse);
                }
                *byte++ =
                    static_cast<unsigned char>(std::lround(255 * std::clamp(shade.opacity, 0.0F, 1.0F)));
            }
        });
    }

private:
    Tracer& _tracer;
    PictureWork& _work;
    const PictureSettings& _settings;
    const SolidExtent& _extent;
    Camera _camera;
    Studio _studio;
    SurfacePaint _paint;
    DepthPicture _picture;
    LightMap _lights;
    std::optional<ScreenLight> _light; ///< without it light reaches everything
    std::optional<CutFaces> _cuts;
    PixelArray<Shade> _shades;

    void stage(double share) { _work.beginStage(share); }

    template <class Row>
    bool forRows(const Row& row)
    {
        return _work.forEach(static_cast<std::size_t>(_camera.height),
                             [&](std::size_t y, std::size_t) { row(static_cast<std::int32_t>(y)); });
    }

    double groundRadius() const { return 0.5 * _extent.diagonal(); }

    /// Fills pixels that show nothing with the ground around the solid.
    bool addGround(const Camera& camera, const PixelMask* mask, DepthPicture& picture)
    {
        const double ground = _extent.box[2].lower;
        if (!_settings.hasGround || camera.forward[2] > -kLeastDescent) {
            return _work.keepsGoing();
        }
        return forRows([&](std::int32_t y) {
            for (std::int32_t x = 0; x < camera.width; ++x) {
                const std::size_t at = picture.at(x, y);
                if ((mask && !mask->has(x, y)) || picture.kinds[at] != PixelKind::Nothing) {
                    continue;
                }
                const Vector3 start = camera.position(x, y, 0);
                const double descent = camera.position(x, y, 1)[2] - start[2];
                const double depth = (ground - start[2]) / descent;
                if (descent > -kLeastDescent || (camera.isPerspective() && depth <= 0)) {
                    continue;
                }
                if (groundDistance(camera.position(x, y, depth)) < kGroundEnds) {
                    picture.depths[at] = depth;
                    picture.kinds[at] = PixelKind::Ground;
                    picture.normals[at] = {0, 0, 1};
                }
            }
        });
    }

    /// From the middle of the solid, in its radii.
    double groundDistance(const Vector3& position) const
    {
        const Vector3 centre = _extent.centre();
        return std::hypot(position[0] - centre[0], position[1] - centre[1]) / groundRadius();
    }

    Shade backdropAt(std::int32_t y) const
    {
        switch (_settings.backdrop) {
        case Backdrop::Transparent:
            return {{}, 0};
        case Backdrop::Plain:
            return {linear(_settings.backdropColor), 1};
        case Backdrop::Studio:
            break;
        }
        const double t = (y + 0.5) / _camera.height;
        return {linear(kBackdropTop * (1 - t) + kBackdropBottom * t), 1};
    }

    Shade shadeGround(const Camera& camera, const DepthPicture& picture, std::int32_t x, std::int32_t y,
                      const Reach& reach, const Shade& backdrop) const
    {
        const double distance = groundDistance(camera.position(x, y, picture.depths[picture.at(x, y)]));
        const double t = std::clamp((kGroundEnds - distance) / (kGroundEnds - kGroundFades), 0.0, 1.0);
        const float dark = Studio::groundShade(reach) * static_cast<float>(t * t * (3 - 2 * t));
        if (_settings.backdrop == Backdrop::Transparent) {
            return {kShadowColor * dark, dark};
        }
        const Float3& c = backdrop.color;
        return {{c[0] * (1 - dark * kShadowTakes[0]), c[1] * (1 - dark * kShadowTakes[1]),
                 c[2] * (1 - dark * kShadowTakes[2])},
                1};
    }

    Shade shadeSolid(const Camera& camera, const DepthPicture& picture, std::int32_t x, std::int32_t y,
                     const Reach& reach, Material material, const Shade& backdrop) const
    {
        const std::size_t at = picture.at(x, y);
        const Place place = placeIn(camera, picture, x, y);
        if (isCut(place.kind)) {
            const Float3 own = material.color;
            material.color =
                _cuts->colorAt(x, y, place.kind, picture.values[at], _settings.paint ? &own : nullptr);
        }
        const Float3 light =
            _light ? _studio.shade(place, material, reach) : _studio.preview(place, material);
        return {light * material.opacity + backdrop.color * (1 - material.opacity),
                material.opacity + backdrop.opacity * (1 - material.opacity)};
    }

    /// Shades some pixels of a row; reachOf(x) tells how much light reaches a pixel that shows something.
    template <class ReachOf, class Take>
    void shadeRow(const Camera& camera, const DepthPicture& picture, std::int32_t y,
                  const std::vector<std::int32_t>& columns, const ReachOf& reachOf, const Take& take) const
    {
        const Shade backdrop = backdropAt(y);
        std::vector<std::int32_t> solid;
        std::vector<Material> materials;
        for (const std::int32_t x : columns) {
            if (isSolid(picture.kinds[picture.at(x, y)])) {
                solid.push_back(x);
            }
        }
        _paint.materials(camera, picture, y, solid, materials);
        std::size_t next = 0;
        for (const std::int32_t x : columns) {
            const PixelKind kind = picture.kinds[picture.at(x, y)];
            if (isSolid(kind)) {
                take(x, shadeSolid(camera, picture, x, y, reachOf(x), materials[next++], backdrop));
            } else if (kind == PixelKind::Ground) {
                take(x, shadeGround(camera, picture, x, y, reachOf(x), backdrop));
            } else {
                take(x, backdrop);
            }
        }
    }

    bool shadeAll()
    {
        _shades = PixelArray<Shade>(_picture.pixelCount());
        std::vector<std::int32_t> all(static_cast<std::size_t>(_camera.width));
        for (std::size_t x = 0; x < all.size(); ++x) {
            all[x] = static_cast<std::int32_t>(x);
        }
        return forRows([&](std::int32_t y) {
            const auto reachOf = [&](std::int32_t x) {
                return _light ? _light->at(_picture.at(x, y)) : kUnhindered;
            };
            shadeRow(_camera, _picture, y, all, reachOf,
                     [&](std::int32_t x, const Shade& shade) { _shades[_picture.at(x, y)] = shade; });
        });
    }

    /// Pixels at edges become the mean of four places in them.
    bool smoothEdges(double share)
    {
        const PixelMask mask = edgesOf(_camera, _picture, _work);
        std::vector<std::vector<std::int32_t>> columns(static_cast<std::size_t>(_camera.height));
        const bool isListed = forRows([&](std::int32_t y) {
            for (std::int32_t x = 0; x < _camera.width; ++x) {
                if (mask.has(x, y)) {
                    columns[static_cast<std::size_t>(y)].push_back(x);
                    _shades[_picture.at(x, y)] = {{}, 0};
                }
            }
        });
        if (!isListed) {
            return false;
        }
        DepthPicture beside(_camera.width, _camera.height);
        for (const auto& offset : kPlaces) {
            stage(share / 4);
            if (!addPlace(offset[0], offset[1], mask, columns, beside)) {
                return false;
            }
        }
        return true;
    }

    bool addPlace(double shiftX, double shiftY, const PixelMask& mask,
                  const std::vector<std::vector<std::int32_t>>& columns, DepthPicture& beside)
    {
        Camera camera = _camera;
        camera.shiftX += shiftX;
        camera.shiftY += shiftY;
        const bool isTraced =
            _tracer.trace(camera, Detail::Normals, beside, &mask) && addGround(camera, &mask, beside);
        return isTraced && forRows([&](std::int32_t y) {
                   const auto reachOf = [&](std::int32_t x) {
                       return _light->near(x, y, placeIn(camera, beside, x, y));
                   };
                   const auto add = [&](std::int32_t x, const Shade& shade) {
                       Shade& sum = _shades[_picture.at(x, y)];
                       sum.color = sum.color + shade.color * 0.25F;
                       sum.opacity += 0.25F * shade.opacity;
                   };
                   shadeRow(camera, beside, y, columns[static_cast<std::size_t>(y)], reachOf, add);
               });
    }
};

/// All pictures of a call.
class Session {
public:
    Session(const PreparedField& field, const PictureSettings& settings, const PictureSink& show,
            ProgressMonitor* monitor)
        : _field(field),
          _settings(settings),
          _show(show),
          _work(settings.threads, monitor),
          _tracer({field, settings.iso, settings.solid}, settings.region, _work)
    {}

    PictureOutcome run()
    {
        const bool hasScale = _settings.paint && _settings.paint->componentCount() == 1;
        // A camera of its own can draw coarsely before it is known where the solid is.
        if (!_settings.camera || hasScale) {
            if (const PictureOutcome found = look(); found != PictureOutcome::Drawn) {
                return found;
            }
        }
        const std::size_t count = _settings.camera ? 1 : _settings.views.size();
        for (std::size_t view = 0; view < count; ++view) {
            if (!drawCoarsely(view)) {
                return PictureOutcome::Interrupted;
            }
            if (_extent.isEmpty()) {
                if (const PictureOutcome found = look(); found != PictureOutcome::Drawn) {
                    return found;
                }
            }
            if (!drawFinally(view, (1 - kLookShare) / static_cast<double>(count))) {
                return PictureOutcome::Interrupted;
            }
        }
        return PictureOutcome::Drawn;
    }

private:
    static constexpr double kLookShare = 0.05;

    const PreparedField& _field;
    const PictureSettings& _settings;
    const PictureSink& _show;
    PictureWork _work;
    Tracer _tracer;
    SolidExtent _extent;
    std::vector<Vector3> _framed;
    std::optional<Interval<double>> _paintRange; ///< for a paint with one component

    /// Finds where the solid is.
    PictureOutcome look()
    {
        _work.beginStage(kLookShare);
        _extent =
            findExtent(_tracer, _settings.camera ? _settings.camera->forward * -1.0 : _settings.views[0]);
        if (!_work.keepsGoing()) {
            return PictureOutcome::Interrupted;
        }
        if (_extent.isEmpty()) {
            return PictureOutcome::NoSolid;
        }
        if (_settings.paint && _settings.paint->componentCount() == 1) {
            _paintRange = _settings.paintRange ? *_settings.paintRange
                                               : finiteRange(*_settings.paint, _extent.points,
                                                             [&] { return _work.keepsGoing(); });
        }
        _framed = _settings.views.size() > 1 ? turnedAround(_extent.points, _extent) : _extent.points;
        return PictureOutcome::Drawn;
    }

    bool drawCoarsely(std::size_t view)
    {
        const std::int32_t longer = std::max(_settings.width, _settings.height);
        for (std::int32_t size = _settings.firstSize; size > 0 && size < longer; size *= 2) {
            Drawing coarse(_tracer, _field, _settings, _extent, _paintRange, cameraOf(view, size));
            if (!coarse.drawCoarsely() || !hand(coarse, {view, false, _paintRange})) {
                return false;
            }
        }
        return true;
    }

    bool drawFinally(std::size_t view, double share)
    {
        const std::int32_t longer = std::max(_settings.width, _settings.height);
        Drawing drawing(_tracer, _field, _settings, _extent, _paintRange, cameraOf(view, longer));
        return drawing.drawFinally(share) && hand(drawing, {view, true, _paintRange});
    }

    bool hand(Drawing& drawing, const PictureStep& step)
    {
        ShadedPicture picture;
        if (!drawing.writeBytes(picture)) {
            return false;
        }
        _show(picture, step);
        return true;
    }

    /// @param longer  pixels along the longer side.
    Camera cameraOf(std::size_t view, std::int32_t longer) const
    {
        const double scale = static_cast<double>(longer) / std::max(_settings.width, _settings.height);
        const auto scaled = [scale](std::int32_t pixels) {
            return std::max(1, static_cast<std::int32_t>(std::lround(pixels * scale)));
        };
        Camera camera;
        if (_settings.camera) {
            camera = *_settings.camera;
            camera.width = scaled(_settings.width);
            camera.height = scaled(_settings.height);
            camera.pixel /= scale;
            return camera;
        }
        camera = cameraFrom(_settings.views[view], scaled(_settings.width), scaled(_settings.height));
        camera.projection = _settings.projection;
        fitTo(camera, _framed, kMargin);
        return camera;
    }
};

} // namespace
} // namespace picture

PictureOutcome drawPictures(const PreparedField& field, const PictureSettings& settings,
                            const PictureSink& show, ProgressMonitor* monitor)
{
    return picture::Session(field, settings, show, monitor).run();
}

} // namespace zrk
