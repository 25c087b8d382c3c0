#import "bindings/objc/include/OCqzSession.h"

#include <cstdint>
#include <memory>

#include "api/qzSessionC.h"
#import "bindings/objc/OCqzConversions.h"

static_assert(OCqzEventInterval == int{QZS_INTERVAL} && OCqzEventBeat == int{QZS_BEAT} &&
              OCqzEventLeadOff == int{QZS_LEAD_OFF} && OCqzEventLeadOn == int{QZS_LEAD_ON} &&
              OCqzEventDisturbed == int{QZS_DISTURBED} && OCqzEventCalm == int{QZS_CALM} &&
              OCqzEventLearned == int{QZS_LEARNED} && OCqzEventNotLearned == int{QZS_NOT_LEARNED});
static_assert(OCqzBeatNormal == int{QZS_NORMAL} && OCqzBeatSupraventricular == int{QZS_SUPRAVENTRICULAR} &&
              OCqzBeatVentricular == int{QZS_VENTRICULAR} && OCqzBeatUnclassified == int{QZS_UNCLASSIFIED} &&
              OCqzBeatPaced == int{QZS_PACED});
static_assert(OCqzSTUnknown == int{QZS_ST_UNKNOWN} && OCqzSTUpsloping == int{QZS_ST_UPSLOPING} &&
              OCqzSTHorizontal == int{QZS_ST_HORIZONTAL} && OCqzSTDownsloping == int{QZS_ST_DOWNSLOPING});

/// A new array, which the caller owns.
template <typename T>
static NSMutableArray *NewArray(const T *values, std::size_t count) {
    NSMutableArray *const array = [[NSMutableArray alloc] initWithCapacity:count];
    OCWriteArray(values, count, array);
    return array;
}

/// Length, Q, R and J.
static NSArray *Positions(const qzs_positions &ms) {
    const float values[] = {static_cast<float>(ms.length), static_cast<float>(ms.q), static_cast<float>(ms.r),
                            static_cast<float>(ms.j)};
    return OC_HANDED_OUT(NewArray(values, 4));
}

/// One array per lead of values that stand row after row.
template <typename T>
static NSArray *Rows(const std::vector<T> &values, std::size_t leads) {
    const std::size_t length = values.size() / leads;
    NSMutableArray *rows = [NSMutableArray arrayWithCapacity:leads];
    for (std::size_t lead = 0; lead < leads; ++lead)
        [rows addObject:OC_HANDED_OUT(NewArray(values.data() + lead * length, length))];
    return rows;
}

/// The samples of all rows, row after row; none where the rows are not of one length.
static std::vector<short> Samples(NSArray *OC_NULLABLE rows) {
    const std::size_t leads = [rows count], length = leads > 0 ? [OCRow(rows, 0) count] : 0;
    std::vector<short> samples(leads * length);
    for (std::size_t lead = 0; lead < leads; ++lead) {
        NSArray *const row = OCRow(rows, lead);
        if ([row count] != length) return {};
        OCReadArray(row, samples.data() + lead * length, length);
    }
    return samples;
}

@implementation OCqzSessionEvent

@synthesize kind, lead, seconds, bpm, rrMs, beatClass, voidFromSeconds, again, level, slope, j, text;
@synthesize votedBpm, shape, qMs, jMs, st, stJ, stJ20, stJ60, stJ80, stSlope, stShape, stOnT, stPointMs,
    quality;

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
    votedBpm = event.voted_bpm;
    rrMs = event.rr_ms;
    shape = event.shape;
    qMs = event.q_ms;
    jMs = event.j_ms;
    beatClass = event.beat_class;
    voidFromSeconds = event.void_from_seconds;
    again = event.again;
    std::vector<float> values(4 * leads);
    float *const first = values.data();
    if (qzs_event_values(session, first, first + leads, first + 2 * leads, leads)) {
        level = NewArray(first, leads);
        slope = NewArray(first + leads, leads);
        j = NewArray(first + 2 * leads, leads);
        qzs_event_st(session, first, &stPointMs, leads);
        st = NewArray(first, leads);
        qzs_event_st_after_j(session, first, first + leads, first + 2 * leads, first + 3 * leads, leads);
        stJ = NewArray(first, leads);
        stJ20 = NewArray(first + leads, leads);
        stJ60 = NewArray(first + 2 * leads, leads);
        stJ80 = NewArray(first + 3 * leads, leads);
        std::vector<std::int32_t> classes(leads);
        const std::unique_ptr<bool[]> onT(new bool[leads]);
        qzs_event_st_slope(session, first, classes.data(), onT.get(), leads);
        stSlope = NewArray(first, leads);
        stShape = NewArray(std::vector<short>(classes.begin(), classes.end()).data(), leads);
        stOnT = NewArray(std::vector<short>(onT.get(), onT.get() + leads).data(), leads);
    }
    if (qzs_event_quality(session, first, leads)) quality = NewArray(first, leads);
    std::vector<char> line(qzs_event_text(session, nullptr, 0) + 1);
    if (qzs_event_text(session, line.data(), line.size()) > 0)
        text = [[NSString alloc] initWithUTF8String:line.data()];
    return self;
}

- (void)dealloc {
    OC_LET_GO(level);
    OC_LET_GO(slope);
    OC_LET_GO(j);
    OC_LET_GO(st);
    OC_LET_GO(stJ);
    OC_LET_GO(stJ20);
    OC_LET_GO(stJ60);
    OC_LET_GO(stJ80);
    OC_LET_GO(stSlope);
    OC_LET_GO(stShape);
    OC_LET_GO(stOnT);
    OC_LET_GO(quality);
    OC_LET_GO(text);
    OC_SUPER_DEALLOC();
}

