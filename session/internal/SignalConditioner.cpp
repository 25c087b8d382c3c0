#include "session/internal/SignalConditioner.h"

#include <algorithm>
#include <cmath>

#include "core/Arithmetic.h"
#include "core/filters/CHighpassFilter.h"
#include "core/filters/CNotchFilter.h"
#include "core/filters/internal/Lanes.h"

namespace qz {

namespace {

constexpr int kLowestFs = 100;     // below this a QRS has too few samples
constexpr int kHighestFs = 10000;  // above this the library's 16-bit positions run out

// About the lower corner of a diagnostic ECG (-3 dB at 0.07 Hz): an ST level of -200 uV beside an R of 1 mV
// comes out 2 to 4 uV shallower at 60 to 150 beats per minute.
constexpr double kDriftCornerHz = 0.05;

// The notch is f0 / Q wide and rings for Q / (pi f0) s after each QRS. At 10 a mains frequency that is off by
// 0.1 Hz still falls to 4 %, and the ringing at the ST point is under 1 uV for an R of 1 mV. 30 leaves three
// times as much of the tone and gains nothing for ST.
constexpr double kNotchQ = 10.0;

// Half of the 16-bit range, less a tenth for the overshoot of the low-pass: the comb answers with a
// difference of two such values, which then cannot wrap.
constexpr double kClipUv = 15000.0;

// To the nearest ones, halves away from zero.
IntLanes RoundInRange(DoubleLanes x) {
    const IntLanes whole = TruncateInRange(x);
    const DoubleLanes rest = x - ToDoubles(whole);
    return WrapAdd(whole, TruncateInRange(rest + rest));
}

// A section with its coefficients for four leads.
struct LanesSection : SectionCoefficients<DoubleLanes> {
    explicit LanesSection(const SectionCoefficients<double>& all)
        : SectionCoefficients{AllLanes(all.a1), AllLanes(all.a2), AllLanes(all.b0), AllLanes(all.b1),
                              AllLanes(all.b2)} {}
    // Outputs smaller than `least` become 0.
    template <typename Line>
    DoubleLanes Step(Line& line, DoubleLanes x, double least) const {
        const DoubleLanes x1 = Load(line.x1), y1 = Load(line.y1);
        const DoubleLanes y = ZeroBelow(least, Output(x, x1, Load(line.x2), y1, Load(line.y2)));
        Store(line.x2, x1);
        Store(line.y2, y1);
        Store(line.x1, x);
        Store(line.y1, y);
        return y;
    }
};

}  // namespace

std::string SignalConditioner::Refusal(int fs, const ConditioningOptions& options) {
    const auto text = [](int number) { return std::to_string(number); };
    if (fs < kLowestFs || fs > kHighestFs)
        return "needs " + text(kLowestFs) + " to " + text(kHighestFs) + " samples per second, has " +
               text(fs);
    if (options.mainsHz != 0 && options.mainsHz != 50 && options.mainsHz != 60)
        return "mains frequency must be 50, 60 or 0 Hz, not " + text(options.mainsHz);
    if (2 * options.mainsHz >= fs)
        return "a mains filter for " + text(options.mainsHz) + " Hz needs more than " +
               text(2 * options.mainsHz) + " samples per second, here are " + text(fs) + "; 0 leaves it out";
    if (options.comb && (options.mainsHz != 50 || fs % options.mainsHz != 0))
        return "the comb is for mains of 50 Hz at a multiple of 50 samples per second, not for " +
               text(options.mainsHz) + " Hz at " + text(fs);
    if (options.lowpassHz < 0 || options.lowpassHz >= (fs + 1) / 2)
        return "the low-pass must lie from 1 to below " + text(fs / 2) + " Hz, or be 0 for none, not " +
               text(options.lowpassHz);
    if (options.smooth < 0 || options.smooth > 2)
        return "the smoother's strength must be 0, 1 or 2, not " + text(options.smooth);
    return {};
}

SignalConditioner::SignalConditioner(int fs, std::size_t chn, double uVpb, const ConditioningOptions& options)
    : m_fs(fs), m_chn(chn), m_uVpb(uVpb), m_starts(FoursOf(chn)) {
    const int leads = static_cast<int>(chn);
    if (!options.comb) {
        m_drift.Build(CHighpassFilter(kDriftCornerHz, m_fs).Coefficients(), chn);
        if (options.mainsHz != 0)
            m_notch.Build(CNotchFilter(options.mainsHz, m_fs, kNotchQ).Coefficients(), chn);
    }
    if (options.lowpassHz != 0) {
        m_lowpass.emplace(options.lowpassHz, m_fs, leads);
        m_delaySamples += static_cast<int>(std::lround(m_lowpass->DelaySamples()));
        m_delayRest = m_lowpass->DelaySamples() - m_delaySamples;
    }
    if (options.smooth != 0) {
        m_smoother.emplace(m_fs, leads, options.smooth != 1);
        m_delaySamples += m_smoother->DelaySamples();
    }
    m_settlingSamples = m_delaySamples;
    if (options.comb) {
        m_comb.emplace(options.mainsHz, m_fs, leads);
        m_delaySamples += m_comb->DelaySamples();
        m_settlingSamples += m_comb->SettlingSamples();
    }

    if (options.comb)
        m_description = "comb for " + std::to_string(options.mainsHz) + " Hz mains and drift";
    else
        m_description =
            (options.mainsHz != 0 ? "notch at " + std::to_string(options.mainsHz) + " Hz, " : "") +
            std::string("high-pass 0.05 Hz");
    if (options.lowpassHz != 0) m_description += ", low-pass " + std::to_string(options.lowpassHz) + " Hz";
    if (options.smooth != 0) m_description += ", smoother " + std::to_string(options.smooth);
}

double SignalConditioner::SagPerSecond() const {
    if (m_drift.lines.empty()) return 0;
    CHighpassFilter highpass(kDriftCornerHz, m_fs);
    const double first = highpass.Filter(1.0);
    return (first - highpass.Filter(1.0)) / first * m_fs;
}

void SignalConditioner::Section::Build(const SectionCoefficients<double>& taken, std::size_t leads) {
    coefficients = taken;
    lines.resize(FoursOf(leads));
}

void SignalConditioner::Section::Clear(std::size_t lead) {
    Line& line = lines[lead / kLanes];
    for (FourDoubles* const four : {&line.x1, &line.x2, &line.y1, &line.y2}) four->lanes[lead % kLanes] = 0;
}

// Four leads less what they began with.
FourDoubles SignalConditioner::LessStart(std::size_t four, const FourDoubles& uV) {
    Start& start = m_starts[four];
    FourDoubles less;
    for (std::size_t lane = 0; lane < kLanes; ++lane) {
        double& startUv = start.uV.lanes[lane];
        int& framesOut = start.framesOut.lanes[lane];
        if (!m_started || framesOut == m_fs) {
            startUv = uV.lanes[lane];
            framesOut = 0;
            if (!m_drift.lines.empty()) m_drift.Clear(four * kLanes + lane);
        }
        const double x = uV.lanes[lane] - startUv;
        framesOut = std::abs(x) <= kClipUv ? std::max(0, framesOut - 1) : framesOut + 1;
        less.lanes[lane] = std::clamp(x, -kClipUv, kClipUv);
    }
    return less;
}

void SignalConditioner::Process(const short* frame, short* conditioned) {
    const LanesSection drift(m_drift.coefficients), notch(m_notch.coefficients);
    m_isAnyLost = false;
    const auto condition = [&](std::size_t four, std::size_t count, IntLanes samples) {
        const DoubleLanes uV = ToDoubles(samples) * AllLanes(m_uVpb);
        Start& start = m_starts[four];
        DoubleLanes x = uV - Load(start.uV);
        if (!m_started || IsAnyAbove(kClipUv, x) || IsAny(Load(start.framesOut))) {
            FourDoubles less;
            Store(less, uV);
            x = Load(LessStart(four, less));
            m_isAnyLost |= IsAny(Load(start.framesOut));
        }
        if (!m_drift.lines.empty()) x = drift.Step(m_drift.lines[four], x, CHighpassFilter::kSilence);
        if (!m_notch.lines.empty()) x = notch.Step(m_notch.lines[four], x, 0);
        x = Most(AllLanes(-2 * kClipUv), Least(AllLanes(2 * kClipUv), x)) / AllLanes(kConditionedUvPerUnit);
        StoreSome(conditioned + four * kLanes, count, RoundInRange(x));
    };
    ForEachFour(frame, m_chn, condition);
    m_started = true;
    if (m_lowpass) m_lowpass->Filter(conditioned);
    if (m_comb) m_comb->Filter(conditioned);
    if (m_smoother) m_smoother->Smooth(conditioned);
}

}  // namespace qz
