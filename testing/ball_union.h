#pragma once

#include "testing/random_chain.h"

#include <random>
#include <vector>

/// Unions of balls: in a small box all but a few of their nodes are idle.
namespace zrk::chains {

struct Ball {
    Tensor<3, double> center;
    double radius;
    template <class V>
    V operator()(const Tensor<3, V>& p) const
    {
        const Tensor<3, V> d{p[0] - center[0], p[1] - center[1], p[2] - center[2]};
        return sqrt(dot(d, d)) - radius;
    }
};

inline IField ball(const Tensor<3, double>& center, double radius)
{
    return literal::node(1, evaluator(Ball{center, radius}), {literal::position()});
}

/// As `Combined`, but doesn't tell which of its inputs a box takes, so that nothing of a chain is left out.
struct Undecided {
    static constexpr bool kKeepsUnitWeight = true;
    RowOperation operation;

    RowOperation rowOperation() const { return operation; }

    template <class V>
    Record<1, V> operator()(const Record<1, V>& a, const Record<1, V>& b) const
    {
        return Combined{operation}(a, b);
    }
};

template <class Formula = Combined>
IField combined(RowOperation operation, const IField& a, const IField& b)
{
    return literal::node(1, evaluator(Formula{operation}), {a, b});
}

/// Balls with their centres in the cube from -1 to 1.
inline std::vector<Ball> manyBalls(int count, double radius)
{
    std::mt19937 random(3);
    std::uniform_real_distribution<double> place(-1, 1);
    std::vector<Ball> balls;
    for (int i = 0; i < count; ++i) {
        const double x = place(random);
        const double y = place(random);
        balls.push_back({{x, y, place(random)}, radius});
    }
    return balls;
}

/// Their union as a chain with a node for each ball.
/// @tparam Formula  what joins two.
template <class Formula = Combined>
IField unionOfBalls(int count, double radius)
{
    IField all;
    for (const Ball& one : manyBalls(count, radius)) {
        const IField field = ball(one.center, one.radius);
        all = all.generator() ? combined<Formula>(RowOperation::Minimum, all, field) : field;
    }
    return all;
}

/// The same as one formula, of which nothing can be left out.
struct BallUnion {
    std::vector<Ball> balls;
    template <class V>
    V operator()(const Tensor<3, V>& p) const
    {
        V least = balls[0](p);
        for (const Ball& one : balls) {
            least = minimum(least, one(p));
        }
        return least;
    }
};

} // namespace zrk::chains
