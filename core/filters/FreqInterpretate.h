// FreqInterpretate: linear up-sampling of one stream, sample by sample.
//
// Each input yields the outputs that fall between it and the input before. Time is counted in input
// intervals: `phase` is where the next output lies, 0 the previous input, 1 the present one.
// Delay: one input sample. Only Init allocates. One object belongs to one thread.
#pragma once

#include <vector>

#include "core/Export.h"

/// When the outputs fall due. Times are counted in input intervals.
class QZ_API InterpolationClock {
public:
    /// Rates in samples per second. Starts anew; an output rate that is not above the input rate counts as
    /// the input rate.
    void Init(int inRate, int outRate);
    /// From the next output to the present input.
    double Remaining() const { return 1.0 - m_phase; }
    /// Calls take(index, time since the first output of this input) for every output that is due with the
    /// present input, and returns their number.
    template <typename Take>
    int Step(Take take) {
        int count = 0;
        if (m_phase < kIntervalEnd) {
            double t = m_phase;
            do {
                take(count++, t - m_phase);
                t += m_step;
                // Rounding of the phase never adds an output beyond the slots.
            } while (t < kIntervalEnd && count < m_mostOutputs);
            m_phase = t;
        }
        m_phase -= 1.0;
        return count;
    }
    /// No input has more outputs.
    int MostOutputs() const { return m_mostOutputs; }

private:
    // An output this close to the present input belongs to the next interval.
    static constexpr double kIntervalEnd = 0.999999;

    double m_phase = 0;     // of the next output; 0 is the input before, 1 the present one
    double m_step = 1;      // between outputs
    int m_mostOutputs = 1;  // for one input
};

class QZ_API FreqInterpretate {
public:
    /// No rates: one output per input, the input before. Needs no Init.
    FreqInterpretate() { Init(0, 0); }
    /// Rates in samples per second.
    FreqInterpretate(int inRate, int outRate) { Init(inRate, outRate); }
    virtual ~FreqInterpretate() = default;
    /// Stores the rates that are positive (the others keep what is stored) and starts anew from a previous
    /// input of 0. An output rate that is not above the input rate is replaced by the input rate.
    void Init(int inRate, int outRate);
    /// Takes one input and returns how many outputs GetData() now holds (at most ceil(outRate / inRate)).
    /// Deliberate: the line runs from (phase, previous input) to (1, input), so that the first output of a
    /// call is exactly the previous input. Outputs are truncated toward zero.
    short CalculateReturnValues(short x);
    /// The outputs of the last call, at least one slot; owned here, valid until the next Init.
    short* GetData() { return m_output.data(); }
    /// Delay in input samples.
    int DelaySamples() const { return kDelaySamples; }
    static constexpr int kDelaySamples = 1;

private:
    int m_inRate = 0, m_outRate = 0;  // samples per second
    double m_previous = 0;            // the input before
    InterpolationClock m_clock;
    std::vector<short> m_output;  // as many slots as one input can fill
};
