// The banks of low-passes, high-passes, smoothers and combs: every lead like its own filter, wrapped to 16
// bits. The banks of the filter chain are tested there for every rate and number of leads.
#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "core/filters/CMultiChannelHighpass.h"
#include "core/filters/CMultiChannelLowpass2.h"
#include "core/filters/CMultiChannelSmoothEx.h"
#include "core/filters/CMutiBlNotchFilter.h"
#include "core/filters/CQuorlMultiNotchFilter.h"
#include "core/filters/CSmoothFilterEx.h"
#include "tests/support/Signals.h"

namespace {

constexpr std::size_t kFrames = 1800;

/// A signal that sits near one end of the range for a while and then near the other, so that filters
/// overshoot the 16-bit range; every lead has its own.
std::vector<short> SwingingLead(std::size_t lead) {
    auto x = RandomSamples(static_cast<unsigned>(51 + lead), kFrames, 500);
    for (std::size_t i = 0; i < kFrames; ++i)
        x[i] = static_cast<short>(x[i] + (i / (97 + lead) % 2 == 0 ? 32267 : -32267));
    return x;
}

template <typename Bank>
void Feed(Bank& bank, short* frame) {
    bank.Filter(frame);
}
void Feed(CMultiChannelSmooth& bank, short* frame) { bank.Smooth(frame); }
void Feed(CMultiChannelSmoothEx& bank, short* frame) { bank.Smooth(frame); }

using Step = std::function<int(int)>;
template <typename AnyFilter>
Step Filtering(AnyFilter filter) {
    return [filter](int x) mutable { return filter.Filter(x); };
}

/// Feeds a bank with interleaved frames. Every lead must come out as `step` gives it, wrapped. Returns how
/// many results had to wrap.
template <typename Bank>
int ExpectLeadsApart(Bank bank, std::size_t chn, const Step& step) {
    SCOPED_TRACE(testing::Message() << chn << " leads, seed 51 + lead");
    std::vector<short> frame(chn + 1, 12345);  // one past the last lead: not the bank's
    std::vector<Step> steps(chn, step);
    std::vector<std::vector<short>> leads;
    for (std::size_t k = 0; k < chn; ++k) leads.push_back(SwingingLead(k));
    int wrapped = 0;
    for (std::size_t i = 0; i < kFrames && !testing::Test::HasFailure(); ++i) {
        for (std::size_t k = 0; k < chn; ++k) frame[k] = leads[k][i];
        Feed(bank, frame.data());
        for (std::size_t k = 0; k < chn; ++k) {
            const int expected = steps[k](leads[k][i]);
            wrapped += expected != Wrapped(expected);
            EXPECT_EQ(frame[k], Wrapped(expected)) << "frame " << i << ", lead " << k;
        }
        EXPECT_EQ(frame.back(), 12345);
    }
    return wrapped;
}

/// A comb bank is fed with ints that leave the 16-bit range, and wraps none of them.
template <typename Bank>
void ExpectIntsUnwrapped(Bank bank, const Step& step) {
    std::vector<Step> steps(2, step);
    for (int i = 0; i < 3000; ++i) {
        const int x[] = {i % 7 * 20000, i % 5 * -30000};
        int frame[] = {x[0], x[1], 12345};
        bank.Filter(frame);
        ASSERT_EQ(std::vector<int>(frame, frame + 3),
                  std::vector<int>({steps[0](x[0]), steps[1](x[1]), 12345}))
            << i;
    }
}

/// The bank after one frame and an Init with these arguments.
template <typename Bank, typename... Arguments>
Bank Reset(Bank bank, Arguments... arguments) {
    std::vector<short> frame(16, 20000);
    Feed(bank, frame.data());
    bank.Init(arguments...);
    return bank;
}

}  // namespace

