// CDoubleSampleRate: doubles the sampling rate of one lead; each input gives two outputs.
//
// Between two inputs b and c it inserts the midpoint of the cubic that starts at b with the tangent m and
// ends with the central difference at c. Where it sees an isolated sharp step between flat samples (a pacing
// or switching artefact), it holds the previous value instead, so that the cubic does not ring around it.
//
//   inputs     a        b        c        x          oldest to newest
//   steps        |b-a|    |c-b|    |x-c|
//   outputs             midpoint, c                  with an isolated step: b, x
//
// Delay: one input sample. Allocates nothing. One object belongs to one thread.
#pragma once

#include <array>

#include "core/Export.h"

class QZ_API CDoubleSampleRate {
public:
    static constexpr double kSmallStepUv = 15.0;
    static constexpr double kJumpUv = 240.0;

    /// History 0; thresholds as for 1 uV per unit: a small step is at most 15 units, a jump above 240.
    CDoubleSampleRate() = default;
    virtual ~CDoubleSampleRate() = default;
    /// Clears outputs, history and tangent, and sets the thresholds to 15 uV and 240 uV for a signal of uVpb
    /// microvolts per unit. 0 makes them infinite: every step counts as small and none as a jump.
    void Init(double uVpb);
    /// One step on the input x; the pair is read with GetOutputs().
    /// Returns the sample that the midpoint follows.
    int CalculateReturnValues(short x);
    /// One step on the input x. Returns the pair (inserted midpoint, sample at the input rate), owned here,
    /// rewritten by every step. A midpoint outside 16 bits wraps.
    short* GetDoubleSampleRateData(short x);
    /// The pair of the last step (0, 0 before the first); owned here.
    short* GetOutputs() { return m_outputs.data(); }
    /// Outputs per input: 2.
    int GetNumbers() const { return 2; }
    /// Delay in input samples.
    int DelaySamples() const { return 1; }

private:
    bool IsIsolatedStep(short x) const;

    int m_a = 0, m_b = 0, m_c = 0;        // the last inputs, oldest to newest
    double m_m = 0;                       // tangent at b, units per output step
    double m_smallStep = 15;              // T1, units
    double m_jump = 240;                  // T2, units
    std::array<short, 2> m_outputs = {};  // midpoint, sample
};
