// Runs.h: one run per class through all of its calls, and every answer in a hash.
//
// The digest stores these hashes; the tests of Init and of failing allocations ask for the same answers
// again. The signals are made of whole numbers, so that no library of mathematics has a say in them.
#pragma once

#include <bit>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <tuple>
#include <type_traits>
#include <vector>

#include "core/detect/CMultirtRRdetect.h"
#include "core/detect/CrtRRdetect.h"
#include "core/filters/CDoubleSampleRate.h"
#include "core/filters/CMultiChannelDoubleSampleRate.h"
#include "core/filters/CMultiChannelHighpass.h"
#include "core/filters/CMultiChannelLowpass2.h"
#include "core/filters/CMultiChannelSmoothEx.h"
#include "core/filters/CMutiBlNotchFilter.h"
#include "core/filters/CQuorlMultiNotchFilter.h"
#include "core/filters/CSmoothFilterEx.h"
#include "core/stress/CZatMatch.h"
#include "core/stress/CZatMidRR.h"
#include "tests/support/Beats.h"
#include "tests/support/Signals.h"

using Samples = std::vector<short>;

/// A hash over numbers, the same for every order of bytes and size of `long`: each is taken as a double,
/// which holds it exactly. All NaN count as one.
class Hash {
public:
    /// The order in which C++ evaluates the arguments is not fixed: calls that depend on it are chained.
    template <typename... Numbers>
    Hash& Add(Numbers... numbers) {
        (Mix(static_cast<double>(numbers)), ...);
        return *this;
    }
    template <typename Number>
    void AddAll(const Number* numbers, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) Add(numbers[i]);
    }
    std::uint64_t Value() const { return m_value; }

private:
    void Mix(double number) {
        if (std::isnan(number)) number = std::numeric_limits<double>::quiet_NaN();
        m_value = (m_value ^ std::bit_cast<std::uint64_t>(number)) * 0x100000001b3U;
        m_value ^= m_value >> 32U;
    }
    std::uint64_t m_value = 0xcbf29ce484222325U;
};

inline constexpr std::size_t kWide = 16;  // samples of a frame; a class takes the leads that it has

/// Up and down in straight lines between -amplitude and amplitude.
inline int Zigzag(std::int64_t n, int period, std::int64_t amplitude) {
    const std::int64_t at = 4 * (n % period) * amplitude / period;
    return static_cast<int>(at < 2 * amplitude ? at - amplitude : 3 * amplitude - at);
}

/// A beat drawn with straight lines: P, Q, R, S, a raised ST segment and T; R has a height of 1000 at 150 ms.
inline int Beat(std::int64_t ms) {
    static constexpr int kCorners[][2] = {
        {0, 0},     {40, 100},   {80, 0},     {100, 0},  {115, -60}, {130, 100}, {140, 600}, {150, 1000},
        {160, 650}, {175, -100}, {190, -240}, {215, 60}, {270, 80},  {350, 280}, {440, 0},   {INT_MAX, 0}};
    const auto* to = kCorners;
    while (ms >= (*to)[0]) ++to;
    if (to == kCorners) return 0;
    const auto* from = to - 1;
    return (*from)[1] +
           static_cast<int>(((*to)[1] - (*from)[1]) * (ms - (*from)[0]) / ((*to)[0] - (*from)[0]));
}

