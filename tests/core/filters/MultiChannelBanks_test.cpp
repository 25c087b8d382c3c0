// The banks of filters against their single-lead classes, and at their edges.
#include <gtest/gtest.h>

#include <cmath>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "core/filters/CMultiChannelDoubleSampleRate.h"
#include "core/filters/CMultiChannelHighpass.h"
#include "core/filters/CMultiChannelLowpass2.h"
#include "core/filters/CMultiChannelNotch.h"
#include "core/filters/CMultiChannelSmoothEx.h"
#include "core/filters/CMutiBlNotchFilter.h"
#include "core/filters/CQuorlMultiNotchFilter.h"
#include "tests/digest/Runs.h"
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
            if (frame > 1000 && frame < 6000) x[i] = frame % 1000 == 999 ? x[i] : short{0};
            if (frame >= 6000) x[i] = Wrapped(x[i] / 512);
            if (frame > 6500 && frame < 8500 && i % kMostLeads % 3 == 0) x[i] = 0;
        }
        return x;
    }();
    return frames;
}

/// A frame through the bank and its samples through the single filters. Combs take every other frame as 32
/// bits.
template <typename Bank, typename Single>
void ExpectAlike(Bank& bank, std::vector<Single>& singles, const short* x, bool isWhole) {
    const auto expect = [&singles, x](const auto& y, int factor, auto single) {
        for (std::size_t lead = 0; lead < singles.size(); ++lead) {
            const auto expected = single(singles[lead], factor * x[lead]);
            if (y[lead] != expected) {  // an assertion for each value takes longer than the filters
                ASSERT_EQ(y[lead], expected) << "lead " << lead << " of " << y.size();
            }
        }
    };
    std::vector<short> frame(x, x + singles.size());
    if constexpr (requires { bank.Smooth(frame.data()); }) {
        bank.Smooth(frame.data());
        expect(frame, 1, [](Single& single, int value) { return Wrapped(single.Smooth(value)); });
    } else {
        if constexpr (requires(int* whole) { bank.Filter(whole); }) {
            if (isWhole) {
                std::vector<int> whole(frame.begin(), frame.end());
                for (int& value : whole) value *= 60000;
                bank.Filter(whole.data());
                expect(whole, 60000, [](Single& single, int value) { return single.Filter(value); });
                return;
            }
        }
        bank.Filter(frame.data());
        expect(frame, 1, [](Single& single, int value) { return Wrapped(single.Filter(value)); });
    }
}

/// Every lead of a bank gives what a single filter with the same arguments gives.
template <typename Bank, typename Single, typename... Arguments>
void ExpectAlike(Arguments... arguments) {
    for (const int leads : {1, 4, 13}) {
        Bank bank = [&] {
            if constexpr (std::is_same_v<Bank, CMultiChannelSmooth>)  // leads before the cutoff
                return std::make_from_tuple<Bank>(std::tuple(std::get<0>(std::tuple(arguments...)), leads,
                                                             std::get<1>(std::tuple(arguments...))));
            else
                return Bank(arguments..., leads);
        }();
        std::vector<Single> singles(static_cast<std::size_t>(leads), Single(arguments...));
        for (std::size_t i = 0; i < Frames().size() && !testing::Test::HasFatalFailure(); i += kMostLeads) {
            ExpectAlike(bank, singles, &Frames()[i], i % 2 == 1);
        }
    }
}

}  // namespace

TEST(MultiChannelBanks, GiveEveryLeadWhatItsSingleFilterGives) {
    for (const double fc : {1e-4, 5.0, 40.0, 125.0, 220.0, 260.0})  // unstable from 250 Hz on
        ExpectAlike<CMultiChannelLowpass2, CLowpassFilter2>(fc, 500);
    for (const double fc : {0.05, 12.0}) ExpectAlike<CMultiChannelHighpass, CHighpassFilter>(fc, 500);
    for (const double q : {0.7, 40.0}) ExpectAlike<CMultiChannelNotch, CNotchFilter>(60.0, 500, q);
    for (const int fs : {33, 34, 112, 166, 167, 257, 500, 1000})
        ExpectAlike<CMultiChannelSmooth, CSmoothFilter>(fs, 10);
    ExpectAlike<CMultiChannelSmooth, CSmoothFilter>(500, 260);
    // At 49 Hz the divisor is 98, and 98 times the rounded 1 / 98 is less than 1.
    for (const auto& [freq, fs] :
         {std::pair{50, 500}, {60, 500}, {50, 1000}, {60, 250}, {7, 257}, {49, 490}, {50, 40}, {0, 500}}) {
        ExpectAlike<CMutiBlNotchFilter, CBlNotchFilter>(freq, fs);
        ExpectAlike<CQuorlMultiNotchFilter, CQuorlNotchFilter>(freq, fs);
    }
}

TEST(MultiChannelBanks, DoublerGivesEveryLeadWhatTheSingleOneGives) {
    constexpr std::size_t kLeads = 6, kShift = 37;  // leads see the same samples at different times
    for (const double uVpb : {1.0, 4.88, 0.0, -1.0, std::nan("")}) {
        CMultiChannelDoubleSampleRate bank(kLeads);
        bank.Init(uVpb);
        std::vector<CDoubleSampleRate> singles(kLeads);
        for (CDoubleSampleRate& single : singles) single.Init(uVpb);
        for (std::size_t i = 0; i + kLeads * kShift < Mixed().size(); ++i) {
            short frame[kLeads];
            for (std::size_t lead = 0; lead < kLeads; ++lead) frame[lead] = Mixed()[i + lead * kShift];
            short** pairs = bank.GetDoubleSampleRateData(frame);
            for (std::size_t lead = 0; lead < kLeads; ++lead) {
                const short* pair = singles[lead].GetDoubleSampleRateData(frame[lead]);
                ASSERT_EQ(pairs[lead][0], pair[0]) << uVpb << ", lead " << lead << ", frame " << i;
                ASSERT_EQ(bank.GetData()[1][lead], pair[1]) << uVpb << ", lead " << lead << ", frame " << i;
            }
        }
    }
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
