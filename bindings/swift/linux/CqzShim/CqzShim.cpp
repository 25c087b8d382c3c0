#include "CqzShim.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "api/qzStressTemplLibC.h"

static constexpr CqzSamples kNilSamples = {nullptr, -1};
static constexpr CqzFloats kNilFloats = {nullptr, -1};
static constexpr CqzTemplate kNilTemplate = {nullptr, -1, 0};

static std::size_t LeadCount(std::int16_t chn) { return static_cast<std::size_t>(std::max<int>(chn, 0)); }

/// An array of the classes, which is nil until it is laid out.
template <typename T>
class ResultArray {
public:
    void LayOut(std::size_t count) {
        m_values.reserve(std::max<std::size_t>(count, 1));  // an empty array has an address too
        m_values.assign(count, T{});
        m_isNil = false;
    }
    bool IsNil() const { return m_isNil; }
    std::vector<T>& Values() { return m_values; }
    std::int32_t Count() const { return static_cast<std::int32_t>(m_values.size()); }

private:
    std::vector<T> m_values;
    bool m_isNil = true;
};

static CqzSamples Result(ResultArray<std::int16_t>& array) { return {array.Values().data(), array.Count()}; }

/// Copies as many samples as `buffer` holds; missing ones are 0.
static void ReadFrame(const std::int16_t* frame, std::size_t count, std::vector<std::int16_t>& buffer) {
    const std::size_t present = frame == nullptr ? 0 : std::min(count, buffer.size());
    std::fill(std::copy_n(frame, present, buffer.begin()), buffer.end(), std::int16_t{0});
}

struct CqzStressTemplLib {
    std::int16_t m_chnum = 12;
    std::int16_t m_length = 0;                       // of the last template that the engine took, samples
    std::vector<std::int16_t> m_ad;                  // one frame
    ResultArray<std::int16_t> m_templ, m_pos, m_ST;  // m_templ: m_rows rows, each of m_rowLength samples
    ResultArray<float> m_STslope;
    std::size_t m_rows = 0, m_rowLength = 0;
    std::vector<std::int16_t> m_engineTempl;  // the engine's rows, before they go into m_templ

    /// Refills m_templ from the engine, as far as both reach.
    CqzTemplate Template();
};

CqzTemplate CqzStressTemplLib::Template() {
    const std::size_t leads = LeadCount(m_chnum);
    const std::int16_t templLength = qzc_stress_templ_length();
    if (m_templ.IsNil() || templLength < 0 || qzc_stress_leads() != static_cast<int>(leads))
        return kNilTemplate;

    const std::size_t engineLength = LeadCount(templLength);
    m_engineTempl.resize(leads * engineLength);
    qzc_stress_get_templ(m_engineTempl.data(), m_engineTempl.size());
    const std::size_t length = std::min({LeadCount(m_length), m_rowLength, engineLength});
    for (std::size_t c = 0; c < std::min(leads, m_rows); ++c)
        std::copy_n(m_engineTempl.begin() + static_cast<std::ptrdiff_t>(c * engineLength), length,
                    m_templ.Values().begin() + static_cast<std::ptrdiff_t>(c * m_rowLength));
    return {m_templ.Values().data(), static_cast<std::int32_t>(m_rows),
            static_cast<std::int32_t>(m_rowLength)};
}

CqzStressTemplLib* CqzStressTemplLib_init() { return new CqzStressTemplLib; }

void CqzStressTemplLib_release(CqzStressTemplLib* self) { delete self; }

bool CqzStressTemplLib_create(CqzStressTemplLib* self, std::int16_t fs, std::int16_t chn, double uVpb,
                              bool mutex_lock) {
    qzc_stress_init(mutex_lock);
    self->m_chnum = chn;
    self->m_ad.assign(LeadCount(chn), 0);
    return qzc_stress_create(fs, chn, uVpb);
}

void CqzStressTemplLib_destroy(CqzStressTemplLib*) { qzc_stress_destroy(); }