TEST(MultiChannelBanks, FilterEachLeadAndWrapItsOvershoot) {
    const CMultiChannelLowpass2 lowpass(60.0, 500, 3);
    const CMultiChannelHighpass highpass(0.5, 500, 3);
    EXPECT_GT(ExpectLeadsApart(lowpass, 3, Filtering(CLowpassFilter2(60.0, 500))), 0);
    EXPECT_GT(ExpectLeadsApart(highpass, 3, Filtering(CHighpassFilter(0.5, 500))), 0);
    ExpectLeadsApart(Reset(lowpass, 25.0, 257), 3, Filtering(CLowpassFilter2(25.0, 257)));
    // Only the constructor raises the corner; at 0 Hz all is NaN.
    ExpectLeadsApart(CMultiChannelHighpass(0.0, 360, 3), 3, Filtering(CHighpassFilter(0.01, 360)));
    CHighpassFilter low(0.5, 500);
    low.Init(0.004, 250);
    ExpectLeadsApart(Reset(highpass, 0.004, 250), 3, Filtering(low));
    ExpectLeadsApart(Reset(highpass, 0.0, 250), 3, [](int) { return 0; });
    // The smoothers' own low-pass runs on.
    CSmoothFilter smoother(360, 10);
    smoother.Smooth(20000);
    smoother.Init();
    ExpectLeadsApart(Reset(CMultiChannelSmooth(360, 3, 10)), 3,
                     [smoother](int x) mutable { return smoother.Smooth(x); });
}

TEST(MultiChannelBanks, CombEachLeadAndOnlyTheShortFormWraps) {
    CMutiBlNotchFilter muti(50, 500, 2);
    EXPECT_GT(ExpectLeadsApart(muti, 2, Filtering(CBlNotchFilter(50, 500))), 0);
    ExpectIntsUnwrapped(Reset(muti, 60, 1000),
                        Filtering(CBlNotchFilter(60, 500)));  // deliberate: the rate stays
    CQuorlMultiNotchFilter quorl(50, 500, 2);
    EXPECT_GT(ExpectLeadsApart(quorl, 2, Filtering(CQuorlNotchFilter(50, 500))), 0);
    ExpectIntsUnwrapped(Reset(quorl, 50, 1000), Filtering(CQuorlNotchFilter(50, 1000)));  // here it does not
}

TEST(MultiChannelBanks, AStrongSmootherKeepsSixteenBitsBetweenItsStagesAndTheCascadeFullInts) {
    // The bank is reset in mid-stream, every stage of it; a second Init leaves the cascade alone.
    for (const int fs : kSamplingRates) {
        CMultiChannelSmoothEx bank(fs, 1, true);
        CSmoothFilterEx cascade(fs);
        std::vector<CSmoothFilter> stages(3, CSmoothFilter(fs, 10)), fullInts = stages;
        int differing = 0;
        for (int round = 0; round < 2; ++round) {
            for (short sample : SwingingLead(0)) {
                int expected = sample, full = sample;
                for (CSmoothFilter& stage : stages) expected = Wrapped(stage.Smooth(expected));
                for (CSmoothFilter& stage : fullInts) full = stage.Smooth(full);
                ASSERT_EQ(cascade.Smooth(sample), full);
                bank.Smooth(&sample);
                ASSERT_EQ(sample, expected);
                differing += sample != Wrapped(full);
            }
            bank.Init();
            cascade.Init(1000);
            for (CSmoothFilter& stage : stages) stage.Init();
        }
        EXPECT_GT(differing, 0);
    }
}

TEST(MultiChannelBanks, NoLeadsMeanNothingToDo) {
    for (const int chn : {0, -1, -32768}) {
        ExpectLeadsApart(Reset(CMultiChannelLowpass2(40.0, 500, chn), 25.0, 250), 0, {});
        ExpectLeadsApart(Reset(CMultiChannelHighpass(0.5, 500, chn), 1.0, 250), 0, {});
        ExpectLeadsApart(Reset(CMultiChannelSmoothEx(500, chn, true)), 0, {});
        ExpectLeadsApart(Reset(CMutiBlNotchFilter(50, 500, chn), 60, 0), 0, {});
        ExpectLeadsApart(Reset(CQuorlMultiNotchFilter(50, 500, chn), 60, 0), 0, {});
    }
}
