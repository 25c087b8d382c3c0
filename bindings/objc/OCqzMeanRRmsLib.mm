#import "bindings/objc/include/OCqzMeanRRmsLib.h"

#include "api/qzStressTemplLibC.h"
#import "bindings/objc/OCqzConversions.h"

@implementation OCqzMeanRRmsLib

- (instancetype)init {
    return [super init];  // with everything 0
}

- (instancetype)init:(short)fs chn:(short)chn freqNotch:(short)freqNotch uVpb:(double)uVpb {
    self = [super init];
    if (self != nil) [self create:fs chn:chn freqNotch:freqNotch uVpb:uVpb];
    return self;
}

- (void)dealloc {
    OCFreeFrame(m_ad);
    OC_SUPER_DEALLOC();
}

- (void)create:(short)fs chn:(short)chn freqNotch:(short)freqNotch uVpb:(double)uVpb {
    m_chnum = chn;
    OCFrame(m_ad, OCCount(chn));
    qzc_multi_init(fs, chn, freqNotch, uVpb);
}

/// Feeds one frame; the RR interval in ms that ended on it, else 0.
static short Feed(OCqzMeanRRmsLib *self, NSArray *frame) {
    const std::vector<short> &samples = OCReadFrame(frame, OCCount(self->m_chnum), self->m_ad);
    return std::max(qzc_multi_mean_rr_ms(samples.data(), samples.size()), short{0});
}

- (short)meanRRms:(NSArray *)frame {
    return Feed(self, frame);
}

- (short)meanHR:(NSArray *)frame {
    return qzc_heart_rate_of_many_leads(Feed(self, frame));
}

@end
