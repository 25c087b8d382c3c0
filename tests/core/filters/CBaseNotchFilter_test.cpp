#include "core/filters/CBaseNotchFilter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <vector>

#include "core/filters/CBlNotchFilter.h"
#include "core/filters/CQuorlNotchFilter.h"
#include "core/filters/FreqInterpretate.h"
#include "tests/support/Signals.h"

namespace {

using Ints = std::vector<int>;

int At(const Ints& x, int n) { return n < 0 ? 0 : x[static_cast<std::size_t>(n)]; }

/// The comb as a sum over the past. Where the mains period P divides the rate it is the middle of the window
/// less the mean of all samples at one phase of the mains cycle, the middle half second counted twice. Where
/// it does not, what one second takes in at a phase it does not give back at the same, and the sum runs over
/// the whole past.
Ints SlowComb(int freq, int fs, const Ints& x) {
    const int period = fs / freq;
    Ints y;
    for (int n = 0; n < static_cast<int>(x.size()); ++n) {
        long long sum = 0;
        if (fs % period == 0)
            for (int k = 0; k < fs; k += period) sum += At(x, n - k) + At(x, n - fs / 2 - k);
        else
            for (int k = n; k >= 0; k -= period)
                sum += At(x, k) + At(x, k - fs / 2) - At(x, k - fs) - At(x, k - fs / 2 - fs);
        y.push_back(At(x, n - (3 * fs / 4 - period / 2)) - static_cast<int>(sum / (2 * fs / period)));
    }
    return y;
}

template <typename AnyFilter>
Ints Filtered(AnyFilter&& filter, const Ints& x) {
    Ints y;
    for (const int sample : x) y.push_back(filter.Filter(sample));
    return y;
}

/// Rates that are multiples of ten times the mains frequency are dealt to combs of ten samples per period.
Ints DealtComb(int freq, int fs, const Ints& x) {
    if (fs % (10 * freq) != 0) return SlowComb(freq, fs, x);
    std::vector<CBaseNotchFilter> combs(static_cast<std::size_t>(fs / (10 * freq)), {freq, 10 * freq});
    Ints y;
    for (std::size_t n = 0; n < x.size(); ++n) y.push_back(combs[n % combs.size()].Filter(x[n]));
    return y;
}

/// Up-sampling of a whole stream; firsts[i] is where the outputs for input i begin.
Ints SlowUpsample(int inRate, int outRate, const Ints& x, std::vector<std::size_t>* firsts = nullptr) {
    const double step = static_cast<double>(inRate) / outRate;
    Ints y;
    double start = 0;  // of this input's outputs, in input intervals after the previous input
    for (int n = 0; n < static_cast<int>(x.size()); ++n) {
        if (firsts) firsts->push_back(y.size());
        const double slope = (Wrapped(At(x, n)) - Wrapped(At(x, n - 1))) / (1.0 - start);
        double time = start;
        while (time < 0.999999) {
            y.push_back(Wrapped(Truncated((time - start) * slope + Wrapped(At(x, n - 1)))));
            time += step;
        }
        start = time - 1.0;
    }
    return y;
}

/// The comb at a rate that may be no multiple of the mains frequency.
Ints SlowQuorlComb(int freq, int fs, const Ints& x) {
    if (fs % freq == 0) return DealtComb(freq, fs, x);
    const int evenRate = (fs / freq / 2 * 2 + 2) * freq;
    std::vector<std::size_t> firsts;
    const Ints combed = DealtComb(freq, evenRate, SlowUpsample(fs, evenRate, x, &firsts));
    Ints y;
    for (const std::size_t first : firsts) y.push_back(Wrapped(combed[first]));
    return y;
}

/// 3.5 s of full-scale noise, then of ECG with noise, hum and drift.
Ints Input(int fs, unsigned seed) {
    const auto noise = RandomSamples(seed, static_cast<std::size_t>(7 * fs / 2), 32768);
    const auto ecg = NoisyEcg(fs, 3.5, seed);
    Ints x(noise.begin(), noise.end());
    x.insert(x.end(), ecg.begin(), ecg.end());
    return x;
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

using SlowForm = Ints (*)(int freq, int fs, const Ints& x);

/// At every rate that is not below the mains frequency a filter gives what its slow form gives. One filter
/// goes through all of them and a series of Init calls in mid-stream, too: arguments that are not positive
/// keep what is stored. Without a frequency or a rate it passes its input.
template <typename AnyFilter>
void ExpectRunsLike(SlowForm slow, const Ints& frequencies, const Ints& rates) {
    AnyFilter reused;
    int storedFreq = 0, storedFs = 0;
    const auto expectAfterInit = [&](int freq, int fs) {
        SCOPED_TRACE(testing::Message() << "Init(" << freq << ", " << fs << "), seed 71");
        for (int n = 0; n < 779; ++n) reused.Filter(30000 - n);  // a rotation of two or three is under way
        reused.Init(freq, fs);
        if (freq > 0) storedFreq = freq;
        if (fs > 0) storedFs = fs;
        const Ints x = Input(storedFs, 71), expected = slow(storedFreq, storedFs, x);
        ExpectSame(expected, Filtered(reused, x));
        AnyFilter fresh(storedFreq, storedFs);
        ExpectSame(expected, Filtered(fresh, x));
    };
    for (const int freq : frequencies)
        for (const int fs : rates)
            if (fs >= freq) expectAfterInit(freq, fs);
    static constexpr int kGiven[][2] = {{50, 1000}, {0, 1500}, {0, 500},  {75, 0}, {50, 500},
                                        {-1, 1000}, {60, -1},  {0, 257},  {1, 10}, {0, 70},
                                        {0, 0},     {50, 500}, {50, 257}, {-5, -5}};
    for (const auto& [freq, fs] : kGiven) expectAfterInit(freq, fs);

    const Ints marks{5, -32768, 32767, 7, 0, 1, 2, 3};
    for (const auto& [freq, fs] : {std::pair{0, 500}, {50, 0}, {0, 0}, {-50, 500}, {50, -500}}) {
        AnyFilter none(freq, fs), untouched;
        EXPECT_EQ(Filtered(none, marks), marks) << freq << " Hz at " << fs << " Hz";
        EXPECT_EQ(Filtered(untouched, marks), marks);
    }
}

}  // namespace

TEST(CBaseNotchFilter, SubtractsTheMeanOfOnePhaseFromTheMiddleOfTheWindow) {
    ExpectRunsLike<CBaseNotchFilter>(SlowComb, {25, 50, 60}, {200, 250, 257, 360, 500, 600, 1000});
    ExpectRunsLike<CBaseNotchFilter>(SlowComb, {1, 2, 3, 5, 7}, {1, 2, 3, 4, 5, 7, 10, 12, 101});
    CBaseNotchFilter belowItsFrequency(50, 40);
    EXPECT_EQ(Filtered(belowItsFrequency, {5, -7, 9}), (Ints{5, -7, 9}));
}

TEST(CBaseNotchFilter, AnAccumulatorThatGrowsForEverDoesNoHarm) {
    CBaseNotchFilter filter(60, 1000);  // 16 samples per period do not divide 1000
    for (int n = 0; n < 600000; ++n) filter.Filter(n / 8 % 2 == 0 ? 32767 : -32768);
    for (int n = 0; n < 5000; ++n) filter.Filter(n / 3 % 2 == 0 ? INT_MAX : INT_MIN);
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

TEST(CBlNotchFilter, DealsTheStreamToCombsOfTenSamplesPerPeriodUntilDestroy) {
    ExpectRunsLike<CBlNotchFilter>(DealtComb, {50, 60}, {200, 250, 257, 360, 500, 600, 1000, 1200, 1500});
    ExpectRunsLike<CBlNotchFilter>(DealtComb, {1, 2}, {10, 20, 70, 71});
    CBlNotchFilter filter(50, 1000);
    filter.Destroy();
    EXPECT_EQ(Filtered(filter, {5, -7, 9}), (Ints{5, -7, 9}));
}

TEST(CQuorlNotchFilter, CombsWhatItResamplesAndReturnsTheFirstValue) {
    ExpectRunsLike<CQuorlNotchFilter>(SlowQuorlComb, {50, 60},
                                      {128, 200, 250, 257, 300, 360, 500, 600, 1000});
    Ints x = Input(500, 77);  // beyond 16 bits only a resampled input wraps
    for (std::size_t n = 0; n < x.size(); n += 3) x[n] *= 3;
    CQuorlNotchFilter resampled(60, 500), direct(50, 500);
    ExpectSame(SlowQuorlComb(60, 500, x), Filtered(resampled, x));
    ExpectSame(SlowQuorlComb(50, 500, x), Filtered(direct, x));
}

TEST(FreqInterpretate, DrawsLinesBetweenInputsAnchoredAtTheFirstOutput) {
    static constexpr int kRates[][2] = {{200, 240},  {250, 360}, {257, 300}, {360, 400}, {500, 600},
                                        {500, 1500}, {128, 200}, {7, 100},   {999, 1000}};
    for (const auto& [inRate, outRate] : kRates) {
        SCOPED_TRACE(testing::Message() << inRate << " to " << outRate << " Hz, seed 78");
        const Ints x = Input(500, 78);
        FreqInterpretate upsampler(inRate, outRate);
        Ints y;
        for (std::size_t n = 0; n < x.size(); ++n) {
            const short count = upsampler.CalculateReturnValues(static_cast<short>(x[n]));
            ASSERT_GE(count, 1);
            ASSERT_EQ(*upsampler.GetData(), n == 0 ? 0 : x[n - 1]);
            y.insert(y.end(), upsampler.GetData(), upsampler.GetData() + count);
        }
        ExpectSame(SlowUpsample(inRate, outRate, x), y);
        EXPECT_NEAR(static_cast<double>(y.size()), static_cast<double>(x.size()) * outRate / inRate, 1.0);
    }
}

TEST(FreqInterpretate, ARateThatIsNotHigherBecomesAndStaysTheInputRate) {
    FreqInterpretate upsampler(500, 400);
    const auto expect = [&upsampler](short x, const Ints& outputs) {
        const short count = upsampler.CalculateReturnValues(x);
        EXPECT_EQ(Ints(upsampler.GetData(), upsampler.GetData() + count), outputs);
    };
    expect(100, {0});
    expect(-200, {100});     // one sample late
    upsampler.Init(200, 0);  // now 200 to 500 Hz, from a previous input of 0
    expect(1000, {0, 400, 800});
    expect(1000, {1000, 1000});
    upsampler.Init(0, 0);  // the phase starts anew as well
    expect(-1000, {0, -400, -800});
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
