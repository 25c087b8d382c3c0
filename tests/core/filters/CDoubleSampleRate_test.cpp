#include "core/filters/CDoubleSampleRate.h"

#include <gtest/gtest.h>

#include <tuple>
#include <utility>
#include <vector>

namespace {

using Pairs = std::vector<std::pair<short, short>>;

Pairs Doubled(CDoubleSampleRate& doubler, const std::vector<short>& x) {
    Pairs pairs;
    for (const short sample : x) {
        const short* pair = doubler.GetDoubleSampleRateData(sample);
        pairs.emplace_back(pair[0], pair[1]);
    }
    return pairs;
}

Pairs Doubled(const std::vector<short>& x) {
    CDoubleSampleRate doubler;
    return Doubled(doubler, x);
}

}  // namespace

TEST(CDoubleSampleRate, GivesTheWorkedExamples) {
    EXPECT_EQ(Doubled({100, 100, 100, 100, 100, 100}),
              (Pairs{{-6, 0}, {42, 100}, {117, 100}, {95, 100}, {101, 100}, {99, 100}}));
    EXPECT_EQ(Doubled({0, 0, 0, 300, 300, 300, 300}),
              (Pairs{{0, 0}, {0, 0}, {0, 0}, {0, 300}, {300, 300}, {301, 300}, {299, 300}}));
    EXPECT_EQ(Doubled({0, 10, 20, 30, 40, 50, 60}),
              (Pairs{{0, 0}, {0, 0}, {3, 10}, {15, 20}, {24, 30}, {35, 40}, {44, 50}}));
    // A step that was too restless to be seen at once is seen one sample later.
    const Pairs late = Doubled({0, 20, 20, 320, 320});
    EXPECT_EQ(late[3].second, 20);
    EXPECT_EQ(late[4], (std::pair<short, short>{20, 320}));
    CDoubleSampleRate doubler;
    for (const int followed : {0, 0, 50, 50}) EXPECT_EQ(doubler.CalculateReturnValues(50), followed);
}

TEST(CDoubleSampleRate, CountsAStepAsAJumpAbove240UnitsAndAsSmallUpTo15) {
    for (const auto& [small, jump, held] : {std::tuple{15, 241, true},
                                            {15, 240, false},
                                            {16, 241, false},
                                            {0, 40000, true},      // counts as 25536
                                            {0, 32768, false}}) {  // has no positive counterpart: small
        const auto b = static_cast<short>(small - 20000), x = static_cast<short>(b + jump);
        CDoubleSampleRate doubler;
        Doubled(doubler, {-20000, -20000, -20000, -20000, b});
        EXPECT_EQ(doubler.GetDoubleSampleRateData(x)[1], held ? x : b) << small << ", " << jump;
    }
}