CqzTemplate CqzStressTemplLib_restTempl(CqzStressTemplLib* self, const std::int16_t* samples,
                                        const std::size_t* lengths, std::size_t rows, std::int16_t posQ,
                                        std::int16_t posJ, std::int16_t postJms) {
    const std::size_t leads = LeadCount(self->m_chnum);
    if (rows < leads) return kNilTemplate;
    auto kept = leads == 0 ? std::int16_t{0} : static_cast<std::int16_t>(lengths[leads - 1]);
    const std::size_t length = LeadCount(kept);

    std::vector<std::int16_t> templ(leads * length);
    const std::int16_t* row = samples;
    for (std::size_t c = 0; c < leads; row += lengths[c++])
        std::copy_n(row, std::min(lengths[c], length),
                    templ.begin() + static_cast<std::ptrdiff_t>(c * length));
    if (!qzc_stress_init_templ(templ.data(), leads, length, posQ, posJ, postJms, &kept)) return kNilTemplate;

    self->m_length = kept;
    self->m_rows = leads;
    self->m_rowLength = LeadCount(self->m_length);
    self->m_templ.LayOut(self->m_rows * self->m_rowLength);
    self->m_ST.LayOut(leads);
    self->m_STslope.LayOut(leads);
    self->m_pos.LayOut(4);
    self->Template();
    return {self->m_templ.Values().data(), static_cast<std::int32_t>(self->m_rows),
            static_cast<std::int32_t>(self->m_rowLength)};
}

CqzSamples CqzStressTemplLib_getPos(CqzStressTemplLib* self) {
    std::int16_t posR = 0, posQ = 0, posJ = 0, postJms = 0;
    if (qzc_stress_get_pos(&posR, &posQ, &posJ, &postJms) < 1 || self->m_pos.IsNil()) return kNilSamples;
    self->m_pos.Values() = {posQ, posJ, postJms, posR};
    return Result(self->m_pos);
}

CqzTemplate CqzStressTemplLib_match(CqzStressTemplLib* self, const std::int16_t* frame, std::size_t count) {
    ReadFrame(frame, count, self->m_ad);
    return qzc_stress_match(self->m_ad.data(), self->m_ad.size()) ? self->Template() : kNilTemplate;
}

CqzTemplate CqzStressTemplLib_getTempl(CqzStressTemplLib* self) { return self->Template(); }

void CqzStressTemplLib_setPos(CqzStressTemplLib*, std::int16_t posQ, std::int16_t posJ) {
    qzc_stress_set_pos(posQ, posJ);
}

void CqzStressTemplLib_setPostJms(CqzStressTemplLib*, std::int16_t postJms) {
    qzc_stress_set_post_j_ms(postJms);
}

CqzFloats CqzStressTemplLib_getSTslope(CqzStressTemplLib* self) {
    std::vector<float> slopes(LeadCount(self->m_chnum));
    std::vector<float>& results = self->m_STslope.Values();
    if (!qzc_stress_st_slope(slopes.data(), LeadCount(self->m_chnum)) || self->m_STslope.IsNil() ||
        results.size() != LeadCount(self->m_chnum))
        return kNilFloats;
    std::copy_n(slopes.begin(), results.size(), results.begin());
    return {results.data(), self->m_STslope.Count()};
}

CqzSamples CqzStressTemplLib_getSTuv(CqzStressTemplLib* self) {
    std::vector<std::int16_t> levels(LeadCount(self->m_chnum));
    std::vector<std::int16_t>& results = self->m_ST.Values();
    if (!qzc_stress_st_level(levels.data(), LeadCount(self->m_chnum)) || self->m_ST.IsNil() ||
        results.size() != LeadCount(self->m_chnum))
        return kNilSamples;
    std::copy_n(levels.begin(), results.size(), results.begin());
    return Result(self->m_ST);
}

std::int16_t CqzStressTemplLib_getMeanHR(CqzStressTemplLib*, std::int16_t s1, std::int16_t s2,
                                         std::int16_t s3) {
    return qzc_heart_rate_of_three_leads(qzc_stress_mean_rr_ms(s1, s2, s3));
}

struct CqzFiltersLib {
    std::vector<std::int16_t> ad;
    std::int16_t chnum = 0;
    ResultArray<std::int16_t> dst;
};

CqzFiltersLib* CqzFiltersLib_init() { return new CqzFiltersLib; }

void CqzFiltersLib_release(CqzFiltersLib* self) {
    if (self == nullptr) return;
    CqzFiltersLib_destroy(self);
    delete self;
}

