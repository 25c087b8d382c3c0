// CZatMidRR: steadies a stream of RR intervals before it is shown as a heart rate, so that one missed or
// extra beat does not move the display: an order statistic of the latest few.
//
// Deliberate: the answer is the element one place above the middle of the sorted window (for five values the
// fourth smallest), not the median: it leans toward the longer intervals, that is the lower rate.
//
// MeanRR allocates: it sorts a fresh copy of the window, once per beat. One object belongs to one thread.
#pragma once

#include <deque>

#include "core/Export.h"

class QZ_API CZatMidRR {
public:
    /// Window of n intervals; at least 4, or the answer is the longest (below -1: the shortest) there is.
    explicit CZatMidRR(short n) : m_window(n) {}
    virtual ~CZatMidRR() = default;
    /// Empties the window; its size stays.
    void Init() { m_values.clear(); }
    /// Enters one interval (any unit) and returns the one to show. While the window is filling, that is the
    /// argument itself.
    short MeanRR(short rr);

private:
    short m_window;              // intervals
    std::deque<short> m_values;  // the latest intervals, the oldest in front
};
