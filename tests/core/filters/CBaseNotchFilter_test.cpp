#include "core/filters/CBaseNotchFilter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <vector>

#include "core/filters/CBlNotchFilter.h"
#include "core/filters/CMutiBlNotchFilter.h"
#include "core/filters/CQuorlMultiNotchFilter.h"
#include "core/filters/CQuorlNotchFilter.h"
#include "core/filters/FreqInterpretate.h"
#include "tests/support/Signals.h"

namespace {

using Ints = std::vector<int>;

int At(const Ints& x, int n) { return n < 0 ? 0 : x[static_cast<std::size_t>(n)]; }

// The comb where the mains period P divides the rate: the middle of the window less the mean of all samples
// at one phase of the mains cycle, in which the middle half second counts twice.
Ints WholePeriodComb(int freq, int fs, const Ints& x) {
    const int period = fs / freq;
    Ints y;
    for (int n = 0; n < static_cast<int>(x.size()); ++n) {
        int sum = 0;
        for (int k = 0; k < fs / period; ++k) sum += At(x, n - k * period) + At(x, n - fs / 2 - k * period);
        y.push_back(At(x, n - (3 * fs / 4 - period / 2)) - sum / (2 * fs / period));
    }
    return y;
}

// The comb where P does not divide the rate: what one second takes in at a phase it does not give back at the
// same phase, so that the accumulator is a sum over the whole past.
Ints AnyPeriodComb(int freq, int fs, const Ints& x) {
    const int period = fs / freq;
    Ints y;
    for (int n = 0; n < static_cast<int>(x.size()); ++n) {
        long long sum = 0;
        for (int k = n; k >= 0; k -= period)
            sum += At(x, k) + At(x, k - fs / 2) - At(x, k - fs) - At(x, k - fs / 2 - fs);
        y.push_back(At(x, n - (3 * fs / 4 - period / 2)) - static_cast<int>(sum / (2 * fs / period)));
    }
    return y;
}

Ints SlowComb(int freq, int fs, const Ints& x) {
    return fs % (fs / freq) == 0 ? WholePeriodComb(freq, fs, x) : AnyPeriodComb(freq, fs, x);
}

// The comb of one stream at any rate: rates that are multiples of ten times the mains frequency are dealt to
// combs of ten samples per period.
Ints SlowBlComb(int freq, int fs, const Ints& x) {
    if (fs % (10 * freq) != 0) return SlowComb(freq, fs, x);
    const std::size_t count = static_cast<std::size_t>(fs / (10 * freq));
    Ints y(x.size());
    for (std::size_t turn = 0; turn < count; ++turn) {
        Ints dealt;
        for (std::size_t n = turn; n < x.size(); n += count) dealt.push_back(x[n]);
        const Ints filtered = SlowComb(freq, 10 * freq, dealt);
        for (std::size_t i = 0; i < filtered.size(); ++i) y[turn + i * count] = filtered[i];
    }
    return y;
}

// Up-sampling of a whole stream; firsts[i] is where the outputs for input i begin.
Ints SlowUpsample(int inRate, int outRate, const Ints& x, std::vector<std::size_t>* firsts = nullptr) {
    const double step = static_cast<double>(inRate) / outRate;
    Ints y;
    double start = 0;  // of this input's outputs, in input intervals after the previous input
    for (int n = 0; n < static_cast<int>(x.size()); ++n) {
        if (firsts) firsts->push_back(y.size());
        const double slope = (Wrapped(At(x, n)) - Wrapped(At(x, n - 1))) / (1.0 - start);
        double time = start;
        for (; time < 0.999999; time += step)
            y.push_back(Wrapped(Truncated((time - start) * slope + Wrapped(At(x, n - 1)))));
        start = time - 1.0;
    }
    return y;
}

// The comb at a rate that may be no multiple of the mains frequency.
Ints SlowQuorlComb(int freq, int fs, const Ints& x) {
    if (fs % freq == 0) return SlowBlComb(freq, fs, x);
    const int evenPeriod = fs / freq / 2 * 2 + 2;
    std::vector<std::size_t> firsts;
    const Ints combed = SlowBlComb(freq, evenPeriod * freq, SlowUpsample(fs, evenPeriod * freq, x, &firsts));
    Ints y;
    for (const std::size_t first : firsts) y.push_back(Wrapped(combed[first]));
    return y;
}

// 3.5 s of full-scale noise, then of ECG with noise, hum and drift.
Ints Input(int fs, unsigned seed) {
    const auto noise = RandomSamples(seed, static_cast<std::size_t>(7 * fs / 2), 32768);
    const auto ecg = NoisyEcg(fs, 3.5, seed);
    Ints x(noise.begin(), noise.end());
    x.insert(x.end(), ecg.begin(), ecg.end());
    return x;
}

template <typename AnyFilter>
Ints Filtered(AnyFilter& filter, const Ints& x) {
    Ints y;
    for (const int sample : x) y.push_back(filter.Filter(sample));
    return y;
}

template <typename AnyFilter>
void ExpectPassesThrough(AnyFilter filter) {
    const Ints x{5, -32768, 32767, 7, 0, 1, 2, 3};
    EXPECT_EQ(Filtered(filter, x), x);
}

constexpr double kToneAmplitude = 10000;

// The peak that the comb leaves of a steady tone at its own frequency, as a share of the tone. It holds the
// tone itself and the images that resampling adds.
double PeakLeft(int hz, int fs) {
    CQuorlNotchFilter filter(hz, fs);
    const auto tone = Tone(fs, static_cast<std::size_t>(4 * fs), hz, kToneAmplitude);
    const Ints y = Filtered(filter, Ints(tone.begin(), tone.end()));
    return *std::max_element(y.begin() + 3 * fs, y.end()) / kToneAmplitude;
}

using SlowForm = Ints (*)(int freq, int fs, const Ints& x);

// At every rate that is not below the mains frequency a filter gives what its slow form gives, also after an
// Init(0, 0), which starts it anew from the stored values.
template <typename AnyFilter>
void ExpectRunsLike(SlowForm slow, const Ints& frequencies, const Ints& rates) {
    for (const int freq : frequencies)
        for (const int fs : rates) {
            if (fs < freq) continue;
            SCOPED_TRACE(testing::Message() << freq << " Hz at " << fs << " Hz, seed 71");
            const Ints x = Input(fs, 71), expected = slow(freq, fs, x);
            AnyFilter filter(freq, fs);
            ExpectSame(expected, Filtered(filter, x));
            filter.Filter(1234);
            filter.Init(0, 0);
            ExpectSame(expected, Filtered(filter, x));
        }
}

// One filter through a series of Init calls in mid-stream: arguments that are not positive keep what is
// stored.
template <typename AnyFilter>
void ExpectInitKeepsWhatItIsNotGiven(SlowForm slow) {
    const Ints x = Input(500, 72);
    AnyFilter filter;
    int storedFreq = 0, storedFs = 0;
    static constexpr int kGiven[][2] = {{50, 1000}, {0, 1500},  {75, 0},  {50, 500}, {-1, 1000},
                                        {60, -1},   {60, 1000}, {0, 257}, {50, 0},   {-5, -5}};
    for (const auto& [freq, fs] : kGiven) {
        SCOPED_TRACE(testing::Message() << "Init(" << freq << ", " << fs << "), seed 72");
        for (int n = 0; n < 777; ++n) filter.Filter(30000 - n);  // an odd count: a rotation is under way
        filter.Init(freq, fs);
        if (freq > 0) storedFreq = freq;
        if (fs > 0) storedFs = fs;
        ExpectSame(slow(storedFreq, storedFs, x), Filtered(filter, x));
    }
}

// Frames of three leads through a bank in both forms: each lead gives what the slow form gives, wrapped in
// the short form.
template <typename Bank>
void ExpectBankRunsLike(SlowForm slow, int freq, int fs, Bank bank) {
    std::vector<Ints> leads{Input(500, 73), Input(500, 74), Input(500, 75)}, expected;
    for (std::size_t n = 0; n < 1500; ++n) leads[1][n] = n < 800 || n % 10 < 3 ? -32768 : 32767;
    for (const Ints& lead : leads) expected.push_back(slow(freq, fs, lead));
    Bank shortBank = bank;
    bool wrapped = false;
    for (std::size_t n = 0; n < leads[0].size(); ++n) {
        int frame[] = {leads[0][n], leads[1][n], leads[2][n]};
        short shortFrame[] = {Wrapped(frame[0]), Wrapped(frame[1]), Wrapped(frame[2])};
        bank.Filter(frame);
        shortBank.Filter(shortFrame);
        for (std::size_t k = 0; k < 3; ++k) {
            ASSERT_EQ(frame[k], expected[k][n]) << "frame " << n << ", lead " << k;
            ASSERT_EQ(shortFrame[k], Wrapped(expected[k][n])) << "frame " << n << ", lead " << k;
            wrapped |= shortFrame[k] != expected[k][n];
        }
    }
    EXPECT_TRUE(wrapped);  // the second lead leaves the 16-bit range
}

}  // namespace

