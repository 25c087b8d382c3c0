#import "bindings/objc/include/OCqzFilterBank.h"

#include "api/qzStressTemplLibC.h"
#import "bindings/objc/OCqzConversions.h"

@implementation OCqzFilterBank

/// Takes over `made`; nil for null.
- (instancetype)init:(struct qzc_filter_bank *)made leads:(short)chn {
    self = [super init];
    if (made == nullptr) {
        OC_LET_GO(self);
        return nil;
    }
    bank = made;
    dst = [[NSMutableArray alloc] initWithCapacity:OCCount(chn)];
    return self;
}

- (instancetype)init:(short)fs chn:(short)chn notch:(double)notch q:(double)q {
    return [self init:qzc_notch_create(fs, chn, notch, q) leads:chn];
}

- (instancetype)init:(short)fs chn:(short)chn highpass:(double)highpass {
    return [self init:qzc_highpass_create(fs, chn, highpass) leads:chn];
}

- (void)dealloc {
    qzc_filter_bank_destroy(bank);
    OCFreeFrame(ad);
    OC_LET_GO(dst);
    OC_SUPER_DEALLOC();
}

- (NSArray *)filter:(NSArray *)frame {
    std::vector<short> &samples = OCReadFrame(frame, [frame count], ad);
    if (!qzc_filter_bank_filter(bank, samples.data(), samples.size())) return frame;
    OCWriteArray(samples.data(), samples.size(), dst);
    return dst;
}

@end
