// SignalConditioner: makes the frames of a source fit for the library: drift and mains out, noise reduced,
// one microvolt per unit, with a delay that is known.
//
//   source -> less the first frame -> [high-pass, notch] -> low-pass -> [comb] -> [smoother]
//
// Each lead's first sample is taken off all of its samples, as though the signal had always stood there, so
// that no electrode offset has to settle first. Where a lead is then out of range for a second more than
// within it, as with an electrode that was off at the start or is fixed anew, it begins anew with the sample
// it has then. Then
// - a high-pass of 0.05 Hz takes out drift, and a notch the mains, where there are any: together they leave
// ST
//   as it is, within a few microvolts;
// - by choice the comb of the library's filter chain does both, and takes out every harmonic of the mains. It
// is
//   for mains of 50 Hz at a multiple of 50 Hz: at other rates it would have to resample (at 360 Hz it leaves
//   a third of 50 Hz), and it is no comb for 60 Hz.
// Comb and high-pass take the mean over some beats off each beat, more at a higher rate: as it is the same
// for the PR segment and the ST segment, an ST level measured against the PR segment is free of it. The comb
// also leaves a hundredth of each QRS every 20 ms around it; at a rate that stays the same these add up to 20
// uV in ST at 150 beats per minute for an R of 1 mV.
//
// Delay: DelaySamples(), the same at all frequencies for comb and smoother and exact at low frequencies for
// the low-pass; notch and high-pass add less than half a sample to a QRS.
// Allocates only in the constructor. One object belongs to one thread.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "core/filters/CMultiChannelLowpass2.h"
#include "core/filters/CMultiChannelSmoothEx.h"
#include "core/filters/CQuorlMultiNotchFilter.h"
#include "core/filters/DirectForm1.h"
#include "core/filters/FourLeads.h"
#include "session/SessionTypes.h"

namespace qz {

class SignalConditioner {
public:
    /// Why the filters cannot do this at fs samples per second, one line; empty where they can.
    static std::string Refusal(int fs, const ConditioningOptions& options);
    /// fs in samples per second, chn leads, uVpb in microvolts per unit of the source; options that are not
    /// refused.
    SignalConditioner(int fs, std::size_t chn, double uVpb, const ConditioningOptions& options);

    /// One frame in source units to one in kConditionedUvPerUnit; both hold one sample per lead and may be
    /// the same.
    void Process(const short* frame, short* conditioned);

    /// Conditioned frame n shows the input of frame n - DelaySamples().
    int DelaySamples() const { return m_delaySamples; }
    /// How much later than that the low-pass really is, in samples, within half a sample.
    double DelayRest() const { return m_delayRest; }
    /// The share of a step by which the answer of the high-pass to it falls in a second at first; 0 with the
    /// comb.
    double SagPerSecond() const;
    /// Conditioned frames before this one still carry the start of the filters.
    int SettlingSamples() const { return m_settlingSamples; }
    /// Whether samples of a lead are or were lately held at +-15 mV of where the lead began.
    bool IsLost(std::size_t lead) const { return m_starts[lead / kLanes].framesOut.lanes[lead % kLanes] > 0; }
    bool IsAnyLost() const { return m_isAnyLost; }
    /// The stages in words, for the report.
    const std::string& Description() const { return m_description; }

private:
    // Of four leads.
    struct Start {
        FourDoubles uV;      // what they began with
        FourInts framesOut;  // of range, less those within it since
    };
    // The section of DirectForm1 for all leads, four side by side. Samples are no whole numbers here, as
    // those of a SectionBank are.
    struct Section {
        struct Line {
            FourDoubles x1, x2, y1, y2;
        };
        SectionCoefficients<double> coefficients;
        std::vector<Line> lines;  // empty: there is no such filter

        void Build(const SectionCoefficients<double>& taken, std::size_t leads);
        void Clear(std::size_t lead);
    };
    FourDoubles LessStart(std::size_t four, const FourDoubles& uV);

    int m_fs;
    std::size_t m_chn;
    double m_uVpb;           // microvolts per unit of the source
    bool m_started = false;  // m_starts holds the first frame
    bool m_isAnyLost = false;
    std::vector<Start> m_starts;  // by fours of leads
    Section m_drift;              // none with the comb
    Section m_notch;              // none with the comb or without mains
    std::optional<CMultiChannelLowpass2> m_lowpass;
    std::optional<CQuorlMultiNotchFilter> m_comb;
    std::optional<CMultiChannelSmoothEx> m_smoother;
    int m_delaySamples = 0;
    double m_delayRest = 0;
    int m_settlingSamples = 0;
    std::string m_description;
};

}  // namespace qz
