#include "session/internal/SignalConditioner.h"

#include <algorithm>
#include <cmath>

#include "core/Arithmetic.h"

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

// To the nearest one, halves away from zero, of what is within the range of samples. What std::lround gives,
// without a call.
short RoundToSample(double x) {
    const int whole = static_cast<int>(x);
    const double rest = x - whole;
    return static_cast<short>(whole + (rest >= 0.5 ? 1 : 0) - (rest <= -0.5 ? 1 : 0));
}

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
    : m_fs(fs), m_uVpb(uVpb), m_starts(chn) {
    const int leads = static_cast<int>(chn);
    if (!options.comb) {
        m_drift.assign(chn, CHighpassFilter(kDriftCornerHz, m_fs));
        if (options.mainsHz != 0) m_notch.assign(chn, CNotchFilter(options.mainsHz, m_fs, kNotchQ));
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
    if (m_drift.empty()) return 0;
    CHighpassFilter highpass(kDriftCornerHz, m_fs);
    const double first = highpass.Filter(1.0);
    return (first - highpass.Filter(1.0)) / first * m_fs;
}

double SignalConditioner::LessStart(std::size_t lead, double uV) {
    Start& start = m_starts[lead];
    if (!m_started || start.framesOut == m_fs) {
        start = {uV, 0};
        if (!m_drift.empty()) m_drift[lead] = CHighpassFilter(kDriftCornerHz, m_fs);
    }
    const double x = uV - start.uV;
    if (std::abs(x) <= kClipUv) {
        start.framesOut = std::max(0, start.framesOut - 1);
        return x;
    }
    ++start.framesOut;
    return std::clamp(x, -kClipUv, kClipUv);
}

void SignalConditioner::Process(const short* frame, short* conditioned) {
    for (std::size_t c = 0; c < m_starts.size(); ++c) {
        double x = LessStart(c, frame[c] * m_uVpb);
        if (!m_drift.empty()) x = m_drift[c].Filter(x);
        if (!m_notch.empty()) x = m_notch[c].Filter(x);
        conditioned[c] = RoundToSample(std::clamp(x, -2 * kClipUv, 2 * kClipUv) / kConditionedUvPerUnit);
    }
    m_started = true;
    if (m_lowpass) m_lowpass->Filter(conditioned);
    if (m_comb) m_comb->Filter(conditioned);
    if (m_smoother) m_smoother->Smooth(conditioned);
}

}  // namespace qz
