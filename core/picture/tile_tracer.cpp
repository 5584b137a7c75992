#include "core/picture/tile_tracer.h"

#include "core/values/batch.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

namespace zrk::picture {

namespace {

constexpr std::size_t kInGap = 3; ///< samples in a gap between two others
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr std::int32_t kStepsInLayer = 2; ///< two pixels each
constexpr std::int32_t kStepsInBlock = 8;
constexpr std::int32_t kStepsInSlab = 32;

/// `edge` ones, from bit `first` on.
std::uint64_t run(std::int32_t first, std::int32_t edge)
{
    return (edge >= 64 ? ~std::uint64_t{0} : (std::uint64_t{1} << edge) - 1) << first;
}

} // namespace

TileTracer::TileTracer()
{
    for (std::vector<double>* byPixel : {&_entry, &_exit, &_earlier, &_last}) {
        byPixel->resize(kPixels);
    }
    for (std::vector<double>* byRay : {&_rayEntry, &_rayExit, &_rayEarlier, &_rayStart}) {
        byRay->resize(kPixels + Batch::size); // a group may end anywhere in a batch
    }
    _rayPixels.resize(kPixels);
    _fresh.resize(kPixels);
}

void TileTracer::trace(const TracePlan& plan, PictureWork& work, std::int32_t tile, DepthPicture& out)
{
    _work = &work;
    begin(plan, tile);
    if (!hasOpen()) {
        return;
    }
    clear(out);
    traceSlabs();
    _hits.write(out);
}

/// Finds what boxes hold, and what is left of a field in those that are mixed: there and around, as far as
/// samples of their rays and for normals go.
void TileTracer::findParts(FieldIndex field, const PixelBox* boxes, std::size_t count, Part* parts)
{
    Content contents[64];
    contentsOf(field, boxes, count, contents);
    _boxes.clear();
    for (std::size_t i = 0; i < count; ++i) {
        parts[i] = {contents[i], field};
        if (contents[i] == Content::Mixed) {
            const double from = boxes[i].depths.lower - _plan->step;
            _boxes.push_back(_plan->boxes.hullOf({_x0 + boxes[i].x - 1,
                                                  _y0 + boxes[i].y - 1,
                                                  boxes[i].edge + 2,
                                                  {_plan->camera.isPerspective() ? std::max(from, 0.0) : from,
                                                   boxes[i].depths.upper + _plan->step}}));
        }
    }
    _left.clear();
    _samples.field(field).simplifiedFor(_boxes, _left);
    auto left = _left.begin();
    for (std::size_t i = 0; i < count; ++i) {
        if (contents[i] == Content::Mixed) {
            parts[i].field = _samples.indexOf(*left++);
        }
    }
}

void TileTracer::begin(const TracePlan& plan, std::int32_t tile)
{
    _plan = &plan;
    const std::int32_t edge = plan.tileEdge;
    _x0 = tile % plan.tilesAcross() * edge;
    _y0 = tile / plan.tilesAcross() * edge;
    _hasRays = false;
    _samples.begin(plan, *_work, _x0, _y0);
    _hits.clear();
    forget();
    const std::uint64_t columns = run(0, std::min(edge, plan.camera.width - _x0));
    for (std::int32_t y = 0; y < kEdge; ++y) {
        const bool isRow = y < edge && _y0 + y < plan.camera.height;
        const std::uint64_t wanted =
            isRow && plan.pixels ? plan.pixels->word(_x0, _y0 + y) >> (_x0 % 64) : ~std::uint64_t{0};
        _open[static_cast<std::size_t>(y)] = isRow ? columns & wanted : 0;
    }
}

void TileTracer::clear(DepthPicture& out) const
{
    for (std::size_t y = 0; y < kEdge; ++y) {
        for (std::uint64_t open = _open[y]; open != 0; open &= open - 1) {
            const std::size_t place =
                out.at(_x0 + std::countr_zero(open), _y0 + static_cast<std::int32_t>(y));
            out.depths[place] = DepthPicture::kNoDepth;
            out.kinds[place] = PixelKind::Nothing;
        }
    }
}

bool TileTracer::hasOpen() const
{
    return std::any_of(_open.begin(), _open.end(), [](std::uint64_t row) { return row != 0; });
}

bool TileTracer::isOpen(std::int32_t x, std::int32_t y, std::int32_t edge) const
{
    const std::uint64_t columns = run(x, edge);
    std::uint64_t open = 0;
    for (std::int32_t row = y; row < y + edge; ++row) {
        open |= _open[static_cast<std::size_t>(row)] & columns;
    }
    return open != 0;
}

TileTracer::Content TileTracer::contentOf(const Interval<double>& bounds) const
{
    return bounds.lower >= 0 ? Content::Outside : bounds.upper < 0 ? Content::Inside : Content::Mixed;
}

/// Boxes past the region are outside.
void TileTracer::contentsOf(FieldIndex field, const PixelBox* boxes, std::size_t count,
                            Content* contents) const
{
    PositionBox positions[64];
    Interval<double> bounds[64];
    std::size_t asked[64];
    std::size_t found = 0;
    for (std::size_t i = 0; i < count; ++i) {
        contents[i] = Content::Outside;
        if (_plan->boxes.positionsOf({_x0 + boxes[i].x, _y0 + boxes[i].y, boxes[i].edge, boxes[i].depths},
                                     positions[found])) {
            asked[found++] = i;
        }
    }
    if (found > 0) {
        _samples.field(field).bounds({positions, found}, bounds);
    }
    for (std::size_t i = 0; i < found; ++i) {
        contents[asked[i]] = contentOf(bounds[i]);
    }
}

void TileTracer::traceSlabs()
{
    const std::int32_t edge = _plan->tileEdge;
    const std::int32_t steps = edge / 2;
    PixelBox slabs[64];
    Part parts[64];
    for (std::int32_t first = 0; first < _plan->slabs; first += 64) {
        const std::int32_t count = std::min(64, _plan->slabs - first);
        for (std::int32_t i = 0; i < count; ++i) {
            slabs[i] = {
                0, 0, edge, {_plan->depthAt((first + i) * steps), _plan->depthAt((first + i + 1) * steps)}};
        }
        findParts(0, slabs, static_cast<std::size_t>(count), parts);
        for (std::int32_t i = 0; i < count; ++i) {
            if (!hasOpen() || !_work->keepsGoing()) {
                return;
            }
            if (parts[i].content == Content::Outside) {
                forget();
                continue;
            }
            if (!_hasRays) {
                findRays();
            }
            if (parts[i].content == Content::Inside) {
                closeInside(0, 0, 0, edge, slabs[i].depths);
                forget();
            } else if (edge == kEdge) {
                traceSlab(parts[i].field, (first + i) * steps);
            } else {
                const Part one[16] = {parts[i]};
                traceBlocks((first + i) * steps, one);
            }
        }
    }
}

/// Where rays enter and leave the region.
void TileTracer::findRays()
{
    _hasRays = true;
    const Camera& camera = _plan->camera;
    const bool isPerspective = camera.isPerspective();
    for (std::int32_t y = 0; y < _plan->tileEdge; ++y) {
        double* const entry = &_entry[static_cast<std::size_t>(y * kEdge)];
        double* const exit = &_exit[static_cast<std::size_t>(y * kEdge)];
        for (std::int32_t x = 0; x < _plan->tileEdge; ++x) {
            entry[x] = _plan->nearest;
            exit[x] = kInfinity;
        }
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const double lower = _plan->region[axis].lower - camera.origin[axis];
            const double upper = _plan->region[axis].upper - camera.origin[axis];
            const double vertical = _samples.upwards(y) * camera.up[axis];
            const double along = camera.forward[axis];
            for (std::int32_t x = 0; x < _plan->tileEdge; ++x) {
                const double side = vertical + _samples.across(x) * camera.right[axis];
                const double direction = isPerspective ? along + side : along;
                const double from = isPerspective ? lower : lower - side;
                const double to = isPerspective ? upper : upper - side;
                const double inverse = 1 / direction;
                const double t0 = from * inverse;
                const double t1 = to * inverse;
                // Rays along a face: everywhere or nowhere.
                const bool isAlong = !(std::abs(direction) > 1e-15);
                const bool isWithin = from <= 0 && to >= 0;
                const double in = isAlong ? (isWithin ? -kInfinity : kInfinity) : t0 < t1 ? t0 : t1;
                const double out = isAlong ? (isWithin ? kInfinity : -kInfinity) : t0 < t1 ? t1 : t0;
                entry[x] = in > entry[x] ? in : entry[x];
                exit[x] = out < exit[x] ? out : exit[x];
            }
        }
    }
}

