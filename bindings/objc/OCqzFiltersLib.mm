#import "bindings/objc/include/OCqzFiltersLib.h"

#include "api/qzStressTemplLibC.h"
#import "bindings/objc/OCqzConversions.h"

@implementation OCqzFiltersLib

- (instancetype)init {
    return [super init];  // with everything 0
}

- (instancetype)init:(short)fs
                 chn:(short)chn
           freqLpass:(short)freqLpass
           freqNotch:(short)freqNotch
              smooth:(short)smooth {
    self = [super init];
    if (self != nil) [self create:fs chn:chn freqLpass:freqLpass freqNotch:freqNotch smooth:smooth];
    return self;
}

- (void)dealloc {
    [self destroy];
    OC_LET_GO(dst);
    OC_SUPER_DEALLOC();
}

- (BOOL)create:(short)fs
           chn:(short)chn
     freqLpass:(short)freqLpass
     freqNotch:(short)freqNotch
        smooth:(short)smooth {
    if (!qzc_filters_create(fs, chn, freqLpass, freqNotch, smooth)) return NO;
    const std::size_t leads = OCCount(chn);
    OCFrame(ad, leads);
    chnum = chn;
    OC_LET_GO(dst);
    dst = [[NSMutableArray alloc] initWithCapacity:leads];
    OCWriteArray(std::vector<short>(leads).data(), leads, dst);
    return YES;
}

- (BOOL)update:(short)fs freqLpass:(short)freqLpass freqNotch:(short)freqNotch smooth:(short)smooth {
    return chnum >= 1 && qzc_filters_create(fs, chnum, freqLpass, freqNotch, smooth);
}

- (void)switchFilters:(BOOL)lowpass onOffNotch:(BOOL)notch onOffSmooth:(BOOL)smooth {
    qzc_filters_switch(lowpass, notch, smooth);
}

- (NSArray *)filters:(NSArray *)frame {
    const std::size_t leads = OCCount(chnum);
    if ([frame count] != leads) return frame;
    std::vector<short> &samples = OCReadFrame(frame, leads, ad);
    qzc_filters_filters(samples.data(), leads);
    OCWriteArray(samples.data(), leads, dst);
    return dst;
}

- (void)destroy {
    qzc_filters_destroy();
    OCFreeFrame(ad);
}

@end
