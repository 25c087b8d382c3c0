#include "core/filters/CMultiChannelSmooth.h"

#include <algorithm>
#include <cmath>

#include "core/filters/CLowpassFilter2.h"
#include "core/filters/internal/Quotient.h"
#include "core/filters/internal/SectionFrame.h"

// At lower rates a window can reach round the ring, from the oldest sample on to the newest.
static constexpr int kLowestRate = 167;
static constexpr double kLargestLowpass = 0x1p30;  // beyond it residuals may leave 32 bits
// An activity so close to a whole number of tenths is compared exactly. Elsewhere rounding has no say: it
// moves the activity by less than 1e-14 of itself.
static constexpr double kTie = 1e-6;
static constexpr double kBelowAllLimits = 9.5, kAboveAllLimits = 40.5;  // tenths

CMultiChannelSmooth::CMultiChannelSmooth(int fs, int chn, int fc)
    : m_lead(fs, fc), m_leads(ElementCount(std::max(chn, 0))), m_fours(FoursOf(m_leads)), m_fs(fs) {
    m_innerLowpass.Init(CLowpassFilter2(fc, fs).Coefficients(), m_leads, kLargestSample);
    if (fs < kLowestRate || !(m_innerLowpass.LargestOutput() < kLargestLowpass)) {
        m_singles.assign(m_leads, m_lead);
        return;
    }
    m_length = MsToSamples(CSmoothFilter::kRingMs, fs);
    m_delay = MsToSamples(CSmoothFilter::kResidualDelayMs, fs);
    SetKernels();
    Init();
}

void CMultiChannelSmooth::SetKernels() {
    const auto row = static_cast<std::ptrdiff_t>(m_fours * kLanes);
    const int centreAge = m_length - m_length / 2;
    for (int tenths = 0; tenths <= kMostTenths; ++tenths) {
        const auto halfWidthMs =
            std::count_if(CSmoothFilter::kActivityTenths.begin(), CSmoothFilter::kActivityTenths.end(),
                          [tenths](int limit) { return limit > tenths; });
        const int halfWidth = MsToSamples(static_cast<int>(halfWidthMs), m_fs);
        const bool isOneTwoOne = halfWidth == 0;
        const int reach = isOneTwoOne ? 1 : halfWidth;
        Kernel& kernel = m_kernels[static_cast<std::size_t>(tenths)];
        kernel.newest = -row * (centreAge - reach);
        kernel.oldest = -row * (centreAge + reach + 1);
        kernel.reciprocal = ReciprocalOf(isOneTwoOne ? 4 : 2 * halfWidth + 1);
        kernel.centre = isOneTwoOne ? -1 : 0;
    }
}

void CMultiChannelSmooth::Init() {
    for (CSmoothFilter& single : m_singles) single.Init();
    const auto rows = static_cast<std::size_t>(m_length);
    for (std::vector<FourInts>* ring : {&m_raw, &m_lowpass, &m_magnitude}) ring->assign(rows * m_fours, {});
    m_sums.assign(2 * (rows + 1) * m_fours, {});
    m_total.assign(m_fours, {});
    m_window.assign(m_fours, {});
    m_position = m_sumPosition = 0;
    m_count = 0;
}

/// The row of a ring of N rows that was written `age` frames before the present one, up to N - 1.
FourInts* CMultiChannelSmooth::RowOf(std::vector<FourInts>& ring, int age) {
    const int row = m_position - age;
    return ring.data() + static_cast<std::size_t>(row < 0 ? row + m_length : row) * m_fours;
}

/// What IsMoreActive says of each lane whose activity is close to a whole number of tenths.
void CMultiChannelSmooth::SettleTies(std::size_t four, const FourDoubles& tenths, FourInts& kernels) const {
    for (std::size_t lane = 0; lane < kLanes; ++lane) {
        const int limit = TruncateToInt(std::round(tenths.lanes[lane]));
        if (std::abs(tenths.lanes[lane] - limit) > kTie) continue;
        const bool isAbove =
            CSmoothFilter::IsMoreActive(limit, m_window[four].lanes[lane], m_length,
                                        m_total[four].lanes[lane], static_cast<double>(m_count));
        kernels.lanes[lane] = isAbove ? limit : limit - 1;
    }
}

