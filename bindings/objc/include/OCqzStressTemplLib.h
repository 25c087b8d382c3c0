// OCqzStressTemplLib: beat templates kept up to date by matching, ST measurement on them, three-lead heart
// rate; the exercise indices as class methods.
//
//   init -> create:... -> restTempl:... -> match: with every frame -> destroy
//                     |                 `> getPos, getSTuv, getSTslope, getTempl, setPos:..., setPostJms:
//                     `> getMeanHR:... with every frame
//
// Deliberate: releasing an object does not destroy the engine; its owner calls destroy.
// Arrays, sharing and failure: see OCqz.h.
#pragma once

#import "OCqzDefines.h"

NS_ASSUME_NONNULL_BEGIN

struct OCSamples;

@interface OCqzStressTemplLib : NSObject {
@private
    short m_chnum;                          // leads
    short m_length;                         // of the last template that the engine took, samples
    struct OCSamples *OC_NULLABLE m_ad;     // one frame; null before create and after destroy
    NSMutableArray *OC_NULLABLE m_templ;    // the template, one row of samples per lead
    NSMutableArray *OC_NULLABLE m_pos;      // Q, J, post-J time, R
    NSMutableArray *OC_NULLABLE m_ST;       // ST level per lead, uV
    NSMutableArray *OC_NULLABLE m_STslope;  // ST slope per lead, uV per ms
}

/// 12 leads until create says otherwise; no result arrays until restTempl.
- (instancetype)init;

/// Builds the engine, after destroying any earlier one. The result arrays stay as they are.
/// @param fs          Samples per second; made for 167 and up.
/// @param chn         Leads; kept also where this fails.
/// @param uVpb        Microvolts per unit.
/// @param mutex_lock  Whether the engine waits for those who hold its mutex.
/// @return NO where it cannot be built; there is then no engine.
- (BOOL)create:(short)fs chn:(short)chn uVpb:(double)uVpb mutex_lock:(BOOL)mutex_lock;

/// Releases the engine, for all objects. Harmless without one. The result arrays stay.
- (void)destroy;

/// Hands in a first averaged beat and makes new result arrays. The engine finds R itself, cuts the beat to at
/// most 800 ms and moves Q 12 ms earlier.
/// @param templ    One row of samples per lead. The last lead's row gives the length, as 16 bits; samples
/// that a shorter row lacks are 0. Surplus rows are ignored.
/// @param posQ     Q onset, index into a row.
/// @param posJ     J point, index into a row.
/// @param postJms  Time from J to the ST point, ms.
/// @return The template as the engine keeps it. Nil with fewer rows than leads and without an engine.
- (NSArray *OC_NULLABLE)restTempl:(NSArray *)templ posQ:(short)posQ posJ:(short)posJ postJms:(short)postJms;

/// @return Four numbers: Q (12 ms before the Q handed in), J, both template indices, the post-J time in ms,
/// and R. Nil while the engine has no template, and before this object's restTempl.
- (NSArray *OC_NULLABLE)getPos;

/// Takes the next frame. The number of its elements is not compared: missing samples are read as 0, surplus
/// ones ignored.
/// @return The template where the frame completed a beat that was averaged into it, else nil. Nil also before
/// this object's restTempl; the frame is then taken all the same.
- (NSArray *OC_NULLABLE)match:(NSArray *)frame;

/// @return The template, one row of samples per lead; nil while the engine has none, and before this object's
/// restTempl. The rows keep the length of that restTempl: where another object has handed in a template of
/// another length since, the samples that both have are refilled.
- (NSArray *OC_NULLABLE)getTempl;

/// Moves Q and J, template indices, as given.
- (void)setPos:(short)posQ Jpoint:(short)posJ NS_SWIFT_NAME(setPos(_:jpoint:));
/// Sets the time from J to the ST point, ms.
- (void)setPostJms:(short)postJms;

/// @return The ST slope from J to the ST point of every lead, floats, uV per ms, smoothed over the calls. Nil
/// without an engine, and where this object has no array of as many leads.
- (NSArray *OC_NULLABLE)getSTslope;
/// @return The ST level of every lead, uV, smoothed likewise; nil likewise.
- (NSArray *OC_NULLABLE)getSTuv;

/// Takes the next sample of each of three leads; needs no template.
/// @return The heart rate in beats/min on the sample that is a beat: 60000 / RR + 0.111, truncated, so that
/// 801 ms still is 75. Else 0, also for an interval of 2000 ms or more.
- (short)getMeanHR:(short)s1 data2:(short)s2 data3:(short)s3;

/// Duke treadmill score: minutes - 5 * |ST deviation in mm| - 4 * angina index. From any thread, without an
/// engine.
/// @param stressSeconds  Exercise time, seconds.
/// @param deepestST      Deepest ST deviation, millivolts, either sign (1 mm of paper is 0.1 mV).
/// @param angina         0 none, 1 non-limiting, 2 limiting; not checked.
/// @return The score, truncated toward zero, wrapped to 16 bits; it has no failure value.
/// Source: Mark et al., N Engl J Med 1991; 325: 849-853.
+ (short)getDuke:(short)stressSeconds deepestSTwithmV:(float)deepestST anginaPectoris:(short)angina;

/// Physical working capacity: the powers at which the heart rate reaches 130, 150 and 170 beats/min, read
/// from the least-squares line of heart rate on power over the stages from 110 to 190 beats/min. From any
/// thread, without an engine.
/// @param power  Power of every stage, any unit, read with floatValue where the stage's heart rate is one of
/// those; a stage whose power does not answer floatValue does not count.
/// @param hr     Heart rate reached in every stage, beats/min, likewise. Of arrays of unequal length the
/// first pairs count; with fewer than three pairs no element is read.
/// @return A new array of three numbers, in the unit of the powers: PWC130, PWC150, PWC170. -1 where not
/// computed: too few stages, rates too low (130 needs one above 120, 150 one above 130, 170 one above 150) or
/// not rising with power, or no positive power.
/// Source: Wahlund, Acta Med Scand 1948; 132 (suppl. 215); Astrand, Rodahl, Textbook of Work Physiology,
/// 1970.
+ (NSArray *)getPWC:(NSArray *)power hr:(NSArray *)hr;

@end

NS_ASSUME_NONNULL_END