void TileTracer::closeInside(FieldIndex field, Pixel pixel, double from, double to)
{
    const double entry = _entry[pixel];
    if (entry >= to || _exit[pixel] <= from || entry > _exit[pixel]) {
        return;
    }
    close(pixel);
    if (entry >= from) {
        _hits.addCut(pixel, field, entry);
    } else {
        _hits.addSurface({pixel, field, from, kNaN, from, kNaN});
    }
}

void TileTracer::closeInside(FieldIndex field, std::int32_t x, std::int32_t y, std::int32_t edge,
                             const Interval<double>& depths)
{
    for (std::int32_t row = y; row < y + edge; ++row) {
        std::uint64_t open = _open[static_cast<std::size_t>(row)] & run(x, edge);
        for (; open != 0; open &= open - 1) {
            closeInside(field, static_cast<Pixel>(row * kEdge + std::countr_zero(open)), depths.lower,
                        depths.upper);
        }
    }
}

/// 64 boxes of 16 pixels.
void TileTracer::traceSlab(FieldIndex field, std::int32_t firstStep)
{
    PixelBox boxes[64];
    std::size_t places[64];
    Part found[64];
    Part parts[64]; // by layer, row and column
    std::size_t count = 0;
    for (std::int32_t column = 0; column < 16; ++column) {
        const std::int32_t x = column % 4 * 16;
        const std::int32_t y = column / 4 * 16;
        if (isOpen(x, y, 16)) {
            for (std::int32_t layer = 0; layer < 4; ++layer) {
                const std::int32_t step = firstStep + layer * kStepsInBlock;
                places[count] = static_cast<std::size_t>(layer * 16 + column);
                boxes[count++] = {x, y, 16, {_plan->depthAt(step), _plan->depthAt(step + kStepsInBlock)}};
            }
        }
    }
    findParts(field, boxes, count, found);
    for (std::size_t i = 0; i < count; ++i) {
        parts[places[i]] = found[i];
    }
    for (std::int32_t layer = 0; layer < 4 && _work->keepsGoing(); ++layer) {
        traceBlocks(firstStep + layer * kStepsInBlock, parts + layer * 16);
    }
}

