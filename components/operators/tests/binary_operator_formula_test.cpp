#include "components/operators/binary_operator_formula.h"

#include "testing/formula_agreement.h"
#include "testing/special_values.h"

namespace zrk {
namespace {

using zrk::testing::kNaN;

struct Pair {
    double a;
    double b;
    double expected;
};

/// Results of one operation for several pairs of components under the same weights.
struct Row {
    const char* name;
    double weightA;
    double weightB;
    std::vector<Pair> pairs;
    double expectedWeight;
};

bool same(double x, double y) { return x == y || (std::isnan(x) && std::isnan(y)); }

/// Checks a row in records of N components, each component with another pair.
template <std::uint32_t N, class Operation>
void expectRow(const Operation& operation, const Row& row, double tolerance)
{
    SCOPED_TRACE(::testing::Message() << row.name << ", " << N << " components");
    Record<N, double> a{{}, row.weightA};
    Record<N, double> b{{}, row.weightB};
    for (std::size_t first = 0; first < row.pairs.size(); ++first) {
        const auto pairOf = [&](std::size_t i) { return row.pairs[(first + i) % row.pairs.size()]; };
        for (std::size_t i = 0; i < N; ++i) {
            a.value[i] = pairOf(i).a / 2; // the strengths make up for it
            b.value[i] = pairOf(i).b * -4;
        }
        const auto result = BinaryCombination<Operation, N>{2, -0.25, operation}(a, b);
        for (std::size_t i = 0; i < N; ++i) {
            const double expected = pairOf(i).expected;
            EXPECT_TRUE(same(result.value[i], expected) ||
                        std::abs(result.value[i] - expected) <= tolerance * std::abs(expected))
                << "component " << i << ": " << result.value[i] << ", expected " << expected;
        }
        EXPECT_TRUE(same(result.weight, row.expectedWeight)) << result.weight;
    }
}

template <class Operation>
void expectRows(const Operation& operation, std::initializer_list<Row> rows, double tolerance = 0)
{
    for (const Row& row : rows) {
        expectRow<1>(operation, row, tolerance);
        expectRow<3>(operation, row, tolerance);
        expectRow<4>(operation, row, tolerance);
    }
}

TEST(BinaryCombination, Adds)
{
    expectRows(Addition{}, {
                               {"weights 1 and 1", 1, 1, {{2, 3, 5}, {-1, 1, 0}}, 1},
                               {"equal weights don't count", 0.3, 0.3, {{2, 3, 5}, {-1, 1, 0}}, 0.3},
                               {"weights 1 and 3", 1, 3, {{2, 3, 5.5}, {-1, 1, 1}}, 3},
                               {"weights 3 and 1", 3, 1, {{2, 3, 4.5}, {-1, 1, -1}}, 3},
                               {"weight 0", 0, 2, {{2, 3, 6}, {-1, 1, 2}}, 2},
                               {"both weights 0", 0, 0, {{2, 3, 5}}, 0},
                               {"opposite weights", -1, 1, {{2, 3, INFINITY}, {3, 3, kNaN}}, 1},
                           });
}

TEST(BinaryCombination, Subtracts)
{
    expectRows(Subtraction{}, {
                                  {"weights 1 and 1", 1, 1, {{2, 3, -1}, {-1, 1, -2}}, 1},
                                  {"weights 1 and 3", 1, 3, {{2, 3, -3.5}, {-1, 1, -2}}, 3},
                                  {"weight 0", 2, 0, {{2, 3, 4}, {-1, 1, -2}}, 2},
                              });
}

TEST(BinaryCombination, Multiplies)
{
    const double root2 = std::pow(4, 0.25);
    expectRows(Multiplication{},
               {
                   {"weights 1 and 1", 1, 1, {{2, 3, 6}, {-1, 4, -4}}, 1},
                   {"weights 1 and 3", 1, 3, {{4, 1, root2}, {16, 1, 2}, {0, 5, 0}}, 3},
                   {"weights 3 and 1", 3, 1, {{1, 16, 2}, {-1, 4, kNaN}}, 3},
                   {"weights 0 and 2", 0, 2, {{0, 3, 3}, {7, 5, 5}}, 2},
               },
               4e-16);
}

TEST(BinaryCombination, Blends)
{
    expectRows(Blend{0.25}, {
                                {"weights 1 and 1", 1, 1, {{4, 8, 5}, {-4, 4, -2}}, 1},
                                {"weights 1 and 3", 1, 3, {{4, 8, 4.5}, {-4, 4, 0}}, 3},
                            });
    expectRows(Blend{0}, {{"all of a", 1, 1, {{4, 8, 4}, {-4, 4, -4}}, 1}});
    expectRows(Blend{2}, {{"beyond b", 1, 1, {{4, 8, 12}, {-4, 4, 12}}, 1}});
}

TEST(BinaryCombination, TakesTheMinimumWhateverTheWeights)
{
    const std::vector<Pair> pairs = {{2, 3, 2}, {3, -1, -1}, {kNaN, 1, kNaN}, {1, kNaN, 1}};
    expectRows(Minimum{}, {{"equal weights", 1, 1, pairs, 1}, {"weights 1 and 3", 1, 3, pairs, 3}});
}

TEST(BinaryCombination, TakesTheMaximumWhateverTheWeights)
{
    const std::vector<Pair> pairs = {{2, 3, 3}, {3, -1, 3}, {kNaN, 1, 1}, {1, kNaN, kNaN}};
    expectRows(Maximum{}, {{"equal weights", 1, 1, pairs, 1}, {"weights 3 and 1", 3, 1, pairs, 3}});
}

TEST(BinaryCombination, TreatsNaNWeightsAsUnequal)
{
    expectRows(Addition{}, {
                               {"both", kNaN, kNaN, {{2, 3, kNaN}}, kNaN},
                               {"of a: b's is the larger", kNaN, 1, {{2, 3, kNaN}}, 1},
                               {"of b: as well", 1, kNaN, {{2, 3, kNaN}}, kNaN},
                           });
}

TEST(BinaryCombination, ScalesBeforeItWeighs)
{
    // With weights first, the strength 0 would give 0 to the power of 0.
    const BinaryCombination<Multiplication, 1> product{0, 1, {}};
    const auto result = product(Record<1, double>{{5}, 2}, Record<1, double>{{3}, 1});
    EXPECT_EQ(result.value[0], 0);
    EXPECT_EQ(result.weight, 2);
}

template <class Operation>
void expectAgreementOf(const Operation& operation, double tolerance)
{
    agreement::expectAgreement(BinaryCombination<Operation, 1>{1, 1, operation}, tolerance);
    agreement::expectAgreement(BinaryCombination<Operation, 3>{-0.5, 1, operation}, tolerance);
    agreement::expectAgreement(BinaryCombination<Operation, 4>{1, 2, operation}, tolerance);
}

TEST(BinaryCombination, AgreesInAllValueTypes)
{
    expectAgreementOf(Addition{}, 0);
    expectAgreementOf(Subtraction{}, 0);
    // The outer exponent is large where weights nearly cancel, and rounding grows with it.
    expectAgreementOf(Multiplication{}, 1e-12);
    expectAgreementOf(Blend{0.3}, 0);
    expectAgreementOf(Minimum{}, 0);
    expectAgreementOf(Maximum{}, 0);
}

} // namespace
} // namespace zrk
