#include "core/stress/CZatTemplRxy.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <functional>
#include <numeric>

#include "core/Arithmetic.h"

short CZatTemplRxy::Create(short fs, double uVpb, short winMs) {
    const short winLen = WrapToSample(std::max(MsToSamples(winMs, fs), 0));
    if (winLen != m_winLen) {
        Delete();
        const std::size_t length = ElementCount(winLen);
        try {
            m_templDiff.resize(length);
            m_centred.resize(length);
            m_diffRing.resize(2 * length);
            m_screen.Create(length);
        } catch (...) {
            Delete();
            throw;
        }
        m_winLen = winLen;
    }
    m_uVpb = uVpb;
    m_fs = fs;
    m_diffPos = m_winStart = 0;
    m_bFull = false;
    m_prev = m_zero = 0;
    m_sumOffset = -m_diffSum;
    Centre(0);
    m_screen.SetTempl({});
    return 0;
}

short CZatTemplRxy::Init() {
    Delete();
    DeleteTempl();
    m_fs = 0;
    m_geometry = {};
    m_zero = 0;
    m_uVpb = 0;
    m_bFull = false;
    m_prev = 0;
    m_winStart = m_diffPos = 0;
    m_dSaa = 0;
    return 0;
}

void CZatTemplRxy::Delete() {
    m_winLen = 0;
    m_templDiff.clear();
    m_centred.clear();
    m_diffRing.clear();
    m_diffSum = 0;
    m_screen.Create(0);
}

void CZatTemplRxy::DeleteTempl() {
    m_geometry.length = 0;
    m_ringPos = 0;
    m_STuv0 = m_JuV0 = m_zero = 0;
    m_screen.SetTempl({});
    m_templ.clear();
    m_meas.clear();
    m_ring.clear();
}

short* CZatTemplRxy::InitTempl(const short* templ, short len, short posR, short posQ, short posJ,
                               short postJms, short zeroWidth, short jOffset) {
    return TakeTempl(templ, {len, posR, posQ, posJ, postJms, jOffset, zeroWidth});
}

short* CZatTemplRxy::TakeTempl(const short* templ, const TemplGeometry& geometry) {
    if (templ == nullptr) return nullptr;
    const auto length = static_cast<std::size_t>(std::max(geometry.length, short{0}));
    if (length != m_templ.size()) {
        // Built before anything is given up: a host may hand in the template that it got from here.
        std::vector<short> beat(templ, templ + length), meas(length), ring(length);
        m_templ.swap(beat);
        m_meas.swap(meas);
        m_ring.swap(ring);
    } else if (length > 0) {
        std::memmove(m_templ.data(), templ, length * sizeof(short));
    }
    std::copy(m_templ.begin(), m_templ.end(), m_meas.begin());
    std::copy(m_templ.begin(), m_templ.end(), m_ring.begin());
    m_geometry = geometry;
    m_geometry.length = static_cast<short>(length);
    m_winStart = geometry.posR - m_winLen / 2;
    m_ringPos = 0;
    ZeroV();
    Average();
    m_STuv0 = uvSTvalue(-1);
    m_JuV0 = JuV();
    return Templ();
}

void CZatTemplRxy::SetMeasurementCopy(const short* samples) { m_meas.assign(samples, samples + Length()); }

void CZatTemplRxy::AdoptTempl() {
    m_meas = m_templ;
    ZeroV();
    Average();
}

/// The share of the level around Q that TemplGeometry tells of. The sum is 16-bit and wraps.
double CZatTemplRxy::ZeroV() {
    const int reach = m_geometry.ZeroReach();
    const int divisor = m_geometry.ZeroDivisor();
    m_zero = 0;
    if (divisor == 0) return 0;
    for (int i = m_geometry.posQ - reach; i < m_geometry.posQ + reach; ++i)
        if (IsInside(i)) m_zero = WrapToSample(m_zero + m_meas[static_cast<std::size_t>(i)]);
    m_zero = WrapToSample(m_zero / divisor);
    return m_zero;
}

double CZatTemplRxy::Average() {
    std::fill(m_templDiff.begin(), m_templDiff.end(), 0);
    const int start = m_winStart, end = std::min(start + m_winLen, Length());
    const short* const sample = m_meas.data();
    int* const diff = m_templDiff.data();
    for (int i = std::max(start, 1); i < end; ++i) diff[i - start] = sample[i] - sample[i - 1];
    Centre(static_cast<double>(std::accumulate(m_templDiff.begin(), m_templDiff.end(), 0)) / m_winLen);
    m_screen.SetTempl(m_templDiff);
    return m_winLen;
}

/// Takes the template differences less `mean` for the correlation, which needs their sum of squares too.
void CZatTemplRxy::Centre(double mean) {
    double squares = 0;
    for (std::size_t k = 0; k < m_templDiff.size(); ++k) {
        const double a = m_templDiff[k] - mean;
        m_centred[k] = a;
        squares += a * a;
    }
    m_dSaa = squares;
}

inline void CZatTemplRxy::Store(short sample) {
    if (m_winLen == 0 || Length() == 0) return;
    const int diff = sample - m_prev;
    m_prev = sample;
    double* slot = m_diffRing.data() + m_diffPos;
    const int oldest = static_cast<int>(*slot);
    slot[0] = slot[m_winLen] = diff;
    m_screen.Take(static_cast<std::size_t>(m_diffPos), diff, oldest);
    m_diffSum += diff - oldest;
    if (!m_bFull) m_sumOffset += oldest;
    if (++m_diffPos == m_winLen) m_diffPos = 0;

    m_ring[static_cast<std::size_t>(m_ringPos)] = sample;
    if (++m_ringPos == Length()) {
        m_ringPos = 0;
        m_bFull = true;
    }
}