/// A layer of up to 16 boxes of 16 pixels, each cut into 64 of 4 pixels.
void TileTracer::traceBlocks(std::int32_t firstStep, const Part* parts)
{
    Content small[4][256] = {}; // by layer, then row and column
    bool isNeeded = false;
    for (std::int32_t block = 0; block < 16; ++block) {
        const std::int32_t x = block % 4 * 16;
        const std::int32_t y = block / 4 * 16;
        const Part& part = parts[block];
        if (part.content == Content::Outside || !isOpen(x, y, 16)) {
            continue;
        }
        if (part.content == Content::Inside) {
            closeInside(part.field, x, y, 16,
                        {_plan->depthAt(firstStep), _plan->depthAt(firstStep + kStepsInBlock)});
            continue;
        }
        PixelBox boxes[64];
        std::size_t places[64];
        Content found[64];
        std::size_t count = 0;
        for (std::int32_t column = 0; column < 16; ++column) {
            const std::int32_t bx = x + column % 4 * 4;
            const std::int32_t by = y + column / 4 * 4;
            if (!isOpen(bx, by, 4)) {
                continue;
            }
            for (std::int32_t layer = 0; layer < 4; ++layer) {
                const std::int32_t step = firstStep + layer * kStepsInLayer;
                places[count] = static_cast<std::size_t>(layer * 256 + by / 4 * 16 + bx / 4);
                boxes[count++] = {bx, by, 4, {_plan->depthAt(step), _plan->depthAt(step + kStepsInLayer)}};
            }
        }
        contentsOf(part.field, boxes, count, found);
        for (std::size_t i = 0; i < count; ++i) {
            small[places[i] / 256][places[i] % 256] = found[i];
            isNeeded = isNeeded || found[i] != Content::Outside;
        }
    }
    if (!isNeeded) {
        forget();
        return;
    }
    findRegions(parts);
    for (const Region& region : _regions) {
        for (std::int32_t layer = 0; layer < 4 && _work->keepsGoing(); ++layer) {
            traceLayer(region, firstStep + layer * kStepsInLayer, small[layer]);
        }
    }
}

