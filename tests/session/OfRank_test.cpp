#include "session/internal/OfRank.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

TEST(OfRank, FindsTheValueOfARankFromAnyGuess) {
    std::mt19937 random(1);
    for (std::size_t count = 1; count < 30; ++count) {
        std::vector<float> values(count);
        for (float& value : values) value = static_cast<float>(random() % 20);  // some are equal
        std::vector<float> sorted = values;
        std::sort(sorted.begin(), sorted.end());
        values.resize(count + qz::kRankAtOnce);
        for (std::size_t rank = 0; rank < count; ++rank)
            for (float guess = -1; guess <= 20; guess += 0.5F)
                ASSERT_EQ(qz::OfRank(values.data(), count, rank, guess), sorted[rank])
                    << rank << " of " << count << " from " << guess;
    }
}
