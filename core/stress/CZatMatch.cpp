#include "core/stress/CZatMatch.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <functional>

#include "core/Arithmetic.h"

static constexpr int kMaxTemplateMs = 800;
static constexpr std::size_t kSetTemplLeads = 12;
static constexpr short kOldWeight = 9;  // of the template against 1 of the new beat
static constexpr float kMsPerMinuteSingle = 60000.0F;
static constexpr unsigned kReservedTopBits = 0xC000U;

CZatMatch::CZatMatch(short fs, short chn, double uVpb, bool bMutex, short winMs) {
    Create(fs, chn, uVpb, bMutex, winMs);
}

CZatMatch::~CZatMatch() { Delete(); }

void CZatMatch::Create(short fs, short chn, double uVpb, bool bMutex, short winMs) {
    // m_winLen is never set, so that every window of at least one sample starts afresh.
    if (MsToSamples(winMs, fs) != m_winLen || chn != m_chn) Delete();
    const std::size_t leads = ElementCount(chn);
    m_geometry.jOffset = WrapToSample(MsToSamples(TemplGeometry::kJOffsetMs, fs));
    m_geometry.zeroWidth = WrapToSample(MsToSamples(TemplGeometry::kZeroWidthMs, fs));
    m_bMutex = bMutex;
    m_fs = fs;
    if (m_pTempl) return;
    m_geometry.length = m_geometry.posR = m_geometry.posQ = m_geometry.posJ = 0;
    try {
        m_pTempl = std::make_unique<short*[]>(leads);
        m_pRxy = std::make_unique<double[]>(leads);
        m_pSTvalues = std::make_unique<STrecord[]>(leads);
        for (std::size_t c = 0; c < leads; ++c) {
            m_leads.push_back(std::make_unique<CZatTemplRxy>(fs, uVpb, winMs));
            m_pTemplRxy.push_back(m_leads.back().get());
        }
        m_oldWeights.assign(leads, kOldWeight);
    } catch (...) {
        Release();
        throw;
    }
    m_chn = chn;
}

short CZatMatch::Init() {
    Release();
    m_bInPeak = m_bMatched = false;
    m_dExitThr = kRxyThreshold;
    m_dPeakRxy = 0;
    m_peakPos = m_waitLen = 0;
    m_bMutex = false;
    m_fs = 0;
    m_geometry = {};
    return 0;
}

void CZatMatch::Delete() {
    Barrier();
    Release();
}

/// Leaves no leads and no template; the positions stay.
void CZatMatch::Release() {
    m_chn = 0;
    m_bTempl = false;
    m_pTemplRxy.clear();
    m_oldWeights.clear();
    m_leads.clear();
    m_pTempl.reset();
    m_pRxy.reset();
    m_pSTvalues.reset();
}

/// Waits until nobody holds the mutex.
void CZatMatch::Barrier() {
    if (!m_bMutex) return;
    m_mutex.lock();
    m_mutex.unlock();
}

/// Lead ch, or null outside the leads.
CZatTemplRxy* CZatMatch::Lead(short ch) const {
    return ch >= 0 && ch < m_chn ? m_pTemplRxy[static_cast<std::size_t>(ch)] : nullptr;
}

short** CZatMatch::InitTempl(short** templ, short& len, short& posR, short& posQ, short& posJ,
                             short postJms) {
    Barrier();
    if (templ == nullptr || !m_pTempl || std::find(templ, templ + m_chn, nullptr) != templ + m_chn)
        return nullptr;

    const bool mixed = MixesLeads(templ);
    len = std::max(len, short{0});
    int R = posR > 0 && posR < len ? posR : (posQ + posJ) / 2;
    R = FindQrsMaximum(templ, len, R, posQ, posJ);
    R = FindSteepestUpstroke(templ, len, R, posQ);

    int start = 0;
    const int maxLen = std::max(MsToSamples(kMaxTemplateMs, m_fs), 0);
    if (len > maxLen) {
        start = R - (2 * maxLen) / 5;
        if (start > 0 && start + maxLen > len) start = len - maxLen;
        start = std::max(start, 0);
        len = WrapToSample(maxLen);
    }
    posR = m_geometry.posR = WrapToSample(R - start);
    posQ = m_geometry.posQ = WrapToSample(posQ - start - m_geometry.zeroWidth);
    posJ = m_geometry.posJ = WrapToSample(posJ - start);
    m_geometry.postJms = postJms;
    m_geometry.length = len;
    try {
        std::vector<short> copies;
        if (mixed)
            for (std::size_t c = 0; c < Leads(); ++c)
                copies.insert(copies.end(), templ[c] + start, templ[c] + start + len);
        for (std::size_t c = 0; c < Leads(); ++c) {
            const short* beat =
                copies.empty() ? templ[c] + start : copies.data() + c * static_cast<std::size_t>(len);
            m_pTempl[c] = m_pTemplRxy[c]->TakeTempl(beat, m_geometry);
        }
    } catch (...) {
        // Leads of different lengths would be no template: none has one then.
        m_geometry.length = 0;
        m_bTempl = false;
        for (CZatTemplRxy* lead : m_pTemplRxy) lead->DeleteTempl();
        std::fill_n(m_pTempl.get(), Leads(), nullptr);
        throw;
    }
    m_bTempl = true;
    m_dPeakRxy = 0;
    m_peakPos = 0;
    m_waitLen = m_geometry.length - m_geometry.posR - (m_chn > 0 ? m_pTemplRxy[0]->WindowLength() / 2 : 0);
    return m_pTempl.get();
}

