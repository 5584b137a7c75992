#include "core/mesh/search/bvh.h"

#include "core/values/stop.h"

#include <algorithm>
#include <bit>
#include <chrono>
#include <stdexcept>

namespace zrk {

namespace {

class Stopwatch {
public:
    double seconds() const
    {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - _start).count();
    }

private:
    std::chrono::steady_clock::time_point _start = std::chrono::steady_clock::now();
};

} // namespace

template <class T, int N, int D>
BVH<T, N, D>::BVH(const T* vertices, std::int32_t coordinateCount, const std::int32_t* indices,
                  std::int32_t indexCount, BoundsCallback boundsCallback)
    : vertices(vertices),
      coordinateCount(coordinateCount),
      vertexCount(coordinateCount / D),
      indices(indices),
      indexCount(indexCount),
      primitiveCount(indexCount / N),
      boundsCallback(std::move(boundsCallback))
{
    if (primitiveCount < 1) {
        throw std::invalid_argument("a hierarchy needs at least one primitive");
    }
    const Stopwatch watch;
    computeBounds();
    computeCodes();
    codeSeconds = watch.seconds();
}

template <class T, int N, int D>
typename BVH<T, N, D>::Box BVH<T, N, D>::boxOf(std::int32_t primitive) const
{
    Box box;
    if (boundsCallback) {
        Tensor<3, T> corners[2];
        boundsCallback(primitive, corners[0].begin(), corners[1].begin());
        box.include(corners[0]);
        box.include(corners[1]);
    } else {
        for (int k = 0; k < N; ++k) {
            box.include(pointAt(vertexOf(primitive, k)));
        }
    }
    return box;
}

template <class T, int N, int D>
void BVH<T, N, D>::computeBounds()
{
    if (boundsCallback) {
        inPieces(std::int32_t{0}, primitiveCount, [this](std::int32_t first, std::int32_t end) {
            for (std::int32_t p = first; p < end; ++p) {
                bounds.include(boxOf(p));
            }
        });
    } else {
        inPieces(std::int32_t{0}, vertexCount, [this](std::int32_t first, std::int32_t end) {
            for (std::int32_t v = first; v < end; ++v) {
                bounds.include(pointAt(vertices + std::ptrdiff_t{D} * v));
            }
        });
    }
}

template <class T, int N, int D>
std::uint64_t BVH<T, N, D>::codeOf(std::int32_t primitive) const
{
    std::uint32_t cells[D];
    for (int i = 0; i < D; ++i) {
        T sum = vertexOf(primitive, 0)[i];
        for (int k = 1; k < N; ++k) {
            sum += vertexOf(primitive, k)[i];
        }
        const T centroid = sum * (T(1) / T(N));
        cells[i] = mortonCell(centroid - bounds.min[i], bounds.max[i] - bounds.min[i]);
    }
    return interleave(cells[0], cells[1], cells[2]);
}

template <class T, int N, int D>
void BVH<T, N, D>::computeCodes()
{
    codes.resize(static_cast<std::size_t>(primitiveCount));
    parallelLoop({0, primitiveCount}, buildThreads(primitiveCount), [this](IndexRange range) {
        inPieces(range.first, range.end, [this](std::int32_t first, std::int32_t end) {
            for (std::int32_t p = first; p < end; ++p) {
                codes[static_cast<std::size_t>(p)] = {p, codeOf(p)};
            }
        });
    });
    sortByCode(codes);
}

/// The number of leading bits that the keys of a sorted position and of the next one share; 0 beyond either
/// end. A key is a Morton code followed by its position, so that no two keys are equal.
template <class T, int N, int D>
int BVH<T, N, D>::commonPrefix(std::int32_t position) const
{
    if (position < 0 || position + 1 >= primitiveCount) {
        return 0;
    }
    const auto i = static_cast<std::size_t>(position);
    const std::uint64_t difference = codes[i].code ^ codes[i + 1].code;
    return difference != 0 ? std::countl_zero(difference) : 64 + std::countl_zero(i ^ (i + 1));
}

template <class T, int N, int D>
void BVH<T, N, D>::buildHierarchy()
{
    const Stopwatch watch;
    _order.resize(codes.size());
    nodes.resize(2 * codes.size() - 1);
    const std::int32_t threads = buildThreads(primitiveCount);
    const std::int32_t parts = taskCount(primitiveCount, threads);
    std::vector<std::vector<Subtree>> pending(static_cast<std::size_t>(parts));
    parallelTasks(parts, threads, [&](std::int32_t k) {
        pending[static_cast<std::size_t>(k)] = linkLeaves(chunkOf({0, primitiveCount}, parts, k));
    });
    std::vector<Subtree> rest;
    for (const std::vector<Subtree>& subtrees : pending) {
        for (const Subtree& subtree : subtrees) {
            append(subtree, rest);
        }
    }
    buildSeconds = watch.seconds();
}

/// Makes the leaves of some positions, and those nodes all of whose leaves are among them.
/// @return the subtrees that have no parent yet, from left to right.
template <class T, int N, int D>
std::vector<typename BVH<T, N, D>::Subtree> BVH<T, N, D>::linkLeaves(IndexRange positions)
{
    std::vector<Subtree> pending;
    for (std::int32_t k = positions.first; k < positions.end; ++k) {
        _order[static_cast<std::size_t>(k)] = codes[static_cast<std::size_t>(k)].primitive;
    }
    int sharedBefore = commonPrefix(positions.first - 1);
    StopLookout lookout;
    for (std::int32_t k = positions.first; k < positions.end; ++k) {
        lookout.step();
        const auto position = static_cast<std::size_t>(k);
        prefetch(k, positions.end);
        const std::int32_t index = primitiveCount - 1 + k;
        const int sharedAfter = commonPrefix(k);
        nodes[static_cast<std::size_t>(index)] = {
            {_order.data() + position, 1}, boxOf(_order[position]), -1, -1, -1, true};
        append({k, k, index, sharedBefore, sharedAfter}, pending);
        sharedBefore = sharedAfter;
    }
    return pending;
}

/// Adds the next subtree to a row of neighbours. Then joins the last two for as long as they share more bits
/// with each other than either does with its other neighbour.
template <class T, int N, int D>
void BVH<T, N, D>::append(Subtree last, std::vector<Subtree>& pending)
{
    while (!pending.empty() && last.sharedBefore > last.sharedAfter &&
           last.sharedBefore > pending.back().sharedBefore) {
        last = join(pending.back(), last);
        pending.pop_back();
    }
    pending.push_back(last);
}

/// Makes a node over two neighbours. The node's number is its last position when it will be a first child,
/// else its first position.
template <class T, int N, int D>
typename BVH<T, N, D>::Subtree BVH<T, N, D>::join(const Subtree& left, const Subtree& right)
{
    const bool isFirstChild = right.sharedAfter > left.sharedBefore;
    const std::int32_t index = isFirstChild ? right.last : left.first;
    Node& first = nodes[static_cast<std::size_t>(left.node)];
    Node& second = nodes[static_cast<std::size_t>(right.node)];
    first.parent = index;
    second.parent = index;
    Box box = first.box;
    box.include(second.box);
    nodes[static_cast<std::size_t>(index)] = {
        {_order.data() + left.first, static_cast<std::size_t>(right.last - left.first + 1)},
        box,
        left.node,
        right.node,
        -1,
        false};
    return {left.first, right.last, index, left.sharedBefore, right.sharedAfter};
}

template class BVH<double, 3, 3>;
template class BVH<double, 2, 3>;

} // namespace zrk
