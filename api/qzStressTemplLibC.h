/* The whole library for C and for every language that calls C (Rust, C#, Kotlin/JNI, Python ctypes, Swift):
 * the flat interfaces with C linkage, C99 types and no exceptions.
 *
 * Every array comes with its number of elements. A frame has one sample per lead, in lead order; a count that
 * is not that of the leads makes the call fail and changes nothing. Zero is a number like any other: without
 * leads frames are empty and need no address. Templates are rows of one lead each, one after the other.
 * Results are copied into the caller's arrays: nothing returned here has to be freed or outlives anything.
 *
 * Failure is a result: false, 0 or -1, as said at each function; null arrays and failed allocations give it
 * too. Units, call order and behaviour are those of api/qzStressECGLib.h, api/qzFilters.h, api/qzDfs.h and
 * core/stress/ExerciseIndices.h, which work on the same one engine, chain and doubler of the process: what
 * one set of functions has created, the other feeds and destroys.
 *
 * Threads: the functions on the engine (qzc_stress_...) wait for each other and may be called from any
 * thread; qzc_stress_lock makes several of them one. The flat functions of api/qzStressECGLib.h do not wait
 * for them. The many-lead heart rate, the chain and the doubler are for one thread at a time each, the
 * exercise indices for any. */
#ifndef QZ_STRESS_TEMPL_LIB_C_H
#define QZ_STRESS_TEMPL_LIB_C_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#include "qzFilterBanksC.h"

#ifndef QZ_API
#define QZ_API /* given a meaning by the build of the library: core/Export.h */
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* -- Stress engine ------------------------------------------------------------------------------------- */

/* ST result of one lead: amplitudes and changes in uV, slope in uV per ms, index in uV per (beats/min). */
typedef struct qzc_st_result {
    int16_t RuV, JuV, STuV, deltaSTuV, deltaJuV;
    int16_t reserved;
    float STslope, STHRindex;
} qzc_st_result;

/* Engines created from now on wait for the mutex of api/qzStressECGLib.h, which orders threads of the flat
 * functions; the functions here need it not. True. */
QZ_API bool qzc_stress_init(bool mutex_lock);
/* fs in samples per second, chn leads, uVpb in microvolts per unit. False where it cannot be built (a
 * negative chn, no memory): there is then no engine. */
QZ_API bool qzc_stress_create(int16_t fs, int16_t chn, double uVpb);
QZ_API void qzc_stress_destroy(void);
/* The leads of the engine; -1 without one. */
QZ_API int16_t qzc_stress_leads(void);
/* Keeps every other thread out of the functions on the engine until qzc_stress_unlock: what this thread reads
 * in several calls belongs together, and nobody creates or destroys the engine meanwhile. This thread may
 * call all of them, and lock again. False without an engine. Every lock that returned true is to be followed
 * by one unlock on the same thread; an unlock without a lock of this thread does nothing. A thread that feeds
 * frames waits as long: hold it for microseconds. */
QZ_API bool qzc_stress_lock(void);
QZ_API void qzc_stress_unlock(void);

/* Hands in a first averaged beat of leads * len samples. kept_len, where not null, gets the length that the
 * engine keeps. False without an engine or with another number of leads. */
QZ_API bool qzc_stress_init_templ(const int16_t* templ, size_t leads, size_t len, int16_t posQ, int16_t posJ,
                                  int16_t postJms, int16_t* kept_len);
/* Samples per lead of the template; -1 while there is none. */
QZ_API int16_t qzc_stress_templ_length(void);
/* Copies the template where `count` elements are enough for it. Returns its number of samples, leads times
 * length; 0 while there is none. */
QZ_API size_t qzc_stress_get_templ(int16_t* templ, size_t count);
/* Takes the next frame. True when a beat was averaged into the template. */
QZ_API bool qzc_stress_match(const int16_t* frame, size_t count);

/* Returns the number of leads; the first argument without an engine. */
QZ_API int16_t qzc_stress_set_pos(int16_t posQ, int16_t posJ);
QZ_API int16_t qzc_stress_set_post_j_ms(int16_t postJms);
/* Returns the template length in samples; 0 without an engine, the outputs then stay as they are. */
QZ_API int16_t qzc_stress_get_pos(int16_t* posR, int16_t* posQ, int16_t* posJ, int16_t* postJms);

