// The banks of low-passes, high-passes, smoothers, combs and doublers: every lead like its own filter,
// wrapped to 16 bits.
#include <gtest/gtest.h>

#include <vector>

#include "core/filters/CMultiChannelDoubleSampleRate.h"
#include "core/filters/CMultiChannelHighpass.h"
#include "core/filters/CMultiChannelLowpass2.h"
#include "core/filters/CMultiChannelNotch.h"
#include "core/filters/CMultiChannelSmoothEx.h"
#include "core/filters/CMutiBlNotchFilter.h"
#include "core/filters/CQuorlMultiNotchFilter.h"
#include "tests/support/Signals.h"

namespace {

/// Three leads of full-scale noise, so that filters overshoot; the sample after the frame is not the bank's.
template <typename Bank, typename Filter>
void ExpectLeadsApart(Bank bank, const Filter& filter) {
    std::vector<Filter> own(3, filter);
    const auto x = RandomSamples(51, 9000, 32768);
    for (std::size_t i = 0; i + 2 < x.size(); i += 3) {
        short frame[] = {x[i], x[i + 1], x[i + 2], 12345};
        std::vector<short> expected;
        for (std::size_t k = 0; k < 3; ++k)
            if constexpr (requires { bank.Smooth(frame); })
                expected.push_back(Wrapped(own[k].Smooth(x[i + k])));
            else
                expected.push_back(Wrapped(own[k].Filter(static_cast<int>(x[i + k]))));
        expected.push_back(12345);
        if constexpr (requires { bank.Smooth(frame); })
            bank.Smooth(frame);
        else
            bank.Filter(frame);
        ASSERT_EQ(std::vector<short>(frame, frame + 4), expected) << "sample " << i << ", seed 51";
    }
}

}  // namespace

TEST(MultiChannelBanks, FilterEachLeadByItselfAndWrapItsOvershoot) {
    ExpectLeadsApart(CMultiChannelLowpass2(60.0, 500, 3), CLowpassFilter2(60.0, 500));
    ExpectLeadsApart(CMultiChannelHighpass(0.0, 500, 3), CHighpassFilter(0.01, 500));
    ExpectLeadsApart(CMultiChannelNotch(50.0, 500, 3.0, 3), CNotchFilter(50.0, 500, 3.0));
    ExpectLeadsApart(CMultiChannelSmoothEx(500, 3, false), CSmoothFilter(500, 25));
    ExpectLeadsApart(CQuorlMultiNotchFilter(60, 500, 3), CQuorlNotchFilter(60, 500));
    CMutiBlNotchFilter muti(50, 500, 3);
    muti.Init(60, 1000);
    ExpectLeadsApart(muti, CBlNotchFilter(60, 500));  // deliberate: the rate stays
}

TEST(MultiChannelBanks, OnlyTheShortFormOfTheCombsWraps) {
    CMutiBlNotchFilter bank(50, 500, 1);
    int whole = 0;
    for (int i = 0; i < 750; ++i) bank.Filter(&(whole = i < 375 ? -60000 : 60000));
    EXPECT_GT(whole, 32767);
}

TEST(MultiChannelBanks, NoLeadsMeanNothingToDo) {
    for (const int chn : {0, -1, -32768}) {
        short mark = 12345;
        CMultiChannelLowpass2(40.0, 500, chn).Filter(&mark);
        CMultiChannelHighpass(0.5, 500, chn).Filter(&mark);
        CMultiChannelSmoothEx(500, chn, true).Smooth(&mark);
        CMutiBlNotchFilter(50, 500, chn).Filter(&mark);
        CQuorlMultiNotchFilter(50, 500, chn).Filter(&mark);
        EXPECT_EQ(mark, 12345);
    }
}
