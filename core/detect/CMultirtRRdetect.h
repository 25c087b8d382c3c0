// CMultirtRRdetect: QRS detection on many leads, fused by vote.
//
// Each used lead goes through what CrtRRdetect does, filters and curve lengths of four leads side by side.
// Detections within 160 ms of each other form a group, one beat.
// The group is closed by the first detection that comes 200 ms or more after it began; when more than half
// of the leads are in it, the beat counts, and its RR is the median of theirs.
//
//   time since the group began:   0 ......... 160 ms ......... 200 ms ...............
//   a detection there:            joins it  |  is dropped   |  closes it, starts anew
//
// So the RR of a beat is reported one beat late. With more than eight leads the first two and the last six
// are used (of twelve: I, II and V1 to V6). Frames are counted in 64 bits. Only Init allocates. One object
// belongs to one thread.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "core/Export.h"
#include "core/detect/BeatThreshold.h"
#include "core/filters/FourLeads.h"
#include "core/filters/SectionBank.h"

class QZ_API CMultirtRRdetect {
public:
    /// No leads, sampling rate 0: QRSdetect answers 0 until Init is called.
    CMultirtRRdetect() = default;
    /// As Init.
    CMultirtRRdetect(int fs, int chn, int acFreq, double scale) { Init(fs, chn, acFreq, scale); }
    /// fs in samples per second, chn leads per frame, acFreq the mains frequency in Hz (below 1: no notch),
    /// scale in microvolts per unit. Builds fresh detectors. A negative count fails as an allocation
    /// (std::bad_alloc) and leaves no leads.
    void Init(int fs, int chn, int acFreq, double scale);
    /// The same with the stored rate.
    void Init(int chn, int acFreq, double scale) { Init(m_fs, chn, acFreq, scale); }
    /// Back to no leads and sampling rate 0.
    void Destroy();
    /// One frame of chn samples. Returns the RR interval in samples, at least 200 ms, when this frame closes
    /// a group that counts, else 0. A null frame: 0, and nothing changes.
    int QRSdetect(const short* frame);
    /// Samples per second as given to Init; 0: not initialised.
    int SamplingRate() const { return m_fs; }
    /// Leads per frame as given to Init.
    int Channels() const { return m_channels; }

private:
    static constexpr int kMostChannels = 8;

    void MeasureCurves(const short* frame);
    void StartGroup();
    int CloseGroup();

    std::optional<SectionBank> m_notch;  // none without mains frequency
    SectionBank m_lowpass, m_highpass;
    // The curve length, see CLengthTransform: a ring of rows of the latest changes, their sums, the last
    // values.
    std::vector<FourInts> m_changes, m_curves, m_previous;
    std::size_t m_changesRow = 0;             // written next
    std::vector<BeatThreshold> m_thresholds;  // one per used lead
    std::int64_t m_groupStart = -1;           // frame in which the open group began; below 1: none
    std::int64_t m_frameIndex = -1;           // of the present frame; the first after Init is -1
    int m_fs = 0;                             // samples per second
    int m_channels = 0;                       // leads per frame
    std::size_t m_quorum = 0;                 // leads that a beat needs
    int m_groupWindow = 0;                    // 160 ms in samples
    int m_minRR = 0;                          // 200 ms in samples: shortest RR and lockout
    double m_scale = 0;                       // microvolts per unit
    // The RR values of the open group. A lead is in it once: its detector is blind for 195 ms after a beat.
    std::array<int, kMostChannels> m_groupRR = {};
    std::size_t m_groupSize = 0;  // values in m_groupRR
};
