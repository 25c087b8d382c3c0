#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <vector>

#include "core/filters/CMultiChannelHighpass.h"
#include "core/filters/CMultiChannelLowpass2.h"
#include "core/filters/CMultiChannelSmooth.h"
#include "core/filters/CMultiChannelSmoothEx.h"
#include "core/filters/CSmoothFilterEx.h"
#include "tests/support/Signals.h"

namespace {

constexpr std::size_t kFrames = 700;

// A full-scale signal that sits near one end of the range for a while and then near the other, so that
// filters overshoot the 16-bit range; every lead has its own.
std::vector<short> SwingingLead(std::size_t lead) {
    auto x = RandomSamples(static_cast<unsigned>(51 + lead), kFrames, 500);
    for (std::size_t i = 0; i < kFrames; ++i)
        x[i] = static_cast<short>(x[i] + (i / (97 + lead) % 2 == 0 ? 32267 : -32267));
    return x;
}

// Feeds a bank of every size with interleaved frames. Lead k must come out as its own step, made by
// makeStep, gives it, wrapped to 16 bits. Returns how many results had to wrap.
template <typename MakeBank, typename BankStep, typename MakeStep>
int ExpectLeadsApart(MakeBank makeBank, BankStep bankStep, MakeStep makeStep) {
    int wrapped = 0;
    for (const short chn : kChannelCounts) {
        SCOPED_TRACE(testing::Message() << chn << " leads, seed 51 + lead");
        auto bank = makeBank(chn);
        std::vector<short> frame(static_cast<std::size_t>(chn) + 1);
        std::vector<std::vector<short>> leads;
        std::vector<std::function<int(int)>> steps;
        for (std::size_t k = 0; k + 1 < frame.size(); ++k) {
            leads.push_back(SwingingLead(k));
            steps.push_back(makeStep());
        }
        for (std::size_t i = 0; i < kFrames; ++i) {
            frame.back() = 12345;  // one past the last lead: not the bank's
            for (std::size_t k = 0; k < leads.size(); ++k) frame[k] = leads[k][i];
            bankStep(bank, frame.data());
            for (std::size_t k = 0; k < leads.size(); ++k) {
                const int expected = steps[k](leads[k][i]);
                wrapped += expected != Wrapped(expected);
                EXPECT_EQ(frame[k], Wrapped(expected)) << "frame " << i << ", lead " << k;
                if (testing::Test::HasFailure()) return wrapped;
            }
            EXPECT_EQ(frame.back(), 12345);
        }
    }
    return wrapped;
}

template <typename Bank>
void FilterFrame(Bank& bank, short* frame) {
    bank.Filter(frame);
}

template <typename Bank>
void SmoothFrame(Bank& bank, short* frame) {
    bank.Smooth(frame);
}

template <typename AnyFilter>
std::function<int(int)> FilterStep(AnyFilter filter) {
    return [filter](int x) mutable { return filter.Filter(x); };
}

}  // namespace

TEST(MultiChannelBanks, LowpassFiltersEachLeadAndWrapsItsOvershoot) {
    EXPECT_GT(ExpectLeadsApart([](int chn) { return CMultiChannelLowpass2(60.0, 500, chn); },
                               FilterFrame<CMultiChannelLowpass2>,
                               [] { return FilterStep(CLowpassFilter2(60.0, 500)); }),
              0);
    const auto reinitialised = [](int chn) {
        CMultiChannelLowpass2 bank(60.0, 500, chn);
        std::vector<short> frame(static_cast<std::size_t>(chn), 20000);
        bank.Filter(frame.data());
        bank.Init(25.0, 257);
        return bank;
    };
    ExpectLeadsApart(reinitialised, FilterFrame<CMultiChannelLowpass2>,
                     [] { return FilterStep(CLowpassFilter2(25.0, 257)); });
}

TEST(MultiChannelBanks, HighpassFiltersEachLeadAndOnlyItsConstructorRaisesTheCorner) {
    EXPECT_GT(ExpectLeadsApart([](int chn) { return CMultiChannelHighpass(0.5, 500, chn); },
                               FilterFrame<CMultiChannelHighpass>,
                               [] { return FilterStep(CHighpassFilter(0.5, 500)); }),
              0);
    ExpectLeadsApart([](int chn) { return CMultiChannelHighpass(0.0, 360, chn); },
                     FilterFrame<CMultiChannelHighpass>,
                     [] { return FilterStep(CHighpassFilter(0.01, 360)); });
    const auto reinitialised = [](double fc) {
        return [fc](int chn) {
            CMultiChannelHighpass bank(0.5, 500, chn);
            std::vector<short> frame(static_cast<std::size_t>(chn), 20000);
            bank.Filter(frame.data());
            bank.Init(fc, 250);
            return bank;
        };
    };
    const auto unclamped = [] {
        CHighpassFilter filter(0.5, 500);
        filter.Init(0.004, 250);
        return FilterStep(filter);
    };
    ExpectLeadsApart(reinitialised(0.004), FilterFrame<CMultiChannelHighpass>, unclamped);
    ExpectLeadsApart(reinitialised(0.0), FilterFrame<CMultiChannelHighpass>,
                     [] { return [](int) { return 0; }; });  // NaN throughout
}

