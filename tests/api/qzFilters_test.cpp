#include "api/qzFilters.h"

#include <gtest/gtest.h>

#include <array>
#include <optional>
#include <vector>

#include "core/filters/CLowpassFilter2.h"
#include "core/filters/CQuorlNotchFilter.h"
#include "core/filters/CSmoothFilter.h"
#include "tests/support/Signals.h"

namespace {

class qzFilters : public testing::Test {
protected:
    ~qzFilters() override { qzFilters_destroy(); }
};

/// What the chain is for one lead: a filter per stage, 16 bits between them.
struct LeadChain {
    LeadChain(short fs, short freqLpass, short freqNotch, short smooth) {
        if (freqLpass > 0) lowpass.emplace(freqLpass, fs);
        if (freqNotch > 0) notch.emplace(freqNotch, fs);
        if (smooth > 0) smoothers.assign(smooth > 1 ? 3 : 1, CSmoothFilter(fs, smooth > 1 ? 10 : 25));
    }
    short Filter(int x, unsigned on) {
        if (lowpass && on & 1U) x = Wrapped(lowpass->Filter(x));
        if (notch && on & 2U) x = Wrapped(notch->Filter(x));
        for (CSmoothFilter& smoother : smoothers)
            if (on & 4U) x = Wrapped(smoother.Smooth(x));
        return Wrapped(x);
    }
    std::optional<CLowpassFilter2> lowpass;
    std::optional<CQuorlNotchFilter> notch;
    std::vector<CSmoothFilter> smoothers;
};

/// Feeds frames of full-scale noise, in lead 0 then of ECG, through the flat chain and its leads' own.
void ExpectChain(std::vector<LeadChain>& leads, unsigned on, unsigned seed) {
    constexpr std::size_t kFrames = 300;
    auto x = RandomSamples(seed, leads.size() * kFrames, 32768);
    const auto ecg = NoisyEcg(500, kFrames / 500.0, seed);
    for (std::size_t n = kFrames / 2; n < kFrames; ++n) x[n * leads.size()] = ecg[n];
    for (std::size_t n = 0; n < kFrames; ++n) {
        short* frame = &x[n * leads.size()];
        std::vector<short> expected;
        for (std::size_t k = 0; k < leads.size(); ++k) expected.push_back(leads[k].Filter(frame[k], on));
        qzFilters_filters(frame);
        ASSERT_EQ(std::vector<short>(frame, frame + leads.size()), expected) << "frame " << n;
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
        std::vector<LeadChain> leads(static_cast<std::size_t>(chn), {fs, freqLpass, freqNotch, smooth});
        unsigned on = 7;  // all that is built
        for (const unsigned next : {6U, 7U, 5U, 3U, 0U, 1U, 2U, 4U, 7U, 7U}) {
            SCOPED_TRACE(testing::Message() << "round " << round << ", on " << on << ", seed 120 + that");
            ExpectChain(leads, on, 120 + on);
            if (testing::Test::HasFailure()) return;
            on = next;
            qzFilters_switch(on & 1U, on & 2U, on & 4U);
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
