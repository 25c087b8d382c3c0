// CSmoothFilterEx: three CSmoothFilter in a row for one lead, each with a 10 Hz inner low-pass.
// Full 32-bit values pass between the stages (CMultiChannelSmoothEx, its counterpart for frames, stores 16
// bits there). Delay: three times that of CSmoothFilter. Only the first Init allocates. One object belongs
// to one thread.
#pragma once

#include <vector>

#include "core/Export.h"
#include "core/filters/CSmoothFilter.h"

class QZ_API CSmoothFilterEx {
public:
    /// Passes its input through until Init is called.
    CSmoothFilterEx() = default;
    /// fs in samples per second.
    explicit CSmoothFilterEx(int fs) { Init(fs); }
    /// Builds the three stages.
    /// Deliberate: once they exist, does nothing; the rate and the state stay as they are.
    void Init(int fs);
    /// One sample in, one smoothed sample out, in the unit of the input.
    int Smooth(int x);
    /// Delay and settling time of the three stages together, samples; 0 where the input passes through.
    int DelaySamples() const { return m_stages.empty() ? 0 : Stages() * m_stages.front().DelaySamples(); }
    int SettlingSamples() const {
        return m_stages.empty() ? 0 : Stages() * m_stages.front().SettlingSamples();
    }

private:
    int Stages() const { return static_cast<int>(m_stages.size()); }

    std::vector<CSmoothFilter> m_stages;  // empty until Init
};