TEST(CBaseNotchFilter, SubtractsTheMeanOfOnePhaseFromTheMiddleOfTheWindow) {
    ExpectRunsLike<CBaseNotchFilter>(SlowComb, {25, 50, 60}, {200, 250, 257, 360, 500, 600, 1000});
    ExpectRunsLike<CBaseNotchFilter>(SlowComb, {1, 2, 3, 5, 7}, {1, 2, 3, 4, 5, 7, 10, 12, 101});
}

TEST(CBaseNotchFilter, AnAccumulatorThatGrowsForEverDoesNoHarm) {
    CBaseNotchFilter filter(60, 1000);  // 16 samples per period do not divide 1000
    for (int n = 0; n < 600000; ++n) filter.Filter(n / 8 % 2 == 0 ? 32767 : -32768);
    for (int n = 0; n < 5000; ++n) filter.Filter(n / 3 % 2 == 0 ? INT_MAX : INT_MIN);
}

TEST(CBaseNotchFilter, RemovesWhatRepeatsWithTheMainsAndDelaysTheRest) {
    CBaseNotchFilter filter(50, 500);
    Ints x;
    const auto period = RandomSamples(73, 10, 5000);
    for (std::size_t n = 0; n < 3000; ++n) x.push_back(1000 + period[n % 10]);
    x[1500] += 2000;
    const Ints y = Filtered(filter, x);
    for (int n = 751; n < 3000; ++n) {
        const int lag = n - 1500;  // the pulse leaves its share of the mean at its own phase
        const bool atPhase = lag >= 0 && lag < 750 && lag % 10 == 0;
        const int share = !atPhase ? 0 : lag >= 250 && lag < 500 ? 40 : 20;
        const int expected = (lag == 370 ? 2000 : 0) - share;
        EXPECT_NEAR(At(y, n), expected, 1) << "at sample " << n;  // the mean is truncated
    }
}