@end

@implementation OCqzLearnedBeat

@synthesize rows, posR, posQ, posJ, beatsFound, beatsUsed, stretchSeconds, likeness, usable, confident;

- (instancetype)init:(NSArray *)theRows
                posR:(short)r
                posQ:(short)q
                posJ:(short)j
          beatsFound:(int)found
           beatsUsed:(int)used
      stretchSeconds:(double)seconds
            likeness:(double)correlation
              usable:(unsigned long long)usableLeads
           confident:(BOOL)isConfident {
    self = [super init];
    if (self == nil) return nil;
    rows = [theRows copy];
    posR = r;
    posQ = q;
    posJ = j;
    beatsFound = found;
    beatsUsed = used;
    stretchSeconds = seconds;
    likeness = correlation;
    usable = usableLeads;
    confident = isConfident;
    return self;
}

- (void)dealloc {
    OC_LET_GO(rows);
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
             postJms:(short)postJms {
    qzs_options usual;
    qzs_options_init(&usual, sizeof usual);
    return [self init:fs
                  chn:chn
                 uVpb:uVpb
                mains:mains
              lowpass:lowpass
               smooth:smooth
                 comb:NO
              postJms:postJms
          stRateLimit:usual.st_rate_limit
                paced:NO
                 beat:nil
          conditioned:NO];
}

- (instancetype)init:(short)fs
                 chn:(short)chn
                uVpb:(double)uVpb
               mains:(short)mains
             lowpass:(short)lowpass
              smooth:(short)smooth
                comb:(BOOL)comb
             postJms:(short)postJms
         stRateLimit:(double)stRateLimit
               paced:(BOOL)paced
                beat:(OCqzLearnedBeat *)beat
         conditioned:(BOOL)conditioned {
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
    options.st_rate_limit = stRateLimit;
    options.paced = paced;
    options.comb = comb;
    options.conditioned = conditioned;
    const std::vector<short> rows = Samples([beat rows]);
    qzs_beat handedIn;
    if (beat != nil) {
        const std::size_t length = rows.size() / std::max<std::size_t>([[beat rows] count], 1);
        handedIn = {static_cast<short>(length),
                    [beat posR],
                    [beat posQ],
                    [beat posJ],
                    [beat beatsFound],
                    [beat beatsUsed],
                    [beat stretchSeconds],
                    [beat likeness],
                    [beat usable],
                    static_cast<bool>([beat confident])};
        options.beat = &handedIn;
        options.beat_rows = rows.data();
        options.beat_count = rows.size();
    }
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

- (BOOL)setPoints:(double)qMs j:(double)jMs st:(double)stMs {
    return qzs_set_points(session, qMs, jMs, stMs);
}

- (OCqzSessionEvent *)nextEvent {
    qzs_event event;
    if (!qzs_next_event(session, &event, sizeof event)) return nil;
    OCqzSessionEvent *result = [[OCqzSessionEvent alloc] init:event of:session leads:OCCount(chnum)];
    return OC_HANDED_OUT(result);
}

- (NSArray *)conditioned:(double *)firstSeconds {
    const std::size_t waiting = qzs_conditioned(session, nullptr, 0, nullptr);
    if (waiting == 0) return nil;
    std::vector<short> frames(waiting * OCCount(chnum));
    qzs_conditioned(session, frames.data(), waiting, firstSeconds);
    return OC_HANDED_OUT(NewArray(frames.data(), frames.size()));
}

- (NSArray *)getTempl {
    std::vector<float> uV(qzs_template(session, nullptr, 0));
    if (uV.empty()) return nil;
    qzs_template(session, uV.data(), uV.size());
    return Rows(uV, OCCount(chnum));
}

- (NSArray *)getPos {
    qzs_positions ms;
    if (!qzs_get_positions(session, &ms)) return nil;
    return Positions(ms);
}

- (NSArray *)getMeasuredPos {
    qzs_positions ms;
    if (!qzs_get_measured_positions(session, &ms)) return nil;
    return Positions(ms);
}

- (NSArray *)getMeasuredTempl {
    std::vector<float> uV(qzs_measured_template(session, nullptr, 0, nullptr));
    if (uV.empty()) return nil;
    qzs_measured_template(session, uV.data(), uV.size(), nullptr);
    return Rows(uV, OCCount(chnum));
}

- (NSArray *)getMeasuredTemplPos {
    qzs_positions ms;
    if (qzs_measured_template(session, nullptr, 0, &ms) == 0) return nil;
    return Positions(ms);
}

- (OCqzLearnedBeat *)learnedBeat {
    std::vector<short> samples(qzs_learned_beat(session, nullptr, nullptr, 0));
    if (samples.empty()) return nil;
    qzs_beat learned;
    qzs_learned_beat(session, &learned, samples.data(), samples.size());
    OCqzLearnedBeat *beat = [[OCqzLearnedBeat alloc] init:Rows(samples, OCCount(chnum))
                                                     posR:learned.posR
                                                     posQ:learned.posQ
                                                     posJ:learned.posJ
                                               beatsFound:learned.beats_found
                                                beatsUsed:learned.beats_used
                                           stretchSeconds:learned.stretch_seconds
                                                 likeness:learned.likeness
                                                   usable:learned.usable
                                                confident:learned.confident];
    return OC_HANDED_OUT(beat);
}

- (double)delayMs {
    return qzs_delay_ms(session);
}

- (NSString *)conditioning {
    std::vector<char> text(qzs_conditioning(session, nullptr, 0) + 1);
    qzs_conditioning(session, text.data(), text.size());
    return OC_HANDED_OUT([[NSString alloc] initWithUTF8String:text.data()]);
}

@end
