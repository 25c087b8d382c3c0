#include "api/qzStressTemplLibC.h"

#include <algorithm>
#include <array>
#include <limits>
#include <mutex>
#include <new>
#include <vector>

#include "api/qzDfs.h"
#include "api/qzFilters.h"
#include "api/qzStressECGLib.h"
#include "core/Arithmetic.h"
#include "core/stress/ExerciseIndices.h"

static_assert(sizeof(qzc_st_result) == sizeof(STresult) &&
              offsetof(qzc_st_result, deltaSTuV) == offsetof(STresult, deltaSTuV) &&
              offsetof(qzc_st_result, STslope) == offsetof(STresult, STslope));

// Leads of what was created through this door; 0: nothing there.
static std::size_t g_stressLeads = 0;
static std::size_t g_multiLeads = 0;
static std::size_t g_filterLeads = 0;
static std::size_t g_doublerLeads = 0;
static std::size_t g_templLength = 0;  // samples of a row of the engine's template

/// Runs `build`, which may fail to allocate, and keeps the number of leads of what it built.
template <typename Build>
static bool Create(std::size_t& leads, std::int16_t chn, Build build) {
    leads = 0;
    try {
        build();
        leads = ElementCount(chn);  // throws also where the facility takes a negative count
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

/// A frame that has the right number of samples; null for any other. The functions that it goes to only read
/// it, though their signatures do not say so.
static short* Frame(const std::int16_t* frame, std::size_t count, std::size_t leads) {
    return count == leads ? const_cast<std::int16_t*>(frame) : nullptr;
}

/// Copies one value per lead out of the engine.
template <typename T, typename U>
static bool CopyOut(const T* values, U* out, std::size_t count) {
    if (values == nullptr || out == nullptr) return false;
    std::transform(values, values + count, out, [](const T& value) { return static_cast<U>(value); });
    return true;
}

bool qzc_stress_init(bool mutex_lock) { return qzStressECGLib_init(mutex_lock); }

bool qzc_stress_create(std::int16_t fs, std::int16_t chn, double uVpb) {
    g_templLength = 0;
    const bool built = Create(g_stressLeads, chn, [=] { qzStressECGLib_create(fs, chn, uVpb); });
    if (!built) qzStressECGLib_destroy();
    return built;
}

void qzc_stress_destroy() {
    qzStressECGLib_destroy();
    g_stressLeads = g_templLength = 0;
}

bool qzc_stress_lock() {
    std::mutex* mutex = qzStressECGLib_mutex();
    if (mutex == nullptr) return false;
    mutex->lock();
    return true;
}

void qzc_stress_unlock() {
    if (std::mutex* mutex = qzStressECGLib_mutex()) mutex->unlock();
}

bool qzc_stress_init_templ(const std::int16_t* templ, std::size_t leads, std::size_t len, std::int16_t posQ,
                           std::int16_t posJ, std::int16_t postJms, std::int16_t* kept_len) {
    if (templ == nullptr || leads != g_stressLeads ||
        len > static_cast<std::size_t>(std::numeric_limits<short>::max()))
        return false;
    try {
        std::vector<short> samples(templ, templ + leads * len);
        std::vector<short*> rows;
        for (std::size_t lead = 0; lead < leads; ++lead) rows.push_back(samples.data() + lead * len);
        auto length = static_cast<short>(len);
        if (qzStressECGLib_InitTempl(rows.data(), length, posQ, posJ, postJms) == nullptr) return false;
        g_templLength = static_cast<std::size_t>(length);
        if (kept_len != nullptr) *kept_len = length;
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

std::size_t qzc_stress_get_templ(std::int16_t* templ, std::size_t count) {
    const short* const* rows = qzStressECGLib_getTempl();
    const std::size_t samples = g_stressLeads * g_templLength;
    if (rows == nullptr) return 0;
    if (templ == nullptr || count < samples) return samples;
    for (std::size_t lead = 0; lead < g_stressLeads; ++lead)
        std::copy_n(rows[lead], g_templLength, templ + lead * g_templLength);
    return samples;
}

bool qzc_stress_match(const std::int16_t* frame, std::size_t count) {
    return qzStressECGLib_match(Frame(frame, count, g_stressLeads)) != nullptr;
}

std::int16_t qzc_stress_set_pos(std::int16_t posQ, std::int16_t posJ) {
    return qzStressECGLib_SetPos(posQ, posJ);
}

std::int16_t qzc_stress_set_post_j_ms(std::int16_t postJms) { return qzStressECGLib_SetPostJms(postJms); }

std::int16_t qzc_stress_get_pos(std::int16_t* posR, std::int16_t* posQ, std::int16_t* posJ,
                                std::int16_t* postJms) {
    if (posR == nullptr || posQ == nullptr || posJ == nullptr || postJms == nullptr) return 0;
    return qzStressECGLib_GetPos(*posR, *posQ, *posJ, *postJms);
}

bool qzc_stress_st_slope(float* uv_per_ms, std::size_t count) {
    return uv_per_ms != nullptr && count == g_stressLeads &&
           CopyOut(qzStressECGLib_STslope(), uv_per_ms, count);
}

bool qzc_stress_st_level(std::int16_t* uv, std::size_t count) {
    return uv != nullptr && count == g_stressLeads && CopyOut(qzStressECGLib_uvSTvalue(), uv, count);
}

bool qzc_stress_st_results(std::int16_t rr_ms, qzc_st_result* results, std::size_t count) {
    if (results == nullptr || count != g_stressLeads) return false;
    const STresult* source = qzStressECGLib_STresults(rr_ms);
    if (source == nullptr) return false;
    for (std::size_t lead = 0; lead < count; ++lead) {
        const STresult& s = source[lead];
        results[lead] = {s.RuV, s.JuV, s.STuV, s.deltaSTuV, s.deltaJuV, s.reserved, s.STslope, s.STHRindex};
    }
    return true;
}

std::int16_t qzc_stress_mean_rr_ms(std::int16_t s1, std::int16_t s2, std::int16_t s3) {
    return qzStressECGLib_MeanRRms(s1, s2, s3);
}

bool qzc_multi_init(std::int16_t fs, std::int16_t chn, std::int16_t ac_freq, double uVpb) {
    return Create(g_multiLeads, chn, [=] { qzStressECGLib_InitMultiMeanRRms(fs, chn, ac_freq, uVpb); });
}

std::int16_t qzc_multi_mean_rr_ms(const std::int16_t* frame, std::size_t count) {
    return qzStressECGLib_MultiMeanRRms(Frame(frame, count, g_multiLeads));
}

std::int16_t qzc_multi_mean_hr(const std::int16_t* frame, std::size_t count) {
    return qzStressECGLib_MultiMeanHR(Frame(frame, count, g_multiLeads));
}

bool qzc_filters_create(std::int16_t fs, std::int16_t chn, std::int16_t freq_lpass, std::int16_t freq_notch,
                        std::int16_t smooth) {
    const bool built =
        Create(g_filterLeads, chn, [=] { qzFilters_create(fs, chn, freq_lpass, freq_notch, smooth); });
    if (!built) qzFilters_destroy();
    return built;
}

void qzc_filters_switch(bool lpass, bool notch, bool smooth) { qzFilters_switch(lpass, notch, smooth); }

bool qzc_filters_filters(std::int16_t* frame, std::size_t count) {
    if (frame == nullptr || count != g_filterLeads) return false;
    qzFilters_filters(frame);
    return true;
}

void qzc_filters_destroy() { qzFilters_destroy(); }

bool qzc_dfs_create(std::int16_t chn, double uVpb) {
    const bool built = Create(g_doublerLeads, chn, [=] { qzDfs_create(chn, uVpb); });
    if (!built) qzDfs_destroy();
    return built;
}

bool qzc_dfs_get_data(const std::int16_t* frame, std::size_t count, std::int16_t* out,
                      std::size_t out_count) {
    if (out == nullptr || out_count < 2 * count) return false;
    try {
        const std::vector<std::vector<short>> rows = qzDfs_getData(Frame(frame, count, g_doublerLeads));
        for (const std::vector<short>& row : rows) out = std::copy(row.begin(), row.end(), out);
        return !rows.empty();
    } catch (const std::bad_alloc&) {
        return false;
    }
}

void qzc_dfs_destroy() { qzDfs_destroy(); }

std::int16_t qzc_duke(std::int16_t stress_seconds, float deepest_st_mv, std::int16_t angina) {
    return DukeScore(stress_seconds, deepest_st_mv, angina);
}

bool qzc_duke_checked(std::int16_t stress_seconds, float deepest_st_mv, std::int16_t angina,
                      std::int16_t* score) {
    const std::optional<short> checked = DukeScoreChecked(stress_seconds, deepest_st_mv, angina);
    if (checked && score != nullptr) *score = *checked;
    return checked.has_value();
}

void qzc_pwc(const float* power, const float* heart_rate, std::size_t count, float* pwc) {
    if (pwc == nullptr) return;
    const Pwc found = power != nullptr && heart_rate != nullptr ? FindPwc(power, heart_rate, count) : Pwc{};
    const std::array<float, 3> values = {found.pwc130, found.pwc150, found.pwc170};
    std::copy(values.begin(), values.end(), pwc);
}

std::int16_t qzc_heart_rate_of_three_leads(std::int16_t rr_ms) { return HeartRateOfThreeLeads(rr_ms); }

std::int16_t qzc_heart_rate_of_many_leads(std::int16_t rr_ms) { return HeartRateOfManyLeads(rr_ms); }
