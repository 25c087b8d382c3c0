/* Filter banks with C linkage, one filter per lead, as many banks as a program needs: for signals that the
 * one filter chain of the process (qzc_filters_create) does not suit.
 *
 *   notch      takes out one mains frequency: 60 Hz at any rate, 50 Hz at rates that are no multiple of 50.
 *              The comb of the chain inverts and doubles a tone of 60 Hz, and leaves a third of one of 50 Hz
 *              at 360 samples per second.
 *   high-pass  takes out baseline wander. The comb does so too, the notch does not.
 *
 * Typical: a notch of 60 Hz with q = 10 and a high-pass of 0.05 Hz, every frame through both.
 *
 * Both start at 0, so that a signal with an offset begins with a step, for which a high-pass of 0.05 Hz needs
 * 20 s. Subtract the first frame from every frame to avoid it.
 *
 * A bank belongs to its maker, and to one thread at a time; banks do not know of each other. No function
 * throws. */
#ifndef QZ_FILTER_BANKS_C_H
#define QZ_FILTER_BANKS_C_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#ifndef QZ_API
#define QZ_API /* given a meaning by the build of the library: core/Export.h */
#endif

#ifdef __cplusplus
extern "C" {
#endif

typedef struct qzc_filter_bank qzc_filter_bank;

/* High-pass of second order for chn leads at fs samples per second: -5.3 dB at corner_hz, -3 dB at 1.39 times
 * that; made for corners far below fs. A corner below 0.01 Hz counts as 0.01 Hz.
 * Null for a negative chn, an fs below 1, a corner that is not below fs / 2, and without memory. */
QZ_API qzc_filter_bank* qzc_highpass_create(int16_t fs, int16_t chn, double corner_hz);
/* Notch of second order: takes out centre_hz; -3 dB lies centre_hz / (2 q) on either side. After a step it
 * rings at centre_hz for about q / centre_hz seconds. Mains: q = 10. Null as above, and for a centre or a q
 * that is not above 0 or not finite. */
QZ_API qzc_filter_bank* qzc_notch_create(int16_t fs, int16_t chn, double centre_hz, double q);
/* Filters one frame of one sample per lead in place. Results are truncated toward zero and wrap at 16 bits.
 * False, and nothing changes, for a null bank, a null frame and a count that is not that of the leads. */
QZ_API bool qzc_filter_bank_filter(qzc_filter_bank* bank, int16_t* frame, size_t count);
/* Releases the bank. Harmless for null. */
QZ_API void qzc_filter_bank_destroy(qzc_filter_bank* bank);

#ifdef __cplusplus
}
#endif
#endif
