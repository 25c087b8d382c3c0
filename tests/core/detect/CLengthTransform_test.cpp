#include "core/detect/CLengthTransform.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <numeric>
#include <tuple>
#include <utility>
#include <vector>

#include "tests/support/Signals.h"

TEST(CLengthTransform, SumsOneChangeFewerThanItsWindowHoldsSamplesAndStartsOverAfterEveryInit) {
    const auto a = RandomSamples(1, 700, 32768), b = RandomSamples(2, 700, 900), c = RandomSamples(3, 700, 3);
    const auto expectSums = [&](CLengthTransform& transform, std::size_t slots, bool threeLeads) {
        SCOPED_TRACE(testing::Message()
                     << slots << " slots, " << (threeLeads ? 3 : 1) << " leads, seeds 1 to 3");
        const auto change = [](const auto& x, std::size_t i) {
            return std::abs(x[i] - (i == 0 ? 0 : x[i - 1]));
        };
        std::vector<int> changes;  // the mean of three leads is truncated at every step
        for (std::size_t i = 0; i < a.size(); ++i) {
            changes.push_back(threeLeads ? (change(a, i) + change(b, i) + change(c, i)) / 3 : change(a, i));
            const auto summed = static_cast<std::ptrdiff_t>(std::min(changes.size(), slots - 1));
            ASSERT_EQ(threeLeads ? transform.Length(a[i], b[i], c[i]) : transform.Length(a[i]),
                      std::accumulate(changes.end() - summed, changes.end(), 0))
                << i;
        }
    };
    CLengthTransform reused(500, 100);
    for (const auto& [fs, ms, slots] :
         {std::tuple{500, 100, 50u}, {257, 100, 25u}, {250, 8, 2u}, {10, 100, 1u}, {250, 200, 50u}})
        for (const bool threeLeads : {false, true, false}) {
            CLengthTransform fresh(fs, ms);
            expectSums(fresh, slots, threeLeads);
            reused.Init(fs, ms);
            expectSums(reused, slots, threeLeads);
            reused.Init();
            expectSums(reused, slots, threeLeads);
            reused.Length(1000, 2000, -3000);
        }
    // The one-lead form continues from lead 1 of the three-lead form.
    reused.Init();
    reused.Length(70, 8, 9);
    EXPECT_EQ(reused.Length(75), (70 + 8 + 9) / 3 + 5);
}

TEST(CLengthTransform, ForgetsTheFirstSampleOnceTheRingHasTurned) {
    CLengthTransform transform(500, 100);  // 50 slots
    for (int call = 1; call <= 120; ++call) EXPECT_EQ(transform.Length(100), call < 50 ? 100 : 0) << call;
}

TEST(CLengthTransform, SumsTheThreeLeadsModulo32BitsAndNeverOverflows) {
    for (const int x :
         {2'000'000'000, 1'000'000'000}) {  // thrice that fits into no int, or only without sign
        CLengthTransform transform(500, 100);
        EXPECT_EQ(transform.Length(x, -x, x), static_cast<int>(static_cast<std::uint32_t>(3LL * x) / 3));
        for (int i = 0; i < 200; ++i) {
            transform.Length(i % 2 ? INT_MAX : INT_MIN);
            transform.Length(INT_MIN, i % 3 ? INT_MAX : 0, i % 5 ? INT_MIN : INT_MAX);
        }
    }
}

TEST(CLengthTransform, AnswersZeroWithoutAWindow) {
    for (const auto& [fs, ms] : {std::pair{0, 100}, {9, 100}, {-500, 100}, {500, -100}, {500, 0}}) {
        CLengthTransform transform(fs, ms);
        for (const short x : RandomSamples(4, 50, 32768))
            EXPECT_EQ(transform.Length(x) | transform.Length(x, x, -x), 0);
    }
}
