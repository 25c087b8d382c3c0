// The filter banks of the C interface: every lead by itself, other frames and other arguments refused.
#include "api/qzFilterBanksC.h"

#include <gtest/gtest.h>

#include <cmath>
#include <tuple>
#include <vector>

#include "core/filters/CHighpassFilter.h"
#include "core/filters/CNotchFilter.h"
#include "tests/support/Signals.h"

TEST(qzFilterBanksC, FilterEachLeadByItselfAndRefuseOtherFrames) {
    qzc_filter_bank* const notch = qzc_notch_create(500, 2, 60, 10);
    qzc_filter_bank* const drift = qzc_highpass_create(500, 2, 0.5);
    std::vector<CNotchFilter> notches(2, CNotchFilter(60, 500, 10));
    std::vector<CHighpassFilter> drifts(2, CHighpassFilter(0.5, 500));
    const auto samples = RandomSamples(7, 2000, 32767);
    for (std::size_t i = 0; i < samples.size(); i += 2) {
        short frame[] = {samples[i], samples[i + 1], 77};
        for (const std::size_t wrong : {0U, 1U, 3U})
            EXPECT_FALSE(qzc_filter_bank_filter(drift, frame, wrong));
        EXPECT_FALSE(qzc_filter_bank_filter(nullptr, frame, 2) || qzc_filter_bank_filter(drift, nullptr, 2));
        EXPECT_TRUE(qzc_filter_bank_filter(drift, frame, 2) && qzc_filter_bank_filter(notch, frame, 2));
        for (std::size_t k = 0; k < 2; ++k)
            EXPECT_EQ(frame[k], Wrapped(notches[k].Filter(Wrapped(drifts[k].Filter(int{samples[i + k]})))));
        EXPECT_EQ(frame[2], 77);
    }
    qzc_filter_bank_destroy(notch);
    qzc_filter_bank_destroy(drift);
    qzc_filter_bank_destroy(nullptr);
}

TEST(qzFilterBanksC, AreNotBuiltFromArgumentsOutOfRange) {
    const double nan = std::nan("");
    for (const auto& [fs, chn, hz, q] : std::vector<std::tuple<short, short, double, double>>{
             {500, -1, 60, 10}, {0, 2, -1, 10}, {500, 2, 250, 10}, {500, 2, nan, 10}}) {
        EXPECT_EQ(qzc_notch_create(fs, chn, hz, q), nullptr);
        EXPECT_EQ(qzc_highpass_create(fs, chn, hz), nullptr);
    }
    EXPECT_EQ(qzc_notch_create(500, 2, 0, 10), nullptr);
    for (const double q : {0.0, HUGE_VAL, nan}) EXPECT_EQ(qzc_notch_create(500, 2, 60, q), nullptr);
    qzc_filter_bank* const empty = qzc_highpass_create(500, 0, -1);  // counts as 0.01 Hz
    short frame[] = {1000};
    EXPECT_TRUE(qzc_filter_bank_filter(empty, frame, 0));
    EXPECT_EQ(frame[0], 1000);
    qzc_filter_bank_destroy(empty);
}
