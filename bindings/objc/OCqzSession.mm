#import "bindings/objc/include/OCqzSession.h"

#include "api/qzSessionC.h"
#import "bindings/objc/OCqzConversions.h"

static_assert(OCqzEventInterval == int{QZS_INTERVAL} && OCqzEventBeat == int{QZS_BEAT} &&
              OCqzEventLeadOff == int{QZS_LEAD_OFF} && OCqzEventLeadOn == int{QZS_LEAD_ON} &&
              OCqzEventDisturbed == int{QZS_DISTURBED} && OCqzEventCalm == int{QZS_CALM} &&
              OCqzEventLearned == int{QZS_LEARNED} && OCqzEventNotLearned == int{QZS_NOT_LEARNED});

/// A new array, which the caller owns.
static NSMutableArray *NewArray(const float *values, std::size_t count) {
    NSMutableArray *const array = [[NSMutableArray alloc] initWithCapacity:count];
    OCWriteArray(values, count, array);
    return array;
}

@implementation OCqzSessionEvent

@synthesize kind, lead, seconds, bpm, voidFromSeconds, again, level, slope, j, text;

/// `event` has just been fetched from `session`, which has `leads` leads.
- (instancetype)init:(const qzs_event &)event
                  of:(const struct qzs_session *)session
               leads:(std::size_t)leads {
    self = [super init];
    if (self == nil) return nil;
    kind = event.kind;
    lead = event.lead;
    seconds = event.seconds;
    bpm = event.bpm;
    voidFromSeconds = event.void_from_seconds;
    again = event.again;
    std::vector<float> values(3 * leads);
    float *const first = values.data();
    if (qzs_event_values(session, first, first + leads, first + 2 * leads, leads)) {
        level = NewArray(first, leads);
        slope = NewArray(first + leads, leads);
        j = NewArray(first + 2 * leads, leads);
    }
    std::vector<char> line(qzs_event_text(session, nullptr, 0) + 1);
    if (qzs_event_text(session, line.data(), line.size()) > 0)
        text = [[NSString alloc] initWithUTF8String:line.data()];
    return self;
}

- (void)dealloc {
    OC_LET_GO(level);
    OC_LET_GO(slope);
    OC_LET_GO(j);
    OC_LET_GO(text);
    OC_SUPER_DEALLOC();
}

@end

@implementation OCqzSession

- (instancetype)init:(short)fs
                 chn:(short)chn
                uVpb:(double)uVpb
               mains:(short)mains
             lowpass:(short)lowpass
              smooth:(short)smooth
             postJms:(short)postJms
             relearn:(BOOL)relearn {
    self = [super init];
    qzs_options options;
    qzs_options_init(&options, sizeof options);
    options.fs = fs;
    options.leads = chn;
    options.uv_per_unit = uVpb;
    options.mains_hz = mains;
    options.lowpass_hz = lowpass;
    options.smooth = smooth;
    options.postJms = postJms;
    options.relearn = relearn;
    qzs_session *const made = qzs_create(&options);
    if (made == nullptr) {
        OC_LET_GO(self);
        return nil;
    }
    session = made;
    chnum = chn;
    return self;
}

- (void)dealloc {
    qzs_free(session);
    OC_SUPER_DEALLOC();
}

- (NSInteger)push:(NSArray *)frames {
    if (session == nullptr) return 0;
    std::vector<short> samples([frames count]);
    OCReadArray(frames, samples.data(), samples.size());
    return static_cast<NSInteger>(qzs_push(session, samples.data(), samples.size() / OCCount(chnum)));
}

- (void)finish {
    qzs_finish(session);
}

- (OCqzSessionEvent *)nextEvent {
    qzs_event event;
    if (!qzs_next_event(session, &event)) return nil;
    OCqzSessionEvent *result = [[OCqzSessionEvent alloc] init:event of:session leads:OCCount(chnum)];
    return OC_HANDED_OUT(result);
}

- (NSArray *)getTempl {
    std::vector<float> uV(qzs_template(session, nullptr, 0));
    if (uV.empty()) return nil;
    qzs_template(session, uV.data(), uV.size());
    const std::size_t length = uV.size() / OCCount(chnum);
    NSMutableArray *rows = [NSMutableArray arrayWithCapacity:OCCount(chnum)];
    for (std::size_t at = 0; at < uV.size(); at += length)
        [rows addObject:OC_HANDED_OUT(NewArray(uV.data() + at, length))];
    return rows;
}

- (NSArray *)getPos {
    qzs_positions ms;
    if (!qzs_get_positions(session, &ms)) return nil;
    const float values[] = {static_cast<float>(ms.length), static_cast<float>(ms.q), static_cast<float>(ms.r),
                            static_cast<float>(ms.j)};
    return OC_HANDED_OUT(NewArray(values, 4));
}

- (double)delayMs {
    return qzs_delay_ms(session);
}

@end