/// True if a row of `templ` is the present template of another lead, which overwrites or frees it when it
/// takes its own row.
bool CZatMatch::MixesLeads(const short* const* templ) const {
    const std::less<const short*> before;
    for (std::size_t c = 0; c < Leads(); ++c)
        for (std::size_t other = 0; other < Leads(); ++other)
            if (other != c && !before(templ[c], m_pTempl[other]) &&
                before(templ[c], m_pTempl[other] + m_geometry.length))
                return true;
    return false;
}

/// The index of the highest sample from Q up to J, the first of equals. The place found in one lead is where
/// the next lead has to be higher. Searches inside the template only.
int CZatMatch::FindQrsMaximum(const short* const* templ, int len, int posR, int posQ, int posJ) const {
    if (len == 0) return posR;
    int R = std::clamp(posR, 0, len - 1);
    for (std::size_t c = 0; c < Leads(); ++c)
        for (int i = std::max(posQ, 0); i < std::min(posJ, len); ++i)
            if (templ[c][i] > templ[c][R]) R = i;
    return R;
}

/// The index of the steepest upstroke from after Q up to posMax, the first of equals: the fiducial point.
/// Leads follow each other as in FindQrsMaximum; before the template's first sample the signal counts as
/// flat.
int CZatMatch::FindSteepestUpstroke(const short* const* templ, int len, int posMax, int posQ) const {
    if (len == 0) return posMax;
    int R = posMax;
    for (std::size_t c = 0; c < Leads(); ++c) {
        const auto rise = [t = templ[c]](int i) { return i > 0 ? t[i] - t[i - 1] : 0; };
        for (int i = std::max(posQ + 1, 0); i <= posMax; ++i)
            if (rise(i) > rise(R)) R = i;
    }
    return R;
}

CZatTemplRxy** CZatMatch::SetTempl(short** templ) {
    Barrier();
    if (templ == nullptr) return m_pTemplRxy.data();
    for (std::size_t c = 0; c < std::min(Leads(), kSetTemplLeads); ++c)
        if (templ[c] != nullptr && m_pTemplRxy[c]->Length() == m_geometry.length)
            m_pTemplRxy[c]->SetMeasurementCopy(templ[c]);
    return m_pTemplRxy.data();
}

void CZatMatch::ZeroV() {
    Barrier();
    for (std::size_t c = 0; c < Leads(); ++c) m_pTemplRxy[c]->ZeroV();
}

double* CZatMatch::rxy(const short* frame) {
    Barrier();
    if (frame == nullptr) return nullptr;
    CZatTemplRxy::Take(m_pTemplRxy.data(), Leads(), frame);
    Correlate();
    return m_pRxy.get();
}

void CZatMatch::Correlate() { CZatTemplRxy::rxy(m_pTemplRxy.data(), Leads(), m_pRxy.get()); }

short** CZatMatch::match(const short* frame) {
    Barrier();
    if (frame == nullptr || m_chn == 0 || m_pTemplRxy[0]->Length() == 0) return nullptr;
    CZatTemplRxy::Take(m_pTemplRxy.data(), Leads(), frame);
    // Where channel 0's next sample goes, that is where the oldest one stands; all rings advance together.
    const int pos = m_pTemplRxy[0]->RingPos();

    if (m_bMatched) {
        if (Passed(pos) < m_waitLen) return nullptr;
        m_bMatched = false;
        if (!HasOneLength()) return nullptr;
        FoldBeat(pos);
        return m_pTempl.get();
    }
    const Vote vote = CountMatches();
    if (m_bInPeak || SearchPeak(vote, pos)) FollowPeak(vote, pos);
    return nullptr;
}

/// Samples from the best place of the peak to ring position pos.
int CZatMatch::Passed(int pos) const {
    const int passed = pos - m_peakPos;
    return passed < 0 ? passed + m_geometry.length : passed;
}

