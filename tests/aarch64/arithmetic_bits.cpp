// Prints a line for each of some fields of arithmetic: a digest of the bits of many samples and bounds.
// Compared between processors by tools/check-aarch64.
#include "components/primitives/box_sdf_formula.h"
#include "components/primitives/sphere_sdf_formula.h"
#include "components/primitives/torus_sdf_formula.h"
#include "core/engine/evaluator_builder.h"
#include "core/engine/formula.h"
#include "core/engine/prepared_field.h"

#include <bit>
#include <cstdio>
#include <memory>
#include <random>
#include <utility>
#include <vector>

namespace {

/// All that arithmetic has besides the primitives': divisions, rounding, comparisons, multiply and add that
/// mustn't be contracted.
struct Mixture {
    template <class V>
    V operator()(const zrk::Tensor<3, V>& p) const
    {
        const V cell = floor(p[0] * 3.0 + p[1]) - round(p[2] / 0.7);
        const V slope = (p[0] * p[1] + p[2] * 0.1) / (p[2] * p[2] + 0.3);
        return select(slope < cell, abs(trunc(slope * 8.0)) + sqrt(p[0] * p[0] + 1e-3), minimum(slope, cell));
    }
};

class FormulaField final : public zrk::FieldGenerator<1, 3> {
public:
    explicit FormulaField(zrk::Evaluation evaluation) : _evaluation(std::move(evaluation)) {}
    void build(zrk::EvaluatorBuilder<double>& builder) override
    {
        builder.setEvaluator(_evaluation);
        builder.addInput(zrk::IField(std::make_shared<zrk::PassThroughField<3>>()));
    }
    const zrk::FieldTypeDescriptor& descriptor() const override
    {
        static const zrk::FieldTypeDescriptor descriptor{1, 3, "formula", {}};
        return descriptor;
    }

private:
    zrk::Evaluation _evaluation;
};

/// FNV-1a over the bits, as Fowler, Noll and Vo have it, a word at a time.
class Digest {
public:
    void add(double value) { _value = (_value ^ std::bit_cast<std::uint64_t>(value)) * 0x100000001b3u; }
    unsigned long long value() const { return _value; }

private:
    std::uint64_t _value = 0xcbf29ce484222325u;
};

void print(const char* name, zrk::Evaluation evaluation)
{
    const zrk::PreparedField field(zrk::IField(std::make_shared<FormulaField>(std::move(evaluation))));
    std::mt19937_64 random(1); // whose numbers the language fixes
    const auto coordinate = [&] { return static_cast<double>(random() >> 11) * 0x1p-51 - 2.0; };
    Digest digest;
    std::vector<double> x(5000), y(5000), z(5000), values(5000);
    for (std::size_t i = 0; i < x.size(); ++i) {
        x[i] = coordinate();
        y[i] = coordinate();
        z[i] = coordinate();
    }
    field.evaluate(x.data(), y.data(), z.data(), x.size(), values.data());
    for (const double value : values) {
        digest.add(value);
    }
    for (std::size_t i = 0; i + 1 < 500; ++i) {
        const auto range = [](double a, double b) {
            return zrk::Interval<double>{std::min(a, b), std::max(a, b)};
        };
        const auto bounds =
            field.bounds({range(x[i], x[i + 1]), range(y[i], y[i + 1]), range(z[i], z[i + 1])});
        digest.add(bounds.components[0].lower);
        digest.add(bounds.components[0].upper);
    }
    std::printf("%s %016llx\n", name, digest.value());
}

} // namespace

int main()
{
    print("sphere", zrk::evaluator(zrk::SphereDistance{{0.1, -0.2, 0.3}, 0.8}));
    print("box", zrk::evaluator(zrk::BoxDistance{{0.1, 0, 0}, {0.5, 0.7, 0.3}, 0.1}));
    print("torus", zrk::evaluator(zrk::TorusDistance{{0, 0.1, 0}, 1.0, 0.3}));
    print("mixture", zrk::evaluator(Mixture{}));
}