/// Sets the regions of a layer; together they are the whole of it.
void TileTracer::findRegions(const Part* parts)
{
    _regions.clear();
    for (std::size_t block = 0; block < 16; ++block) {
        const Part& part = parts[block];
        if (part.content == Content::Mixed &&
            std::none_of(_regions.begin(), _regions.end(),
                         [&](const Region& region) { return region.field == part.field; })) {
            _regions.push_back({part.field, {}});
        }
    }
    for (std::size_t block = 0; block < 16; ++block) {
        const Part& part = parts[block];
        auto region = std::find_if(_regions.begin(), _regions.end(),
                                   [&](const Region& r) { return r.field == part.field; });
        if (part.content != Content::Mixed) {
            region = _regions.begin(); // without rays there
        }
        region->columns[block / 4] |= run(static_cast<std::int32_t>(block % 4 * 16), 16);
    }
}

/// A layer of boxes of 4 pixels: two steps of the rays of a region in boxes that are neither outside nor
/// inside.
void TileTracer::traceLayer(const Region& region, std::int32_t firstStep, const Content* contents)
{
    gatherRays(region, firstStep, contents);
    if (_rays > 0 && sampleLayer(region.field, firstStep)) {
        findCrossings(region.field, firstStep);
        lookIntoGaps(region.field);
    }
}

/// Lists a region's open rays that pass mixed boxes, and closes those in boxes that are inside.
void TileTracer::gatherRays(const Region& region, std::int32_t firstStep, const Content* contents)
{
    const double from = _plan->depthAt(firstStep);
    const double to = _plan->depthAt(firstStep + kStepsInLayer);
    _rays = 0;
    _freshRays = 0;
    for (std::int32_t row = 0; row < _plan->tileEdge / 4; ++row) {
        const std::uint64_t columns = region.columns[static_cast<std::size_t>(row / 4)];
        if (columns == 0) {
            continue;
        }
        std::uint64_t mixed = 0;
        std::uint64_t inside = 0;
        for (std::int32_t column = 0; column < _plan->tileEdge / 4; ++column) {
            const Content content = contents[row * 16 + column];
            mixed |= (content == Content::Mixed ? std::uint64_t{15} : 0) << (4 * column);
            inside |= (content == Content::Inside ? std::uint64_t{15} : 0) << (4 * column);
        }
        mixed &= columns;
        inside &= columns;
        for (std::int32_t y = 4 * row; y < 4 * row + 4; ++y) {
            const auto word = static_cast<std::size_t>(y);
            for (std::uint64_t open = _open[word] & inside; open != 0; open &= open - 1) {
                closeInside(region.field, static_cast<Pixel>(y * kEdge + std::countr_zero(open)), from, to);
            }
            std::uint64_t listed = 0;
            for (std::uint64_t open = _open[word] & mixed; open != 0; open &= open - 1) {
                const int x = std::countr_zero(open);
                const auto pixel = static_cast<Pixel>(y * kEdge + x);
                const double entry = _entry[pixel];
                const double exit = _exit[pixel];
                if (!(entry < to && exit > from && entry <= exit)) {
                    continue;
                }
                listed |= open & -open;
                const bool isKnown = (_known[word] >> x & 1) != 0;
                _rayPixels[_rays] = pixel;
                _rayEntry[_rays] = entry;
                _rayExit[_rays] = exit;
                _rayEarlier[_rays] = isKnown ? _earlier[pixel] : kNaN;
                _rayStart[_rays] = _last[pixel];
                _fresh[_freshRays] = static_cast<Pixel>(_rays);
                _freshRays += isKnown ? 0 : 1;
                ++_rays;
            }
            _known[word] = (_known[word] & ~columns) | listed;
        }
    }
}

/// Samples the middle and the end of the layer along every ray, and its beginning along fresh ones. Depths
/// are cut to where the ray is in the region.
bool TileTracer::sampleLayer(FieldIndex field, std::int32_t firstStep)
{
    const double start = _plan->depthAt(firstStep);
    const double middle = _plan->depthAt(firstStep + 1);
    const double end = _plan->depthAt(firstStep + 2);
    for (std::size_t i = 0; i < _rays; ++i) {
        _samples.depths[i] = std::min(std::max(middle, _rayEntry[i]), _rayExit[i]);
        _samples.depths[_rays + i] = std::min(std::max(end, _rayEntry[i]), _rayExit[i]);
    }
    std::copy_n(_rayPixels.begin(), _rays, _samples.pixels.begin());
    std::copy_n(_rayPixels.begin(), _rays, _samples.pixels.begin() + static_cast<std::ptrdiff_t>(_rays));
    _samples.count = 2 * _rays;
    for (std::size_t i = 0; i < _freshRays; ++i) {
        _samples.add(_rayPixels[_fresh[i]], std::max(start, _rayEntry[_fresh[i]]));
    }
    if (!_samples.evaluate(field)) {
        return false;
    }
    for (std::size_t i = 0; i < _freshRays; ++i) {
        _rayStart[_fresh[i]] = _samples.values[2 * _rays + i];
    }
    for (std::size_t i = 0; i < _rays; ++i) {
        _earlier[_rayPixels[i]] = _samples.values[i];
        _last[_rayPixels[i]] = _samples.values[_rays + i];
    }
    return true;
}

