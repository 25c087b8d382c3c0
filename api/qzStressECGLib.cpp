#include "api/qzStressECGLib.h"

#include <algorithm>
#include <cstdint>
#include <vector>

#include "api/internal/ReleasedByCall.h"
#include "core/Arithmetic.h"
#include "core/detect/CMultirtRRdetect.h"
#include "core/detect/CrtRRdetect.h"
#include "core/filters/CLowpassFilter2.h"
#include "core/stress/CZatMatch.h"
#include "core/stress/CZatMidRR.h"
#include "core/stress/STtrend.h"

static constexpr short kAveragedBeats = 5;
static constexpr short kNoBeat = -1;
static constexpr short kNothing = -1;  // leads or samples of what is not there

static bool g_mutex_lock = false;                     // engines created from now on wait for their mutex
static short g_chn = 0;                               // leads; 0: no engine
static short g_fs = 0;                                // samples per second, of the last engine
static double g_uVpb = 0;                             // microvolts per unit, of the last engine
static const short g_acFreq = 50;                     // mains frequency for g_RRdetect, Hz
static bool g_firstST = true, g_firstSTslope = true;  // the smoothers still need their first value

// The engine; empty: none.
static ReleasedByCall<CZatMidRR> g_hr;  // RR average of the three-lead path
static ReleasedByCall<CZatMatch> g_match;
static ReleasedByCall<std::vector<float>> g_STslope;         // last smoothed ST slope per lead, uV per ms
static ReleasedByCall<std::vector<short>> g_STuv;            // last smoothed ST level per lead, uV
static ReleasedByCall<std::vector<STresult>> g_ST;           // last ST result per lead
static ReleasedByCall<CrtRRdetect> g_RRdetect;               // detector of the three-lead path
static ReleasedByCall<std::vector<CLowpassFilter2>> g_lpST;  // ST level smoothers, one per lead
static ReleasedByCall<std::vector<CLowpassFilter2>> g_lpSTslope;  // ST slope smoothers, one per lead

// The many-lead path. Process-wide like the others, though named as members: the names are fixed.
static ReleasedByCall<CMultirtRRdetect> m_mRRdetect;  // empty: not set up
static ReleasedByCall<CZatMidRR> m_mMidRR;            // RR average; there from the first setting up on

/// Releases the many-lead path when the library is unloaded: what calls it later finds it not set up.
static const struct Unload {
    ~Unload() {
        m_mRRdetect.Release();
        m_mMidRR.Release();
    }
} g_unload;

static void Destroy() {
    g_hr.Release();
    g_match.Release();
    g_STslope.Release();
    g_STuv.Release();
    g_ST.Release();
    g_RRdetect.Release();
    g_lpST.Release();
    g_lpSTslope.Release();
    g_firstST = g_firstSTslope = true;
    g_chn = 0;
}

bool qzStressECGLib_init(bool mutex_lock) {
    g_mutex_lock = mutex_lock;
    return true;
}

bool qzStressECGLib_create(short fs, short chn, double uVpb) {
    Destroy();
    const std::size_t leads = ElementCount(chn);
    const std::size_t results = std::max<std::size_t>(leads, 1);  // arrays of no leads have an address too
    g_fs = fs;
    g_uVpb = uVpb;
    try {
        g_hr.Create(kAveragedBeats);
        g_match.Create(fs, chn, uVpb, g_mutex_lock, CZatMatch::kUsualWindowMs);
        g_STslope.Create(results);
        g_STuv.Create(results);
        g_ST.Create(results);
        g_RRdetect.Create(fs, g_acFreq);
        g_lpST.Create(leads, CLowpassFilter2(kSTsmootherHz, kSTsmootherFs));
        g_lpSTslope.Create(leads, CLowpassFilter2(kSTsmootherHz, kSTsmootherFs));
    } catch (...) {
        Destroy();
        throw;
    }
    g_chn = chn;
    return true;
}

void qzStressECGLib_destroy() { Destroy(); }

std::mutex* qzStressECGLib_mutex() { return g_match ? &g_match->Mutex() : nullptr; }