/// Half a minute of kWide leads, as frames: rates from 60 to 150, intervals around two seconds, a pause that
/// makes the detectors learn again; hum, drift and noise. Leads differ in size, polarity and delay; the last
/// ones leave the 16-bit range.
inline const Samples& Heart(int fs) {
    static std::map<int, Samples> made;
    Samples& frames = made[fs];
    if (!frames.empty()) return frames;
    static constexpr int kIntervals[][2] = {{800, 7},  {600, 6},  {400, 9}, {1998, 2}, {2000, 2},
                                            {2002, 2}, {3700, 1}, {740, 7}, {200, 9},  {560, 5}};
    static constexpr int kGains[] = {90,  -60, 80, 130, -110, 50,  100,  70,
                                     120, -80, 60, 110, -40,  900, 2500, 3};
    std::vector<std::int64_t> beats;
    std::int64_t end = 0;
    for (const auto& [rr, count] : kIntervals)
        for (int i = 0; i < count; ++i) beats.push_back(end += rr);
    const auto noise = RandomSamples(7, 4096, 100);
    std::size_t latest = 0;
    for (std::int64_t n = 0; n < (end + 600) * fs / 1000; ++n) {
        const std::int64_t us = n * 1000000 / fs;
        while (latest + 1 < beats.size() && us / 1000 >= beats[latest + 1] - 150) ++latest;
        const auto at = static_cast<std::size_t>(n);
        for (std::size_t lead = 0; lead < kWide; ++lead) {
            const std::int64_t sinceBeat =
                us / 1000 - (beats[latest] - 150) - 6 * static_cast<std::int64_t>(lead % 3);
            const int wave = Beat(sinceBeat) + Zigzag(us, 20000, 30) + Zigzag(us, 4000000, 150);
            frames.push_back(
                Wrapped(wave * kGains[lead] / 100 + noise[(at * (lead + 5) + lead) % 4096] / 20));
        }
    }
    return frames;
}

/// One lead of the heart, silence, full-scale noise, and steps around the limits of the doubler, all for
/// filters.
inline const Samples& Mixed() {
    static const Samples made = [] {
        Samples x;
        for (std::size_t n = 0; n < 6000; ++n) x.push_back(Heart(500)[n * kWide]);
        x.resize(x.size() + 1500, 0);
        const Samples noise = RandomSamples(11, 1500, 32768);
        x.insert(x.end(), noise.begin(), noise.end());
        static constexpr int kSteps[] = {14,  15,   16,    239,   240,   241,   300,
                                         300, 3000, 32767, 32768, 32769, 40000, 65296};
        short level = 0;
        for (std::size_t i = 0; i + 1 < noise.size(); ++i) {
            const int step = kSteps[static_cast<std::size_t>(noise[i] + 32768) % std::size(kSteps)];
            level = Wrapped(noise[i + 1] < 0 ? level - step : level + step);
            x.insert(x.end(), static_cast<std::size_t>(noise[i + 1] & 7) % 6 + 1, level);
        }
        return x;
    }();
    return made;
}

/// Every third sample as a double where the filter takes doubles, every seventh thrice as large.
template <typename AnyFilter>
void Feed(AnyFilter& filter, Hash& hash, std::size_t count = Mixed().size()) {
    for (std::size_t i = 0; i < count; ++i) {
        const int x = i % 7 == 0 ? 3 * Mixed()[i] : Mixed()[i];
        if constexpr (requires { filter.Smooth(x); })
            hash.Add(filter.Smooth(x));
        else if constexpr (
            requires { filter.InitialValue(1); } || requires { filter.Init(1.0, 1, 1.0); })
            i % 3 == 0 ? hash.Add(filter.Filter(x / 7.0)) : hash.Add(filter.Filter(x));
        else
            hash.Add(filter.Filter(x));
    }
}

/// The low-pass, the high-pass and the notch.
template <typename Section>
requires(!std::is_polymorphic_v<Section>) && requires(Section section) { section.Filter(1.0); }
void Run(Section& section, int, Hash& hash) {
    Feed(section, hash);
    section.Filter(1000.0);
    for (int i = 0; i < 4000; ++i) hash.Add(section.Filter(0.0));  // dies away past the denormal numbers
    if constexpr (requires { section.InitialValue(1); }) {
        section.InitialValue(1000);
        Feed(section, hash, 50);
        section.InitialValue(-300.25);
        Feed(section, hash, 50);
    }
    if constexpr (requires { section.Init(); }) {
        section.Init();
        Feed(section, hash, 50);
        section.Init(12.0);
        Feed(section, hash, 50);
        section.Init();
        Feed(section, hash, 50);
    }
}

