/* The first four Objective-C classes as plain C: one handle type per class, one function per method that the
 * Swift classes call, the same answers. Where there is no Objective-C, the Swift module OCqzPlain stands on
 * it in place of the classes themselves.
 *
 * Arguments. An array comes as a pointer and its number of elements; null counts as an empty array. A frame
 * has one sample per lead, in lead order. Where the classes do not look at the count (match, meanRRms,
 * meanHR), missing samples are read as 0 and surplus ones ignored. `self` is never null but in `release`.
 *
 * Results. A `count` (of a template: `rows`) of -1 is nil; an array without elements has a non-null pointer.
 * The values belong to the handle, as the result arrays belong to the objects: the next call of any function
 * with that handle rewrites them in place, so take a copy to keep them. restTempl and create lay out new
 * arrays; release ends them. The one exception is an echoed frame, which is the caller's.
 *
 * Sharing. The process has one engine, one filter chain, one doubler and one many-lead detector: all handles
 * of a class work on the same. Creating rebuilds it for all of them, destroying takes it away from all. A
 * handle keeps the number of leads of its own last create; while that is not the number of leads of what is
 * there now, the handle gets the answers of nothing there wherever a frame, a template or a value per lead
 * passes (nil, 0, the frame unfiltered), and nothing changes. Positions, `switchFilters` and the three-lead
 * heart rate carry no lead and always reach what is there.
 *
 * A negative number of leads, or no memory, gives false and leaves nothing built. One thread at a time. */
#ifndef CQZ_SHIM_H
#define CQZ_SHIM_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct CqzSamples {
    const int16_t* values;
    int32_t count; /* -1: nil */
} CqzSamples;
typedef struct CqzFloats {
    const float* values;
    int32_t count; /* -1: nil */
} CqzFloats;
/* `rows` leads of `length` samples, one after the other. */
typedef struct CqzTemplate {
    const int16_t* samples;
    int32_t rows; /* -1: nil */
    int32_t length;
} CqzTemplate;

/* -- OCqzStressTemplLib -------------------------------------------------------------------------------- */

typedef struct CqzStressTemplLib CqzStressTemplLib;

/* 12 leads until create says otherwise; no result arrays until restTempl. */
CqzStressTemplLib* CqzStressTemplLib_init(void);
/* Releasing does not destroy the engine. */
void CqzStressTemplLib_release(CqzStressTemplLib* self);
/* fs in samples per second, chn leads, uVpb in microvolts per unit. The number of leads is kept even where
 * this fails. The result arrays stay as they are. */
bool CqzStressTemplLib_create(CqzStressTemplLib* self, int16_t fs, int16_t chn, double uVpb, bool mutex_lock);
void CqzStressTemplLib_destroy(CqzStressTemplLib* self);
/* Hands in a first averaged beat: `rows` rows one after the other in `samples`, row i of lengths[i] samples.
 * posQ and posJ are indices into a row, postJms is the time from J to the ST point in ms. The length handed
 * on is that of the last lead's row, as 16 bits; shorter rows are filled up with 0, longer ones cut. Rows
 * beyond the leads are ignored; fewer rows than leads give nil. Lays out all result arrays anew. */
CqzTemplate CqzStressTemplLib_restTempl(CqzStressTemplLib* self, const int16_t* samples,
                                        const size_t* lengths, size_t rows, int16_t posQ, int16_t posJ,
                                        int16_t postJms);
/* posQ, posJ, postJms, posR; nil without a template in the engine and before this handle's restTempl. */
CqzSamples CqzStressTemplLib_getPos(CqzStressTemplLib* self);
/* The updated template when the frame ended a matched beat, else nil. Nil also before this handle's
 * restTempl, the frame is then taken all the same. */
CqzTemplate CqzStressTemplLib_match(CqzStressTemplLib* self, const int16_t* frame, size_t count);
/* The result array keeps the length of this handle's restTempl; where another handle has handed in a template
 * of another length since, only the samples that both have are refilled. Nil without a template in the
 * engine. */