namespace {

/// Depths and values of four samples along a ray, two of them in a layer. V is a number or a batch.
template <class V>
struct RaySteps {
    V depths[4];
    V values[4];

    /// Whether the slope before, after samples `k` and `k + 1` points to a crossing between them.
    auto pointsInBefore(int k) const
    {
        const V before = depths[k] - depths[k - 1];
        const V step = depths[k + 1] - depths[k];
        return values[k] * before + (values[k] - values[k - 1]) * step < V(0.0);
    }
    auto pointsInAfter(int k) const
    {
        const V after = depths[k + 2] - depths[k + 1];
        const V step = depths[k + 1] - depths[k];
        return values[k + 1] * after - (values[k + 2] - values[k + 1]) * step < V(0.0);
    }
    /// Between samples `k` and `k + 1`.
    V slope(int k) const { return (values[k + 1] - values[k]) / (depths[k + 1] - depths[k]); }
};

} // namespace

/// Goes through the rays a batch at a time; only those with something to see are looked at one by one.
void TileTracer::findCrossings(FieldIndex field, std::int32_t firstStep)
{
    _crossings.clear();
    _gaps.clear();
    const Batch nominal[4] = {_plan->depthAt(firstStep - 1), _plan->depthAt(firstStep),
                              _plan->depthAt(firstStep + 1), _plan->depthAt(firstStep + 2)};
    const Batch zero(0.0);
    for (std::size_t ray = 0; ray < _rays; ray += Batch::size) {
        const Batch entry = Batch::load(&_rayEntry[ray]);
        const Batch exit = Batch::load(&_rayExit[ray]);
        RaySteps<Batch> steps;
        for (int k = 0; k < 4; ++k) {
            steps.depths[k] = minimum(maximum(nominal[k], entry), exit);
        }
        steps.values[0] = Batch::load(&_rayEarlier[ray]);
        steps.values[1] = Batch::load(&_rayStart[ray]);
        steps.values[2] = Batch::load(&_samples.values[ray]);
        steps.values[3] = Batch::load(&_samples.values[_rays + ray]);
        const BatchMask isInside = steps.values[1] < zero || steps.values[2] < zero || steps.values[3] < zero;
        const BatchMask isNear = steps.pointsInAfter(0) || steps.pointsInBefore(1) ||
                                 steps.pointsInAfter(1) || steps.pointsInBefore(2);
        unsigned lanes = bitsOf(isInside || isNear);
        for (; lanes != 0; lanes &= lanes - 1) {
            const std::size_t one = ray + static_cast<std::size_t>(std::countr_zero(lanes));
            if (one < _rays) {
                examine(field, one, firstStep);
            }
        }
    }
}

void TileTracer::examine(FieldIndex field, std::size_t ray, std::int32_t firstStep)
{
    const Pixel pixel = _rayPixels[ray];
    RaySteps<double> steps;
    for (int k = 0; k < 4; ++k) {
        steps.depths[k] =
            std::min(std::max(_plan->depthAt(firstStep - 1 + k), _rayEntry[ray]), _rayExit[ray]);
    }
    steps.values[0] = _rayEarlier[ray];
    steps.values[1] = _rayStart[ray];
    steps.values[2] = _samples.values[ray];
    steps.values[3] = _samples.values[_rays + ray];
    if (steps.values[1] < 0) {
        // Samples before are outside, so this is the first of the ray or of a mixed box.
        closeInside(field, pixel, steps.depths[1], kInfinity);
        return;
    }
    for (int k = 0; k < 3; ++k) {
        const Bracket bracket{
            pixel, field, steps.depths[k], steps.values[k], steps.depths[k + 1], steps.values[k + 1]};
        if (steps.values[k + 1] < 0) {
            _crossings.push_back(bracket);
            return;
        }
        if ((k > 0 && steps.pointsInBefore(k)) || (k < 2 && steps.pointsInAfter(k))) {
            _gaps.push_back({bracket, k > 0 ? steps.slope(k - 1) : kNaN, k < 2 ? steps.slope(k + 1) : kNaN});
        }
    }
}

