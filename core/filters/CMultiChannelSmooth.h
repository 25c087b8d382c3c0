// CMultiChannelSmooth: what CSmoothFilter does, for all leads of a frame in place, four leads side by side.
//
// The mean of a window is the difference of two running sums of the residual, divided by a multiplication.
// Its half-width comes from a table over the activity in tenths, of which every limit is a multiple; close to
// a limit the exact comparison decides. Delay and settling as CSmoothFilter.
//
// Cost: 80 instructions per sample and lead. The constructor allocates; Smooth does not. One object belongs
// to one thread.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "core/Export.h"
#include "core/filters/CSmoothFilter.h"
#include "core/filters/FourLeads.h"
#include "core/filters/SectionBank.h"

class QZ_API CMultiChannelSmooth {
public:
    /// fs in samples per second, chn leads (0 or below makes an empty bank), fc the cutoff of the inner
    /// low-passes in Hz.
    CMultiChannelSmooth(int fs, int chn, int fc);
    /// Clears every lead's rings and activity statistics; the inner low-passes keep their state.
    void Init();
    /// One frame of chn samples; results are stored with 16-bit wrapping.
    void Smooth(short* frame);
    /// Delay and settling time of each lead, see CSmoothFilter; 0 for an empty bank.
    int DelaySamples() const { return m_leads == 0 ? 0 : m_lead.DelaySamples(); }
    int SettlingSamples() const { return m_leads == 0 ? 0 : m_lead.SettlingSamples(); }

private:
    /// How the residual is averaged at one activity. Places are in ints, back from the newest running sum.
    struct Kernel {
        std::ptrdiff_t newest = 0;  // the running sum at the end of the window
        std::ptrdiff_t oldest = 0;  // that before its beginning
        double reciprocal = 0;      // of the divisor
        int centre = 0;             // all ones where the residual at the centre counts twice, else 0
    };
    static constexpr int kMostTenths = CSmoothFilter::kActivityTenths.front();

    void SetKernels();
    void SettleTies(std::size_t four, const FourDoubles& tenths, FourInts& kernels) const;
    FourInts* RowOf(std::vector<FourInts>& ring, int age);

    CSmoothFilter m_lead;  // tells what holds for each lead
    std::size_t m_leads;
    std::size_t m_fours;
    int m_fs;
    int m_length = 0;                               // N: 30 ms of samples
    int m_delay = 0;                                // 9 ms of samples
    std::array<Kernel, kMostTenths + 1> m_kernels;  // by the activity in tenths of its mean
    SectionBank m_innerLowpass;
    // Rows of all leads. Of the running sums N + 1 are needed; they are stored twice, so that the latest of
    // them lie behind each other wherever the ring stands.
    std::vector<FourInts> m_raw, m_lowpass, m_magnitude;  // rings of N rows
    std::vector<FourInts> m_sums;                // 2 (N + 1) rows: residuals since the reset, modulo 2^32
    std::vector<FourDoubles> m_total, m_window;  // sums of |residual|: since the reset, over N samples
    int m_position = 0;                          // row of the rings of N that is written next
    int m_sumPosition = 0;                       // row of m_sums, below N + 1, that is written next
    std::int64_t m_count = 0;                    // samples since the reset
    std::vector<CSmoothFilter> m_singles;        // one per lead where four side by side do not work
};