/// The combs: stored frequencies and rates are kept where an argument is not positive.
template <typename Comb>
requires std::is_polymorphic_v<Comb> && requires(Comb comb) { comb.Filter(1); }
void Run(Comb& comb, int, Hash& hash) {
    Feed(comb, hash);
    for (int i = 0; i < 5000; ++i) hash.Add(comb.Filter(i / 3 % 2 == 0 ? INT_MAX : INT_MIN));
    static constexpr int kGiven[][2] = {{50, 1000}, {0, 1500}, {75, 0}, {-1, 1000}, {60, -1}, {0, 257},
                                        {1, 10},    {0, 70},   {0, 0},  {50, 40},   {50, 128}};
    for (const auto& [freq, fs] : kGiven) {
        comb.Init(freq, fs);
        Feed(comb, hash, 2500);
    }
    if constexpr (requires { comb.Destroy(); }) {
        comb.Destroy();
        Feed(comb, hash, 50);
    }
}

inline void Run(FreqInterpretate& upsampler, int, Hash& hash) {
    for (const auto& [in, out] : {std::tuple{0, 0}, {200, 0}, {0, 900}, {700, 600}, {-1, 1100}, {0, 0}}) {
        for (std::size_t i = 0; i < 2000; ++i) {
            const short count = upsampler.CalculateReturnValues(Mixed()[i + 6500]);
            hash.Add(count);
            hash.AddAll(upsampler.GetData(), static_cast<std::size_t>(count));
        }
        upsampler.Init(in, out);
    }
}

inline void Run(CSmoothFilter& smoother, int, Hash& hash) {
    Feed(smoother, hash);
    smoother.Init();
    Feed(smoother, hash);
    // Silence of every length, then noise: the activity so meets each limit exactly.
    for (std::size_t quiet = 0; quiet <= 120; ++quiet) {
        smoother.Init(1000, 10);
        for (std::size_t i = 0; i < quiet; ++i) smoother.Smooth(0);
        for (std::size_t i = 0; i < 45; ++i) hash.Add(smoother.Smooth(Mixed()[7600 + i]));
    }
}

inline void Run(CSmoothFilterEx& cascade, int, Hash& hash) {
    Feed(cascade, hash);
    cascade.Init(77);
    Feed(cascade, hash);
}

/// The banks: all their leads, 16-bit and whole frames.
template <typename Bank>
requires requires(Bank bank, short* frame) { bank.Filter(frame); } || requires(Bank bank, short* frame) {
    bank.Smooth(frame);
}
void Run(Bank& bank, int fs, Hash& hash) {
    for (int round = 0; round < 2; ++round) {
        Samples frames = Heart(fs);
        for (std::size_t i = 0; i < std::min(frames.size(), std::size_t{50000}); i += kWide) {
            if constexpr (requires(int* whole) { bank.Filter(whole); }) {
                std::vector<int> whole(&frames[i], &frames[i] + kWide);
                for (int& x : whole) x *= 3;
                if (round == 1) bank.Filter(whole.data());
                hash.AddAll(whole.data(), kWide);
            }
            if constexpr (requires { bank.Smooth(&frames[i]); })
                bank.Smooth(&frames[i]);
            else if (round == 0 || !requires(int* whole) { bank.Filter(whole); })
                bank.Filter(&frames[i]);
            hash.AddAll(&frames[i], kWide);
        }
        if constexpr (requires { bank.Init(50, fs); })
            bank.Init(50, fs == 500 ? 250 : fs);
        else
            bank.Init();
    }
}

inline void Run(CDoubleSampleRate& doubler, int, Hash& hash) {
    for (const double uVpb : {4.88, 0.5, 0.0, -1.0, 1.0}) {
        for (const short x : Mixed()) {
            hash.Add(doubler.CalculateReturnValues(x));
            hash.AddAll(doubler.GetOutputs(), static_cast<std::size_t>(doubler.GetNumbers()));
        }
        hash.AddAll(doubler.GetDoubleSampleRateData(30000), 2);
        doubler.Init(uVpb);
    }
}

