#import "bindings/objc/include/OCqzDfsLib.h"

#include "api/qzStressTemplLibC.h"
#import "bindings/objc/OCqzConversions.h"

@implementation OCqzDfsLib

- (instancetype)init {
    return [super init];  // with everything 0
}

- (instancetype)init:(short)chn uVpb:(double)uVpb {
    self = [super init];
    if (self != nil) [self create:chn uVpb:uVpb];
    return self;
}

- (void)dealloc {
    [self destroy];
    OCFreeFrame(ad);
    OC_LET_GO(dst);
    OC_SUPER_DEALLOC();
}

- (BOOL)create:(short)chn uVpb:(double)uVpb {
    if (!qzc_dfs_create(chn, uVpb)) return NO;
    const std::size_t count = 2 * OCCount(chn);
    chnum = chn;
    OCFrame(ad, OCCount(chn));
    OC_LET_GO(dst);
    dst = [[NSMutableArray alloc] initWithCapacity:count];
    OCWriteArray(std::vector<short>(count).data(), count, dst);
    return YES;
}

- (NSArray *)getData:(NSArray *)frame {
    const std::size_t leads = OCCount(chnum);
    if (leads == 0 || [frame count] < leads) return nil;
    const std::vector<short> &samples = OCReadFrame(frame, leads, ad);
    std::vector<short> rows(2 * leads);
    if (!qzc_dfs_get_data(samples.data(), leads, rows.data(), rows.size())) return nil;
    OCWriteArray(rows.data(), rows.size(), dst);
    return dst;
}

- (void)destroy {
    qzc_dfs_destroy();
}

@end
