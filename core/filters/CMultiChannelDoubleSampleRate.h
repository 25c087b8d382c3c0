// CMultiChannelDoubleSampleRate: one CDoubleSampleRate per lead; a frame in, two frames out.
// Only the constructor allocates. One object belongs to one thread.
#pragma once

#include <array>
#include <vector>

#include "core/Export.h"
#include "core/filters/CDoubleSampleRate.h"

class QZ_API CMultiChannelDoubleSampleRate {
public:
    /// chn leads, each as by CDoubleSampleRate(). A negative count fails as an allocation (std::bad_alloc).
    explicit CMultiChannelDoubleSampleRate(short chn);
    virtual ~CMultiChannelDoubleSampleRate() = default;
    CMultiChannelDoubleSampleRate(const CMultiChannelDoubleSampleRate&) = delete;
    CMultiChannelDoubleSampleRate& operator=(const CMultiChannelDoubleSampleRate&) = delete;
    /// CDoubleSampleRate::Init of every lead.
    void Init(double uVpb);
    /// One step on a frame of chn samples. Returns chn pointers, one to each lead's pair (midpoint, sample);
    /// owned here, the pairs rewritten by every step.
    short** GetDoubleSampleRateData(short* frame);
    /// The pairs of the last step as two frames of chn samples, midpoints first; owned here, rewritten by
    /// every call.
    short** GetData();
    /// Frames out per frame in: 2.
    int GetNumbers() const { return 2; }
    /// Delay in input samples.
    int DelaySamples() const { return 1; }

private:
    std::vector<CDoubleSampleRate> m_channels;
    std::vector<short*> m_pairs;           // into m_channels
    std::vector<short> m_first, m_second;  // the two output frames
    std::array<short*, 2> m_frames = {};   // m_first, m_second
};
