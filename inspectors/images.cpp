#include "inspectors/images.h"

#include "core/values/box.h"
#include "core/values/vector3.h"
#include "inspectors/css_style.h"

#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <optional>
#include <type_traits>

namespace zrkui {

using zrk::Vector3;
using zrkmodel::ZRKGeometry;
using zrkmodel::ZRKImage2d;

QImage toImage(const UIImage& image)
{
    const int width = image.dims[0];
    return QImage(image.data.data(), width, image.dims[1], 4 * width, QImage::Format_RGBA8888).copy();
}

QImage toImage(const zrk::Raster<1, 2, std::uint8_t>& grey)
{
    return QImage(grey.data.data(), grey.dims[0], grey.dims[1], grey.dims[0], QImage::Format_Grayscale8)
        .copy();
}

QRectF centredIn(const QRectF& room, const QSizeF& size, double ratio)
{
    const auto onPixel = [ratio](double place) { return std::floor(place * ratio) / ratio; };
    return {QPointF(onPixel(room.center().x() - size.width() / 2),
                    onPixel(room.center().y() - size.height() / 2)),
            size};
}

namespace {

/// One pixel of a channel, from 0 to 255.
int levelOf(const ZRKImage2d::Channel& channel, std::size_t pixel)
{
    return std::visit(
        [&](const auto& raster) {
            const auto value = raster.data[pixel];
            using T = std::decay_t<decltype(value)>;
            if constexpr (std::is_same_v<T, std::uint8_t>) {
                return static_cast<int>(value);
            } else if constexpr (std::is_same_v<T, std::uint16_t>) {
                return static_cast<int>(value / 257);
            } else {
                return value > 0 ? static_cast<int>(std::lround(std::min<double>(value, 1.0) * 255)) : 0;
            }
        },
        channel);
}

} // namespace

QImage toImage(const ZRKImage2d* image, int most)
{
    if (!image || image->channelCount() == 0) {
        return {};
    }
    const auto size = [](const ZRKImage2d::Channel& channel) {
        return std::visit(
            [](const auto& raster) {
                return std::array{raster.dims[0], raster.dims[1]};
            },
            channel);
    };
    const auto dims = size(image->channel(0));
    for (std::size_t c = 1; c < image->channelCount(); ++c) {
        if (size(image->channel(c)) != dims) {
            return {};
        }
    }
    const std::size_t channels = image->channelCount();
    const bool isGrey = channels < 3;
    const int step = (std::max({dims[0], dims[1], 1}) + most - 1) / most;
    QImage picture((dims[0] + step - 1) / step, (dims[1] + step - 1) / step, QImage::Format_ARGB32);
    for (int y = 0; y < picture.height(); ++y) {
        auto* row = reinterpret_cast<QRgb*>(picture.scanLine(y));
        for (int x = 0; x < picture.width(); ++x) {
            const auto pixel = static_cast<std::size_t>(y * step) * static_cast<std::size_t>(dims[0]) +
                               static_cast<std::size_t>(x * step);
            const int first = levelOf(image->channel(0), pixel);
            const int opacity = channels == 2  ? levelOf(image->channel(1), pixel)
                                : channels > 3 ? levelOf(image->channel(3), pixel)
                                               : 255;
            row[x] = isGrey ? qRgba(first, first, first, opacity)
                            : qRgba(first, levelOf(image->channel(1), pixel),
                                    levelOf(image->channel(2), pixel), opacity);
        }
    }
    return picture;
}

namespace {

constexpr int kCurveSteps = 96;
constexpr int kSurfaceLines = 8;
constexpr int kGridNodes = 24;
constexpr int kMaxMembers = 64; ///< of a group that are looked at

/// The view's axes: right, up, and towards the eye.
const Vector3 kRight{0.7071067811865476, 0.7071067811865476, 0};
const Vector3 kUp{-0.3535533905932738, 0.3535533905932738, 0.8660254037844386};
const Vector3 kEye{0.6123724356957945, -0.6123724356957945, 0.5};

/// Lines and dots of a thumbnail, in space.
struct Drawing {
    std::vector<std::vector<Vector3>> lines;
    std::vector<Vector3> dots;
};

bool isFinite(const Vector3& p) { return std::isfinite(p[0]) && std::isfinite(p[1]) && std::isfinite(p[2]); }

void addCurve(const zrkmodel::IParametricCurve& curve, Drawing& drawing)
{
    const zrkmodel::CurveParametrization record = curve.parametrization();
    std::vector<Vector3> line;
    for (int i = 0; i <= kCurveSteps; ++i) {
        line.push_back(record.position(record.tMin + (record.tMax - record.tMin) * i / kCurveSteps));
    }
    drawing.lines.push_back(std::move(line));
}

void addSurface(const zrkmodel::IParametricSurface& surface, Drawing& drawing)
{
    const zrkmodel::SurfaceParametrization record = surface.parametrization();
    const auto at = [&](double u, double v) {
        return record.position({record.uvMin.first + (record.uvMax.first - record.uvMin.first) * u,
                                record.uvMin.second + (record.uvMax.second - record.uvMin.second) * v});
    };
    for (int i = 0; i <= kSurfaceLines; ++i) {
        const double fixed = static_cast<double>(i) / kSurfaceLines;
        std::vector<Vector3> alongU, alongV;
        for (int j = 0; j <= 2 * kSurfaceLines; ++j) {
            const double running = static_cast<double>(j) / (2 * kSurfaceLines);
            alongU.push_back(at(running, fixed));
            alongV.push_back(at(fixed, running));
        }
        drawing.lines.push_back(std::move(alongU));
        drawing.lines.push_back(std::move(alongV));
    }
}

QImage drawn(const Drawing& drawing, int size)
{
    std::vector<QPointF> all;
    const auto flat = [](const Vector3& p) { return QPointF(dot(p, kRight), -dot(p, kUp)); };
    QRectF bounds;
    const auto include = [&](const Vector3& p) {
        if (isFinite(p)) {
            const QRectF place(flat(p), QSizeF(1e-9, 1e-9));
            bounds = bounds.isNull() ? place : bounds.united(place);
        }
    };
    for (const auto& line : drawing.lines) {
        std::for_each(line.begin(), line.end(), include);
    }
    std::for_each(drawing.dots.begin(), drawing.dots.end(), include);
    if (bounds.isNull()) {
        return {};
    }
    QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    const double extent = std::max({bounds.width(), bounds.height(), 1e-6});
    const double scale = size * 0.8 / extent;
    const auto place = [&](const Vector3& p) {
        return (flat(p) - bounds.center()) * scale + QPointF(size / 2.0, size / 2.0);
    };
    painter.setPen(QPen(ZRKCSSStyle::current().color(ZRKCSSStyle::Role::curve), std::max(1.0, size / 32.0)));
    for (const auto& line : drawing.lines) {
        QPainterPath path;
        bool isPen = false;
        for (const Vector3& p : line) {
            if (isFinite(p)) {
                isPen ? path.lineTo(place(p)) : path.moveTo(place(p));
            }
            isPen = isFinite(p);
        }
        painter.drawPath(path);
    }
    painter.setPen(Qt::NoPen);
    painter.setBrush(ZRKCSSStyle::current().color(ZRKCSSStyle::Role::curve));
    for (const Vector3& p : drawing.dots) {
        if (isFinite(p)) {
            painter.drawEllipse(place(p), size / 20.0, size / 20.0);
        }
    }
    return image;
}

/// The union of distances.
struct Solid {
    std::vector<ZRKGeometry::SignedDistance> distances;