short** qzStressECGLib_InitTempl(short** templ, short& len, short posQ, short posJ, short postJms) {
    if (!g_match) return nullptr;
    short posR = 0;  // outside the range in which the matcher takes it: it places R itself
    return g_match->InitTempl(templ, len, posR, posQ, posJ, postJms);
}

short** qzStressECGLib_getTempl() { return g_match ? g_match->Templ() : nullptr; }

short qzStressECGLib_Leads() { return g_match ? g_chn : kNothing; }

short qzStressECGLib_TemplLength() { return g_match ? g_match->TemplLength() : kNothing; }

short** qzStressECGLib_match(short* frame) { return g_match ? g_match->match(frame) : nullptr; }

short qzStressECGLib_SetPos(short posQ, short posJ) { return g_match ? g_match->SetPos(posQ, posJ) : posQ; }

short qzStressECGLib_SetPostJms(short postJms) { return g_match ? g_match->SetPostJms(postJms) : postJms; }

short qzStressECGLib_GetPos(short& posR, short& posQ, short& posJ, short& postJms) {
    return g_match ? g_match->GetPos(posR, posQ, posJ, postJms) : short{0};
}

float* qzStressECGLib_STslope() {
    if (!g_match) return nullptr;
    for (short c = 0; c < g_chn; ++c) (*g_STslope)[static_cast<std::size_t>(c)] = g_match->STslope(c, -1);
    SmoothTrend(*g_STslope, *g_lpSTslope, g_firstSTslope);
    return g_STslope->data();
}

short* qzStressECGLib_uvSTvalue() {
    if (!g_match) return nullptr;
    for (short c = 0; c < g_chn; ++c) (*g_STuv)[static_cast<std::size_t>(c)] = g_match->uvSTvalue(c, -1);
    SmoothTrend(*g_STuv, *g_lpST, g_firstST);
    return g_STuv->data();
}

STresult* qzStressECGLib_STresults(short rrMs) {
    const STrecord* records = g_match ? g_match->STvalues(rrMs) : nullptr;
    if (records == nullptr) return nullptr;
    for (short c = 0; c < g_chn; ++c) {
        const STrecord& record = records[c];
        STresult& result = (*g_ST)[static_cast<std::size_t>(c)];
        result.RuV = record.RuV;
        result.JuV = record.JuV;
        result.STuV = record.STuV;
        result.deltaSTuV = g_match->uvDeltaSTvalue(c, -1);
        result.deltaJuV = g_match->JuVDelta(c);
        result.STslope = record.STslope;
        result.STHRindex = record.STHRindex;
    }
    return g_ST->data();
}

short qzStressECGLib_MeanRRms(short s1, short s2, short s3) {
    if (!g_RRdetect) return kNoBeat;
    const int samples = g_RRdetect->QRSdetect(TruncateToInt(s1 * g_uVpb), TruncateToInt(s2 * g_uVpb),
                                              TruncateToInt(s3 * g_uVpb));
    return SteadyRRms(samples, g_fs, *g_hr);
}

void qzStressECGLib_InitMultiMeanRRms(short fs, short chn, short acFreq, double uVpb) {
    m_mRRdetect.Release();
    if (!m_mMidRR) m_mMidRR.Create(kAveragedBeats);
    m_mRRdetect.Create(fs, chn, acFreq, uVpb);
}

short qzStressECGLib_MultiMeanRRms(short* frame) {
    if (qzStressECGLib_MultiLeads() < 0) return kNoBeat;
    return SteadyRRms(m_mRRdetect->QRSdetect(frame), m_mRRdetect->SamplingRate(), *m_mMidRR);
}

short qzStressECGLib_MultiMeanHR(short* frame) {
    const short rrMs = qzStressECGLib_MultiMeanRRms(frame);
    return rrMs < 1 ? rrMs : static_cast<short>(60000 / rrMs);
}

short qzStressECGLib_MultiLeads() {
    return m_mRRdetect && m_mRRdetect->SamplingRate() > 0 ? static_cast<short>(m_mRRdetect->Channels())
                                                          : kNothing;
}
