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

/// Every lead of a bank gives what a single filter with the same arguments gives.
template <typename Bank, typename Single, typename FilterBank, typename FilterOne>
void ExpectAlike(Bank bank, const Single& single, std::size_t leads, FilterBank filterBank,
                 FilterOne filterOne) {
    std::vector<Single> singles(leads, single);
    for (std::size_t i = 0; i + kMostLeads <= Frames().size(); i += kMostLeads) {
        std::vector<short> frame(&Frames()[i], &Frames()[i] + leads);
        filterBank(bank, frame.data());
        for (std::size_t lead = 0; lead < leads; ++lead)
            ASSERT_EQ(frame[lead], static_cast<short>(filterOne(singles[lead], Frames()[i + lead])))
                << "lead " << lead << " of " << leads << ", frame " << i / kMostLeads;
    }
}

}  // namespace

TEST(MultiChannelBanks, GiveEveryLeadWhatItsSingleFilterGives) {
    const auto filterBank = [](auto& bank, short* frame) { bank.Filter(frame); };
    const auto filterOne = [](auto& filter, int x) { return filter.Filter(x); };
    for (const int leads : {1, 4, 13}) {
        const auto count = static_cast<std::size_t>(leads);
        for (const double fc : {1e-4, 5.0, 40.0, 125.0, 220.0, 260.0})  // unstable from 250 Hz on
            ExpectAlike(CMultiChannelLowpass2(fc, 500, leads), CLowpassFilter2(fc, 500), count, filterBank,
                        filterOne);
        for (const double fc : {0.05, 12.0})
            ExpectAlike(CMultiChannelHighpass(fc, 500, leads), CHighpassFilter(fc, 500), count, filterBank,
                        filterOne);
        for (const double q : {0.7, 40.0})
            ExpectAlike(CMultiChannelNotch(60, 500, q, leads), CNotchFilter(60, 500, q), count, filterBank,
                        filterOne);
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
