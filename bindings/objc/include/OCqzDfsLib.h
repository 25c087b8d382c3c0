// OCqzDfsLib: the sample-rate doubler, a frame in, two frames out.
//
//   init:uVpb:  ->  getData: with every frame  ->  destroy or release
//
// The doubled signal lags the input by one input sample. Arrays, sharing and failure: see OCqz.h.
#pragma once

#import "OCqzDefines.h"

NS_ASSUME_NONNULL_BEGIN

struct OCSamples;

@interface OCqzDfsLib : NSObject {
@private
    struct OCSamples *OC_NULLABLE ad;  // one frame
    short chnum;                       // leads
    NSMutableArray *OC_NULLABLE dst;   // two output frames; nil before create
}

/// Without leads until create.
- (instancetype)init;
/// init, then create:uVpb: with the same arguments. Returns the object also where that fails.
- (instancetype)init:(short)chn uVpb:(double)uVpb NS_SWIFT_NAME(init(_:uVpb:));

/// Builds the doubler, after destroying any earlier one, and a new result array.
/// @param chn   Leads.
/// @param uVpb  Microvolts per unit. Not used: a sharp step is judged in units.
/// @return NO where it cannot be built; there is then no doubler, and the object stays as it is.
- (BOOL)create:(short)chn uVpb:(double)uVpb;

/// Takes the next frame. Samples beyond the leads are ignored.
/// @return 2 * leads samples: the inserted midpoints of all leads, then the samples at the input rate. Nil
/// with fewer samples than leads, before create and without a doubler.
- (NSArray *OC_NULLABLE)getData:(NSArray *)frame;

/// Releases the doubler, for all objects. Harmless without one. Releasing an object does the same.
- (void)destroy;

@end

NS_ASSUME_NONNULL_END
