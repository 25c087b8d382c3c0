// OCqzFilterBank: one filter per lead, frame by frame: a mains notch, or a high-pass against baseline wander.
// For signals that the filter chain does not suit: mains of 60 Hz, and of 50 Hz at rates that are no multiple
// of 50 (see OCqzFiltersLib.h).
//
//   init:chn:notch:q: or init:chn:highpass:  ->  filter: with every frame  ->  release
//
// Unlike the other classes every object has filters of its own, as many objects as wanted. They start at 0,
// so that a signal with an offset begins with a step, for which a high-pass of 0.05 Hz needs 20 s: subtract
// the first frame from every frame to avoid it. Arrays: see OCqz.h.
#pragma once

#import "OCqzDefines.h"

NS_ASSUME_NONNULL_BEGIN

struct OCSamples;
struct qzc_filter_bank;

@interface OCqzFilterBank : NSObject {
@private
    struct qzc_filter_bank *OC_NULLABLE bank;  // null after a plain init, which lets all frames pass
    struct OCSamples *OC_NULLABLE ad;          // one frame
    NSMutableArray *OC_NULLABLE dst;           // the filtered frame
}

/// A notch: takes out one frequency. -3 dB lies notch / (2 q) on either side; after a step it rings for about
/// q / notch seconds.
/// @param fs     Samples per second.
/// @param chn    Leads.
/// @param notch  Hz; above 0 and below fs / 2.
/// @param q      Quality factor, above 0; 10 suits mains.
/// @return Nil for arguments out of range, a negative number of leads among them, and without memory.
- (instancetype OC_NULLABLE)init:(short)fs
                             chn:(short)chn
                           notch:(double)notch
                               q:(double)q NS_SWIFT_NAME(init(_:chn:notch:q:));
/// A high-pass: -5.3 dB at its corner, -3 dB at 1.39 times that.
/// @param highpass  The corner, Hz; below fs / 2, usually 0.05. Below 0.01 it counts as 0.01.
/// @return Nil likewise.
- (instancetype OC_NULLABLE)init:(short)fs
                             chn:(short)chn
                        highpass:(double)highpass NS_SWIFT_NAME(init(_:chn:highpass:));

/// Filters one frame; results are truncated toward zero and wrap at 16 bits.
/// @return The result array; the very array passed in, unfiltered, where it does not have one element per
/// lead. Nil only for nil.
- (NSArray *)filter:(NSArray *)frame;

@end

NS_ASSUME_NONNULL_END
