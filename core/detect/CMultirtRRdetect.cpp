#include "core/detect/CMultirtRRdetect.h"

#include <algorithm>
#include <cstdint>

#include "core/Arithmetic.h"

static constexpr int kGroupWindowMs = 160;
static constexpr int kLeadingChannels = 2;  // taken from the front of a frame of more than eight leads

void CMultirtRRdetect::Init(int fs, int chn, int acFreq, double scale) {
    Destroy();
    m_scale = scale;
    const std::size_t used = ElementCount(std::min(chn, kMostChannels));
    m_detectors.assign(used, CrtRRdetect(fs, acFreq));
    m_fs = fs;
    m_channels = chn;
    m_quorum = used / 2 + 1;
    m_groupWindow = MsToSamples(kGroupWindowMs, fs);
    m_minRR = fs / 5;
}

void CMultirtRRdetect::Destroy() {
    m_detectors.clear();
    m_groupStart = m_frameIndex = -1;
    m_fs = m_channels = m_groupWindow = m_minRR = 0;
    m_quorum = m_groupSize = 0;
}

int CMultirtRRdetect::QRSdetect(const short* frame) {
    if (frame == nullptr) return 0;
    int result = 0;
    for (std::size_t channel = 0; channel < m_detectors.size(); ++channel) {
        const short scaled = TruncateToSample(*SelectChannel(frame, channel) * m_scale);
        const int rr = m_detectors[channel].QRSdetect(scaled);
        if (rr < m_minRR) continue;
        // Deliberate: a group that began with frame 0 counts as none, like -1; the next detection starts
        // afresh and that group is never closed.
        if (m_groupStart < 1) {
            StartGroup();
        } else {
            const std::int64_t elapsed = m_frameIndex - m_groupStart;
            if (elapsed >= m_minRR) {
                result = CloseGroup();
                StartGroup();
            } else if (elapsed >= m_groupWindow) {
                continue;
            }
        }
        if (m_groupSize < m_groupRR.size()) m_groupRR[m_groupSize++] = rr;
    }
    ++m_frameIndex;
    return result;
}

/// The sample of the frame that belongs to a used lead.
const short* CMultirtRRdetect::SelectChannel(const short* frame, std::size_t channel) const {
    const int used = static_cast<int>(m_detectors.size());
    if (m_channels <= used || channel < kLeadingChannels) return frame + channel;
    return frame + (m_channels - used) + channel;
}

void CMultirtRRdetect::StartGroup() {
    m_groupStart = m_frameIndex;
    m_groupSize = 0;
}

/// The RR of the open group: its median, for an even number the lower one; 0 without quorum.
int CMultirtRRdetect::CloseGroup() {
    if (m_groupSize < m_quorum) return 0;
    std::sort(m_groupRR.begin(), m_groupRR.begin() + static_cast<std::ptrdiff_t>(m_groupSize));
    return m_groupRR[(m_groupSize - 1) / 2];
}