void CZatTemplRxy::Take(short sample) { Store(sample); }

void CZatTemplRxy::Take(CZatTemplRxy* const* leads, std::size_t count, const short* samples) {
    for (std::size_t c = 0; c < count; ++c) leads[c]->Store(samples[c]);
}

double CZatTemplRxy::EstimateRxy() const {
    return m_bFull ? m_screen.Estimate(static_cast<std::size_t>(m_diffPos), m_diffSum, RunningSum()) : 0;
}

double CZatTemplRxy::rxy() const {
    double correlation = 0;
    const CZatTemplRxy* lead = this;
    if (IsReady()) Correlate<1>(&lead, &correlation);
    return correlation;
}

double CZatTemplRxy::rxy(short sample) {
    Take(sample);
    return rxy();
}

void CZatTemplRxy::rxy(const CZatTemplRxy* const* leads, std::size_t count, double* correlations) {
    const auto isAlike = [leads](const CZatTemplRxy* lead) {
        return lead->IsReady() && lead->m_winLen == (*leads)->m_winLen;
    };
    std::size_t c = 0;
    for (; c + kSideBySide <= count && std::all_of(leads + c, leads + c + kSideBySide, isAlike);
         c += kSideBySide)
        Correlate<kSideBySide>(leads + c, correlations + c);
    for (; c < count; ++c) correlations[c] = leads[c]->rxy();
}

/// Adds up b^2 and a b over the window of N leads, each sum for itself from the oldest term to the newest. A
/// function of this source alone: what a class declares in its header, ahead of core/FloatingPoint.h, some
/// compilers take for free to fuse.
template <std::size_t N>
static void SumWindow(const double* const (&centred)[N], const double* const (&diffs)[N],
                      const double (&mean)[N], std::size_t winLen, double (&sbb)[N], double (&sab)[N]) {
    for (std::size_t k = 0; k < winLen; ++k) {
        for (std::size_t n = 0; n < N; ++n) {
            const double b = diffs[n][k] - mean[n];
            sbb[n] += b * b;
            sab[n] += centred[n][k] * b;
        }
    }
}

/// The correlations of N leads that are ready and have the same window.
template <std::size_t N>
void CZatTemplRxy::Correlate(const CZatTemplRxy* const* leads, double* correlations) {
    const double* centred[N];
    const double* diffs[N];
    double mean[N], sbb[N] = {}, sab[N] = {};
    for (std::size_t n = 0; n < N; ++n) {
        centred[n] = leads[n]->m_centred.data();
        diffs[n] = leads[n]->m_diffRing.data() + leads[n]->m_diffPos;
        mean[n] = static_cast<double>(leads[n]->RunningSum()) / leads[n]->m_winLen;
    }
    SumWindow(centred, diffs, mean, leads[0]->m_centred.size(), sbb, sab);
    for (std::size_t n = 0; n < N; ++n) correlations[n] = (sab[n] * sab[n]) / (leads[n]->m_dSaa * sbb[n]);
}

void CZatTemplRxy::SetPos(short posR, short posQ, short posJ) {
    m_geometry.posR = posR;
    SetPos(posQ, posJ);
}

void CZatTemplRxy::SetPos(short posQ, short posJ) {
    m_geometry.posQ = posQ;
    m_geometry.posJ = posJ;
}

short CZatTemplRxy::ZeroUv() const { return TruncateToSample(m_zero * m_uVpb); }

short CZatTemplRxy::uvSTvalue(short ms) const {
    return m_geometry.posQ < 1 ? short{0} : LevelUv(STPoint(ms));
}

short CZatTemplRxy::JuV() const { return m_geometry.posQ < 1 ? short{0} : LevelUv(m_geometry.JPoint()); }

float CZatTemplRxy::STslope(short ms) const {
    const int from = m_geometry.JPoint(), to = STPoint(ms);
    if (m_geometry.posJ < 1 || !IsInside(from) || !IsInside(to)) return 0;
    const int rise = m_meas[static_cast<std::size_t>(to)] - m_meas[static_cast<std::size_t>(from)];
    return static_cast<float>(rise * m_uVpb / (ms < 0 ? m_geometry.postJms : ms));
}

short CZatTemplRxy::RuV() const {
    const int first = std::max<int>(m_geometry.posQ, 0);
    const int end = std::min(m_geometry.posJ, m_geometry.length);
    int highest = 0;
    for (int i = first; i < end; ++i) highest = std::max<int>(highest, m_meas[static_cast<std::size_t>(i)]);
    return TruncateToSample((highest - m_zero) * m_uVpb);
}

/// The sample at `index` against the zero level, uV; 0 outside the template.
short CZatTemplRxy::LevelUv(int index) const {
    if (!IsInside(index)) return 0;
    return TruncateToSample((m_meas[static_cast<std::size_t>(index)] - m_zero) * m_uVpb);
}

/// The ST point `ms` after the J point; a negative ms stands for the stored post-J time.
int CZatTemplRxy::STPoint(int ms) const {
    return m_geometry.JPoint() + MsToSamples(ms < 0 ? m_geometry.postJms : ms, m_fs);
}
