/* Stress sessions with C linkage: raw frames in, heart rates and ST values out, as many sessions at once as a
 * program needs. What a session does, and when, is told in session/StressSession.h.
 *
 *   qzs_options_init -> qzs_create -> { qzs_push -> qzs_next_event until it is false } -> qzs_finish ->
 *   qzs_next_event until it is false -> qzs_free
 *
 * Frames have one 16-bit sample per lead, in lead order, in units of uv_per_unit microvolts. Seconds count
 * from the first frame of the session, filter delays taken off. Levels are microvolts, slopes microvolts per
 * ms. What there is none of is NaN. Results are copied into the caller's memory; every array comes with its
 * number of elements.
 *
 * Events wait in the session until they are fetched, and so do conditioned frames where the options ask for
 * them. While 256 events or 4096 conditioned frames wait, qzs_push takes no more frames, so that memory stays
 * bounded and nothing is lost. qzs_finish takes no heed of that: it adds at most the events that 90 s of
 * signal bring, and the conditioned frames that the filters still hold, once.
 *
 * Of the C++ class there is everything but the number of frames taken, which is the sum of what qzs_push
 * returns, and names: of leads, and of what a beat was learned from.
 *
 * Options and events have the size that this header gives them. A program that was compiled with another
 * header is refused where its sizes differ.
 *
 * Failure is a result: false, 0 or null, as said at each function. Every function may be given null. None
 * throws.
 *
 * Allocation: qzs_create, and then a little for each event and while an averaged beat is learned. Where
 * memory runs out later, events may be missed; the session goes on.
 *
 * Threads: sessions do not know of each other. One session is for one thread at a time. */
#ifndef QZ_SESSION_C_H
#define QZ_SESSION_C_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#ifndef QZ_API
#define QZ_API /* given a meaning by the build of the library: core/Export.h */
#endif