/// False while a host has given one of the leads of SetTempl a template of another length.
bool CZatMatch::HasOneLength() const {
    return std::all_of(m_pTemplRxy.begin(), m_pTemplRxy.end(),
                       [this](const CZatTemplRxy* lead) { return lead->Length() == m_geometry.length; });
}

bool CZatMatch::IsFoldDue() const {
    if (!m_bMatched || m_chn == 0 || m_geometry.length == 0) return false;
    return Passed((m_pTemplRxy[0]->RingPos() + 1) % m_geometry.length) >= m_waitLen && HasOneLength();
}

void CZatMatch::SetOldWeight(short ch, short weight) {
    if (Lead(ch) != nullptr) m_oldWeights[static_cast<std::size_t>(ch)] = weight;
}

/// The leads that correlate well enough; NaN (a flat lead) never does. The estimates decide where exact
/// correlations would do the same to the peak: where a majority is out of reach, and where the running peak's
/// best place stays. The vote is theirs then, without leads in the first case.
CZatMatch::Vote CZatMatch::CountMatches() {
    constexpr double kMargin = CorrelationScreen::kMargin;
    Vote vote;
    std::size_t below = 0;
    bool isSure = m_bInPeak;
    for (const CZatTemplRxy* lead : m_pTemplRxy) {
        const double estimate = lead->EstimateRxy();
        if (estimate < kRxyThreshold - kMargin) {
            if (2 * ++below >= Leads()) return {};
        } else if (estimate >= kRxyThreshold + kMargin) {
            ++vote.leads;
            vote.sum += estimate;
        } else {
            isSure = false;
        }
    }
    const double mean = vote.sum / vote.leads;
    if (isSure && mean < m_dPeakRxy - kMargin && std::abs(mean - m_dExitThr) > kMargin) return vote;

    Correlate();
    vote = {};
    for (std::size_t c = 0; c < Leads(); ++c) {
        if (!(m_pRxy[c] >= kRxyThreshold)) continue;
        ++vote.leads;
        vote.sum += m_pRxy[c];
    }
    return vote;
}

/// Opens a peak where more than half of the leads match. The exit threshold shrinks with their share.
bool CZatMatch::SearchPeak(const Vote& vote, int pos) {
    if (vote.leads <= m_chn / 2) return false;
    m_bInPeak = true;
    m_dExitThr = vote.leads * kRxyThreshold / m_chn;
    m_dPeakRxy = vote.sum / vote.leads;
    m_peakPos = pos;
    return true;
}

/// Keeps the best place of the running peak, or ends it.
void CZatMatch::FollowPeak(const Vote& vote, int pos) {
    if (vote.leads > m_chn / 2) {
        const double mean = vote.sum / vote.leads;
        if (mean > m_dPeakRxy) {
            m_dPeakRxy = mean;
            m_peakPos = pos;
            return;
        }
        if (mean >= m_dExitThr) return;
    }
    m_bInPeak = false;
    m_bMatched = true;
}

/// Averages the beat in the rings, whose oldest sample stands at pos, into the template, shifts the template
/// so that its fiducial point stays at R, and renews what is measured on it.
void CZatMatch::FoldBeat(int pos) {
    // A lead that a host has given its template anew has it elsewhere.
    for (std::size_t c = 0; c < Leads(); ++c) m_pTempl[c] = m_pTemplRxy[c]->Templ();
    const int posMax = AverageBeat(pos);
    Realign(FindSteepestUpstroke(m_pTempl.get(), m_geometry.length, posMax, m_geometry.posQ) -
            m_geometry.posR);
    for (std::size_t c = 0; c < Leads(); ++c) m_pTemplRxy[c]->AdoptTempl();
}

/// Averages `count` samples of a beat into the template; quotients are truncated toward zero and wrapped. The
/// division is one of doubles, which processors do several of at once, and exact: a quotient of 31 by 16 bits
/// that is no whole number lies 2^-16 off the next one at least, and rounding moves it by 2^-22 at most.
static void AverageInto(short* templ, const short* beat, int count, int oldWeight) {
    const double weights = oldWeight + 1;
    for (int i = 0; i < count; ++i)
        templ[i] = WrapToSample(static_cast<int>((beat[i] + oldWeight * templ[i]) / weights));
}

/// Returns the index of the QRS maximum, between Q and J, both excluded.
/// Deliberate: a sample is compared with a later one as that stood before this beat.
int CZatMatch::AverageBeat(int pos) {
    const int length = m_geometry.length;
    int R = std::clamp<int>(m_geometry.posR, 0, length - 1);
    for (std::size_t c = 0; c < Leads(); ++c) {
        short* t = m_pTempl[c];
        const short* ring = m_pTemplRxy[c]->Ring();
        const short before = t[R];
        if (m_oldWeights[c] != kLeaveOut) {
            AverageInto(t, ring + pos, length - pos, m_oldWeights[c]);
            AverageInto(t + length - pos, ring, pos, m_oldWeights[c]);
        }
        for (int i = std::max(m_geometry.posQ + 1, 0); i < std::min<int>(m_geometry.posJ, length); ++i)
            if (t[i] > (i < R ? before : t[R])) R = i;
    }
    return R;
}

