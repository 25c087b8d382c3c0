#import "bindings/objc/include/OCqzStressTemplLib.h"

#include "api/qzStressTemplLibC.h"
#import "bindings/objc/OCqzConversions.h"
#include "core/stress/ExerciseIndices.h"

static const short kUsualLeads = 12;
static const std::size_t kPositions = 4;
static const std::size_t kPwcRates = 3;
static const std::size_t kFewestStages = 3;  // with fewer there is no PWC

/// Writes one value per lead into a result array that has one for each. Nil where it has not.
template <typename T>
static NSArray *OC_NULLABLE RefillTrend(bool (*read)(T *, std::size_t), short chn,
                                        NSMutableArray *OC_NULLABLE result) {
    const std::size_t leads = OCCount(chn);
    std::vector<T> values(leads);
    if (!read(values.data(), leads) || [result count] != leads) return nil;
    OCWriteArray(values.data(), leads, result);
    return result;
}

@implementation OCqzStressTemplLib

- (instancetype)init {
    self = [super init];  // with everything 0
    if (self != nil) m_chnum = kUsualLeads;
    return self;
}

/// Deliberate: the engine stays; it belongs to whoever calls destroy.
- (void)dealloc {
    OCFreeFrame(m_ad);
    OC_LET_GO(m_templ);
    OC_LET_GO(m_pos);
    OC_LET_GO(m_ST);
    OC_LET_GO(m_STslope);
    OC_SUPER_DEALLOC();
}

- (BOOL)create:(short)fs chn:(short)chn uVpb:(double)uVpb mutex_lock:(BOOL)mutex_lock {
    qzc_stress_init(mutex_lock);
    m_chnum = chn;
    OCFrame(m_ad, OCCount(chn));
    return qzc_stress_create(fs, chn, uVpb);
}

- (void)destroy {
    OCFreeFrame(m_ad);
    qzc_stress_destroy();
}

/// Refills m_templ from the engine, with nothing from an empty template. Nil without a template in the
/// engine, or with one of another number of leads.
static NSArray *OC_NULLABLE RefillTempl(OCqzStressTemplLib *self) {
    const std::size_t leads = OCCount(self->m_chnum);
    const short templLength = qzc_stress_templ_length();
    if (self->m_templ == nil || templLength < 0 || qzc_stress_leads() != std::max(self->m_chnum, short{0}))
        return nil;

    const std::size_t engineLength = OCCount(templLength);
    std::vector<short> templ(leads * engineLength);
    qzc_stress_get_templ(templ.data(), templ.size());
    for (std::size_t c = 0; c < std::min<std::size_t>(leads, [self->m_templ count]); ++c) {
        NSMutableArray *row = [self->m_templ objectAtIndex:c];
        const std::size_t length = std::min<std::size_t>(OCCount(self->m_length), [row count]);
        OCWriteArray(templ.data() + c * engineLength, std::min(length, engineLength), row);
    }
    return self->m_templ;
}

- (NSArray *)restTempl:(NSArray *)templ posQ:(short)posQ posJ:(short)posJ postJms:(short)postJms {
    const std::size_t leads = OCCount(m_chnum);
    if ([templ count] < leads) return nil;
    short kept = leads > 0 ? static_cast<short>([OCRow(templ, leads - 1) count]) : short{0};
    const std::size_t length = OCCount(kept);
    std::vector<short> samples(leads * length);
    for (std::size_t c = 0; c < leads; ++c) OCReadArray(OCRow(templ, c), samples.data() + c * length, length);
    if (!qzc_stress_init_templ(samples.data(), leads, length, posQ, posJ, postJms, &kept)) return nil;

    m_length = kept;
    const std::vector<short> zeros(std::max({OCCount(m_length), leads, kPositions}));
    OC_LET_GO(m_templ);
    m_templ = [[NSMutableArray alloc] initWithCapacity:leads];
    for (std::size_t c = 0; c < leads; ++c) {
        NSMutableArray *row = [NSMutableArray arrayWithCapacity:OCCount(m_length)];
        OCWriteArray(zeros.data(), OCCount(m_length), row);
        [m_templ addObject:row];
    }
    OC_LET_GO(m_ST);
    m_ST = [[NSMutableArray alloc] initWithCapacity:leads];
    OCWriteArray(zeros.data(), leads, m_ST);
    OC_LET_GO(m_STslope);
    m_STslope = [[NSMutableArray alloc] initWithCapacity:leads];
    OCWriteArray(std::vector<float>(leads).data(), leads, m_STslope);
    OC_LET_GO(m_pos);
    m_pos = [[NSMutableArray alloc] initWithCapacity:kPositions];
    OCWriteArray(zeros.data(), kPositions, m_pos);
    RefillTempl(self);
    return m_templ;
}

- (NSArray *)getPos {
    short posR = 0, posQ = 0, posJ = 0, postJms = 0;
    if (qzc_stress_get_pos(&posR, &posQ, &posJ, &postJms) < 1) return nil;
    const short positions[kPositions] = {posQ, posJ, postJms, posR};
    OCWriteArray(positions, kPositions, m_pos);
    return m_pos;
}

- (NSArray *)match:(NSArray *)frame {
    const std::vector<short> &samples = OCReadFrame(frame, OCCount(m_chnum), m_ad);
    return qzc_stress_match(samples.data(), samples.size()) ? RefillTempl(self) : nil;
}

- (NSArray *)getTempl {
    return RefillTempl(self);
}

- (void)setPos:(short)posQ Jpoint:(short)posJ {
    qzc_stress_set_pos(posQ, posJ);
}

- (void)setPostJms:(short)postJms {
    qzc_stress_set_post_j_ms(postJms);
}

- (NSArray *)getSTslope {
    return RefillTrend(qzc_stress_st_slope, m_chnum, m_STslope);
}

- (NSArray *)getSTuv {
    return RefillTrend(qzc_stress_st_level, m_chnum, m_ST);
}

- (short)getMeanHR:(short)s1 data2:(short)s2 data3:(short)s3 {
    return qzc_heart_rate_of_three_leads(qzc_stress_mean_rr_ms(s1, s2, s3));
}

+ (short)getDuke:(short)stressSeconds deepestSTwithmV:(float)deepestST anginaPectoris:(short)angina {
    return qzc_duke(stressSeconds, deepestST, angina);
}

+ (NSArray *)getPWC:(NSArray *)power hr:(NSArray *)hr {
    const std::size_t pairs = std::min<std::size_t>([power count], [hr count]);
    std::vector<float> powers, rates;  // of the stages that count: the power of no other is read
    for (std::size_t i = 0; pairs >= kFewestStages && i < pairs; ++i) {
        float p = 0, rate = 0;
        if (!OCRead([hr objectAtIndex:i], rate) || !CountsForPwc(rate) || !OCRead([power objectAtIndex:i], p))
            continue;
        powers.push_back(p);
        rates.push_back(rate);
    }
    float pwc[kPwcRates];
    qzc_pwc(powers.data(), rates.data(), powers.size(), pwc);

    NSMutableArray *result = [NSMutableArray arrayWithCapacity:kPwcRates];
    for (std::size_t i = 0; i < kPwcRates; ++i)
        [result addObject:pwc[i] > 0 ? OCBox(pwc[i]) : [NSNumber numberWithInt:-1]];  // -1: not computed
    return result;
}

@end