// Deliberate behaviour of the comb at 60 Hz: its centre lies half a mains period off the phase it averages.
TEST(CBaseNotchFilter, AtSixtyHertzASteadyToneComesOutInvertedAndDoubledWhileLevelsGo) {
    CBlNotchFilter exact(60, 600);
    Ints x;
    for (std::size_t n = 0; n < 2000; ++n)
        x.push_back(
            700 + static_cast<int>(std::lround(1000 * std::sin(static_cast<double>(n % 10) * 0.6283185307))));
    const Ints y = Filtered(exact, x);
    for (int n = 900; n < 2000; ++n) EXPECT_EQ(At(y, n), -2 * (At(x, n) - 700)) << "at sample " << n;

    CQuorlNotchFilter resampled(60, 500);
    const auto tone = Tone(500, 2000, 60.0, kToneAmplitude);
    double product = 0;  // with the input one sample ago, which is the resampler's delay
    for (std::size_t n = 1; n < 2000; ++n)
        product += static_cast<double>(resampled.Filter(tone[n])) * tone[n - 1];
    EXPECT_LT(product, 0);
    EXPECT_NEAR(PeakLeft(60, 500), 2.0, 0.1);  // less what the resampling costs
}

TEST(CBaseNotchFilter, ResampledCombsTakeOutTheToneOnlyPartlyAtLowRates) {
    EXPECT_LT(PeakLeft(50, 500), 1e-3);
    EXPECT_NEAR(PeakLeft(50, 360), 1.0 / 3, 0.02);
    EXPECT_NEAR(PeakLeft(50, 128), 0.85, 0.02);
}