    double operator()(const Vector3& p) const
    {
        double least = std::numeric_limits<double>::infinity();
        for (const auto& distance : distances) {
            const double d = distance(p);
            least = d < least ? d : least;
        }
        return least;
    }
};

/// A box about what lies within half a cell of the surface, found on coarser and coarser grids around the
/// origin until the outermost nodes are free.
std::optional<zrk::Box<double>> extentOf(const Solid& solid)
{
    for (double half = 1; half < 1e6; half *= 4) {
        const double cell = 2 * half / (kGridNodes - 1);
        zrk::Box<double> box;
        bool isAny = false;
        bool isCut = false;
        for (int i = 0; i < kGridNodes * kGridNodes * kGridNodes; ++i) {
            const std::array<int, 3> node{i % kGridNodes, i / kGridNodes % kGridNodes,
                                          i / (kGridNodes * kGridNodes)};
            const Vector3 p{-half + cell * node[0], -half + cell * node[1], -half + cell * node[2]};
            if (solid(p) < cell) {
                isAny = true;
                isCut = isCut || std::any_of(node.begin(), node.end(),
                                             [](int n) { return n == 0 || n == kGridNodes - 1; });
                const Vector3 margin{cell, cell, cell};
                box.include(p - margin);
                box.include(p + margin);
            }
        }
        if (isAny && !isCut) {
            return box;
        }
    }
    return std::nullopt;
}

QImage shaded(const Solid& solid, int size)
{
    const std::optional<zrk::Box<double>> box = extentOf(solid);
    if (!box) {
        return {};
    }
    const Vector3 center = (box->min + box->max) * 0.5;
    const Vector3 diagonal = box->size();
    const double half = 0.5 * std::sqrt(dot(diagonal, diagonal));
    const QColor color = ZRKCSSStyle::current().color(ZRKCSSStyle::Role::curve);
    QImage image(size, size, QImage::Format_ARGB32);
    image.fill(Qt::transparent);
    const double pixel = 2 * half / size;
    for (int y = 0; y < size; ++y) {
        for (int x = 0; x < size; ++x) {
            const Vector3 start =
                center + kRight * ((x + 0.5) * pixel - half) + kUp * (half - (y + 0.5) * pixel) + kEye * half;
            double t = 0;
            double d = solid(start);
            for (int i = 0; i < 48 && t < 2 * half && d > pixel / 2; ++i) {
                t += d;
                d = solid(start - kEye * t);
            }
            if (d <= pixel / 2) {
                const Vector3 p = start - kEye * t;
                const double toLight = (solid(p + kEye * (2 * pixel) + kUp * pixel) - d) / (2.24 * pixel);
                const double light = std::clamp(0.35 + 0.65 * toLight, 0.2, 1.0);
                image.setPixelColor(
                    x, y,
                    QColor::fromRgbF(color.redF() * light, color.greenF() * light, color.blueF() * light));
            }
        }
    }
    return image;
}

} // namespace

QImage geometryThumbnail(const std::vector<std::shared_ptr<ZRKGeometry>>& geometries, int size)
{
    Drawing drawing;
    Solid solid;
    for (const auto& geometry : geometries) {
        if (!geometry) {
            continue;
        }
        const auto shape = geometry->geometry();
        if (const auto point = std::dynamic_pointer_cast<zrkmodel::IPoint>(shape)) {
            drawing.dots.push_back(point->position());
        } else if (const auto curve = std::dynamic_pointer_cast<zrkmodel::IParametricCurve>(shape)) {
            addCurve(*curve, drawing);
        } else if (const auto surface = std::dynamic_pointer_cast<zrkmodel::IParametricSurface>(shape)) {
            addSurface(*surface, drawing);
        } else {
            for (auto& distance : geometry->getSDFUngroup()) {
                if (solid.distances.size() < kMaxMembers) {
                    solid.distances.push_back(std::move(distance));
                }
            }
        }
    }
    if (!drawing.lines.empty() || !drawing.dots.empty()) {
        return drawn(drawing, size);
    }
    return solid.distances.empty() ? QImage() : shaded(solid, size);
}

} // namespace zrkui
