// OCqzSession: one stress test from raw frames to heart rates and ST values, as many objects as wanted.
//
//   init:chn:uVpb:mains:lowpass:smooth:postJms:  ->  push: with frames, nextEvent until it is nil  ->
//   finish, nextEvent until it is nil  ->  release
//
// A session conditions the signal, learns the first averaged beat from it, folds every beat that matches into
// that, and measures ST on it. Unlike those of the flat classes every object is a session of its own, for one
// thread at a time. Seconds count from the first frame, filter delays taken off. Arrays: see OCqz.h. Of the
// C++ class there is everything but the number of frames taken, which is the sum of what push returns, and
// names: of leads, and of what a beat was learned from.
#pragma once

#import "OCqzDefines.h"

NS_ASSUME_NONNULL_BEGIN

struct qzs_session;

/// What an event tells of. Later libraries may have more kinds: pass over those that are unknown.
enum {
    /// A beat was found, whether it matches the averaged one or not: bpm, rrMs and beatClass; seconds of the
    /// middle of its QRS. Known up to 2.3 s later, 4.3 s at the start.
    OCqzEventInterval = 1,
    OCqzEventBeat = 2,  ///< a beat has been folded into the averaged one: level, slope, j; seconds of its R
    OCqzEventLeadOff = 3,  ///< the signal of a lead is a line, as that of a loose electrode: voidFromSeconds
    OCqzEventLeadOn = 4,   ///< the line has ended
    OCqzEventDisturbed = 5,   ///< the level of a lead jumps and stays away
    OCqzEventCalm = 6,        ///< it has not done so for a second; seconds of the last of it
    OCqzEventLearned = 7,     ///< an averaged beat is there: matching begins with the signal at `seconds`
    OCqzEventNotLearned = 8,  ///< no ST values to the end of the signal: text says why
    OCqzEventQuality = 9      ///< how good the signal of each lead has been for 2 s, up to then: quality
};

/// Classes of beats. A beat that was folded in but not found is unclassified.
enum {
    OCqzBeatNormal = 1,
    OCqzBeatSupraventricular = 2,  ///< early in a regular rhythm
    OCqzBeatVentricular = 3,       ///< of an unusual shape, and wide, early, or followed by a pause
    OCqzBeatUnclassified = 4,      ///< noise may have made what looks ventricular
    OCqzBeatPaced = 5              ///< of a usual shape, where a pacemaker is told of
};

/// Classes of the slope of ST.
enum {
    OCqzSTUnknown = 0,    ///< nothing is measured
    OCqzSTUpsloping = 1,  ///< 0.5 uV per ms and more
    OCqzSTHorizontal = 2,
    OCqzSTDownsloping = 3  ///< -0.5 uV per ms and less
};

