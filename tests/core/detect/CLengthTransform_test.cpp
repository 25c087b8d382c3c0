#include "core/detect/CLengthTransform.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstdlib>
#include <utility>
#include <vector>

#include "tests/support/Signals.h"

/// The curve length of sample n, summed anew: the latest slots - 1 absolute changes, from 0 before the start.
static int SumOfChanges(const std::vector<short>& x, long n, long slots) {
    int sum = 0;
    for (long i = std::max(0L, n - slots + 2); i <= n; ++i) {
        const auto at = static_cast<std::size_t>(i);
        sum += std::abs(x[at] - (i == 0 ? 0 : x[at - 1]));
    }
    return sum;
}

TEST(CLengthTransform, SumsOneChangeFewerThanItsWindowHoldsSamples) {
    for (const auto& [fs, ms] :
         {std::pair{500, 100}, {257, 100}, {1000, 100}, {250, 8}, {100, 10}, {200, 8}}) {
        SCOPED_TRACE(testing::Message() << fs << " Hz, " << ms << " ms, seed 5");
        CLengthTransform transform(fs, ms);
        const auto input = RandomSamples(5, 700, 32768);
        for (std::size_t i = 0; i < input.size(); ++i)
            ASSERT_EQ(transform.Length(input[i]), SumOfChanges(input, static_cast<long>(i), fs * ms / 1000))
                << i;
    }
}

TEST(CLengthTransform, ForgetsTheFirstSampleOnceTheRingHasTurned) {
    CLengthTransform transform(500, 100);  // 50 slots
    for (int call = 1; call <= 120; ++call) EXPECT_EQ(transform.Length(100), call < 50 ? 100 : 0) << call;
}

TEST(CLengthTransform, TruncatesTheMeanOfThreeLeadsAtEveryStep) {
    CLengthTransform transform(500, 100), oneLead(500, 100);
    EXPECT_EQ(transform.Length(1, -1, 0), 0);
    EXPECT_EQ(transform.Length(2, -2, 1), 1);
    EXPECT_EQ(transform.Length(2, -2, 3), 1);
    transform.Init();
    const auto a = RandomSamples(1, 400, 32768), b = RandomSamples(2, 400, 900), c = RandomSamples(3, 400, 3);
    std::vector<int> means;
    for (std::size_t i = 0; i < a.size(); ++i) {
        const auto change = [i](const std::vector<short>& x) {
            return std::abs(x[i] - (i == 0 ? 0 : x[i - 1]));
        };
        means.push_back((change(a) + change(b) + change(c)) / 3);
        int sum = 0;
        for (std::size_t k = i < 48 ? 0 : i - 48; k <= i; ++k) sum += means[k];
        ASSERT_EQ(transform.Length(a[i], b[i], c[i]), sum) << i;
    }
    // The one-lead form continues from lead 1 of the three-lead form.
    oneLead.Length(70, 8, 9);
    EXPECT_EQ(oneLead.Length(75), (70 + 8 + 9) / 3 + 5);
}

TEST(CLengthTransform, SumsTheThreeLeadsModulo32Bits) {
    CLengthTransform transform(500, 100);
    const auto sum = static_cast<std::uint32_t>(3 * 2'000'000'000LL);  // 6e9 does not fit
    EXPECT_EQ(transform.Length(2'000'000'000, -2'000'000'000, 2'000'000'000), static_cast<int>(sum / 3));
}

TEST(CLengthTransform, TakesAnyInputWithoutOverflowing) {
    CLengthTransform transform(500, 100);
    for (int i = 0; i < 200; ++i) {
        transform.Length(i % 2 ? INT_MAX : INT_MIN);
        transform.Length(INT_MIN, i % 3 ? INT_MAX : 0, i % 5 ? INT_MIN : INT_MAX);
    }
}

TEST(CLengthTransform, StartsOverAfterEveryInit) {
    CLengthTransform used(500, 100), fresh(500, 100);
    const auto input = RandomSamples(9, 300, 4000);
    const auto expectFresh = [&] {
        fresh.Init();
        for (const short x : input) ASSERT_EQ(used.Length(x), fresh.Length(x));
        used.Length(1000, 2000, -3000);
    };
    expectFresh();
    used.Init();
    expectFresh();
    used.Init(500, 100);
    expectFresh();
    used.Init(1000, 100);
    EXPECT_EQ(used.Length(7), 7);
    used.Init(500, 100);
    expectFresh();
    used.Init(250, 200);  // another rate, the same 50 slots
    expectFresh();
}

TEST(CLengthTransform, AnswersZeroWithoutAWindowAndWithOneSlot) {
    for (const auto& [fs, ms] :
         {std::pair{0, 100}, {9, 100}, {-500, 100}, {500, -100}, {500, 0}, {10, 100}}) {
        CLengthTransform transform(fs, ms);
        for (const short x : RandomSamples(4, 50, 32768)) {
            EXPECT_EQ(transform.Length(x), 0);
            EXPECT_EQ(transform.Length(x, x, -x), 0);
        }
    }
}