TEST(CBaseNotchFilter, InitClearsEverythingAndKeepsWhatItIsNotGiven) {
    ExpectInitKeepsWhatItIsNotGiven<CBaseNotchFilter>(SlowComb);
    ExpectInitKeepsWhatItIsNotGiven<CBlNotchFilter>(SlowBlComb);
    ExpectInitKeepsWhatItIsNotGiven<CQuorlNotchFilter>(SlowQuorlComb);
}

TEST(CBaseNotchFilter, WithoutAPeriodTheWholeFamilyPassesItsInput) {
    ExpectPassesThrough(CBaseNotchFilter());
    ExpectPassesThrough(CBlNotchFilter());
    ExpectPassesThrough(CQuorlNotchFilter());
    ExpectPassesThrough(CBaseNotchFilter(50, 40));
    for (const auto& [freq, fs] : {std::pair{0, 500}, {50, 0}, {0, 0}, {-50, 500}, {50, -500}}) {
        SCOPED_TRACE(testing::Message() << freq << " Hz at " << fs << " Hz");
        ExpectPassesThrough(CBaseNotchFilter(freq, fs));
        ExpectPassesThrough(CBlNotchFilter(freq, fs));
        ExpectPassesThrough(CQuorlNotchFilter(freq, fs));
    }
    for (const int chn : {0, -1}) {
        int frame[] = {1, 2};
        CMutiBlNotchFilter(50, 500, chn).Filter(frame);
        CQuorlMultiNotchFilter(50, 500, chn).Filter(frame);
        CQuorlMultiNotchFilter().Filter(frame);
        EXPECT_EQ(frame[0], 1);
    }
}

TEST(CBlNotchFilter, DealsTheStreamToCombsOfTenSamplesPerPeriod) {
    ExpectRunsLike<CBlNotchFilter>(SlowBlComb, {50, 60}, {200, 250, 257, 360, 500, 600, 1000, 1200, 1500});
    ExpectRunsLike<CBlNotchFilter>(SlowBlComb, {1, 2}, {10, 20, 70, 71});
}

TEST(CBlNotchFilter, DestroyPassesTheInputUntilTheNextInit) {
    CBlNotchFilter filter(50, 1000);
    filter.Destroy();
    ExpectPassesThrough(filter);
    filter.Init(50, 0);
    const Ints x = Input(500, 76);
    ExpectSame(SlowBlComb(50, 1000, x), Filtered(filter, x));
}