CqzTemplate CqzStressTemplLib_getTempl(CqzStressTemplLib* self);
void CqzStressTemplLib_setPos(CqzStressTemplLib* self, int16_t posQ, int16_t posJ);
void CqzStressTemplLib_setPostJms(CqzStressTemplLib* self, int16_t postJms);
/* uV per ms and uV, one per lead. Nil without an engine, and where create has changed the number of leads
 * since this handle's restTempl. The smoother behind them steps with every call that reaches an engine of the
 * handle's number of leads. */
CqzFloats CqzStressTemplLib_getSTslope(CqzStressTemplLib* self);
CqzSamples CqzStressTemplLib_getSTuv(CqzStressTemplLib* self);
/* Heart rate in beats/min on the sample that is a beat of the three leads, else 0. */
int16_t CqzStressTemplLib_getMeanHR(CqzStressTemplLib* self, int16_t s1, int16_t s2, int16_t s3);

/* -- OCqzFiltersLib ------------------------------------------------------------------------------------ */

typedef struct CqzFiltersLib CqzFiltersLib;

CqzFiltersLib* CqzFiltersLib_init(void);
/* Releasing destroys the chain. */
void CqzFiltersLib_release(CqzFiltersLib* self);
/* fs in samples per second, chn leads, frequencies in Hz, smooth the strength; 0 leaves a stage out. Where it
 * fails the handle keeps its number of leads and its result array; the chain is gone. */
bool CqzFiltersLib_create(CqzFiltersLib* self, int16_t fs, int16_t chn, int16_t freqLpass, int16_t freqNotch,
                          int16_t smooth);
/* Rebuilds the chain for the leads of this handle's create; false before one, the chain then stays. */
bool CqzFiltersLib_update(CqzFiltersLib* self, int16_t fs, int16_t freqLpass, int16_t freqNotch,
                          int16_t smooth);
void CqzFiltersLib_switchFilters(CqzFiltersLib* self, bool lowpass, bool notch, bool smooth);
/* The filtered frame. A frame of another number of samples than the handle has leads is echoed: the result
 * points to `frame` itself. Without a chain the values come back as they went in. Nil for an empty frame
 * before create. */
CqzSamples CqzFiltersLib_filters(CqzFiltersLib* self, const int16_t* frame, size_t count);
void CqzFiltersLib_destroy(CqzFiltersLib* self);

/* -- OCqzDfsLib ---------------------------------------------------------------------------------------- */

typedef struct CqzDfsLib CqzDfsLib;

CqzDfsLib* CqzDfsLib_init(void);
/* Releasing destroys the doubler. */
void CqzDfsLib_release(CqzDfsLib* self);
/* Where it fails the handle keeps its number of leads and its result array; the doubler is gone. */
bool CqzDfsLib_create(CqzDfsLib* self, int16_t chn, double uVpb);
/* 2 * chn samples: the inserted midpoints, then the samples at the input rate. Nil with fewer samples than
 * the handle has leads, with no leads and without a doubler; surplus samples are ignored. */
CqzSamples CqzDfsLib_getData(CqzDfsLib* self, const int16_t* frame, size_t count);
void CqzDfsLib_destroy(CqzDfsLib* self);

/* -- OCqzMeanRRmsLib ----------------------------------------------------------------------------------- */

typedef struct CqzMeanRRmsLib CqzMeanRRmsLib;

CqzMeanRRmsLib* CqzMeanRRmsLib_init(void);
/* Releasing leaves the detector as it is. */
void CqzMeanRRmsLib_release(CqzMeanRRmsLib* self);
/* freqNotch is the mains frequency to reject, Hz. Where it fails, the detector answers 0 from then on. */
void CqzMeanRRmsLib_create(CqzMeanRRmsLib* self, int16_t fs, int16_t chn, int16_t freqNotch, double uVpb);
/* RR interval in ms on the frame that ends one, else 0; the same as a heart rate in beats/min. Each of the
 * two feeds the detector: call one of them, once per frame. */
int16_t CqzMeanRRmsLib_meanRRms(CqzMeanRRmsLib* self, const int16_t* frame, size_t count);
int16_t CqzMeanRRmsLib_meanHR(CqzMeanRRmsLib* self, const int16_t* frame, size_t count);

#ifdef __cplusplus
}
#endif
#endif
