// StressAnalysis: one run over a source, from the first frame to the trends.
//
//   source -> StressSession -> trends, lead by lead and beat by beat, and whoever observes
//
// Memory grows by the trends alone. Any number of analyses may run at once.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "host/analysis/AnalysisObserver.h"
#include "host/record/FrameSource.h"
#include "host/results/PeakRate.h"
#include "host/results/StressResult.h"
#include "host/results/Summaries.h"
#include "session/StressSession.h"

struct StressOptions {
    qz::ConditioningOptions conditioner;
    /// The mains frequency is that which the first seconds of the source show, none where they show none;
    /// with the comb it is 50 Hz all the same. conditioner.mainsHz counts only where this is false.
    bool measureMains = true;
    STPointRule stPoint;
    const LearnedBeat* beat = nullptr;          // the first averaged beat; null learns it from the source
    std::vector<double> beatSeconds;            // times whose averaged beats are kept, ascending
    std::optional<ReferenceStretch> reference;  // empty: the first half minute of ST values
    std::optional<bool>
        isPaced;  // a pacemaker is at work; empty: where the remarks of the source tell of one
};

/// The options with the mains frequency that is to be taken out, where `measuredHz` was measured.
StressOptions WithMains(StressOptions options, int measuredHz);
/// Those of a session for a source with these facts. Throws HostError where they do not fit it.
qz::SessionOptions SessionOptionsFor(const SourceInfo& source, const StressOptions& options);

/// Shifts a beat of `fs` samples per second so that its QRS lies where that of `like` does, whose length it
/// takes; its ends are held.
void PlaceBeat(qz::MeasuredBeat& beat, const qz::MeasuredBeat& like, int fs);

/// Throws HostError for options that fit no recording at any rate.
void CheckOptions(const StressOptions& options);

class StressAnalysis : private qz::SessionObserver {
public:
    /// Keeps references to the source and the observers, and reads the first seconds of the source. Throws
    /// HostError for options that do not fit the source.
    StressAnalysis(FrameSource& source, const StressOptions& options,
                   std::vector<AnalysisObserver*> observers = {});

    /// Reads the source to its end; called once. Throws HostError if no beat can be learned.
    StressResult Run();

private:
    void OnConditioned(const short* uV, double seconds) override;
    void OnInterval(const qz::IntervalEvent& interval) override;
    void OnBeat(const qz::BeatEvent& beat) override;
    void OnLead(const qz::LeadEvent& event) override;
    void OnQuality(const qz::QualityEvent& event) override;
    void OnLearned(const LearnedBeat& beat, double fromSeconds, bool again) override;
    void OnNotLearned(const std::string& why) override;

    bool IsStopped() const;
    bool ReadFrame(short* frame);
    void KeepBeats(const STReading& reading);
    BeatsThen BeatsAt(double askedSeconds) const;
    void KeepAsked();
    void KeepPeak();
    void FinishBeats();
    qz::MeasuredBeat BeatsNow() const;
    void WarnOfBadLeads(const std::string& what, const std::vector<std::vector<Span>>& spans);
    void WarnOfPoorSignal();
    void Finish();

    FrameSource& m_source;
    std::vector<AnalysisObserver*> m_observers;
    std::vector<short> m_ahead;  // frames read before the session was begun, for their mains
    std::vector<short>::const_iterator m_nextAhead;  // the first sample of them that the session lacks
    int m_measuredMainsHz;                           // 0: none stands out
    StressOptions m_options;                         // with the mains frequency that is taken out
    qz::StressSession m_session;
    StressResult m_result;
    int m_fs;
    std::size_t m_chn;
    qz::MeasuredBeat m_first;     // where later ones are placed
    std::size_t m_nextAsked = 0;  // of the options' beatSeconds
    PeakRate m_peak;
    double m_newPeakSeconds = kNothing;                  // of a peak whose beats are not kept yet
    std::vector<BeatThen> m_lowest, m_highest;           // per lead
    std::vector<std::vector<double>> m_referenceSumsUv;  // of the averaged beats in the reference
    double m_referenceSumQMs = 0;                        // of their onsets, each lead's
    double m_referenceSumJMs = 0;                        // of their J, each lead's
    std::vector<int> m_referenceBeats;                   // per lead, in these sums
    std::optional<std::string> m_notLearned;             // why there is no averaged beat
};
