#include "core/stress/CZatMidRR.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "tests/support/Signals.h"

TEST(CZatMidRR, EchoesWhileItFillsAndThenGivesTheValueOneAboveTheMiddleOfTheLatest) {
    for (const short window : std::initializer_list<short>{4, 5, 6, 7, 20}) {
        SCOPED_TRACE(testing::Message() << "window " << window << ", seed 31");
        const auto size = static_cast<std::size_t>(window);
        CZatMidRR averager(window);
        const auto input = RandomSamples(31, 500, window == 5 ? 3 : 32768);  // for 5 with many equal values
        for (int round = 0; round < 2; ++round, averager.Init())
            for (std::size_t i = 0; i < input.size(); ++i) {
                const auto next = input.begin() + static_cast<long>(i) + 1;
                std::vector<short> latest(next - static_cast<long>(std::min(i + 1, size)), next);
                std::sort(latest.begin(), latest.end());
                ASSERT_EQ(averager.MeanRR(input[i]), i < size ? input[i] : latest[size / 2 + 1]) << i;
            }
    }
}

TEST(CZatMidRR, StaysInsideWindowsThatAreTooSmall) {
    for (const short window : std::initializer_list<short>{3, 2, 1, 0, -1, -2, -32768}) {
        CZatMidRR averager(window);
        for (const short rr : RandomSamples(2, 40, 2000)) averager.MeanRR(rr);
    }
}
