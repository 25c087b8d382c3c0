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

/// The mutex that every call of this door on the engine holds while it runs; qzc_stress_lock hands it to the
/// host. Made at its first use and never destroyed: threads may still feed frames while the process ends.
static std::recursive_mutex& EngineMutex() {
    alignas(std::recursive_mutex) static unsigned char storage[sizeof(std::recursive_mutex)];
    static auto* const mutex = new (storage) std::recursive_mutex;
    return *mutex;
}

static thread_local int g_locks = 0;  // qzc_stress_lock of this thread that no unlock has followed

/// Runs `call`; where it throws (no memory), `failed` is the answer.
template <typename Result, typename Call>
static Result Guarded(Result failed, Call call) {
    try {
        return call();
    } catch (...) {
        return failed;
    }
}

/// The same for a call on the engine: no other thread is in one meanwhile.
template <typename Result, typename Call>
static Result OnEngine(Result failed, Call call) {
    return Guarded(failed, [&] {
        const std::lock_guard hold(EngineMutex());
        return call();
    });
}

/// True where `count` values are one for each lead. Without an engine, chain or doubler there are -1 leads.
static bool IsOnePerLead(std::size_t count, std::int16_t leads) {
    return leads >= 0 && count == static_cast<std::size_t>(leads);
}

/// A frame that has the right number of samples; null for any other. Without leads a frame needs no address.
/// The functions that it goes to only read it, though their signatures do not say so.
static short* Frame(const std::int16_t* frame, std::size_t count, std::int16_t leads) {
    static short none = 0;
    if (!IsOnePerLead(count, leads)) return nullptr;
    return count == 0 ? &none : const_cast<std::int16_t*>(frame);
}

/// Copies the values of every lead, which `read` returns, out of the engine.
template <typename T>
static bool CopyOut(T* (*read)(), T* out, std::size_t count) {
    return OnEngine(false, [&] {
        if (!IsOnePerLead(count, qzStressECGLib_Leads()) || (out == nullptr && count > 0)) return false;
        std::copy_n(read(), count, out);
        return true;
    });
}

bool qzc_stress_init(bool mutex_lock) {
    return OnEngine(false, [=] { return qzStressECGLib_init(mutex_lock); });
}

bool qzc_stress_create(std::int16_t fs, std::int16_t chn, double uVpb) {
    return OnEngine(false, [=] { return qzStressECGLib_create(fs, chn, uVpb); });
}

void qzc_stress_destroy() {
    OnEngine(false, [] {
        qzStressECGLib_destroy();
        return true;
    });
}

std::int16_t qzc_stress_leads() { return OnEngine(std::int16_t{-1}, qzStressECGLib_Leads); }

bool qzc_stress_lock() {
    return Guarded(false, [] {
        std::unique_lock hold(EngineMutex());
        if (qzStressECGLib_Leads() < 0) return false;
        hold.release();
        ++g_locks;
        return true;
    });
}

void qzc_stress_unlock() {
    if (g_locks == 0) return;
    --g_locks;
    EngineMutex().unlock();
}

bool qzc_stress_init_templ(const std::int16_t* templ, std::size_t leads, std::size_t len, std::int16_t posQ,
                           std::int16_t posJ, std::int16_t postJms, std::int16_t* kept_len) {
    return OnEngine(false, [&] {
        if (!IsOnePerLead(leads, qzStressECGLib_Leads()) ||
            len > static_cast<std::size_t>(std::numeric_limits<short>::max()))
            return false;
        const std::size_t count = leads * len;
        if (templ == nullptr && count > 0) return false;
        // One more than there are: what is empty has an address too.
        std::vector<short> samples(count + 1);
        std::vector<short*> rows(leads + 1);
        std::copy_n(templ, count, samples.begin());
        for (std::size_t lead = 0; lead < leads; ++lead) rows[lead] = samples.data() + lead * len;
        auto length = static_cast<short>(len);
        if (qzStressECGLib_InitTempl(rows.data(), length, posQ, posJ, postJms) == nullptr) return false;
        if (kept_len != nullptr) *kept_len = length;
        return true;
    });
}

std::int16_t qzc_stress_templ_length() { return OnEngine(std::int16_t{-1}, qzStressECGLib_TemplLength); }

std::size_t qzc_stress_get_templ(std::int16_t* templ, std::size_t count) {
    return OnEngine(std::size_t{0}, [&] {
        const short length = qzStressECGLib_TemplLength();
        if (length < 0) return std::size_t{0};
        const auto leads = static_cast<std::size_t>(qzStressECGLib_Leads());
        const auto row = static_cast<std::size_t>(length);
        if (templ == nullptr || count < leads * row) return leads * row;
        const short* const* rows = qzStressECGLib_getTempl();
        for (std::size_t lead = 0; lead < leads; ++lead) std::copy_n(rows[lead], row, templ + lead * row);
        return leads * row;
    });
}

bool qzc_stress_match(const std::int16_t* frame, std::size_t count) {
    return OnEngine(
        false, [=] { return qzStressECGLib_match(Frame(frame, count, qzStressECGLib_Leads())) != nullptr; });
}