TEST(MultiChannelBanks, SmoothSmoothsEachLeadAndResetsItsRingsOnly) {
    const auto smoothStep = [](CSmoothFilter filter) {
        return [filter](int x) mutable { return filter.Smooth(x); };
    };
    ExpectLeadsApart([](int chn) { return CMultiChannelSmooth(500, chn, 25); },
                     SmoothFrame<CMultiChannelSmooth>, [&] { return smoothStep(CSmoothFilter(500, 25)); });
    const auto reset = [](int chn) {
        CMultiChannelSmooth bank(360, chn, 10);
        std::vector<short> frame(static_cast<std::size_t>(chn), 20000);
        bank.Smooth(frame.data());
        bank.Init();
        return bank;
    };
    ExpectLeadsApart(reset, SmoothFrame<CMultiChannelSmooth>, [&] {
        CSmoothFilter filter(360, 10);
        filter.Smooth(20000);
        filter.Init();
        return smoothStep(filter);
    });
}

TEST(MultiChannelBanks, SmoothExStoresSixteenBitsBetweenItsStages) {
    const auto stages = [](int fs, int count, int fc) {
        return [chain = std::vector<CSmoothFilter>(static_cast<std::size_t>(count), CSmoothFilter(fs, fc))](
                   int x) mutable {
            for (CSmoothFilter& stage : chain) x = Wrapped(stage.Smooth(x));
            return x;
        };
    };
    for (const int fs : kSamplingRates) {
        ExpectLeadsApart([fs](int chn) { return CMultiChannelSmoothEx(fs, chn, false); },
                         SmoothFrame<CMultiChannelSmoothEx>, [&] { return stages(fs, 1, 25); });
        ExpectLeadsApart([fs](int chn) { return CMultiChannelSmoothEx(fs, chn, true); },
                         SmoothFrame<CMultiChannelSmoothEx>, [&] { return stages(fs, 3, 10); });
    }
    // The single-lead cascade passes full ints on instead: the two differ once a stage leaves the 16-bit
    // range.
    CMultiChannelSmoothEx bank(500, 1, true);
    CSmoothFilterEx cascade(500);
    int differing = 0;
    for (short sample : SwingingLead(0)) {
        const int expected = cascade.Smooth(sample);
        bank.Smooth(&sample);
        differing += sample != Wrapped(expected);
    }
    EXPECT_GT(differing, 0);
}

TEST(MultiChannelBanks, SmoothExInitResetsEveryStageAndKeepsTheLowpasses) {
    CMultiChannelSmoothEx bank(500, 1, true);
    std::vector<CSmoothFilter> stages(3, CSmoothFilter(500, 10));
    const auto x = NoisyEcg(500, 3, 61);
    for (std::size_t i = 0; i < x.size(); ++i) {
        if (i == 700) {
            bank.Init();
            for (CSmoothFilter& stage : stages) stage.Init();
        }
        short sample = x[i];
        int expected = sample;
        for (CSmoothFilter& stage : stages) expected = Wrapped(stage.Smooth(expected));
        bank.Smooth(&sample);
        ASSERT_EQ(sample, expected) << "at sample " << i;
    }
}

TEST(MultiChannelBanks, NoLeadsMeanNothingToDo) {
    for (const int chn : {0, -1, -32768}) {
        std::vector<short> frame{7, 8};
        CMultiChannelLowpass2 lowpass(40.0, 500, chn);
        CMultiChannelHighpass highpass(0.5, 500, chn);
        CMultiChannelSmooth smooth(500, chn, 25);
        CMultiChannelSmoothEx smoothEx(500, chn, true);
        lowpass.Init(25.0, 250);
        highpass.Init(1.0, 250);
        smooth.Init();
        smoothEx.Init();
        lowpass.Filter(frame.data());
        highpass.Filter(frame.data());
        smooth.Smooth(frame.data());
        smoothEx.Smooth(frame.data());
        EXPECT_EQ(frame, (std::vector<short>{7, 8}));
    }
}
