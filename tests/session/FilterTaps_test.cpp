#include "session/internal/FilterTaps.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

namespace qz {
namespace {

template <typename Number>
void ExpectSumsInOrder() {
    std::mt19937 random(1);
    std::uniform_real_distribution<float> value(-1, 1);
    for (std::size_t round = 0; round < 300; ++round) {
        const std::size_t count = 1 + round % 23, step = 1 + round % 13, width = 1 + round % 37;
        std::vector<float> taps(count);
        std::vector<Number> x((count - 1) * step + width), sums(width), expected(width);
        for (float& tap : taps) tap = value(random);
        for (Number& one : x) one = static_cast<Number>(value(random)) / 3;
        for (Number& sum : sums) sum = static_cast<Number>(value(random));
        for (std::size_t i = 0; i < width; ++i) {
            expected[i] = sums[i];
            for (std::size_t k = 0; k < count; ++k)
                expected[i] += static_cast<Number>(taps[k]) * x[k * step + i];
        }
        AddProducts(taps.data(), count, x.data(), step, width, sums.data());
        ASSERT_THAT(sums, testing::ElementsAreArray(expected)) << count << " taps, width " << width;
    }
}

TEST(AddProducts, AddsEverySumFromTheFirstTapToTheLast) {
    ExpectSumsInOrder<float>();
    ExpectSumsInOrder<double>();
}

}  // namespace
}  // namespace qz
