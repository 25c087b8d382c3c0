// StressAnalysis: one run of the library over a source, from the first frame to the trends.
//
//   source -> SignalConditioner -> +-> heart rate over all leads
//                                  +-> [BeatLearner, once] -> stress engine -> ST level and slope per beat
//
// The frames of the learning stretch are kept and then go the same way as all others, so that nothing of the
// recording is left out but the settling of the filters. From there on memory grows by the trends alone.
//
// Three things about the engine are looked after here:
// - It sees each lead's first sample as a step from zero, which would lower every later correlation: it is
//   first filled with as many zero frames as its beat is long.
// - Of all leads the last decides where R is found again after each beat, by its maximum and its steepest
//   upstroke between Q and J. The leads are handed over with the one last whose R stands out most, upside
//   down where no lead has an upright QRS, and the results are put back in order.
// - Its zero level is a fraction of the PR level at most rates (two thirds at 500 Hz, none at 250 Hz). What
//   it missed is measured on the averaged beat and added to its ST level.
// Uses the one stress engine and the one filter chain of the process: one run at a time.
#pragma once

#include <vector>

#include "core/filters/CLowpassFilter2.h"
#include "host/FrameSource.h"
#include "host/SignalConditioner.h"
#include "host/Trends.h"

struct StressOptions {
    ConditionerOptions conditioner;
    int postJms = 60;                   // ST is measured this long after J + 6 ms
    bool relearn = false;               // a new averaged beat where none has matched for long
    const LearnedBeat* beat = nullptr;  // the first averaged beat; null learns it from the source
    std::vector<double> stripSeconds;   // where strips begin, ascending
};

/// Is told of everything as it happens, for displays and exports. Every call is made within Run.
class AnalysisObserver {
public:
    virtual ~AnalysisObserver() = default;
    /// A frame of the source has been read; `frame` is in its units.
    virtual void OnFrame(const short* frame) {}
    /// A conditioned frame in microvolts that shows the source at `seconds`, from 0 on.
    virtual void OnConditioned(const short* uV, double seconds) {}
    virtual void OnRate(const RateReading& rate) {}
    virtual void OnBeat(const STReading& beat) {}
    /// Asked once a frame: true ends the analysis as though the source ended here.
    virtual bool Stop() { return false; }
};

class StressAnalysis {
public:
    /// Keeps a reference to the source. Throws HostError for options that do not fit it.
    StressAnalysis(FrameSource& source, const StressOptions& options);
    ~StressAnalysis();
    StressAnalysis(const StressAnalysis&) = delete;
    StressAnalysis& operator=(const StressAnalysis&) = delete;

    /// Reads the source to its end; once per object. Throws HostError where no beat can be learned.
    StressResult Run();

private:
    bool ReadConditioned();
    void Learn();
    void OrderLeads();
    void StartEngine();
    void Feed(const short* conditioned, long long index);
    void Measure(short** templ, long long index);
    double InputSeconds(long long index) const;

    FrameSource& m_source;
    StressOptions m_options;
    SignalConditioner m_conditioner;
    StressResult m_result;
    std::size_t m_chn;
    std::vector<short> m_raw;          // last frame of the source
    std::vector<short> m_conditioned;  // last conditioned frame
    long long m_framesRead = 0;
    long long m_framesOut = 0;     // conditioned frames, the flushed ones at the end included
    std::vector<short> m_stretch;  // conditioned frames kept for learning, interleaved

    std::vector<std::size_t> m_order;  // source lead of each engine lead
    bool m_bLastInverted = false;      // the engine's last lead is upside down
    std::vector<short> m_engineFrame;
    short m_templLen = 0, m_posR = 0, m_posQ = 0, m_posJ = 0;  // as the engine keeps them, in samples
    int m_answersToSkip = 0;                                   // of the heart rate, not yet to be trusted
    std::vector<CLowpassFilter2> m_zeroSmoothers;  // one per engine lead, as the engine smooths its ST levels
    bool m_bSmoothersPrimed = false;
};
