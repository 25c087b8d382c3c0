// The banks of filters against their single-lead classes, and at their edges.
#include <gtest/gtest.h>

#include <vector>

#include "core/filters/CMultiChannelHighpass.h"
#include "core/filters/CMultiChannelLowpass2.h"
#include "core/filters/CMultiChannelNotch.h"
#include "core/filters/CMultiChannelSmoothEx.h"
#include "core/filters/CMutiBlNotchFilter.h"
#include "core/filters/CQuorlMultiNotchFilter.h"
#include "tests/support/Signals.h"

namespace {

constexpr std::size_t kMostLeads = 13;

/// Noise of full scale, silence in which every filter dies away, single samples, and small noise; a lead in
/// three is silent from the start.
const std::vector<short>& Frames() {
    static const std::vector<short> frames = [] {
        auto x = RandomSamples(5, 9000 * kMostLeads, 32768);
        for (std::size_t i = 0; i < x.size(); ++i) {
            const std::size_t frame = i / kMostLeads;
            if (frame > 1000 && frame < 6000) x[i] = frame % 1000 == 999 ? x[i] : 0;
            if (frame >= 6000) x[i] = static_cast<short>(x[i] / 512);
            if (frame > 6500 && frame < 8500 && i % kMostLeads % 3 == 0) x[i] = 0;
        }
        return x;
    }();
    return frames;
}

void Step(auto& bank, short* frame) {
    if constexpr (requires { bank.Smooth(frame); })
        bank.Smooth(frame);
    else
        bank.Filter(frame);
}
int StepOne(auto& filter, int x) {
    if constexpr (requires { filter.Smooth(x); })
        return filter.Smooth(x);
    else
        return filter.Filter(x);
}

/// Every lead of a bank gives what a single filter with the same arguments gives.
template <typename Bank, typename Single, typename... Rest>
void ExpectAlike(double first, int fs, Rest... rest) {
    for (const std::size_t leads : {1U, 4U, 13U}) {
        const auto chn = static_cast<int>(leads);
        Bank bank = [&] {
            if constexpr (std::is_same_v<Bank, CMultiChannelSmooth>)
                return Bank(fs, chn, static_cast<int>(first));
            else
                return Bank(first, fs, rest..., chn);
        }();
        const Single single = [&] {
            if constexpr (std::is_same_v<Single, CSmoothFilter>)
                return Single(fs, static_cast<int>(first));
            else
                return Single(first, fs, rest...);
        }();
        std::vector<Single> singles(leads, single);
        for (std::size_t i = 0; i + kMostLeads <= Frames().size(); i += kMostLeads) {
            std::vector<short> frame(&Frames()[i], &Frames()[i] + leads);
            Step(bank, frame.data());
            for (std::size_t lead = 0; lead < leads; ++lead)
                ASSERT_EQ(frame[lead], Wrapped(StepOne(singles[lead], Frames()[i + lead])))
                    << first << " Hz at " << fs << ", lead " << lead << " of " << leads << ", frame "
                    << i / kMostLeads;
        }
    }
}

}  // namespace

TEST(MultiChannelBanks, GiveEveryLeadWhatItsSingleFilterGives) {
    for (const double fc : {1e-4, 5.0, 40.0, 125.0, 220.0, 260.0})  // unstable from 250 Hz on
        ExpectAlike<CMultiChannelLowpass2, CLowpassFilter2>(fc, 500);
    for (const double fc : {0.05, 12.0}) ExpectAlike<CMultiChannelHighpass, CHighpassFilter>(fc, 500);
    for (const double q : {0.7, 40.0}) ExpectAlike<CMultiChannelNotch, CNotchFilter>(60, 500, q);
    for (const int fs : {33, 34, 112, 166, 167, 257, 500, 1000})
        ExpectAlike<CMultiChannelSmooth, CSmoothFilter>(10, fs);
    ExpectAlike<CMultiChannelSmooth, CSmoothFilter>(260, 500);
}

// Silence of every length, then noise: the activity meets each limit exactly.
TEST(MultiChannelBanks, SmootherTakesTiesAsTheSingleFilterDoes) {
    CMultiChannelSmooth bank(1000, 1, 10);
    CSmoothFilter single(1000, 10);
    for (std::size_t quiet = 0; quiet <= 120; ++quiet) {
        bank.Init();
        single.Init();
        for (std::size_t i = 0; i < quiet + 45; ++i) {
            const short x = i < quiet ? short{0} : Frames()[i * kMostLeads];
            short y = x;
            bank.Smooth(&y);
            ASSERT_EQ(y, Wrapped(single.Smooth(x))) << quiet;
        }
    }
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
