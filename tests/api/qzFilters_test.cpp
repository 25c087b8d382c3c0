#include "api/qzFilters.h"

#include <gtest/gtest.h>

#include <array>
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

/// The chain put together by hand from the three banks.
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

/// Feeds `frames` frames of full-scale noise and ECG through the flat chain and the one by hand.
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

TEST_F(qzFilters, RunsTheStagesAskedForInOrderFreezesThoseSwitchedOffAndDestroysThem) {
    ExpectPassesThrough();
    qzFilters_switch(true, true, true);
    ExpectPassesThrough();
    for (unsigned round = 0; round < 48; ++round) {
        const unsigned built = round < 8 ? round : 7;  // which stages; all of them at every rate
        const auto fs = static_cast<short>(kSamplingRates[round % 6]);
        const short chn = kChannelCounts[round / 8], hz = round % 2 ? 50 : 60;
        const short freqLpass = built & 1U ? 35 : 0, freqNotch = built & 2U ? hz : short{-50};
        const short smooth = built & 4U ? std::array<short, 3>{1, 2, 5}[round % 3] : short{-1};
        ASSERT_TRUE(qzFilters_create(fs, chn, freqLpass, freqNotch, smooth));  // all switched on
        Chain chain(fs, chn, freqLpass, freqNotch, smooth);
        for (const unsigned on : {7U, 6U, 7U, 5U, 3U, 0U, 1U, 2U, 4U, 7U}) {
            SCOPED_TRACE(testing::Message() << "round " << round << ", on " << on << ", seed 120 + that");
            ExpectChain(chain, chn, 300, 120 + on);
            chain.onLowpass = on & 1U;
            chain.onNotch = on & 2U;
            chain.onSmoother = on & 4U;
            qzFilters_switch(chain.onLowpass, chain.onNotch, chain.onSmoother);
        }
        if (round % 2 == 0) continue;  // the next create replaces this chain
        for (const auto destroy : {qzFilters_destroy, qzFiltersDestroy}) {
            destroy();
            ExpectPassesThrough();
            qzFilters_switch(true, true, true);
            ExpectPassesThrough();
        }
    }
}

TEST_F(qzFilters, NoArgumentDoesHarm) {
    qzFilters_filters(nullptr);
    for (const short chn : {short{0}, short{-1}, short{-32768}}) {
        ASSERT_TRUE(qzFilters_create(500, chn, 40, 50, 2));
        ExpectPassesThrough();
    }
    // A rate that gives a stage nothing to work on leaves it out.
    for (const short fs : {short{0}, short{-1}, short{-32768}, short{33}}) {
        ASSERT_TRUE(qzFilters_create(fs, 4, 0, fs == 33 ? 0 : 50, 2));
        ExpectPassesThrough();
    }
    ASSERT_TRUE(qzFilters_create(0, 4, 40, 0, 0));
    ExpectPassesThrough();

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
