#include "core/detect/CLengthTransform.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstdlib>
#include <utility>
#include <vector>

#include "tests/support/Signals.h"

/// The size of the last step of a signal that was 0 before its start.
static int Change(const std::vector<short>& x, std::size_t i) {
    return std::abs(x[i] - (i == 0 ? 0 : x[i - 1]));
}

TEST(CLengthTransform, SumsOneChangeFewerThanItsWindowHoldsSamplesAndStartsOverAfterEveryInit) {
    CLengthTransform reused(500, 100);
    const auto a = RandomSamples(1, 700, 32768), b = RandomSamples(2, 700, 900), c = RandomSamples(3, 700, 3);
    const auto expectSums = [&](CLengthTransform& transform, int slots, int leads) {
        SCOPED_TRACE(testing::Message() << slots << " slots, " << leads << " leads, seeds 1 to 3");
        std::vector<int> changes;
        for (std::size_t i = 0; i < a.size(); ++i) {
            // The mean of three leads is truncated at every step.
            changes.push_back(leads == 1 ? Change(a, i) : (Change(a, i) + Change(b, i) + Change(c, i)) / 3);
            int sum = 0;
            for (std::size_t age = 0; age + 1 < static_cast<std::size_t>(slots) && age <= i; ++age)
                sum += changes[i - age];
            ASSERT_EQ(leads == 1 ? transform.Length(a[i]) : transform.Length(a[i], b[i], c[i]), sum) << i;
        }
    };
    for (const auto& [fs, ms] : {std::pair{500, 100},
                                 {257, 100},
                                 {1000, 100},
                                 {250, 8},
                                 {100, 10},
                                 {200, 8},
                                 {10, 100},
                                 {250, 200},
                                 {500, 100}})
        for (const int leads : {1, 3, 1}) {
            CLengthTransform fresh(fs, ms);
            expectSums(fresh, fs * ms / 1000, leads);
            reused.Init(fs, ms);
            expectSums(reused, fs * ms / 1000, leads);
            reused.Init();
            expectSums(reused, fs * ms / 1000, leads);
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
