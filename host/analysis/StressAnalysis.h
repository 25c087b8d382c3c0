// StressAnalysis: one run over a source, from the first frame to the trends.
//
//   source -> StressSession -> trends, lead by lead and beat by beat, and whoever observes
//
// Memory grows by the trends alone. Any number of analyses may run at once.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/analysis/StripRecorder.h"
#include "host/record/FrameSource.h"
#include "host/results/Trends.h"
#include "session/StressSession.h"

struct StressOptions {
    qz::ConditioningOptions conditioner;
    int postJms = 60;                   // ST is measured this long after J + 6 ms
    bool relearn = false;               // a new averaged beat where none has matched for long
    const LearnedBeat* beat = nullptr;  // the first averaged beat; null learns it from the source
    std::vector<double> stripSeconds;   // where strips begin
};

/// Is told of everything as it happens, for displays and exports. Every call is made within Run, for each
/// kind in order of time. Heart rates come from some seconds after the start on, beats from the end of the
/// learning stretch, with those before all at once.
class AnalysisObserver {
public:
    virtual ~AnalysisObserver() = default;
    /// A frame of the source has been read, in its units.
    virtual void OnFrame(const short* /*frame*/) {}
    /// A conditioned frame in microvolts, and the time of the source that it shows, from 0 on.
    virtual void OnConditioned(const short* /*uV*/, double /*seconds*/) {}
    /// A lead went off at this time, or came back: two seconds after the one, at once after the other.
    virtual void OnLead(std::size_t /*lead*/, bool /*isOff*/, double /*seconds*/) {}
    virtual void OnRate(const RateReading& /*rate*/) {}
    virtual void OnBeat(const STReading& /*beat*/) {}
    /// Asked once a frame: true ends the analysis as though the source ended here.
    virtual bool Stop() { return false; }
};

class StressAnalysis : private qz::SessionObserver {
public:
    /// Keeps references to the source and the observers. Throws HostError for options that do not fit the
    /// source.
    StressAnalysis(FrameSource& source, const StressOptions& options,
                   std::vector<AnalysisObserver*> observers = {});

    /// Reads the source to its end; once per object. Throws HostError where no beat can be learned.
    StressResult Run();

private:
    void OnConditioned(const short* uV, double seconds) override;
    void OnInterval(const qz::IntervalEvent& interval) override;
    void OnBeat(const qz::BeatEvent& beat) override;
    void OnLead(const qz::LeadEvent& event) override;
    void OnLearned(const LearnedBeat& beat, double fromSeconds, bool again) override;
    void OnNotLearned(const std::string& why) override;

    bool IsStopped() const;
    void KeepFarthest(const STReading& reading);
    std::vector<std::vector<float>> BeatsAtFirstPositions() const;
    void WarnOfBadLeads(const std::string& what, const std::vector<std::vector<Span>>& spans);
    void Finish();

    FrameSource& m_source;
    StressOptions m_options;
    std::vector<AnalysisObserver*> m_observers;
    qz::StressSession m_session;
    StripRecorder m_strips;
    StressResult m_result;
    int m_fs;
    std::size_t m_chn;
    long long m_framesShown = 0;              // conditioned
    std::vector<double> m_firstLevelsUv;      // per lead; empty in the first half minute of readings
    std::optional<std::string> m_notLearned;  // why there is no averaged beat
};