/* One value per lead. False without an engine or where `count` is not the number of leads. */
QZ_API bool qzc_stress_st_slope(float* uv_per_ms, size_t count);
QZ_API bool qzc_stress_st_level(int16_t* uv, size_t count);
QZ_API bool qzc_stress_st_results(int16_t rr_ms, qzc_st_result* results, size_t count);

/* RR interval in ms on a beat; 0 for one of 2000 ms or more; -1 otherwise. */
QZ_API int16_t qzc_stress_mean_rr_ms(int16_t s1, int16_t s2, int16_t s3);
/* False where it cannot be built: the three functions below then answer -1. */
QZ_API bool qzc_multi_init(int16_t fs, int16_t chn, int16_t ac_freq, double uVpb);
/* The leads that it was set up for; -1 while it is not. */
QZ_API int16_t qzc_multi_leads(void);
QZ_API int16_t qzc_multi_mean_rr_ms(const int16_t* frame, size_t count);
/* Heart rate in beats/min instead. */
QZ_API int16_t qzc_multi_mean_hr(const int16_t* frame, size_t count);

/* -- Filter chain -------------------------------------------------------------------------------------- */

/* False where it cannot be built (a negative chn, no memory): there is then no chain. 0 leaves a stage out.
 * freq_lpass must lie below fs / 2: at or above it the low-pass is unstable. freq_notch is for 50 Hz at
 * multiples of 50 Hz: the comb inverts and doubles a tone of 60 Hz, and leaves much of 50 Hz at other rates.
 * There give 0 and take the banks of qzFilterBanksC.h. */
QZ_API bool qzc_filters_create(int16_t fs, int16_t chn, int16_t freq_lpass, int16_t freq_notch,
                               int16_t smooth);
/* The leads of the chain, which may have no stage; -1 without a chain. */
QZ_API int16_t qzc_filters_leads(void);
/* Delay and settling time of the stages that are on, samples, see qzFilters_DelaySamples; -1 without a chain.
 */
QZ_API int32_t qzc_filters_delay_samples(void);
QZ_API int32_t qzc_filters_settling_samples(void);
QZ_API void qzc_filters_switch(bool lpass, bool notch, bool smooth);
/* Filters one frame in place. False, and the frame stays as it is, without a chain and with another number of
 * leads. */
QZ_API bool qzc_filters_filters(int16_t* frame, size_t count);
QZ_API void qzc_filters_destroy(void);

/* -- Sample-rate doubler ------------------------------------------------------------------------------- */

/* False where it cannot be built: there is then no doubler. */
QZ_API bool qzc_dfs_create(int16_t chn, double uVpb);
/* The leads of the doubler; -1 without one. */
QZ_API int16_t qzc_dfs_leads(void);
/* Takes one frame; `out` gets 2 * count samples: the inserted midpoints, then the samples at the input rate.
 * False without a doubler, with another number of leads or an out_count below 2 * count. */
QZ_API bool qzc_dfs_get_data(const int16_t* frame, size_t count, int16_t* out, size_t out_count);
QZ_API void qzc_dfs_destroy(void);

/* -- Exercise indices ---------------------------------------------------------------------------------- */

QZ_API int16_t qzc_duke(int16_t stress_seconds, float deepest_st_mv, int16_t angina);
/* False where the score or the angina index is out of range; `score` then stays as it is. */
QZ_API bool qzc_duke_checked(int16_t stress_seconds, float deepest_st_mv, int16_t angina, int16_t* score);
/* `pwc` gets three values, PWC130, PWC150 and PWC170, each -1 where not computed. */
QZ_API void qzc_pwc(const float* power, const float* heart_rate, size_t count, float* pwc);
/* Beats/min of an RR interval in ms, in the rounding of the three-lead and of the many-lead path; 0 below 1.
 */
QZ_API int16_t qzc_heart_rate_of_three_leads(int16_t rr_ms);
QZ_API int16_t qzc_heart_rate_of_many_leads(int16_t rr_ms);

#ifdef __cplusplus
}
#endif
#endif