/// Shifts every lead by `shift` samples toward its beginning (negative: toward its end).
/// Deliberate: the vacated end keeps its old samples.
void CZatMatch::Realign(int shift) {
    const int length = m_geometry.length;
    if (shift <= -length || shift >= length) return;
    for (std::size_t c = 0; c < Leads(); ++c) {
        short* t = m_pTempl[c];
        if (shift > 0)
            std::copy(t + shift, t + length, t);
        else if (shift < 0)
            std::copy_backward(t, t + length + shift, t + length);
    }
}

short CZatMatch::SetPostJms(short ms) {
    Barrier();
    m_geometry.postJms = ms;
    for (std::size_t c = 0; c < Leads(); ++c) m_pTemplRxy[c]->SetPostJms(ms);
    return m_chn;
}

short CZatMatch::GetPos(short& posR, short& posQ, short& posJ, short& postJms) {
    Barrier();
    posR = m_geometry.posR;
    posQ = m_geometry.posQ;
    posJ = m_geometry.posJ;
    postJms = m_geometry.postJms;
    return m_geometry.length;
}

short CZatMatch::SetPos(short posQ, short posJ) {
    Barrier();
    m_geometry.posQ = posQ;
    m_geometry.posJ = posJ;
    for (std::size_t c = 0; c < Leads(); ++c) m_pTemplRxy[c]->SetPos(posQ, posJ);
    return m_chn;
}

short CZatMatch::SetPos(short posR, short posQ, short posJ) {
    Barrier();
    m_geometry.posR = posR;
    m_geometry.posQ = posQ;
    m_geometry.posJ = posJ;
    for (std::size_t c = 0; c < Leads(); ++c) m_pTemplRxy[c]->SetPos(posR, posQ, posJ);
    return m_chn;
}

float CZatMatch::STslope(short ch, short ms) {
    Barrier();
    const CZatTemplRxy* lead = Lead(ch);
    return lead != nullptr ? lead->STslope(ms) : 0.0F;
}

short CZatMatch::uvSTvalue(short ch, short ms) {
    Barrier();
    const CZatTemplRxy* lead = Lead(ch);
    return lead != nullptr ? lead->uvSTvalue(ms) : short{0};
}

short CZatMatch::JuV(short ch) {
    Barrier();
    const CZatTemplRxy* lead = Lead(ch);
    return lead != nullptr ? lead->JuV() : short{0};
}

short CZatMatch::RuV(short ch) {
    Barrier();
    const CZatTemplRxy* lead = Lead(ch);
    return lead != nullptr ? lead->RuV() : short{0};
}

short CZatMatch::ZeroUv(short ch) {
    Barrier();
    const CZatTemplRxy* lead = Lead(ch);
    return lead != nullptr ? lead->ZeroUv() : short{0};
}

short CZatMatch::uvDeltaSTvalue(short ch, short ms) {
    Barrier();
    const CZatTemplRxy* lead = Lead(ch);
    return lead != nullptr ? WrapToSample(lead->uvSTvalue(ms) - lead->ReferenceSTuV()) : short{0};
}

short CZatMatch::JuVDelta(short ch) {
    Barrier();
    const CZatTemplRxy* lead = Lead(ch);
    return lead != nullptr ? WrapToSample(lead->JuV() - lead->ReferenceJuV()) : short{0};
}

float CZatMatch::STHRindex(float uv, short rrMs) const {
    return uv * static_cast<float>(rrMs) / kMsPerMinuteSingle;
}

long CZatMatch::Samples2ms(long n) const { return static_cast<long>(SamplesToMs(n, m_fs)); }

long CZatMatch::ms2Samples(long ms) const {
    return static_cast<long>(static_cast<unsigned long>(m_fs) * static_cast<unsigned long>(ms)) / 1000;
}

STrecord* CZatMatch::STvalues(short rrMs) {
    Barrier();
    for (short c = 0; c < m_chn; ++c) {
        STrecord& record = m_pSTvalues[static_cast<std::size_t>(c)];
        record.RuV = RuV(c);
        record.JuV = JuV(c);
        record.STuV = uvSTvalue(c, -1);
        record.STslope = STslope(c, -1);
        record.STHRindex = STHRindex(record.STuV, rrMs);
        record.reserved = static_cast<std::uint16_t>(record.reserved & kReservedTopBits);
    }
    return m_pSTvalues.get();
}

STrecord* CZatMatch::GetSTvalues() {
    Barrier();
    return m_pSTvalues.get();
}
