#include "apps/workbench/canvas/layout.h"

#include "apps/workbench/canvas/metrics.h"

#include <QRectF>

#include <algorithm>
#include <cmath>
#include <set>

namespace zrkworkbench {

namespace {

constexpr int kSweeps = 4;
constexpr double kTallestColumn = 1200; ///< of parts that don't hang together, at least
constexpr double kScreenShape = 1.6;    ///< width by height

using Ids = std::vector<std::uint16_t>;
using Neighbours = std::map<std::uint16_t, Ids>;

/// The longest way to each node from one that nothing feeds. Sources lie just before what they feed.
std::map<std::uint16_t, int> depths(const std::map<std::uint16_t, QSizeF>& sizes, const Neighbours& before,
                                    const Neighbours& after)
{
    std::map<std::uint16_t, int> depth;
    std::map<std::uint16_t, std::size_t> open;
    Ids ready;
    for (const auto& [id, size] : sizes) {
        open[id] = before.at(id).size();
        depth[id] = 0;
        if (open[id] == 0) {
            ready.push_back(id);
        }
    }
    Ids order;
    while (!ready.empty()) {
        const std::uint16_t id = ready.back();
        ready.pop_back();
        order.push_back(id);
        for (const std::uint16_t next : after.at(id)) {
            depth[next] = std::max(depth[next], depth[id] + 1);
            if (--open[next] == 0) {
                ready.push_back(next);
            }
        }
    }
    for (auto id = order.rbegin(); id != order.rend(); ++id) {
        if (!before.at(*id).empty() || after.at(*id).empty()) {
            continue;
        }
        int nearest = depth[after.at(*id).front()];
        for (const std::uint16_t next : after.at(*id)) {
            nearest = std::min(nearest, depth[next]);
        }
        depth[*id] = nearest - 1;
    }
    return depth;
}

/// The places of nodes that hang together, in columns from left to right.
std::map<std::uint16_t, QPointF> layoutPart(const std::map<std::uint16_t, QSizeF>& sizes,
                                            const Neighbours& before, const Neighbours& after)
{
    std::map<int, Ids> columns;
    for (const auto& [id, depth] : depths(sizes, before, after)) {
        columns[depth].push_back(id);
    }

    std::map<std::uint16_t, double> middle; ///< of each node, from top to bottom
    const auto stack = [&](Ids& column) {
        double y = 0;
        for (const std::uint16_t id : column) {
            middle[id] = y + sizes.at(id).height() / 2;
            y += sizes.at(id).height() + size::kPitchDown;
        }
    };
    const auto wanted = [&](std::uint16_t id, const Neighbours& neighbours) {
        double sum = 0;
        for (const std::uint16_t other : neighbours.at(id)) {
            sum += middle[other];
        }
        return neighbours.at(id).empty() ? middle[id] : sum / static_cast<double>(neighbours.at(id).size());
    };
    for (auto& [depth, column] : columns) {
        stack(column);
    }
    // Puts a column in the order of what it is linked with and as level with it as room allows.
    const auto arrange = [&](Ids& column, const Neighbours& neighbours) {
        std::map<std::uint16_t, double> want;
        for (const std::uint16_t id : column) {
            want[id] = wanted(id, neighbours);
        }
        std::stable_sort(column.begin(), column.end(),
                         [&](std::uint16_t a, std::uint16_t b) { return want[a] < want[b]; });
        double least = -1e9;
        double shift = 0;
        for (const std::uint16_t id : column) {
            const double half = sizes.at(id).height() / 2;
            middle[id] = std::max(want[id], least + half);
            least = middle[id] + half + size::kPitchDown;
            shift += want[id] - middle[id];
        }
        for (const std::uint16_t id : column) {
            middle[id] += shift / static_cast<double>(column.size());
        }
    };
    for (int sweep = 0; sweep < kSweeps; ++sweep) {
        for (auto& [depth, column] : columns) {
            arrange(column, before);
        }
        for (auto column = columns.rbegin(); column != columns.rend(); ++column) {
            arrange(column->second, after);
        }
    }

    std::map<std::uint16_t, QPointF> places;
    double top = 1e9;
    for (const auto& [id, centre] : middle) {
        top = std::min(top, centre - sizes.at(id).height() / 2);
    }
    double x = 0;
    for (const auto& [depth, column] : columns) {
        double width = 0;
        for (const std::uint16_t id : column) {
            places[id] = QPointF(x, snapped(middle[id] - sizes.at(id).height() / 2 - top));
            width = std::max(width, sizes.at(id).width());
        }
        x += std::ceil((width + size::kPitchAcross) / size::kSnap) * size::kSnap;
    }
    return places;
}

/// The nodes that a node hangs together with, and itself.
Ids partOf(std::uint16_t node, const Neighbours& before, const Neighbours& after,
           std::set<std::uint16_t>& seen)
{
    Ids part;
    Ids open{node};
    seen.insert(node);
    while (!open.empty()) {
        part.push_back(open.back());
        open.pop_back();
        for (const Neighbours* neighbours : {&before, &after}) {
            for (const std::uint16_t other : neighbours->at(part.back())) {
                if (seen.insert(other).second) {
                    open.push_back(other);
                }
            }
        }
    }
    return part;
}

} // namespace

std::map<std::uint16_t, QPointF>
layoutNodes(const std::map<std::uint16_t, QSizeF>& sizes,
            const std::vector<std::pair<std::uint16_t, std::uint16_t>>& links)
{
    Neighbours before;
    Neighbours after;
    double area = 0;
    for (const auto& [id, size] : sizes) {
        before[id];
        after[id];
        area += (size.width() + size::kPitchAcross) * (size.height() + size::kPitchDown);
    }
    for (const auto& [from, to] : links) {
        if (sizes.contains(from) && sizes.contains(to)) {
            before[to].push_back(from);
            after[from].push_back(to);
        }
    }
    // Parts stand beneath each other, and many of them side by side, so that all have the shape of a screen.
    const double tallest = std::max(kTallestColumn, std::sqrt(area / kScreenShape));
    std::map<std::uint16_t, QPointF> places;
    std::set<std::uint16_t> seen;
    double x = 0, y = 0, across = 0;
    for (const auto& [id, size] : sizes) {
        if (seen.contains(id)) {
            continue;
        }
        std::map<std::uint16_t, QSizeF> part;
        for (const std::uint16_t member : partOf(id, before, after, seen)) {
            part[member] = sizes.at(member);
        }
        const auto within = layoutPart(part, before, after);
        QRectF room;
        for (const auto& [member, place] : within) {
            room |= QRectF(place, sizes.at(member));
        }
        if (y > 0 && y + room.height() > tallest) {
            x = snapped(across + 2 * size::kPitchAcross);
            y = 0;
        }
        for (const auto& [member, place] : within) {
            places[member] = place + QPointF(x, y);
        }
        across = std::max(across, x + room.width());
        y = snapped(y + room.height() + 2 * size::kPitchDown);
    }
    return places;
}

} // namespace zrkworkbench