/// One event. It does not change, and does not need its session.
@interface OCqzSessionEvent : NSObject {
@private
    int kind, lead, beatClass, shape;
    double seconds, bpm, votedBpm, rrMs, qMs, jMs, voidFromSeconds;
    BOOL again;
    NSArray *OC_NULLABLE level, *OC_NULLABLE slope, *OC_NULLABLE j;
    NSArray *OC_NULLABLE st, *OC_NULLABLE stJ, *OC_NULLABLE stJ20, *OC_NULLABLE stJ60, *OC_NULLABLE stJ80;
    NSArray *OC_NULLABLE stSlope, *OC_NULLABLE stShape, *OC_NULLABLE stOnT;
    double stPointMs;
    NSArray *OC_NULLABLE quality;
    NSString *OC_NULLABLE text;
}
@property(nonatomic, readonly) int kind;        ///< OCqzEvent...
@property(nonatomic, readonly) int lead;        ///< of the four kinds about a lead; else -1
@property(nonatomic, readonly) double seconds;  ///< when it was, see the kinds
/// Heart rate at an interval, or that shown at the time of a beat; else NaN.
@property(nonatomic, readonly) double bpm;
/// Heart rate at an interval as most of the leads' detectors have it; else NaN.
@property(nonatomic, readonly) double votedBpm;
/// Of an interval or a beat, ms from the beat found before, NaN after 4 s without; else NaN.
@property(nonatomic, readonly) double rrMs;
@property(nonatomic, readonly) int beatClass;  ///< of an interval or a beat: OCqzBeat...; else 0
/// Of OCqzEventBeat: which averaged beat it is like, numbered from 0 as learned; else -1.
@property(nonatomic, readonly) int shape;
/// Of OCqzEventBeat: onset and end of the QRS that it is measured from, ms from seconds; else NaN.
@property(nonatomic, readonly) double qMs;
@property(nonatomic, readonly) double jMs;
/// Of OCqzEventLeadOff: what was told of the lead for beats after this is void.
@property(nonatomic, readonly) double voidFromSeconds;
@property(nonatomic, readonly) BOOL again;  ///< of OCqzEventLearned: in place of an earlier averaged beat
/// Of OCqzEventBeat, one float per lead, else nil; NaN where the lead is off or disturbed, or was lately.
/// ST level and level of the J point against the PR segment, uV; ST slope, uV per ms.
@property(nonatomic, readonly) NSArray *OC_NULLABLE level;
@property(nonatomic, readonly) NSArray *OC_NULLABLE slope;
@property(nonatomic, readonly) NSArray *OC_NULLABLE j;
/// Of OCqzEventBeat: ST level of each lead, uV, at stPointMs after J: 80 ms, 60 ms while the heart rate is
/// above the limit of the session, 145/min, until it is 5/min below; or at the point of setPoints. It is
/// against the PR segment, at an onset and J that follow the averaged beat or are set by hand; NaN as above,
/// and where a point that is not set by hand lies on the T wave. Else nil and 0.
@property(nonatomic, readonly) NSArray *OC_NULLABLE st;
@property(nonatomic, readonly) double stPointMs;
/// The same at J, and 20, 60 and 80 ms after.
@property(nonatomic, readonly) NSArray *OC_NULLABLE stJ;
@property(nonatomic, readonly) NSArray *OC_NULLABLE stJ20;
@property(nonatomic, readonly) NSArray *OC_NULLABLE stJ60;
@property(nonatomic, readonly) NSArray *OC_NULLABLE stJ80;
/// Of OCqzEventBeat, one per lead, else nil: the slope from J to the point of st, uV per ms; its class,
/// OCqzST..., as a short; whether that point lies on the T wave, as a short of 1 or 0.
@property(nonatomic, readonly) NSArray *OC_NULLABLE stSlope;
@property(nonatomic, readonly) NSArray *OC_NULLABLE stShape;
@property(nonatomic, readonly) NSArray *OC_NULLABLE stOnT;
/// Of OCqzEventQuality, one float per lead, else nil: from 0, nothing to be measured, to 1, clean.
@property(nonatomic, readonly) NSArray *OC_NULLABLE quality;
@property(nonatomic, readonly) NSString *OC_NULLABLE text;  ///< of OCqzEventNotLearned, for people; else nil
@end

/// An averaged beat as a session has learned it: plain values, to be kept, and handed in to another session
/// of the same leads and rate. It does not change.
@interface OCqzLearnedBeat : NSObject {
@private
    NSArray *rows;
    short posR, posQ, posJ;
    int beatsFound, beatsUsed;
    double stretchSeconds, likeness;
    unsigned long long usable;
    BOOL confident;
}
/// From values that were kept, see the properties.
- (instancetype)init:(NSArray *)rows
                posR:(short)posR
                posQ:(short)posQ
                posJ:(short)posJ
          beatsFound:(int)beatsFound
           beatsUsed:(int)beatsUsed
      stretchSeconds:(double)stretchSeconds
            likeness:(double)likeness
              usable:(unsigned long long)usable
           confident:(BOOL)confident
    NS_SWIFT_NAME(init(_:posR:posQ:posJ:beatsFound:beatsUsed:stretchSeconds:likeness:usable:confident:));

@property(nonatomic, readonly) NSArray *rows;  ///< an array of samples per lead, of one length, 1 uV per unit
@property(nonatomic, readonly) short posR;     ///< steepest place of the QRS, index into a row
@property(nonatomic, readonly) short posQ;     ///< onset of the QRS, index into a row
@property(nonatomic, readonly) short posJ;     ///< end of the QRS, index into a row
@property(nonatomic, readonly) int beatsFound;         ///< in the stretch that it was learned from
@property(nonatomic, readonly) int beatsUsed;          ///< in the average
@property(nonatomic, readonly) double stretchSeconds;  ///< length of that stretch
@property(nonatomic, readonly)
    double likeness;  ///< median correlation of a used beat with the average, 0 to 1
@property(nonatomic, readonly) unsigned long long usable;  ///< bit i: the beats of lead i are alike and match
@property(nonatomic, readonly) BOOL confident;             ///< NO: ST values may be off
@end

@interface OCqzSession : NSObject {
@private
    struct qzs_session *OC_NULLABLE session;  // null after a plain init, which takes no frames
    short chnum;
}

