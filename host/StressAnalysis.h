// StressAnalysis: one run of the library over a source, from the first frame to the trends.
//
//   source -> SignalConditioner -> +-> heart rate over all leads
//                                  +-> [BeatLearner, once] -> StressEngine -> ST level and slope per beat
//
// The frames of the learning stretch are kept and then go the same way as all others, so that nothing of the
// recording is left out but the settling of the filters. From there on memory grows by the trends alone.
//
// To learn again, the latest half minute is kept. Where no beat has matched throughout it although beats were
// found, a beat is learned from it and the half minute is matched once more with the new beat: the trend then
// has no gap, and its times still ascend. A failed attempt is repeated at growing intervals.
// Uses the one stress engine, the one heart rate over many leads and the one filter chain of the process: one
// run at a time.
#pragma once

#include <vector>

#include "host/FrameSource.h"
#include "host/LeadWatch.h"
#include "host/SignalConditioner.h"
#include "host/StressEngine.h"
#include "host/StripRecorder.h"
#include "host/Trends.h"

struct StressOptions {
    ConditionerOptions conditioner;
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

class StressAnalysis {
public:
    /// Keeps references to the source and the observers. Throws HostError for options that do not fit the
    /// source.
    StressAnalysis(FrameSource& source, const StressOptions& options,
                   std::vector<AnalysisObserver*> observers = {});

    /// Reads the source to its end; once per object. Throws HostError where no beat can be learned.
    StressResult Run();

private:
    bool ReadConditioned();
    bool IsStopped() const;
    void FollowRate();
    void StartRate();
    void TakeRate(short* conditioned, long long index);
    void Learn();
    void Start();
    void Match(const short* conditioned, long long index);
    void FollowLeads();
    void LeaveOutBadLeads(STReading& reading);
    void KeepFarthest(const STReading& reading);
    std::vector<std::vector<float>> BeatsAtFirstPositions() const;
    void WarnOfBadLeads(const std::string& what, const std::vector<std::vector<Span>>& spans);
    void KeepForRelearning();
    void Relearn();
    void Finish();
    double RateAt(double seconds) const;
    double SourceSeconds(long long index) const;

    FrameSource& m_source;
    StressOptions m_options;
    std::vector<AnalysisObserver*> m_observers;
    SignalConditioner m_conditioner;
    StripRecorder m_strips;
    StressEngine m_engine;
    LeadWatch m_watch;
    StressResult m_result;
    int m_fs;
    std::size_t m_chn;

    // Frames are numbered as they leave the conditioner: frame n shows frame n - delay of the source.
    std::vector<short> m_raw;          // last frame of the source
    std::vector<short> m_conditioned;  // last conditioned frame
    long long m_framesRead = 0;
    long long m_framesOut = 0;     // conditioned frames, the flushed ones at the end included
    std::vector<short> m_stretch;  // conditioned frames kept for learning, interleaved

    std::vector<short> m_rateRunIn;  // conditioned frames before the heart rate has started, interleaved
    bool m_bRateStarted = false;
    int m_answersToSkip = 0;  // of the heart rate, not yet to be trusted

    std::vector<bool> m_off;              // per lead, as the observers know it
    std::vector<int> m_beatsToTrust;      // per lead: beats until its ST is told again
    std::vector<double> m_firstLevelsUv;  // per lead; empty in the first half minute of readings

    std::vector<short> m_latest;  // ring of the frames to learn again from, by frame number
    int m_foundSinceMatch = 0;    // beats that the heart rate has found since one matched
    long long m_relearnDue = 0;   // frame from which on to learn again, unless a beat matches before
    long long m_relearnWait = 0;  // frames to the next attempt after one that fails
};
