#include "core/detect/CLengthTransform.h"

#include <gtest/gtest.h>

#include <utility>

#include "tests/support/Signals.h"

TEST(CLengthTransform, TruncatesTheMeanOfThreeLeadsAndGoesOnFromLeadOne) {
    CLengthTransform transform(500, 100);
    EXPECT_EQ(transform.Length(70, 8, 9), (70 + 8 + 9) / 3);
    EXPECT_EQ(transform.Length(75), (70 + 8 + 9) / 3 + 5);
    EXPECT_EQ(transform.Length(74, 10, 8), (70 + 8 + 9) / 3 + 5 + (1 + 2 + 1) / 3);
}

TEST(CLengthTransform, ForgetsTheFirstSampleOnceTheRingHasTurned) {
    CLengthTransform transform(500, 100);  // 50 slots
    for (int call = 1; call <= 120; ++call) EXPECT_EQ(transform.Length(100), call < 50 ? 100 : 0) << call;
}

TEST(CLengthTransform, AnswersZeroWithoutAWindow) {
    for (const auto& [fs, ms] : {std::pair{0, 100}, {9, 100}, {-500, 100}, {500, -100}, {500, 0}}) {
        CLengthTransform transform(fs, ms);
        for (const short x : RandomSamples(4, 50, 32768))
            EXPECT_EQ(transform.Length(x) | transform.Length(x, x, -x), 0);
    }
}
