// OCqzMeanRRmsLib: RR interval and heart rate from many leads, on the frame that ends an interval.
//
//   init:chn:freqNotch:uVpb:  ->  meanRRms: or meanHR:, one of them once per frame  ->  release
//
// The detector belongs to the process and outlives every object. Arrays, sharing and failure: see OCqz.h.
#pragma once

#import "OCqzDefines.h"

NS_ASSUME_NONNULL_BEGIN

struct OCSamples;

@interface OCqzMeanRRmsLib : NSObject {
@private
    short m_chnum;                       // leads
    struct OCSamples *OC_NULLABLE m_ad;  // one frame; null before create
}

/// Without leads until create.
- (instancetype)init;
/// init, then create:chn:freqNotch:uVpb: with the same arguments.
- (instancetype)init:(short)fs
                 chn:(short)chn
           freqNotch:(short)freqNotch
                uVpb:(double)uVpb NS_SWIFT_NAME(init(_:chn:freqNotch:uVpb:));

/// Sets up the detector anew; the RR intervals of its average are kept. Where that fails, every answer is 0
/// from then on.
/// @param fs         Samples per second.
/// @param chn        Leads.
/// @param freqNotch  Mains frequency to reject, Hz; below 1: none.
/// @param uVpb       Microvolts per unit.
- (void)create:(short)fs chn:(short)chn freqNotch:(short)freqNotch uVpb:(double)uVpb;

/// Takes the next frame. The number of its elements is not compared: missing samples are read as 0, surplus
/// ones ignored.
/// @return The RR interval in ms, steadied over five beats, on the frame that ends one; else 0.
- (short)meanRRms:(NSArray *)frame;

/// The same as a heart rate, 60000 divided by the interval.
/// @return Beats per minute, truncated; else 0.
- (short)meanHR:(NSArray *)frame;

@end

NS_ASSUME_NONNULL_END
