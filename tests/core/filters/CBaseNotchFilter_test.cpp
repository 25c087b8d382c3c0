#include "core/filters/CBaseNotchFilter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "core/filters/CBlNotchFilter.h"
#include "core/filters/CQuorlNotchFilter.h"
#include "core/filters/FreqInterpretate.h"
#include "tests/support/Signals.h"

namespace {

using Ints = std::vector<int>;

int At(const Ints& x, int n) { return n < 0 ? 0 : x[static_cast<std::size_t>(n)]; }

template <typename AnyFilter>
Ints Filtered(AnyFilter&& filter, const Ints& x) {
    Ints y;
    for (const int sample : x) y.push_back(filter.Filter(sample));
    return y;
}

constexpr double kToneAmplitude = 10000;

/// The peak that the comb leaves of a steady tone at its own frequency, as a share of the tone. It holds the
/// tone itself and the images that resampling adds.
double PeakLeft(int hz, int fs) {
    CQuorlNotchFilter filter(hz, fs);
    const int settled = 3 * fs, end = 4 * fs;
    const auto tone = Tone(fs, static_cast<std::size_t>(end), hz, kToneAmplitude);
    const Ints y = Filtered(filter, Ints(tone.begin(), tone.end()));
    return *std::max_element(y.begin() + settled, y.end()) / kToneAmplitude;
}

}  // namespace

TEST(CBaseNotchFilter, PassesItsInputWithoutAPeriodToWorkOn) {
    const Ints marks{5, -32768, 32767, 7};
    CBaseNotchFilter used(50, 500);  // whose rings stay
    used.Init(0, 40);
    EXPECT_EQ(Filtered(used, marks), marks);
    CBlNotchFilter destroyed(50, 1000);
    destroyed.Destroy();
    EXPECT_EQ(Filtered(destroyed, marks), marks);
    for (const auto& [freq, fs] : {std::pair{0, 500}, {50, 0}, {0, 0}, {-50, 500}, {50, -500}}) {
        EXPECT_EQ(Filtered(CBlNotchFilter(freq, fs), marks), marks) << freq << " Hz at " << fs << " Hz";
        EXPECT_EQ(Filtered(CQuorlNotchFilter(freq, fs), marks), marks) << freq << " Hz at " << fs << " Hz";
    }
}

// Deliberate at 60 Hz: the centre of the comb lies half a mains period off the phase it averages.
TEST(CBaseNotchFilter, AToneGoesAtFiftyHertzButComesOutInvertedAndDoubledAtSixtyWhileLevelsGo) {
    CBlNotchFilter exact(60, 600);
    const auto tone = Tone(600, 2000, 60.0, 1000);
    Ints x;
    for (const short sample : tone) x.push_back(700 + sample);
    const Ints y = Filtered(exact, x);
    for (int n = 900; n < 2000; ++n) EXPECT_EQ(At(y, n), -2 * (At(x, n) - 700)) << "at sample " << n;
    static constexpr struct {
        int hz, fs;
        double left;
    } kResampled[] = {
        {60, 500, 2.0}, {50, 360, 1.0 / 3}, {50, 128, 0.85}, {50, 500, 0}};  // at low rates only partly
    for (const auto& [hz, fs, left] : kResampled)
        EXPECT_NEAR(PeakLeft(hz, fs), left, 0.05 * left + 1e-3) << fs;
}

// 1 / (1.0 / 93) is a little less than 93, and one input still gives 93 values: they must have their room.
TEST(FreqInterpretate, EveryWholeRatioFitsItsBuffer) {
    for (int ratio = 1; ratio <= 300; ++ratio) {
        FreqInterpretate upsampler(1, ratio);
        for (const int last : {1000 * (ratio - 1) / ratio, 1000}) {
            ASSERT_EQ(upsampler.CalculateReturnValues(1000), ratio);
            ASSERT_NEAR(upsampler.GetData()[ratio - 1], last,
                        1);  // truncation from just below a whole number
        }
    }
}
