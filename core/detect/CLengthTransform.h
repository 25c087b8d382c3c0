// CLengthTransform: curve length, the moving sum of absolute sample-to-sample changes over a short window.
//
// A QRS complex, being steep, raises this sum far above its level between beats; CrtRRdetect puts a threshold
// on it. The three-lead form sums the mean of the three leads' changes.
//
// Deliberate: a window of n slots gives the sum of the latest n - 1 changes, because the oldest slot leaves
// the sum before it is overwritten. The thresholds of the detector are made for that.
//
// Delay: about half the window. Constant work per sample. Only Init(int, int) allocates. One object belongs
// to one thread.
#pragma once

#include <cstddef>
#include <vector>

#include "core/Export.h"

class QZ_API CLengthTransform {
public:
    /// fs in samples per second, window in milliseconds. Where fs * ms is below 1000 the window is empty and
    /// every answer is 0.
    CLengthTransform(int fs, int ms) { Init(fs, ms); }
    /// Sets the window and clears everything. The ring is allocated anew only where it has to grow.
    void Init(int fs, int ms);
    /// Clears the ring, the sum and the previous inputs; the window stays. The previous inputs are then 0,
    /// so that the first answer carries the size of the first input itself.
    void Init();
    /// One sample of one lead; returns the curve length, in the unit of the input.
    int Length(int x);
    /// One sample of three leads; the mean of the three changes is truncated toward zero.
    int Length(int a, int b, int c);

private:
    int Push(int change);

    std::vector<int> m_ring;                                // the latest absolute changes
    std::size_t m_index = 0;                                // slot that is written next
    int m_sum = 0;                                          // over the ring, less the slot written next
    int m_previous1 = 0, m_previous2 = 0, m_previous3 = 0;  // last inputs; the one-lead form uses the first
};
