#include "core/detect/CMultirtRRdetect.h"

#include <algorithm>
#include <cstdint>

#include "core/detect/CrtRRdetect.h"
#include "core/filters/internal/SectionFrame.h"

static constexpr int kGroupWindowMs = 160;
// Taken from the front of a frame of more than eight leads.
static constexpr std::size_t kLeadingChannels = 2;

void CMultirtRRdetect::Init(int fs, int chn, int acFreq, double scale) {
    Destroy();
    m_scale = scale;
    const std::size_t used = ElementCount(std::min(chn, kMostChannels));
    const std::size_t fours = FoursOf(used);
    double largest = kLargestSample;
    const auto build = [used, &largest](SectionBank& bank, const auto& filter) {
        bank.Init(filter.Coefficients(), used, largest);
        largest = bank.LargestOutput();
    };
    if (acFreq > 0) build(m_notch.emplace(), CNotchFilter(acFreq, fs, CrtRRdetect::kNotchQ));
    build(m_lowpass, CLowpassFilter2(CrtRRdetect::kLowpassHz, fs));
    build(m_highpass, CHighpassFilter(CrtRRdetect::kHighpassHz, fs));
    const int window = std::max(MsToSamples(CrtRRdetect::kCurveWindowMs, fs), 0);
    m_changes.assign(static_cast<std::size_t>(window) * fours, {});
    m_changesRow = 0;
    m_curves.assign(fours, {});
    m_previous.assign(fours, {});
    m_thresholds.assign(used, BeatThreshold(fs));
    m_fs = fs;
    m_channels = chn;
    m_quorum = used / 2 + 1;
    m_groupWindow = MsToSamples(kGroupWindowMs, fs);
    m_minRR = fs / 5;
}

void CMultirtRRdetect::Destroy() {
    m_thresholds.clear();
    m_notch.reset();
    m_groupStart = m_frameIndex = -1;
    m_fs = m_channels = m_groupWindow = m_minRR = 0;
    m_quorum = m_groupSize = 0;
}

int CMultirtRRdetect::QRSdetect(const short* frame) {
    if (frame == nullptr || m_thresholds.empty()) return 0;
    MeasureCurves(frame);
    int result = 0;
    for (std::size_t lead = 0; lead < m_thresholds.size(); ++lead) {
        const int rr = m_thresholds[lead].Step(m_curves[lead / kLanes].lanes[lead % kLanes]);
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

/// The used leads through their filters to their curve lengths. Every stage hands on whole numbers.
void CMultirtRRdetect::MeasureCurves(const short* frame) {
    const std::size_t used = m_thresholds.size(), fours = m_curves.size();
    std::array<short, kMostChannels> leads = {};
    const std::size_t leading = std::min(used, kLeadingChannels);
    std::copy_n(frame, leading, leads.begin());
    std::copy_n(frame + static_cast<std::size_t>(m_channels) - (used - leading), used - leading,
                leads.begin() + kLeadingChannels);

    std::array<FourInts, kMostChannels / kLanes> row;
    const auto filter = [&row, fours](SectionBank& bank, auto step) {
        SectionFrame section(bank);
        for (std::size_t four = 0; four < fours; ++four)
            Store(row[four], section.Truncate(step(section, four, ToDoubles(Load(row[four])))));
    };
    const auto plain = [](SectionFrame& section, std::size_t four, DoubleLanes x) {
        return section.Step(four, x);
    };
    for (std::size_t four = 0; four < fours; ++four) {
        const DoubleLanes uV = ToDoubles(LoadSamples(&leads[four * kLanes])) * AllLanes(m_scale);
        Store(row[four], WrapToSamples(TruncateToInts(uV)));
    }
    if (m_notch) filter(*m_notch, plain);
    filter(m_lowpass, plain);
    filter(m_highpass, [](SectionFrame& section, std::size_t four, DoubleLanes x) {
        return section.StepWithZeroBelow(CHighpassFilter::kSilence, four, x);
    });

    if (m_changes.empty()) return;
    FourInts* const entering = m_changes.data() + m_changesRow * fours;
    m_changesRow = (m_changesRow + 2) * fours <= m_changes.size() ? m_changesRow + 1 : 0;
    const FourInts* const leaving = m_changes.data() + m_changesRow * fours;
    for (std::size_t four = 0; four < fours; ++four) {
        const IntLanes x = Load(row[four]);
        const IntLanes change = Magnitude(WrapSub(x, Load(m_previous[four])));
        Store(m_previous[four], x);
        Store(entering[four], change);
        Store(m_curves[four], WrapSub(WrapAdd(Load(m_curves[four]), change), Load(leaving[four])));
    }
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
