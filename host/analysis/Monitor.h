// Monitor: a running analysis at the pace of the patient, as one block of text that is drawn again and again.
#pragma once

#include <chrono>
#include <ostream>
#include <string>
#include <vector>

#include "host/analysis/AnalysisObserver.h"
#include "host/record/FrameSource.h"

class Monitor : public AnalysisObserver {
public:
    /// Plays a source at `speed` times real time on `out`. On a terminal the block is redrawn in place, four
    /// times a second; elsewhere a line is written every ten seconds of the recording.
    Monitor(std::ostream& out, const SourceInfo& info, double speed, bool isTerminal);
    /// Waits until the frame is due.
    void OnFrame(const short* frame) override;
    void OnLead(std::size_t lead, bool isOff, double seconds) override;
    void OnRate(const RateReading& rate) override;
    void OnBeat(const STReading& beat) override;

    /// True if the output is closed: ends an analysis that nobody reads any more.
    bool Stop() override { return !m_out; }

    /// The block, one line each: time and heart rate, a bar per lead, the last event.
    std::vector<std::string> Block() const;

private:
    void Draw();

    std::ostream& m_out;
    SourceInfo m_info;
    double m_speed;
    bool m_isTerminal;
    std::chrono::steady_clock::time_point m_start, m_drawn{};
    long long m_frames = 0;
    double m_bpm;
    STReading m_beat;         // the latest; no levels before the first
    std::vector<bool> m_off;  // per lead
    std::string m_event = "waiting for the first beats";
    std::size_t m_linesDrawn = 0;
    double m_nextLineSeconds = 0;
};
