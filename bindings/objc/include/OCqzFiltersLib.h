// OCqzFiltersLib: the filter chain, frame by frame: low-pass, mains notch (with drift removal), smoothing.
//
//   init:chn:freqLpass:freqNotch:smooth:  ->  filters: with every frame  ->  destroy or release
//                                             update:..., switchFilters:... at any time
//
// The notch delays the signal by about three quarters of a second. Arrays, sharing and failure: see OCqz.h.
#pragma once

#import "OCqzDefines.h"

NS_ASSUME_NONNULL_BEGIN

struct OCSamples;

@interface OCqzFiltersLib : NSObject {
@private
    struct OCSamples *OC_NULLABLE ad;  // one frame; null before create and after destroy
    short chnum;                       // leads
    NSMutableArray *OC_NULLABLE dst;   // the filtered frame; nil before create
}

/// Without leads until create.
- (instancetype)init;
/// init, then create:chn:freqLpass:freqNotch:smooth: with the same arguments. Returns the object also where
/// that fails.
- (instancetype)init:(short)fs
                 chn:(short)chn
           freqLpass:(short)freqLpass
           freqNotch:(short)freqNotch
              smooth:(short)smooth NS_SWIFT_NAME(init(_:chn:freqLpass:freqNotch:smooth:));

/// Builds the chain, after destroying any earlier one, and a new result array. 0 leaves a stage out; all
/// stages built are on.
/// @param fs         Samples per second.
/// @param chn        Leads.
/// @param freqLpass  Cutoff of the low-pass, Hz; below fs / 2: at or above it the low-pass is unstable.
/// @param freqNotch  Mains frequency, Hz: 50, at an fs that is a multiple of 50. The comb inverts and doubles
/// a tone of 60 Hz, and leaves much of 50 Hz at other rates: there pass 0 and use OCqzFilterBank.
/// @param smooth     1 for one smoothing pass, 2 and more for three stronger ones.
/// @return NO where it cannot be built; there is then no chain, and the object stays as it is.
- (BOOL)create:(short)fs
           chn:(short)chn
     freqLpass:(short)freqLpass
     freqNotch:(short)freqNotch
        smooth:(short)smooth;

/// Rebuilds the chain for the leads of the last create; its history restarts. Arguments as there.
/// @return NO before a create with leads, the chain then stays as it is; NO also where it cannot be built.
- (BOOL)update:(short)fs freqLpass:(short)freqLpass freqNotch:(short)freqNotch smooth:(short)smooth;

/// Switches built stages on and off. A stage switched off keeps its history and resumes from it; one that was
/// never built stays off.
- (void)switchFilters:(BOOL)lowpass onOffNotch:(BOOL)notch onOffSmooth:(BOOL)smooth;

/// Filters one frame; results wrap at 16 bits. Without a chain the values come back as they went in.
/// @return The result array; the very array passed in, unfiltered, where it does not have one element per
/// lead. Nil only for nil, and for an empty frame before create.
- (NSArray *OC_NULLABLE)filters:(NSArray *)frame;

/// Releases the chain, for all objects. Harmless without one. Releasing an object does the same.
- (void)destroy;

@end

NS_ASSUME_NONNULL_END