/// @param fs       Samples per second, 100 to 10000.
/// @param chn      Leads, 1 to 64.
/// @param uVpb     Microvolts per unit of the frames.
/// @param mains    50, 60 or 0 for none, Hz.
/// @param lowpass  Cutoff of the low-pass, below fs / 2; 0 for none; usually 40, Hz.
/// @param smooth   Strength of the adaptive smoother: 0 none, 1 or 2.
/// @param postJms  ST is measured this long after J + 6 ms: 10 to 200, usually 60.
/// @return Nil for arguments out of range and without memory. qzs_refusal (api/qzSessionC.h) says why.
- (instancetype OC_NULLABLE)init:(short)fs
                             chn:(short)chn
                            uVpb:(double)uVpb
                           mains:(short)mains
                         lowpass:(short)lowpass
                          smooth:(short)smooth
                         postJms:(short)postJms NS_SWIFT_NAME(init(_:chn:uVpb:mains:lowpass:smooth:postJms:));
/// The same, and:
/// @param comb         A comb instead of notch and high-pass, for mains of 50 Hz at a multiple of 50 Hz: it
///                     takes out every harmonic of the mains, delays by 740 ms and shifts ST.
/// @param stRateLimit  Heart rate above which `st` is at J + 60 ms instead of J + 80 ms: above 0, usually
///                     145, beats/min.
/// @param paced        A pacemaker is at work: beats of a usual shape are OCqzBeatPaced.
/// @param beat         The first averaged beat; nil: the session learns it.
/// @param conditioned  Whether conditioned frames are kept to be fetched.
/// @return Nil also for a beat that does not fit the leads and the rate.
- (instancetype OC_NULLABLE)init:(short)fs
                             chn:(short)chn
                            uVpb:(double)uVpb
                           mains:(short)mains
                         lowpass:(short)lowpass
                          smooth:(short)smooth
                            comb:(BOOL)comb
                         postJms:(short)postJms
                     stRateLimit:(double)stRateLimit
                           paced:(BOOL)paced
                            beat:(OCqzLearnedBeat *OC_NULLABLE)beat
                     conditioned:(BOOL)conditioned
    NS_SWIFT_NAME(init(_:chn:uVpb:mains:lowpass:smooth:comb:postJms:stRateLimit:paced:beat:conditioned:));

/// Takes frames, the samples of one after those of the other; what is left over of a frame is not taken.
/// @return How many frames it took: fewer than there are when 256 events or 4096 conditioned frames wait to
/// be fetched first, and at least one where nothing waits. 0 after finish.
- (NSInteger)push:(NSArray *)frames;
/// The signal has ended: brings the events that the filters still hold. Once.
- (void)finish;
/// From the next beat on it is measured at these points, in every averaged beat. NaN is the session's own
/// point, which follows the averaged beat: as at first, and again after one by hand. The engine's values
/// (level, slope, j) keep its own; getPos, getMeasuredPos and the measured means have the new ones at once.
/// @param qMs   Onset of the QRS, from R of getPos: -200 to -8 ms.
/// @param jMs   Its end, from R: 8 to 250 ms.
/// @param stMs  ST point, from that end: 10 to 200 ms; it counts on the T wave too.
/// @return NO, and nothing changes, where one is out of its range.
- (BOOL)setPoints:(double)qMs j:(double)jMs st:(double)stMs NS_SWIFT_NAME(setPoints(_:j:st:));
/// The next event, each kind in order of time, those about a lead for each lead; of OCqzEventLearned a later
/// one may have an earlier time. Nil where none waits.
- (OCqzSessionEvent *OC_NULLABLE)nextEvent;
/// All waiting conditioned frames, in the form that push takes, 1 uV per unit. They follow each other without
/// a gap from 0 s on.
/// @param firstSeconds  Set to the time of the first of them, where it is not null.
/// @return Nil where none wait.
- (NSArray *OC_NULLABLE)conditioned:(double *OC_NULLABLE)firstSeconds;

/// The averaged beat as it is now, one array of microvolts per lead; nil before there is one.
- (NSArray *OC_NULLABLE)getTempl;
/// Its points: length, Q, R and J, ms from its start, Q as learned, or Q and J as set by hand; nil before
/// there is one.
- (NSArray *OC_NULLABLE)getPos;
/// The same with the Q and J that the latest beat was measured at.
- (NSArray *OC_NULLABLE)getMeasuredPos;
/// The means of the latest beats that st of the latest event was measured on: what is drawn of them shows the
/// levels that are told. One array of microvolts above the level of the PR segment per lead, NaN for a lead
/// with too few beats; nil before there is one.
- (NSArray *OC_NULLABLE)getMeasuredTempl;
/// Their points, as getPos has those of getTempl.
- (NSArray *OC_NULLABLE)getMeasuredTemplPos;
/// The averaged beat that was learned last, or handed in, as it was then; nil before there is one.
- (OCqzLearnedBeat *OC_NULLABLE)learnedBeat;
/// The delay of the filters, which is taken off all times, ms.
- (double)delayMs;
/// The filters in words.
- (NSString *)conditioning;

@end

NS_ASSUME_NONNULL_END