void CMultiChannelSmooth::Smooth(short* frame) {
    if (!m_singles.empty()) {
        for (CSmoothFilter& single : m_singles) {
            *frame = WrapToSample(single.Smooth(*frame));
            ++frame;
        }
        return;
    }
    ++m_count;
    const double tenthsPerShare = 10 * static_cast<double>(m_count) / m_length;
    const int centreAge = m_length - m_length / 2;
    FourInts* const raw = RowOf(m_raw, 0);
    const FourInts* const delayed = RowOf(m_raw, m_delay);
    FourInts* const lowpass = RowOf(m_lowpass, 0);
    const FourInts* const lowpassAtCentre = RowOf(m_lowpass, centreAge);
    FourInts* const magnitude = RowOf(m_magnitude, 0);
    const auto sumRow = [this](int row) { return m_sums.data() + static_cast<std::size_t>(row) * m_fours; };
    const FourInts* const sumBefore = sumRow(m_sumPosition > 0 ? m_sumPosition - 1 : m_length);
    FourInts* const sum = sumRow(m_sumPosition);
    FourInts* const sumAgain = sumRow(m_sumPosition + m_length + 1);
    const FourInts* const sumAtCentre = sumAgain - static_cast<std::size_t>(centreAge) * m_fours;
    const FourInts* const sumBeforeCentre = sumAtCentre - m_fours;
    SectionFrame section(m_innerLowpass);

    ChangeEachFour(frame, m_leads, [&](std::size_t four, IntLanes x) {
        const IntLanes slow = section.Truncate(section.Step(four, ToDoubles(x)));
        Store(raw[four], x);
        Store(lowpass[four], slow);
        const IntLanes residual = WrapSub(Load(delayed[four]), slow);
        const IntLanes runningSum = WrapAdd(Load(sumBefore[four]), residual);
        Store(sum[four], runningSum);
        Store(sumAgain[four], runningSum);

        const IntLanes size = Magnitude(residual);
        const DoubleLanes total = Load(m_total[four]) + ToDoubles(size);
        const DoubleLanes window = Load(m_window[four]) + ToDoubles(WrapSub(size, Load(magnitude[four])));
        Store(m_total[four], total);
        Store(m_window[four], window);
        Store(magnitude[four], size);

        // Without any residual so far the activity is no number, and every kernel gives 0.
        const DoubleLanes tenths =
            Most(Least(window / total * AllLanes(tenthsPerShare), AllLanes(kAboveAllLimits)),
                 AllLanes(kBelowAllLimits));
        FourInts kernels;
        Store(kernels, TruncateInRange(tenths));
        if (IsAnyAbove(0.5 - kTie, tenths - ToDoubles(Load(kernels)) - AllLanes(0.5))) {
            FourDoubles near;
            Store(near, tenths);
            SettleTies(four, near, kernels);
        }

        FourInts sums, centres;
        FourDoubles reciprocals;
        Store(centres, WrapSub(Load(sumAtCentre[four]), Load(sumBeforeCentre[four])));
        for (std::size_t lane = 0; lane < kLanes; ++lane) {
            const Kernel& kernel = m_kernels[static_cast<std::size_t>(kernels.lanes[lane])];
            const int* newest = sumAgain[four].lanes.data() + lane;
            sums.lanes[lane] = WrapAdd(WrapSub(newest[kernel.newest], newest[kernel.oldest]),
                                       centres.lanes[lane] & kernel.centre);
            reciprocals.lanes[lane] = kernel.reciprocal;
        }
        return WrapAdd(Quotient(Load(sums), Load(reciprocals)), Load(lowpassAtCentre[four]));
    });
    m_position = m_position + 1 < m_length ? m_position + 1 : 0;
    m_sumPosition = m_sumPosition < m_length ? m_sumPosition + 1 : 0;
}
