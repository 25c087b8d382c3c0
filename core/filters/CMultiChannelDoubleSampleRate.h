// CMultiChannelDoubleSampleRate: what CDoubleSampleRate does, for all leads, four leads side by side; a frame
// in, two frames out.
//
// A tangent that dies away in silence is set to 0 before it reaches the denormal numbers, with which
// processors are slow. No output changes by that; EndSilence has the proof.
//
// Cost: 50 instructions per input sample and lead. Only the constructor allocates. One object belongs to one
// thread.
#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "core/Export.h"
#include "core/filters/FourLeads.h"

class QZ_API CMultiChannelDoubleSampleRate {
public:
    /// chn leads, each as by CDoubleSampleRate(). A negative count fails as an allocation (std::bad_alloc).
    explicit CMultiChannelDoubleSampleRate(short chn);
    virtual ~CMultiChannelDoubleSampleRate() = default;
    CMultiChannelDoubleSampleRate(const CMultiChannelDoubleSampleRate&) = delete;
    CMultiChannelDoubleSampleRate& operator=(const CMultiChannelDoubleSampleRate&) = delete;
    /// CDoubleSampleRate::Init of every lead.
    void Init(double uVpb);
    /// One step on a frame of chn samples. Writes the two frames of chn samples that it gives.
    void Double(const short* frame, short* midpoints, short* samples);
    /// One step on a frame of chn samples. Returns chn pointers, one to each lead's pair (midpoint, sample);
    /// owned here, the pairs rewritten by every step.
    short** GetDoubleSampleRateData(short* frame);
    /// The pairs of the last GetDoubleSampleRateData as two frames of chn samples, midpoints first; owned
    /// here.
    short** GetData() { return m_frames.data(); }
    /// Frames out per frame in: 2.
    int GetNumbers() const { return 2; }
    /// Delay in input samples.
    int DelaySamples() const { return 1; }

private:
    static constexpr unsigned kFramesPerCheck = 64;

    /// The state of four leads, as in CDoubleSampleRate.
    struct State {
        FourInts a, b, c;  // the last inputs, oldest to newest
        FourDoubles m;     // tangent at b, units per output step
    };

    void SetLimits(double smallStep, double jump);
    void EndSilence();

    std::size_t m_leads;
    std::vector<State> m_states;
    int m_largestSmallStep = 0;            // units; -2^31 where no step is small
    int m_largestNoJump = 0;               // units; steps above are jumps
    unsigned m_steps = 0;                  // modulo 2^32
    std::vector<short> m_pairsOfLeads;     // what m_pairs points into
    std::vector<short*> m_pairs;           // one per lead
    std::vector<short> m_first, m_second;  // the two output frames
    std::array<short*, 2> m_frames = {};   // m_first, m_second
};