#ifdef __cplusplus
extern "C" {
#endif

typedef struct qzs_session qzs_session;

/* An averaged beat as a session has learned it, without its samples. Those are rows of one lead each, one
 * after the other, `length` samples a lead, one microvolt per unit. A posR outside of posQ to posJ counts as
 * the nearer of them. */
typedef struct qzs_beat {
    int16_t length;           /* samples of a row */
    int16_t posR, posQ, posJ; /* steepest place, onset and end of the QRS: indices into a row */
    int32_t beats_found;      /* in the stretch that it was learned from */
    int32_t beats_used;       /* in the average */
    double stretch_seconds;   /* length of that stretch */
    double likeness;          /* median correlation of a used beat with the average, 0 to 1 */
    uint64_t usable;          /* bit i: the beats of lead i are alike and match; others match alone */
    bool confident;           /* false: ST values may be off */
} qzs_beat;

typedef struct qzs_options {
    size_t size;        /* of this struct; qzs_options_init sets it */
    int16_t fs;         /* samples per second and lead, 100 to 10000; 0 until set */
    int16_t leads;      /* 1 to 64; 0 until set */
    double uv_per_unit; /* microvolts per unit of the frames; 1 */
    int16_t mains_hz;   /* 50, 60 or 0 for none; 50 */
    int16_t lowpass_hz; /* cutoff, below fs / 2; 0 for none; 40 */
    int16_t smooth;     /* strength of the adaptive smoother: 0 none, 1 or 2; 0 */
    int16_t postJms;    /* ST is measured this long after J + 6 ms; 10 to 200 ms; 60 */
    /* The first averaged beat, read by qzs_create and not kept; null: the session learns it. */
    const qzs_beat* beat;
    const int16_t* beat_rows; /* leads times beat->length samples */
    size_t beat_count;        /* their number */
    bool conditioned;         /* conditioned frames are kept for qzs_conditioned; false */
    double st_rate_limit;     /* beats/min, above 0: qzs_event_st is earlier at a higher heart rate; 145 */
    bool paced;               /* a pacemaker is at work: beats of a usual shape are QZS_PACED; false */
    /* A comb instead of notch and high-pass, for mains of 50 Hz at an fs that is a multiple of 50. It takes
     * out every harmonic of the mains, delays by 740 ms and shifts ST; false. */
    bool comb;
} qzs_options;

/* Numbers of events are fixed. Later libraries may have more kinds: pass over those that are unknown. */
enum {
    /* A beat was found, whether it matches the averaged one or not: bpm, rr_ms and beat_class; seconds of the
     * middle of its QRS. Known up to 2.3 s later, 4.3 s at the start. */
    QZS_INTERVAL = 1,
    QZS_BEAT = 2,      /* a beat has been folded into the averaged one: qzs_event_values; seconds of its R */
    QZS_LEAD_OFF = 3,  /* the signal of `lead` is a line, as that of a loose electrode: void_from_seconds */
    QZS_LEAD_ON = 4,   /* the line has ended */
    QZS_DISTURBED = 5, /* the level of `lead` jumps and stays away */
    QZS_CALM = 6,      /* it has not done so for a second; seconds of the last of it */
    QZS_LEARNED = 7,   /* an averaged beat is there: matching begins with the signal at `seconds` */
    QZS_NOT_LEARNED = 8, /* there are no ST values to the end of the signal: qzs_event_text says why */
    QZS_QUALITY = 9 /* how good the signal of each lead has been for 2 s, up to then: qzs_event_quality */
};

/* Classes of beats. A beat that was folded in but not found is unclassified. */
enum {
    QZS_NORMAL = 1,
    QZS_SUPRAVENTRICULAR = 2, /* early in a regular rhythm */
    QZS_VENTRICULAR = 3,      /* of an unusual shape, and wide, early, or followed by a pause */
    QZS_UNCLASSIFIED = 4,     /* noise may have made what looks ventricular */
    QZS_PACED = 5             /* of a usual shape, where the options tell of a pacemaker */
};

/* Classes of the slope of ST. */
enum {
    QZS_ST_UNKNOWN = 0,   /* nothing is measured */
    QZS_ST_UPSLOPING = 1, /* 0.5 uV per ms and more */
    QZS_ST_HORIZONTAL = 2,
    QZS_ST_DOWNSLOPING = 3 /* -0.5 uV per ms and less */
};

typedef struct qzs_event {
    int32_t kind;             /* QZS_... */
    int32_t lead;             /* of the four kinds about a lead; else -1 */
    double seconds;           /* when it was, see the kinds */
    double bpm;               /* heart rate at an interval, or that shown at the time of a beat; else NaN */
    double void_from_seconds; /* of QZS_LEAD_OFF: what was told of the lead for beats after this is void */
    bool again;               /* of QZS_LEARNED: in place of an earlier averaged beat */
    double rr_ms;       /* of an interval or a beat, from the one found before, NaN after 4 s; else NaN */
    int32_t beat_class; /* of an interval or a beat: QZS_NORMAL... (session/SessionTypes.h); else 0 */
    int32_t shape;     /* of a beat: the averaged beat that it is like, numbered from 0 as learned; else -1 */
    double voted_bpm;  /* of an interval: heart rate as most of the leads' detectors have it; else NaN */
    double q_ms, j_ms; /* of a beat: onset and end of the QRS as measured, from `seconds`; else NaN */
} qzs_event;

/* Where an averaged beat has its points, ms from its start; q is the onset of the QRS. */
typedef struct qzs_positions {
    double length, q, r, j;
} qzs_positions;

/* Sets every field to its default, above; `size` is sizeof(qzs_options). False and nothing for any other
 * size. */
QZ_API bool qzs_options_init(qzs_options* options, size_t size);
/* Why qzs_create would refuse, one line for people. Copies as much as `size` bytes hold, a final 0 among
 * them. Returns the number of bytes of the whole line without the 0; 0 where the options are fine. */
QZ_API size_t qzs_refusal(const qzs_options* options, char* text, size_t size);
/* Null for options that are refused, and without memory. */
QZ_API qzs_session* qzs_create(const qzs_options* options);
/* Releases the session. Harmless for null. */
QZ_API void qzs_free(qzs_session* session);

/* Takes up to `count` frames and returns how many it took: fewer than `count` when the waiting events or
 * conditioned frames are to be fetched first, and at least one of them where nothing waits. 0 for null and
 * after qzs_finish. Results do not depend on how a signal is cut into calls. */
QZ_API size_t qzs_push(qzs_session* session, const int16_t* frames, size_t count);
/* The signal has ended: brings the events that the filters still hold. Once; later calls do nothing. */
QZ_API void qzs_finish(qzs_session* session);

/* From the next beat on it is measured at these points, in every averaged beat; what tells of positions and
 * means below has them at once. They are the onset of the QRS, -200 to -8
 * ms, and its end, 8 to 250 ms, both from r of qzs_positions, and the ST point, 10 to 200 ms after that end,
 * which counts on the T wave too. NaN is the session's own point, which follows the averaged beat: as at
 * first, and again after one by hand. The values of qzs_event_values keep the engine's points. False, and
 * nothing changes, where one is out of its range. */
QZ_API bool qzs_set_points(qzs_session* session, double q_ms, double j_ms, double st_ms);

/* Fetches the next event; each kind comes in order of time, those about a lead for each lead, and of
 * QZS_LEARNED a later one may have an earlier time. `size` is sizeof(qzs_event). False, and the event stays
 * as it is, where none waits and for any other size. */
QZ_API bool qzs_next_event(qzs_session* session, qzs_event* event, size_t size);
/* One value per lead of the event fetched last; a null array is passed over. NaN where the lead is off or
 * disturbed, or was lately. False, and nothing changes, where that was no QZS_BEAT and where `count` is not
 * the number of leads.
 *   level  ST level against the PR segment, smoothed over some beats
 *   slope  ST slope from J + 6 ms to the ST point, smoothed likewise
 *   j      level of the J point against the PR segment */
QZ_API bool qzs_event_values(const qzs_session* session, float* level, float* slope, float* j, size_t count);
/* The ST level of each lead at the point that laboratories use, which *point_ms tells, ms after J: 80, and 60
 * while the heart rate is above st_rate_limit, until it is 5/min below; or at that of qzs_set_points. It is
 * against the PR segment, at an onset and J that follow the averaged beat or are set by hand; NaN as above,
 * and where a point that is not set by hand lies on the T wave. A null pointer is passed over. False, and
 * nothing changes, as above. */
QZ_API bool qzs_event_st(const qzs_session* session, float* level, double* point_ms, size_t count);
/* The same at J, and 20, 60 and 80 ms after. */
QZ_API bool qzs_event_st_after_j(const qzs_session* session, float* j, float* j20, float* j60, float* j80,
                                 size_t count);
/* The slope of each lead from J to the point of qzs_event_st, its class, QZS_ST_..., and whether that point
 * lies on the T wave; else as qzs_event_st. */
QZ_API bool qzs_event_st_slope(const qzs_session* session, float* slope, int32_t* shape, bool* on_t,
                               size_t count);
/* Signal quality of each lead, of the QZS_QUALITY fetched last: from 0, nothing to be measured, to 1, clean.
 * False, and nothing changes, where that was none and where `count` is not the number of leads. */
QZ_API bool qzs_event_quality(const qzs_session* session, float* quality, size_t count);
/* The line of a QZS_NOT_LEARNED fetched last, as qzs_refusal gives its line; 0 for every other event. */
QZ_API size_t qzs_event_text(const qzs_session* session, char* text, size_t size);

/* Fetches up to `count` of the waiting conditioned frames, oldest first: one sample per lead, in lead order,
 * one microvolt per unit. Returns how many it fetched; with null frames it fetches none and returns how many
 * wait. `first_seconds`, which may be null, is set to the time of the oldest one, and stays as it is where
 * none waits. They follow each other without a gap from 0 s on, the first of them once the filters are
 * filled: after qzs_finish there have been as many as frames were taken. None wait unless the options ask for
 * them. */
QZ_API size_t qzs_conditioned(qzs_session* session, int16_t* frames, size_t count, double* first_seconds);

/* The averaged beat as it is now, microvolts: rows of one lead each, one after the other. Copies it where
 * `count` elements are enough. Returns its number of samples; 0 while there is none. */
QZ_API size_t qzs_template(const qzs_session* session, float* uv, size_t count);
/* Its points, q as learned, or q and j as set by hand. False, and the positions stay as they are, while there
 * is none. */
QZ_API bool qzs_get_positions(const qzs_session* session, qzs_positions* positions);
/* The same with the q and j that the latest beat was measured at. */
QZ_API bool qzs_get_measured_positions(const qzs_session* session, qzs_positions* positions);
/* The means of the latest beats that the qzs_event_st of the latest one was measured on: what is drawn of
 * them shows the levels that are told. As qzs_template, but above the level of the PR segment; NaN for a lead
 * with too few beats. Their own points go into `positions`, which may be null, and stays as it is while there
 * are none. */
QZ_API size_t qzs_measured_template(const qzs_session* session, float* uv, size_t count,
                                    qzs_positions* positions);
/* The averaged beat that was learned last, or handed in, as it was then: to be kept, and handed in to another
 * session of the same leads and rate. Copies the rows where `count` elements are enough. Returns their number
 * of samples; 0, and the beat stays as it is, while there is none. A null beat or null rows are passed over.
 */
QZ_API size_t qzs_learned_beat(const qzs_session* session, qzs_beat* beat, int16_t* rows, size_t count);
/* The delay of the filters, which is taken off all times, ms; 0 for null. */
QZ_API double qzs_delay_ms(const qzs_session* session);
/* The filters in words, as qzs_refusal gives its line; 0 for null. */
QZ_API size_t qzs_conditioning(const qzs_session* session, char* text, size_t size);

#ifdef __cplusplus
}
#endif
#endif
