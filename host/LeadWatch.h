// LeadWatch: when the signal of a lead was not that of the heart.
//
//   off         a line: it moves by less than 5 uV for two seconds, as that of a loose electrode
//   disturbed   its level jumps by more than 3 mV within 0.2 s, or whoever conditions it cannot follow
//
// Levels are means of 0.1 s: a QRS complex comes back to its own.
//
// Grows by a span for every such time; disturbances within a second are one. Belongs to one thread.
#pragma once

#include <vector>

#include "host/FrameSource.h"
#include "host/Trends.h"

class LeadWatch {
public:
    /// Of a source with a lead and 10 samples per second or more.
    explicit LeadWatch(const SourceInfo& info);

    /// The next frame of the source, in its units. Whether a lead has gone off or come back.
    bool Take(const short* frame);
    /// The lead is disturbed in the frame taken last.
    void Disturb(std::size_t lead);

    bool IsOff(std::size_t lead) const { return m_leads[lead].isOff; }
    /// In order of time, seconds; while the lead is off, the last one goes on to infinity.
    const std::vector<Span>& Off(std::size_t lead) const { return m_leads[lead].off; }
    const std::vector<Span>& Disturbed(std::size_t lead) const { return m_leads[lead].disturbed; }
    /// Whether neither was the case from here to there; asked in about the order of time.
    bool IsGood(std::size_t lead, const Span& span) const;

private:
    struct Lead {
        short lowest = 0, highest = 0;  // since it last moved
        long long flatFrom = 0;         // frame
        int change = 0;                 // from the sum over a window to that over the one after the next
        bool isOff = false;
        std::vector<Span> off, disturbed;
    };

    bool LookForLine(Lead& lead, short sample);
    void Mark(Lead& lead, long long frame) const;
    double Seconds(long long frame) const { return static_cast<double>(frame) / m_fs; }

    int m_fs;
    double m_flatUnits;         // of the source, that a line moves
    std::size_t m_window;       // of a mean, samples of all leads
    double m_jumpChange;        // of a jump, as Lead::change
    std::vector<short> m_ring;  // the latest frames, three windows, interleaved
    std::size_t m_next = 0;     // in the ring
    long long m_frames = 0;
    std::vector<Lead> m_leads;
};