bool CqzFiltersLib_create(CqzFiltersLib* self, std::int16_t fs, std::int16_t chn, std::int16_t freqLpass,
                          std::int16_t freqNotch, std::int16_t smooth) {
    if (!qzc_filters_create(fs, chn, freqLpass, freqNotch, smooth)) return false;
    self->ad.assign(LeadCount(chn), 0);
    self->chnum = chn;
    self->dst.LayOut(LeadCount(chn));
    return true;
}

bool CqzFiltersLib_update(CqzFiltersLib* self, std::int16_t fs, std::int16_t freqLpass,
                          std::int16_t freqNotch, std::int16_t smooth) {
    return self->chnum >= 1 && qzc_filters_create(fs, self->chnum, freqLpass, freqNotch, smooth);
}

void CqzFiltersLib_switchFilters(CqzFiltersLib*, bool lowpass, bool notch, bool smooth) {
    qzc_filters_switch(lowpass, notch, smooth);
}

CqzSamples CqzFiltersLib_filters(CqzFiltersLib* self, const std::int16_t* frame, std::size_t count) {
    if (count != LeadCount(self->chnum)) return {frame, static_cast<std::int32_t>(count)};
    if (self->dst.IsNil()) return kNilSamples;
    ReadFrame(frame, count, self->ad);
    qzc_filters_filters(self->ad.data(), self->ad.size());
    std::copy(self->ad.begin(), self->ad.end(), self->dst.Values().begin());
    return Result(self->dst);
}

void CqzFiltersLib_destroy(CqzFiltersLib*) { qzc_filters_destroy(); }

struct CqzDfsLib {
    std::vector<std::int16_t> ad;
    std::int16_t chnum = 0;
    ResultArray<std::int16_t> dst;
};

CqzDfsLib* CqzDfsLib_init() { return new CqzDfsLib; }

void CqzDfsLib_release(CqzDfsLib* self) {
    if (self == nullptr) return;
    CqzDfsLib_destroy(self);
    delete self;
}

bool CqzDfsLib_create(CqzDfsLib* self, std::int16_t chn, double uVpb) {
    if (!qzc_dfs_create(chn, uVpb)) return false;
    self->chnum = chn;
    self->ad.assign(LeadCount(chn), 0);
    self->dst.LayOut(2 * LeadCount(chn));
    return true;
}

CqzSamples CqzDfsLib_getData(CqzDfsLib* self, const std::int16_t* frame, std::size_t count) {
    if (self->chnum == 0 || count < self->ad.size()) return kNilSamples;
    ReadFrame(frame, count, self->ad);
    std::vector<std::int16_t>& rows = self->dst.Values();
    if (!qzc_dfs_get_data(self->ad.data(), self->ad.size(), rows.data(), rows.size())) return kNilSamples;
    return Result(self->dst);
}

void CqzDfsLib_destroy(CqzDfsLib*) { qzc_dfs_destroy(); }

struct CqzMeanRRmsLib {
    std::vector<std::int16_t> m_ad;  // one frame
};

CqzMeanRRmsLib* CqzMeanRRmsLib_init() { return new CqzMeanRRmsLib; }

void CqzMeanRRmsLib_release(CqzMeanRRmsLib* self) { delete self; }

void CqzMeanRRmsLib_create(CqzMeanRRmsLib* self, std::int16_t fs, std::int16_t chn, std::int16_t freqNotch,
                           double uVpb) {
    self->m_ad.assign(LeadCount(chn), 0);
    qzc_multi_init(fs, chn, freqNotch, uVpb);
}

std::int16_t CqzMeanRRmsLib_meanRRms(CqzMeanRRmsLib* self, const std::int16_t* frame, std::size_t count) {
    ReadFrame(frame, count, self->m_ad);
    return std::max<std::int16_t>(qzc_multi_mean_rr_ms(self->m_ad.data(), self->m_ad.size()), 0);
}

std::int16_t CqzMeanRRmsLib_meanHR(CqzMeanRRmsLib* self, const std::int16_t* frame, std::size_t count) {
    return qzc_heart_rate_of_many_leads(CqzMeanRRmsLib_meanRRms(self, frame, count));
}