inline void Run(CMultiChannelDoubleSampleRate& bank, int fs, Hash& hash) {
    for (const double uVpb : {4.88, 1.0}) {
        Samples frames = Heart(fs);
        for (std::size_t i = 0; i < 40000; i += kWide) {
            short** pairs = bank.GetDoubleSampleRateData(&frames[i]);
            short** rows = bank.GetData();
            for (std::size_t lead = 0; lead < 3; ++lead)
                hash.Add(pairs[lead][0], pairs[lead][1], rows[0][lead], rows[1][lead], bank.GetNumbers());
        }
        bank.Init(uVpb);
    }
}

inline void Run(CLengthTransform& transform, int, Hash& hash) {
    for (int round = 0; round < 3; ++round) {
        for (std::size_t i = 0; i < 9000; ++i) {
            const int x = i % 500 == 499 ? INT_MIN : 60000 * Mixed()[i];
            hash.Add(round == 0 ? transform.Length(Mixed()[i])
                                : transform.Length(x, 2 * Mixed()[i], -(x / 3)));
        }
        hash.Add(transform.Length(70)).Add(transform.Length(75));
        transform.Init();
    }
}

inline void Run(CrtRRdetect& detector, int fs, Hash& hash) {
    const Samples& heart = Heart(fs);
    for (std::size_t i = 0; i < heart.size(); i += kWide) hash.Add(detector.QRSdetect(heart[i]));
    detector.Init();
    for (std::size_t i = 0; i < heart.size(); i += kWide)
        hash.Add(detector.QRSdetect(heart[i], 70 * heart[i + 1], heart[i + 14]));
    // Plateaus whose lengths lie at and around the limits of the state machine.
    const auto random = RandomSamples(13, 6000, 32767);
    static constexpr int kMs[] = {2, 100, 100, 195, 195, 200, 500, 700, 2000, 3000};
    static constexpr int kLevels[] = {0, 0, 0, 20, 60, 90, 99, 100, 101, 300, 300, 630, 32768, -50};
    for (const unsigned first : {0U, 2000U, 4000U}) {
        detector.Init();
        for (std::size_t i = first; i + 3 < first + 2000; i += 4) {
            const auto pick = [&](std::size_t at) { return static_cast<std::size_t>(random[at] & 0x7FFF); };
            const int length =
                kMs[pick(i) % std::size(kMs)] * fs / 1000 + static_cast<int>(pick(i + 1) % 4) - 1;
            const int level =
                kLevels[pick(i + 2) % std::size(kLevels)] + static_cast<int>(pick(i + 3) % 3) - 1;
            for (int n = 0; n < length; ++n) hash.Add(detector.RRdetect(level));
        }
    }
}

inline void Run(CMultirtRRdetect& detector, int fs, Hash& hash) {
    const Samples& heart = Heart(fs);
    for (const double scale : {1.0, 2.5, 0.5}) {
        for (std::size_t i = 0; i < heart.size(); i += kWide)
            hash.Add(detector.QRSdetect(&heart[i])).Add(detector.QRSdetect(nullptr));
        hash.Add(detector.SamplingRate());
        if (scale == 2.5) detector.Destroy();
        detector.Init(scale == 1.0 ? 5 : 2, 50, scale);
    }
}

inline void Run(CZatMidRR& average, int, Hash& hash) {
    for (const int amplitude : {3, 32768}) {
        for (const short rr : RandomSamples(31, 300, amplitude)) hash.Add(average.MeanRR(rr));
        average.Init();
    }
}

