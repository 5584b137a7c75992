#include "core/values/stop.h"

#include "core/values/fault.h"
#include "core/values/large_pages.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <thread>
#include <vector>

namespace zrk {
namespace {

/// What asking to stop leads to: the kind of the fault; nothing where the work goes on.
template <class Work>
std::optional<FaultKind> stopped(const Work& work)
{
    try {
        work();
    } catch (const FaultError& error) {
        return error.fault().kind;
    }
    return std::nullopt;
}

TEST(StopScope, StopsTheWorkOfItsThreadWhileItLives)
{
    StopSign sign;
    StopSign outer;
    EXPECT_FALSE(isStopAsked());
    {
        const StopScope outerScope(outer);
        {
            const StopScope scope(sign);
            EXPECT_FALSE(isStopAsked());
            sign.raise();
            EXPECT_TRUE(isStopAsked());
            EXPECT_EQ(stopped(stopIfAsked), FaultKind::Interrupted);
        }
        EXPECT_FALSE(isStopAsked()) << "of the outer sign";
        const StopSign calm;
        const StopScope scope(calm);
        outer.raise();
        EXPECT_TRUE(isStopAsked()) << "from within";
    }
    EXPECT_FALSE(isStopAsked());
}

TEST(StopScope, StopsOtherThreadsOnlyWhereItIsHandedOn)
{
    StopSign sign;
    sign.raise();
    const StopScope scope(sign);
    bool isAlone = true;
    bool isHelper = false;
    std::thread([&] { isAlone = isStopAsked(); }).join();
    std::thread([&, outer = StopScope::current()] {
        const StopScope handedOn(outer);
        isHelper = isStopAsked();
    }).join();
    EXPECT_FALSE(isAlone);
    EXPECT_TRUE(isHelper);
}

// A piece that is left out or done twice would change the sum.
TEST(InPieces, CoversARangeOnce)
{
    for (const std::int32_t count : {0, 1, 1 << 14, (1 << 14) + 1, 100000}) {
        std::vector<int> visits(static_cast<std::size_t>(count));
        inPieces(std::int32_t{0}, count, [&](std::int32_t first, std::int32_t end) {
            for (std::int32_t i = first; i < end; ++i) {
                ++visits[static_cast<std::size_t>(i)];
            }
        });
        EXPECT_EQ(visits, std::vector<int>(static_cast<std::size_t>(count), 1)) << count;
    }
}

TEST(StopIfAsked, EndsLongLoops)
{
    StopSign sign;
    const StopScope scope(sign);
    constexpr std::int32_t kMany = 1 << 30;
    std::int32_t done = 0;
    const auto pieces = [&] {
        inPieces(0, kMany, [&](std::int32_t first, std::int32_t) {
            done = first;
            sign.raise();
        });
    };
    EXPECT_EQ(stopped(pieces), FaultKind::Interrupted);
    EXPECT_EQ(done, 0) << "pieces begun after the request";

    StopLookout lookout;
    const auto steps = [&] {
        for (done = 0; done < kMany; ++done) {
            lookout.step();
        }
    };
    EXPECT_EQ(stopped(steps), FaultKind::Interrupted);
    EXPECT_LT(done, 10000);

    std::vector<double> values{1.0};
    EXPECT_EQ(stopped([&] { resizeInPieces(values, std::size_t{1} << 26); }), FaultKind::Interrupted);
}

TEST(ResizeInPieces, DoesWhatResizeDoes)
{
    for (const std::size_t count : {0u, 1u, 3u, 5u << 20}) {
        std::vector<double> values{1.0, 2.0};
        resizeInPieces(values, count);
        std::vector<double> expected{1.0, 2.0};
        expected.resize(count);
        EXPECT_TRUE(values == expected) << count;
    }
}

} // namespace
} // namespace zrk
