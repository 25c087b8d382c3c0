#include "host/SignalConditioner.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "api/qzFilters.h"
#include "host/HostError.h"

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

constexpr int kCombSettlingMs = 1500;  // the comb's longest lag

// Delay at low frequencies of the second-order Butterworth low-pass: sqrt(2) / (2 tan(pi fc / fs)) samples.
int LowpassDelaySamples(int cutoffHz, int fs) {
    const double delay = 1.0 / (std::numbers::sqrt2 * std::tan(std::numbers::pi * cutoffHz / fs));
    return static_cast<int>(std::lround(delay));
}

// The comb splits a rate that is a multiple of ten samples per mains period into streams of just ten and runs
// at the rate itself otherwise; within a stream its output is that of the middle of its window.
int CombDelaySamples(int mainsHz, int fs) {
    const int tenPerPeriod = 10 * mainsHz;
    const int streams = fs % tenPerPeriod == 0 ? fs / tenPerPeriod : 1;
    const int streamFs = fs / streams;
    const int period = streamFs / mainsHz;
    return ((3 * streamFs) / 4 - period / 2) * streams;
}

// One pass of the smoother answers for the middle of its 30 ms ring, whose raw path lags by another 9 ms.
int SmootherDelaySamples(int strength, int fs) {
    const int ring = 30 * fs / 1000;
    const int passes = strength == 0 ? 0 : strength == 1 ? 1 : 3;
    return passes * (ring - ring / 2 + 9 * fs / 1000);
}

void CheckOptions(const SourceInfo& source, const ConditionerOptions& options) {
    if (source.fs < kLowestFs || source.fs > kHighestFs)
        throw HostError(source.name, "needs " + std::to_string(kLowestFs) + " to " +
                                         std::to_string(kHighestFs) + " samples per second, has " +
                                         std::to_string(source.fs));
    if (options.mainsHz != 0 && options.mainsHz != 50 && options.mainsHz != 60)
        throw HostError(source.name,
                        "mains frequency must be 50, 60 or 0 Hz, not " + std::to_string(options.mainsHz));
    if (2 * options.mainsHz >= source.fs)
        throw HostError(source.name, "a mains filter for " + std::to_string(options.mainsHz) +
                                         " Hz needs more than " + std::to_string(2 * options.mainsHz) +
                                         " samples per second, here are " + std::to_string(source.fs) +
                                         "; 0 leaves it out");
    if (options.lowpassHz < 0 || options.lowpassHz >= (source.fs + 1) / 2)
        throw HostError(source.name, "the low-pass must lie from 1 to below " +
                                         std::to_string(source.fs / 2) + " Hz, or be 0 for none, not " +
                                         std::to_string(options.lowpassHz));
    if (options.smooth < 0 || options.smooth > 2)
        throw HostError(source.name,
                        "the smoother's strength must be 0, 1 or 2, not " + std::to_string(options.smooth));
}

}  // namespace

SignalConditioner::SignalConditioner(const SourceInfo& source, const ConditionerOptions& options)
    : m_fs(source.fs), m_uVpb(source.uVpb), m_starts(source.leads.size()) {
    CheckOptions(source, options);
    const bool comb = options.mainsHz == 50 && m_fs % options.mainsHz == 0;
    if (!comb) {
        m_drift.assign(source.leads.size(), CHighpassFilter(kDriftCornerHz, m_fs));
        if (options.mainsHz != 0)
            m_notch.assign(source.leads.size(), CNotchFilter(options.mainsHz, m_fs, kNotchQ));
    }
    qzFilters_create(static_cast<short>(m_fs), static_cast<short>(source.leads.size()),
                     static_cast<short>(options.lowpassHz), static_cast<short>(comb ? options.mainsHz : 0),
                     static_cast<short>(options.smooth));

    m_delaySamples = SmootherDelaySamples(options.smooth, m_fs);
    if (options.lowpassHz != 0) m_delaySamples += LowpassDelaySamples(options.lowpassHz, m_fs);
    if (comb) m_delaySamples += CombDelaySamples(options.mainsHz, m_fs);
    m_settlingSamples = m_delaySamples;
    if (comb) m_settlingSamples += kCombSettlingMs * m_fs / 1000 - CombDelaySamples(options.mainsHz, m_fs);

    if (comb)
        m_description = "comb for " + std::to_string(options.mainsHz) + " Hz mains and drift";
    else
        m_description =
            (options.mainsHz != 0 ? "notch at " + std::to_string(options.mainsHz) + " Hz, " : "") +
            std::string("high-pass 0.05 Hz");
    if (options.lowpassHz != 0) m_description += ", low-pass " + std::to_string(options.lowpassHz) + " Hz";
    if (options.smooth != 0) m_description += ", smoother " + std::to_string(options.smooth);
}

SignalConditioner::~SignalConditioner() { qzFilters_destroy(); }

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
        conditioned[c] =
            static_cast<short>(std::lround(std::clamp(x, -2 * kClipUv, 2 * kClipUv) / kUvPerUnit));
    }
    m_started = true;
    qzFilters_filters(conditioned);
}