inline void Run(CZatTemplRxy& lead, int fs, Hash& hash) {
    const Samples& heart = Heart(fs);
    const auto measure = [&] {
        for (const int ms : {-1, 0, 2, 20, 300})
            hash.Add(lead.uvSTvalue(Wrapped(ms)), lead.STslope(Wrapped(ms)));
        hash.Add(lead.JuV(), lead.RuV(), lead.ReferenceSTuV(), lead.ReferenceJuV(), lead.Length(),
                 lead.WindowLength(), lead.RingPos())
            .Add(lead.ZeroV());
    };
    measure();
    hash.Add(lead.rxy(5)).Add(lead.InitTempl(nullptr, 3, 1, 1, 2, 60, 6, 3) == nullptr);
    // The window lies inside the template, over its beginning and over its end.
    const int length = fs * 4 / 5;
    std::size_t next = 0;
    for (const int r : {fs * 3 / 10, fs / 20, length - 3}) {
        Samples beat;
        for (int i = 0; i < length; ++i)
            beat.push_back(
                heart[static_cast<std::size_t>(fs + i) * kWide + static_cast<std::size_t>(r % 16)]);
        hash.AddAll(lead.InitTempl(beat.data(), Wrapped(length), Wrapped(r), Wrapped(r - fs / 20),
                                   Wrapped(r + fs / 20), 60, Wrapped(fs * 12 / 1000), Wrapped(fs * 6 / 1000)),
                    beat.size());
        measure();
        for (int i = 0; i < 4 * fs; ++i, ++next) hash.Add(lead.rxy(heart[next * kWide + 2]));
        const int limit = length - fs * 6 / 1000;
        for (const int q : {-5, 0, 1, 2, length - 1, 32767})
            for (const int j : {-5, 0, 1, 40, limit - 2, limit - 1, limit, 32767}) {
                lead.SetPos(Wrapped(q), Wrapped(j));
                measure();
            }
        lead.SetPos(Wrapped(r), 7, 9);
        lead.SetPostJms(Wrapped(length));
        measure();
        for (short& x : beat) x = Wrapped(x * 3 - 20000);
        lead.SetMeasurementCopy(beat.data());
        hash.Add(lead.rxy(77));
        measure();
        hash.Add(lead.Average()).Add(lead.rxy(78));
        lead.AdoptTempl();
        for (int i = 0; i < fs; ++i, ++next) hash.Add(lead.rxy(heart[next * kWide + 2]));
        measure();
        if (r == fs / 20) lead.DeleteTempl();
        measure();
        lead.Create(Wrapped(fs), 0.305, 203);  // the template stays
        for (int i = 0; i < fs; ++i, ++next) hash.Add(lead.rxy(heart[next * kWide + 2]));
    }
    lead.Delete();
    hash.Add(lead.rxy(5));
}

/// Feeds `seconds` of the heart from `first` on and measures at every fold. Now and then half of the leads
/// are noise for some frames, also inside a correlation peak.
inline void Match(CZatMatch& matcher, int fs, int first, int seconds, Hash& hash) {
    const Samples& heart = Heart(fs);
    const auto noise = RandomSamples(19, 4096, 30);
    const auto leads = static_cast<std::size_t>(matcher.SetPostJms(60));
    for (int n = 0; n < seconds * fs; ++n) {
        const short* at = &heart[static_cast<std::size_t>(first * fs + n) * kWide];
        Samples frame(at, at + kWide);
        for (std::size_t lead = 0; lead < leads; ++lead) {
            const auto now = static_cast<std::size_t>(n);
            const int x = noise[(now * (lead + 5)) % 4096],
                      steady = (n / (fs / 2) + n / 7 * static_cast<int>(lead)) % 5;
            const bool spike = n % (fs * 23 / 10) < 4 ? 2 * lead <= leads : n % (fs / 40) == 0 && x > 28;
            frame[lead] = Wrapped(frame[lead] + x * steady * 60 / fs + (spike ? 600 : 0));
        }
        short r = 0, q = 0, j = 0, ms = 0;
        short** folded = matcher.match(frame.data());
        const short length = matcher.GetPos(r, q, j, ms);
        if (folded == nullptr) continue;
        hash.Add(n, length, r, q, j, ms);
        const STrecord* records = matcher.STvalues(Wrapped(600 + n));
        for (std::size_t lead = 0; lead < leads; ++lead) {
            const STrecord& s = records[lead];
            const short ch = Wrapped(static_cast<int>(lead));
            hash.AddAll(folded[lead], static_cast<std::size_t>(length));
            hash.Add(s.RuV, s.JuV, s.STuV, s.STslope, s.STHRindex, matcher.uvDeltaSTvalue(ch, 20),
                     matcher.JuVDelta(ch), matcher.uvSTvalue(ch, 20), matcher.STslope(ch, 20),
                     matcher.RuV(ch));
        }
    }
}