/// Takes more samples in each gap. What is found there comes before a crossing further on.
void TileTracer::lookIntoGaps(FieldIndex field)
{
    _dips.clear();
    for (std::size_t first = 0; first < _gaps.size(); first += kPixels) {
        const std::size_t end = std::min(_gaps.size(), first + kPixels);
        _samples.count = 0;
        for (std::size_t i = first; i < end; ++i) {
            const Bracket& ends = _gaps[i].ends;
            const double part = (ends.to - ends.from) / (kInGap + 1);
            for (std::size_t k = 1; k <= kInGap; ++k) {
                _samples.add(ends.pixel, ends.from + static_cast<double>(k) * part);
            }
        }
        if (!_samples.evaluate(field)) {
            return;
        }
        for (std::size_t i = first; i < end; ++i) {
            Bracket bracket = _gaps[i].ends;
            for (std::size_t k = 0; k < kInGap && isOpen(bracket.pixel); ++k) {
                const std::size_t sample = (i - first) * kInGap + k;
                if (_samples.values[sample] < 0) {
                    bracket.to = _samples.depths[sample];
                    bracket.toValue = _samples.values[sample];
                    _hits.addSurface(bracket);
                    close(bracket.pixel);
                }
                bracket.from = _samples.depths[sample];
                bracket.fromValue = _samples.values[sample];
            }
            if (isOpen(bracket.pixel)) {
                findDips(_gaps[i], (i - first) * kInGap);
            }
        }
    }
    if (!lookIntoDips(field)) {
        return;
    }
    for (const Bracket& crossing : _crossings) {
        if (isOpen(crossing.pixel)) {
            _hits.addSurface(crossing);
            close(crossing.pixel);
        }
    }
}

/// Lists where, between two samples of a gap, the lines through the samples before and after these meet
/// inside the solid. A slope that isn't known is taken to mirror the other one.
void TileTracer::findDips(const Gap& gap, std::size_t firstSample)
{
    double depths[kInGap + 2] = {gap.ends.from};
    double values[kInGap + 2] = {gap.ends.fromValue};
    std::copy_n(&_samples.depths[firstSample], kInGap, depths + 1);
    std::copy_n(&_samples.values[firstSample], kInGap, values + 1);
    depths[kInGap + 1] = gap.ends.to;
    values[kInGap + 1] = gap.ends.toValue;
    const double step = depths[1] - depths[0];
    for (std::size_t k = 0; k <= kInGap; ++k) {
        double before = k > 0 ? (values[k] - values[k - 1]) / step : gap.slopeBefore;
        double after = k < kInGap ? (values[k + 2] - values[k + 1]) / step : gap.slopeAfter;
        before = std::isnan(before) ? -after : before;
        after = std::isnan(after) ? -before : after;
        if (!(before < 0 && after > 0)) {
            continue;
        }
        const double meet = (values[k + 1] - values[k] - after * step) / (before - after);
        if (meet > 0 && meet < step && values[k] + before * meet < 0) {
            _dips.push_back({gap.ends.pixel, gap.ends.field, depths[k], values[k], depths[k] + meet, kNaN});
        }
    }
}

/// Takes the sample of each dip. False when it was interrupted.
bool TileTracer::lookIntoDips(FieldIndex field)
{
    for (std::size_t first = 0; first < _dips.size(); first += kPixels) {
        const std::size_t end = std::min(_dips.size(), first + kPixels);
        _samples.count = 0;
        for (std::size_t i = first; i < end; ++i) {
            _samples.add(_dips[i].pixel, _dips[i].to);
        }
        if (!_samples.evaluate(field)) {
            return false;
        }
        for (std::size_t i = first; i < end; ++i) {
            _dips[i].toValue = _samples.values[i - first];
            if (_dips[i].toValue < 0 && isOpen(_dips[i].pixel)) {
                _hits.addSurface(_dips[i]);
                close(_dips[i].pixel);
            }
        }
    }
    return true;
}

} // namespace zrk::picture
