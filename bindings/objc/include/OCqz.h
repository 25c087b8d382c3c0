// OCqz: the stress-ECG library as Objective-C classes.
//
//   OCqzStressTemplLib  templates, beat matching, ST measurement, three-lead heart rate, exercise indices
//   OCqzFiltersLib      the filter chain: low-pass, mains notch, smoothing
//   OCqzDfsLib          the sample-rate doubler
//   OCqzMeanRRmsLib     the many-lead RR interval and heart rate
//   OCqzFilterBank      a mains notch or a high-pass per lead, as many objects as wanted
//   OCqzSession         raw frames to heart rates and ST values, as many objects as wanted
//
// Arrays. A sample is an NSNumber read with shortValue, in converter units; times uVpb it is microvolts. A
// frame has one sample per lead, in lead order. What does not answer shortValue reads as 0, and a row that is
// not an NSArray as one without samples; a nil array counts as an empty one.
//
// Results. A result array belongs to its object. Every call that returns it returns the same array, refilled
// in place: copy it to keep it. The arrays of an OCqzSession, its events and its beats are new each
// time. The scalar results are plain numbers.
//
// Sharing. The process has one engine, one chain, one doubler and one many-lead detector, and all objects of
// one of the first four classes work on the same one, whichever interface has built it: creating rebuilds it
// for all of them, destroying takes it away from all. So keep one object and send it create again: a new
// chain or doubler object assigned in place of an old one loses what it has built when the old one is
// released. An object keeps the number of leads of its own last create. While that is not the number of leads
// of what is there now, the object gets the answers of nothing there wherever a frame, a template or a value
// per lead passes, and nothing changes.
//
// Failure is a result: NO, nil, 0 or the input unchanged. Nothing is raised. A negative number of leads, or
// no memory for what is to be built, makes a create fail; there is then nothing built.
//
// One thread at a time for each class, and for each OCqzFilterBank and OCqzSession.
#pragma once

#import "OCqzDefines.h"
#import "OCqzDfsLib.h"
#import "OCqzFilterBank.h"
#import "OCqzFiltersLib.h"
#import "OCqzMeanRRmsLib.h"
#import "OCqzSession.h"
#import "OCqzStressTemplLib.h"