/// A beat per lead, cut from the heart. A spike 20 ms before Q is higher than the QRS.
inline TemplateRows CutBeats(int fs, int startMs, std::size_t length, bool spike = false) {
    const short* from = &Heart(fs)[static_cast<std::size_t>(startMs * fs / 1000) * kWide];
    TemplateRows rows(kWide, length);
    for (std::size_t lead = 0; lead < kWide; ++lead) {
        for (std::size_t i = 0; i < length; ++i) rows[lead][i] = from[i * kWide + lead];
        if (spike) rows[lead][static_cast<std::size_t>(fs / 4)] = 9000;
    }
    return rows;
}

inline void Run(CZatMatch& matcher, int fs, Hash& hash) {
    const auto teach = [&](int startMs, int lengthMs, int r, int q, int j, bool spike = false) {
        auto rows = CutBeats(fs, startMs, static_cast<std::size_t>(lengthMs * fs / 1000), spike);
        short len = Wrapped(lengthMs * fs / 1000), posR = Wrapped(r * fs / 1000),
              posQ = Wrapped(q * fs / 1000), posJ = Wrapped(j * fs / 1000);
        short** kept = matcher.InitTempl(rows.Pointers(), len, posR, posQ, posJ, 60);
        hash.Add(len, posR, posQ, posJ, kept != nullptr);
        for (short ch = 0; kept != nullptr && ch < matcher.SetPostJms(60); ++ch)
            hash.AddAll(kept[ch], static_cast<std::size_t>(len));
        return rows;
    };
    Match(matcher, fs, 0, 1, hash);
    teach(2050, 1000, 0, 300, 420);
    Match(matcher, fs, 0, 9, hash);
    teach(2080, 790, 330, 280, 380, true);  // R at 320
    Match(matcher, fs, 9, 3, hash);
    matcher.SetPos(Wrapped(fs * 27 / 100), Wrapped(fs * 41 / 100));
    Match(matcher, fs, 4, 3, hash);
    matcher.SetPos(Wrapped(fs * 31 / 100), Wrapped(fs / 4), Wrapped(fs * 38 / 100));
    Match(matcher, fs, 5, 2, hash);
    matcher.SetPos(Wrapped(fs * 31 / 100), Wrapped(fs * 33 / 100), Wrapped(fs * 38 / 100));  // R before Q
    Match(matcher, fs, 7, 2, hash);
    for (int startMs = 2000; startMs < 2200; startMs += 37) {  // at any moment of a peak
        auto rows = teach(startMs, 700, 0, 2320 - startMs, 2430 - startMs);
        Match(matcher, fs, 3, 2, hash);
        short** pointers = rows.Pointers();
        pointers[2] = nullptr;
        matcher.SetTempl(pointers);
        for (short ch = -1; ch < 17; ++ch) hash.Add(matcher.RuV(ch), matcher.JuV(ch));
        matcher.ZeroV();
        for (short ch = -1; ch < 17; ++ch) hash.Add(matcher.RuV(ch), matcher.JuV(ch));
    }
    for (const long time : {250L, -1L, 60L, 1000000L})
        hash.Add(matcher.Samples2ms(time), matcher.ms2Samples(time));
    hash.Add(matcher.STHRindex(4793.49F, 300), matcher.STHRindex(1e-38F, 30000));
    // Without leads only what belongs to none answers.
    const auto positions = [&] {
        short r = 0, q = 0, j = 0, ms = 0;
        hash.Add(matcher.GetPos(r, q, j, ms)).Add(r, q, j, ms, matcher.RuV(0), matcher.Templ() == nullptr);
    };
    hash.Add(matcher.Init()).Add(matcher.Samples2ms(7), matcher.ms2Samples(7));
    positions();
    teach(2050, 1000, 0, 300, 420);
    hash.Add(matcher.SetPostJms(44)).Add(matcher.SetPos(3, 4)).Add(matcher.SetPos(5, 6, 7));
    positions();
    matcher.Create(Wrapped(fs), 2, 2.5, false, 200);
    positions();
    teach(2050, 1000, 0, 300, 420);
    Match(matcher, fs, 0, 2, hash);
}

