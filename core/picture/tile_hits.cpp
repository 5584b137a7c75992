#include "core/picture/tile_hits.h"

#include <algorithm>
#include <cmath>

namespace zrk::picture {

namespace {

/// Corners of the tetrahedron that normals are taken from.
constexpr Vector3 kTetrahedron[4] = {{1, 1, 1}, {1, -1, -1}, {-1, 1, -1}, {-1, -1, 1}};
constexpr double kNormalReach = 0.35; ///< pixels
/// Of a bracket, how far before its expected crossing a sample is taken. On the surface itself the side of a
/// mesh is dear to tell.
constexpr double kBeside = 0.025;

/// Where the chord of two values crosses 0; the middle where they tell nothing.
double chord(double from, double fromValue, double to, double toValue)
{
    const double crossing = from + (to - from) * (fromValue / (fromValue - toValue));
    return crossing >= from && crossing <= to ? crossing : 0.5 * (from + to);
}

/// Where the inverse parabola through three values crosses 0, if it does so between `from` and `to`, two
/// of the three; else where their chord does.
double parabola(const double (&depths)[3], const double (&values)[3], double from, double fromValue,
                double to, double toValue)
{
    double crossing = 0;
    for (int i = 0; i < 3; ++i) {
        const int j = (i + 1) % 3;
        const int k = (i + 2) % 3;
        crossing += depths[i] * (values[j] / (values[i] - values[j])) * (values[k] / (values[i] - values[k]));
    }
    return crossing >= from && crossing <= to ? crossing : chord(from, fromValue, to, toValue);
}

} // namespace

/// Takes a sample a little before where the chord crosses 0, then halves what is left as long as the values
/// tell little. Leaves the depth of each crossing in its bracket's `to`.
void TileHits::narrow(std::vector<Bracket>& brackets)
{
    constexpr int kRounds = 5;
    constexpr double kSettled = 0.1; // of the difference of the values at the ends
    _unsettled.clear();
    for (Bracket& b : brackets) {
        const double crossing = chord(b.from, b.fromValue, b.to, b.toValue);
        const double beside = crossing - kBeside * (b.to - b.from);
        _unsettled.push_back({&b, beside > b.from ? beside : crossing});
    }
    for (int round = 0; round < kRounds && !_unsettled.empty(); ++round) {
        std::size_t left = 0;
        for (std::size_t first = 0; first < _unsettled.size(); first += kTilePixels) {
            const std::size_t end = std::min(_unsettled.size(), first + kTilePixels);
            _samples.count = 0;
            for (std::size_t i = first; i < end; ++i) {
                _samples.add(_unsettled[i].bracket->pixel, _unsettled[i].depth);
            }
            if (!_samples.evaluate(brackets[0].field)) {
                return;
            }
            for (std::size_t i = first; i < end; ++i) {
                Bracket& b = *_unsettled[i].bracket;
                const double depth = _samples.depths[i - first];
                const double value = _samples.values[i - first];
                const bool isSettled = std::abs(value) <= kSettled * (b.fromValue - b.toValue) ||
                                       round + 1 == kRounds || b.from == b.to;
                const double depths[3] = {b.from, depth, b.to};
                const double values[3] = {b.fromValue, value, b.toValue};
                (value < 0 ? b.to : b.from) = depth;
                (value < 0 ? b.toValue : b.fromValue) = value;
                if (isSettled) {
                    b.to = parabola(depths, values, b.from, b.fromValue, b.to, b.toValue);
                } else {
                    _unsettled[left++] = {&b, 0.5 * (b.from + b.to)};
                }
            }
        }
        _unsettled.resize(left);
    }
}

void TileHits::write(DepthPicture& out)
{
    const Detail detail = _samples.plan().detail;
    for (std::size_t field = 0; field < _hits.size(); ++field) {
        OfField& hits = _hits[field];
        if (detail == Detail::RoughDepths) {
            writeRoughly(hits, out);
            continue;
        }
        narrow(hits.brackets);
        for (const Bracket& bracket : hits.brackets) {
            const std::size_t place = _samples.placeOf(out, bracket.pixel);
            out.depths[place] = bracket.to;
            out.kinds[place] = PixelKind::Surface;
        }
        if (detail == Detail::Normals) {
            writeNormals(hits.brackets, out);
        }
        writeCuts(hits.cuts, static_cast<FieldIndex>(field), out);
    }
    clear();
}

/// Takes no samples: the chords of those that there are will do.
void TileHits::writeRoughly(const OfField& hits, DepthPicture& out)
{
    for (const Bracket& b : hits.brackets) {
        const std::size_t place = _samples.placeOf(out, b.pixel);
        out.depths[place] = chord(b.from, b.fromValue, b.to, b.toValue);
        out.kinds[place] = PixelKind::Surface;
    }
    for (const Cut& cut : hits.cuts) {
        const std::size_t place = _samples.placeOf(out, cut.pixel);
        out.depths[place] = cut.depth;
        out.kinds[place] = PixelKind::CutByViewer;
    }
}

void TileHits::writeNormals(const std::vector<Bracket>& brackets, DepthPicture& out)
{
    const Camera& camera = _samples.plan().camera;
    for (std::size_t first = 0; first < brackets.size(); first += kTilePixels) {
        const std::size_t count = std::min(brackets.size() - first, kTilePixels);
        _samples.count = 0;
        for (std::size_t i = 0; i < count; ++i) {
            const Bracket& bracket = brackets[first + i];
            const double reach = kNormalReach * camera.pixelAt(bracket.to);
            const Vector3 at = _samples.positionOf(bracket.pixel, bracket.to);
            for (const Vector3& corner : kTetrahedron) {
                _samples.add(
                    Vector3{at[0] + reach * corner[0], at[1] + reach * corner[1], at[2] + reach * corner[2]});
            }
        }
        if (!_samples.evaluatePositions(brackets[0].field)) {
            return;
        }
        for (std::size_t i = 0; i < count; ++i) {
            Vector3 gradient{};
            for (std::size_t corner = 0; corner < 4; ++corner) {
                for (std::size_t axis = 0; axis < 3; ++axis) {
                    gradient[axis] += kTetrahedron[corner][axis] * _samples.values[4 * i + corner];
                }
            }
            const std::size_t place = _samples.placeOf(out, brackets[first + i].pixel);
            const double size = length(gradient);
            const bool isKnown = size > 0 && size < HUGE_VAL;
            const Vector3 normal = isKnown ? gradient * (1 / size) : camera.forward * -1.0;
            out.normals[place] = {static_cast<float>(normal[0]), static_cast<float>(normal[1]),
                                  static_cast<float>(normal[2])};
        }
    }
}

void TileHits::writeCuts(const std::vector<Cut>& cuts, FieldIndex field, DepthPicture& out)
{
    const TracePlan& plan = _samples.plan();
    const Camera& camera = plan.camera;
    _samples.count = 0;
    for (const Cut& cut : cuts) {
        _samples.add(cut.pixel, cut.depth);
    }
    if (!_samples.evaluate(field)) {
        return;
    }
    for (std::size_t i = 0; i < cuts.size(); ++i) {
        const Cut& cut = cuts[i];
        const std::size_t place = _samples.placeOf(out, cut.pixel);
        const Vector3 at = {_samples.x[i], _samples.y[i], _samples.z[i]};
        PixelKind kind = PixelKind::CutByViewer;
        Vector3 normal = camera.forward * -1.0;
        if (cut.depth > plan.nearest || !camera.isPerspective()) {
            double closest = HUGE_VAL;
            for (int face = 0; face < 6; ++face) {
                const auto axis = static_cast<std::size_t>(face / 2);
                const bool isUpper = face % 2 != 0;
                const double direction = camera.forward[axis] * (isUpper ? 1 : -1);
                const double away =
                    std::abs(at[axis] - (isUpper ? plan.region[axis].upper : plan.region[axis].lower));
                if (away < closest && (direction < 0 || camera.isPerspective())) {
                    closest = away;
                    kind = static_cast<PixelKind>(static_cast<int>(PixelKind::CutLowerX) + face);
                    normal = {};
                    normal[axis] = isUpper ? 1 : -1;
                }
            }
        }
        out.depths[place] = cut.depth;
        out.kinds[place] = kind;
        out.values[place] = static_cast<float>(_samples.values[i]);
        out.normals[place] = {static_cast<float>(normal[0]), static_cast<float>(normal[1]),
                              static_cast<float>(normal[2])};
    }
}

} // namespace zrk::picture