std::int16_t qzc_stress_set_pos(std::int16_t posQ, std::int16_t posJ) {
    return OnEngine(posQ, [=] { return qzStressECGLib_SetPos(posQ, posJ); });
}

std::int16_t qzc_stress_set_post_j_ms(std::int16_t postJms) {
    return OnEngine(postJms, [=] { return qzStressECGLib_SetPostJms(postJms); });
}

std::int16_t qzc_stress_get_pos(std::int16_t* posR, std::int16_t* posQ, std::int16_t* posJ,
                                std::int16_t* postJms) {
    if (posR == nullptr || posQ == nullptr || posJ == nullptr || postJms == nullptr) return 0;
    return OnEngine(std::int16_t{0}, [=] { return qzStressECGLib_GetPos(*posR, *posQ, *posJ, *postJms); });
}

bool qzc_stress_st_slope(float* uv_per_ms, std::size_t count) {
    return CopyOut(qzStressECGLib_STslope, uv_per_ms, count);
}

bool qzc_stress_st_level(std::int16_t* uv, std::size_t count) {
    return CopyOut(qzStressECGLib_uvSTvalue, uv, count);
}

bool qzc_stress_st_results(std::int16_t rr_ms, qzc_st_result* results, std::size_t count) {
    return OnEngine(false, [=] {
        if (!IsOnePerLead(count, qzStressECGLib_Leads()) || (results == nullptr && count > 0)) return false;
        const STresult* source = qzStressECGLib_STresults(rr_ms);
        for (std::size_t lead = 0; lead < count; ++lead) {
            const STresult& s = source[lead];
            results[lead] = {s.RuV,      s.JuV,      s.STuV,    s.deltaSTuV,
                             s.deltaJuV, s.reserved, s.STslope, s.STHRindex};
        }
        return true;
    });
}

std::int16_t qzc_stress_mean_rr_ms(std::int16_t s1, std::int16_t s2, std::int16_t s3) {
    return OnEngine(std::int16_t{-1}, [=] { return qzStressECGLib_MeanRRms(s1, s2, s3); });
}

bool qzc_multi_init(std::int16_t fs, std::int16_t chn, std::int16_t ac_freq, double uVpb) {
    return Guarded(false, [=] {
        qzStressECGLib_InitMultiMeanRRms(fs, chn, ac_freq, uVpb);
        return true;
    });
}

std::int16_t qzc_multi_leads() { return qzStressECGLib_MultiLeads(); }

std::int16_t qzc_multi_mean_rr_ms(const std::int16_t* frame, std::size_t count) {
    return Guarded(std::int16_t{-1}, [=] {
        return qzStressECGLib_MultiMeanRRms(Frame(frame, count, qzStressECGLib_MultiLeads()));
    });
}

std::int16_t qzc_multi_mean_hr(const std::int16_t* frame, std::size_t count) {
    return Guarded(std::int16_t{-1}, [=] {
        return qzStressECGLib_MultiMeanHR(Frame(frame, count, qzStressECGLib_MultiLeads()));
    });
}

bool qzc_filters_create(std::int16_t fs, std::int16_t chn, std::int16_t freq_lpass, std::int16_t freq_notch,
                        std::int16_t smooth) {
    return Guarded(false, [=] {
        // The chain takes a negative count for none; everything else of this door fails on it.
        if (chn < 0) qzFilters_destroy();
        return chn >= 0 && qzFilters_create(fs, chn, freq_lpass, freq_notch, smooth);
    });
}

std::int16_t qzc_filters_leads() { return qzFilters_Leads(); }

std::int32_t qzc_filters_delay_samples() { return qzFilters_DelaySamples(); }

std::int32_t qzc_filters_settling_samples() { return qzFilters_SettlingSamples(); }

void qzc_filters_switch(bool lpass, bool notch, bool smooth) { qzFilters_switch(lpass, notch, smooth); }

bool qzc_filters_filters(std::int16_t* frame, std::size_t count) {
    short* const checked = Frame(frame, count, qzFilters_Leads());
    qzFilters_filters(checked);
    return checked != nullptr;
}

void qzc_filters_destroy() { qzFilters_destroy(); }

bool qzc_dfs_create(std::int16_t chn, double uVpb) {
    return Guarded(false, [=] { return qzDfs_create(chn, uVpb); });
}

std::int16_t qzc_dfs_leads() { return qzDfs_Leads(); }

bool qzc_dfs_get_data(const std::int16_t* frame, std::size_t count, std::int16_t* out,
                      std::size_t out_count) {
    if ((out == nullptr && count > 0) || out_count / 2 < count) return false;
    return Guarded(false, [=] {
        const std::vector<std::vector<short>> rows = qzDfs_getData(Frame(frame, count, qzDfs_Leads()));
        std::int16_t* next = out;
        for (const std::vector<short>& row : rows) next = std::copy(row.begin(), row.end(), next);
        return !rows.empty();
    });
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
