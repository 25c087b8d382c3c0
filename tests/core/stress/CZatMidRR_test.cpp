#include "core/stress/CZatMidRR.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "tests/support/Signals.h"

TEST(CZatMidRR, EchoesWhileItFillsAndThenGivesTheValueAboveTheMiddle) {
    CZatMidRR averager(5);
    for (const short rr : std::initializer_list<short>{800, 810, 790, 805, 795})
        EXPECT_EQ(averager.MeanRR(rr), rr);
    EXPECT_EQ(averager.MeanRR(1200), 810);  // of 790 795 805 810 1200
    EXPECT_EQ(averager.MeanRR(200), 805);   // of 200 790 795 805 1200: a short one never shows
    averager.Init();
    for (const short rr : std::initializer_list<short>{1, 2, 3, 4, 5}) EXPECT_EQ(averager.MeanRR(rr), rr);
    EXPECT_EQ(averager.MeanRR(6), 5);
}

TEST(CZatMidRR, AgreesWithSortingTheLatestValues) {
    for (const short window : std::initializer_list<short>{4, 5, 6, 7, 20}) {
        SCOPED_TRACE(testing::Message() << "window " << window << ", seed 31");
        const auto size = static_cast<std::size_t>(window);
        CZatMidRR averager(window);
        const auto input = RandomSamples(31, 500, window == 5 ? 3 : 32768);  // for 5 with many equal values
        for (std::size_t i = 0; i < input.size(); ++i) {
            short expected = input[i];
            if (i >= size) {
                std::vector<short> latest(input.begin() + static_cast<long>(i - size + 1),
                                          input.begin() + static_cast<long>(i + 1));
                std::sort(latest.begin(), latest.end());
                expected = latest[size / 2 + 1];
            }
            ASSERT_EQ(averager.MeanRR(input[i]), expected) << i;
        }
    }
}

TEST(CZatMidRR, StaysInsideWindowsThatAreTooSmall) {
    for (const short window : std::initializer_list<short>{3, 2, 1, 0, -1, -2, -32768}) {
        CZatMidRR averager(window);
        for (const short rr : RandomSamples(2, 40, 2000)) averager.MeanRR(rr);
    }
}
