#include "api/qzFilters.h"

#include <gtest/gtest.h>

#include <optional>
#include <vector>

#include "core/filters/CMultiChannelLowpass2.h"
#include "core/filters/CMultiChannelSmoothEx.h"
#include "core/filters/CQuorlMultiNotchFilter.h"
#include "tests/support/Signals.h"

namespace {

class qzFilters : public testing::Test {
protected:
    ~qzFilters() override { qzFilters_destroy(); }
};

// The chain put together by hand from the three banks.
struct Chain {
    Chain(short fs, short chn, short freqLpass, short freqNotch, short smooth) {
        if (freqLpass > 0) lowpass.emplace(freqLpass, fs, chn);
        if (freqNotch > 0) notch.emplace(freqNotch, fs, chn);
        if (smooth > 0) smoother.emplace(fs, chn, smooth > 1);
    }

    void Filter(short* frame) {
        if (lowpass && onLowpass) lowpass->Filter(frame);
        if (notch && onNotch) notch->Filter(frame);
        if (smoother && onSmoother) smoother->Smooth(frame);
    }

    std::optional<CMultiChannelLowpass2> lowpass;
    std::optional<CQuorlMultiNotchFilter> notch;
    std::optional<CMultiChannelSmoothEx> smoother;
    bool onLowpass = true, onNotch = true, onSmoother = true;
};

// Feeds `frames` frames of full-scale noise and ECG through the flat chain and the one by hand.
void ExpectChain(Chain& chain, short chn, std::size_t frames, unsigned seed) {
    const auto leads = static_cast<std::size_t>(chn);
    auto x = RandomSamples(seed, leads * frames, 32768);
    const auto ecg = NoisyEcg(500, static_cast<double>(frames) / 500, seed);
    for (std::size_t n = frames / 2; n < frames; ++n) x[n * leads] = ecg[n];  // lead 0, second half
    for (std::size_t n = 0; n < frames; ++n) {
        std::vector<short> expected(&x[n * leads], &x[n * leads] + leads), actual = expected;
        chain.Filter(expected.data());
        qzFilters_filters(actual.data());
        ASSERT_EQ(actual, expected) << "frame " << n;
    }
}

constexpr short kMarks[] = {100, -200, 32767, -32768};

void ExpectPassesThrough() {
    std::vector<short> frame(std::begin(kMarks), std::end(kMarks));
    for (int n = 0; n < 3; ++n) qzFilters_filters(frame.data());
    EXPECT_EQ(frame, std::vector<short>(std::begin(kMarks), std::end(kMarks)));
}

}  // namespace

TEST_F(qzFilters, RunsLowpassNotchAndSmootherInThatOrderOverEveryLead) {
    for (const int fs : kSamplingRates)
        for (const short chn : kChannelCounts)
            for (const short smooth : {short{1}, short{2}, short{5}}) {
                SCOPED_TRACE(testing::Message()
                             << fs << " Hz, " << chn << " leads, strength " << smooth << ", seed 111");
                const short freqNotch = chn % 2 == 0 ? 50 : 60;
                ASSERT_TRUE(qzFilters_create(static_cast<short>(fs), chn, 40, freqNotch, smooth));
                Chain chain(static_cast<short>(fs), chn, 40, freqNotch, smooth);
                ExpectChain(chain, chn, 1200, 111);
            }
}

TEST_F(qzFilters, BuildsOnlyTheStagesAskedForAndSwitchesOnNoOther) {
    for (int stages = 0; stages < 8; ++stages) {
        const short freqLpass = stages & 1 ? 35 : 0, freqNotch = stages & 2 ? 50 : -50;
        const short smooth = stages & 4 ? 1 : -1;
        SCOPED_TRACE(testing::Message() << "stages " << stages << ", seeds 112, 113");
        ASSERT_TRUE(qzFilters_create(500, 3, freqLpass, freqNotch, smooth));
        Chain chain(500, 3, freqLpass, freqNotch, smooth);
        ExpectChain(chain, 3, 900, 112);
        qzFilters_switch(true, true, true);
        ExpectChain(chain, 3, 900, 113);
    }
}

TEST_F(qzFilters, AStageSwitchedOffIsFrozenAndResumes) {
    ASSERT_TRUE(qzFilters_create(250, 2, 40, 60, 2));
    Chain chain(250, 2, 40, 60, 2);
    for (const unsigned mask : {7U, 6U, 7U, 5U, 3U, 0U, 1U, 2U, 4U, 7U}) {
        SCOPED_TRACE(testing::Message() << "stages on " << mask << ", seed 120 + that");
        chain.onLowpass = mask & 1U;
        chain.onNotch = mask & 2U;
        chain.onSmoother = mask & 4U;
        qzFilters_switch(chain.onLowpass, chain.onNotch, chain.onSmoother);
        ExpectChain(chain, 2, 700, 120 + mask);
    }
}

TEST_F(qzFilters, CreateStartsAfreshWithEveryStageOnAndDestroyPassesFrames) {
    ExpectPassesThrough();
    qzFilters_switch(true, true, true);
    ExpectPassesThrough();
    for (int round = 0; round < 2; ++round) {
        ASSERT_TRUE(qzFilters_create(360, 8, 40, 50, 2));
        Chain chain(360, 8, 40, 50, 2);
        ExpectChain(chain, 8, 700, 114);
        qzFilters_switch(false, false, false);
        ExpectPassesThrough();
    }
    qzFilters_create(360, 4, 40, 50, 2);
    qzFilters_destroy();
    qzFilters_switch(true, true, true);
    ExpectPassesThrough();
    qzFilters_destroy();
    qzFilters_create(360, 4, 40, 50, 2);
    qzFiltersDestroy();
    qzFiltersDestroy();
    ExpectPassesThrough();
    ASSERT_TRUE(qzFilters_create(500, 4, 0, 0, 0));
    ExpectPassesThrough();
}

TEST_F(qzFilters, ARateThatGivesAStageNothingToWorkOnLeavesItOut) {
    for (const short fs : {short{0}, short{-1}, short{-32768}}) {
        ASSERT_TRUE(qzFilters_create(fs, 4, 0, 50, 2));
        ExpectPassesThrough();
    }
    ASSERT_TRUE(qzFilters_create(33, 4, 0, 0, 2));
    ExpectPassesThrough();
    ASSERT_TRUE(qzFilters_create(0, 4, 40, 0, 0));  // coefficients that are not numbers
    std::vector<short> frame(std::begin(kMarks), std::end(kMarks));
    qzFilters_filters(frame.data());
    EXPECT_EQ(frame, std::vector<short>(4, 0));
}

TEST_F(qzFilters, NoArgumentDoesHarm) {
    qzFilters_filters(nullptr);
    for (const short chn : {short{0}, short{-1}, short{-32768}}) {
        ASSERT_TRUE(qzFilters_create(500, chn, 40, 50, 2));
        ExpectPassesThrough();
    }
    const auto x = RandomSamples(115, 200, 32768);
    constexpr short kRates[] = {-32768, -500, -1, 0, 1, 2, 33, 34, 40, 49, 51, 100, 499, 32760, 32767};
    constexpr short kFrequencies[] = {-32768, -1, 0,  1,   10,
                                      50,     60, 93, 250, 32767};  // 93: see FreqInterpretate
    for (const short fs : kRates)
        for (const short frequency : kFrequencies) {
            ASSERT_TRUE(qzFilters_create(fs, 2, frequency, frequency, 2));
            qzFilters_filters(nullptr);
            auto frames = x;
            for (std::size_t n = 0; n < frames.size(); n += 2) qzFilters_filters(&frames[n]);
        }
}