TEST(FreqInterpretate, DrawsLinesBetweenInputsAnchoredAtTheFirstOutput) {
    static constexpr int kRates[][2] = {{200, 240},  {250, 360}, {257, 300}, {360, 400}, {500, 600},
                                        {500, 1500}, {128, 200}, {7, 100},   {999, 1000}};
    for (const auto& [inRate, outRate] : kRates) {
        SCOPED_TRACE(testing::Message() << inRate << " to " << outRate << " Hz, seed 78");
        const Ints x = Input(500, 78);
        FreqInterpretate upsampler(inRate, outRate);
        Ints y;
        short previous = 0;
        for (const int sample : x) {
            const short count = upsampler.CalculateReturnValues(static_cast<short>(sample));
            y.insert(y.end(), upsampler.GetData(), upsampler.GetData() + count);
            ASSERT_GE(count, 1);
            ASSERT_EQ(*upsampler.GetData(), previous);
            previous = static_cast<short>(sample);
        }
        ExpectSame(SlowUpsample(inRate, outRate, x), y);
        EXPECT_NEAR(static_cast<double>(y.size()), static_cast<double>(x.size()) * outRate / inRate, 1.0);
    }
}

TEST(FreqInterpretate, ARateThatIsNotHigherBecomesAndStaysTheInputRate) {
    FreqInterpretate upsampler(500, 400);
    for (const short x : std::vector<short>{100, -200, 300}) EXPECT_EQ(upsampler.CalculateReturnValues(x), 1);
    EXPECT_EQ(*upsampler.GetData(), -200);  // one sample late
    upsampler.Init(200, 0);                 // now 200 to 500 Hz, from a previous input of 0
    EXPECT_EQ(upsampler.CalculateReturnValues(1000), 3);
    EXPECT_EQ(Ints(upsampler.GetData(), upsampler.GetData() + 3), (Ints{0, 400, 800}));
    EXPECT_EQ(upsampler.CalculateReturnValues(1000), 2);
    upsampler.Init(0, 0);  // the phase starts anew as well
    EXPECT_EQ(upsampler.CalculateReturnValues(-1000), 3);
    EXPECT_EQ(Ints(upsampler.GetData(), upsampler.GetData() + 3), (Ints{0, -400, -800}));
}

// 1 / (1.0 / 93) is a little less than 93, and one input still gives 93 values: they must have their room.
TEST(FreqInterpretate, EveryWholeRatioFitsItsBuffer) {
    for (int ratio = 1; ratio <= 300; ++ratio) {
        FreqInterpretate upsampler(1, ratio);
        for (int call = 0; call < 3; ++call) {
            ASSERT_EQ(upsampler.CalculateReturnValues(1000), ratio);
            const int last = call == 0 ? 1000 * (ratio - 1) / ratio : 1000;
            ASSERT_NEAR(upsampler.GetData()[ratio - 1], last,
                        1);  // truncation from just below a whole number
        }
    }
}

TEST(CQuorlNotchFilter, CombsWhatItResamplesAndReturnsTheFirstValue) {
    ExpectRunsLike<CQuorlNotchFilter>(SlowQuorlComb, {50, 60},
                                      {128, 200, 250, 257, 300, 360, 500, 600, 1000});
}

TEST(CQuorlNotchFilter, OnlyAResampledInputWrapsAtSixteenBits) {
    Ints x = Input(500, 77);
    for (std::size_t n = 0; n < x.size(); n += 3) x[n] *= 3;
    CQuorlNotchFilter resampled(60, 500), direct(50, 500);
    ExpectSame(SlowQuorlComb(60, 500, x), Filtered(resampled, x));
    ExpectSame(SlowQuorlComb(50, 500, x), Filtered(direct, x));
}

TEST(CQuorlMultiNotchFilter, BanksFilterEachLeadAndOnlyTheShortFormWraps) {
    CMutiBlNotchFilter muti(50, 1000, 3);
    ExpectBankRunsLike(SlowBlComb, 50, 1000, muti);
    muti.Init(60, 500);  // deliberate: the rate stays
    ExpectBankRunsLike(SlowBlComb, 60, 1000, muti);
    CQuorlMultiNotchFilter quorl(50, 1000, 3);
    ExpectBankRunsLike(SlowQuorlComb, 50, 1000, quorl);
    quorl.Init(50, 500);  // here it does not
    ExpectBankRunsLike(SlowQuorlComb, 50, 500, quorl);
}