template <typename T>
struct Class {
    const char* name;
};

/// Calls visit(Class<T>{name}, fs, arguments of T's constructor...) for every class, at every rate.
template <typename Visitor>
void ForEachClass(Visitor visit) {
    for (const int fs : kSamplingRates) {
        const short rate = Wrapped(fs);
        const double hz = fs * 0.429;  // any other grouping of the low-pass's sums shows at these
        for (const double fc : {5.0, 12.0, hz}) {
            visit(Class<CLowpassFilter2>{"CLowpassFilter2"}, fs, fc, fs);
            visit(Class<CHighpassFilter>{"CHighpassFilter"}, fs, fc / 20, fs);
            visit(Class<CNotchFilter>{"CNotchFilter"}, fs, fc + 40, fs, fc);
        }
        for (const int freq : {50, 60, 7}) {
            visit(Class<CBaseNotchFilter>{"CBaseNotchFilter"}, fs, freq, fs);
            visit(Class<CBlNotchFilter>{"CBlNotchFilter"}, fs, freq, fs);
            visit(Class<CQuorlNotchFilter>{"CQuorlNotchFilter"}, fs, freq, fs);
            visit(Class<CMutiBlNotchFilter>{"CMutiBlNotchFilter"}, fs, freq, fs, 3);
            visit(Class<CQuorlMultiNotchFilter>{"CQuorlMultiNotchFilter"}, fs, freq, fs, 3);
        }
        visit(Class<FreqInterpretate>{"FreqInterpretate"}, fs, fs, fs * 6 / 5 + 1);
        visit(Class<FreqInterpretate>{"FreqInterpretate"}, fs, fs / 10, 3 * fs);
        for (const int any : {fs, fs / 3, fs + 140})
            visit(Class<CSmoothFilter>{"CSmoothFilter"}, fs, any, fs == 250 ? 0 : 10);
        visit(Class<CSmoothFilterEx>{"CSmoothFilterEx"}, fs, fs);
        visit(Class<CMultiChannelLowpass2>{"CMultiChannelLowpass2"}, fs, hz, fs, 16);
        visit(Class<CMultiChannelHighpass>{"CMultiChannelHighpass"}, fs, 0.5, fs, 16);
        visit(Class<CMultiChannelSmooth>{"CMultiChannelSmooth"}, fs, fs, 16, 25);
        for (const bool strong : {false, true})
            visit(Class<CMultiChannelSmoothEx>{"CMultiChannelSmoothEx"}, fs, fs, 16, strong);
        visit(Class<CLengthTransform>{"CLengthTransform"}, fs, fs, 100);
        visit(Class<CrtRRdetect>{"CrtRRdetect"}, fs, fs, fs == 360 ? 0 : 50);
        for (const int chn : {1, 2, 3, 4, 8, 12})
            visit(Class<CMultirtRRdetect>{"CMultirtRRdetect"}, fs, fs, chn, 50, 2.0);
        visit(Class<CZatTemplRxy>{"CZatTemplRxy"}, fs, rate, 4.88, short{280});
        for (const int chn : {1, 3, 6, 14})
            visit(Class<CZatMatch>{"CZatMatch"}, fs, rate, Wrapped(chn), 4.88, false, short{280});
    }
    for (const auto& [fc, fs] : {std::tuple{40.0, 0}, {0.0, 500}, {40.0, -500}})  // not finite, unstable
        visit(Class<CLowpassFilter2>{"CLowpassFilter2"}, 500, fc, fs);
    visit(Class<CDoubleSampleRate>{"CDoubleSampleRate"}, 500);
    visit(Class<CMultiChannelDoubleSampleRate>{"CMultiChannelDoubleSampleRate"}, 500, short{3});
    for (const int window : {4, 5, 6, 20, 3, 2, 1, 0, -1, -2})
        visit(Class<CZatMidRR>{"CZatMidRR"}, 500, Wrapped(window));
}
