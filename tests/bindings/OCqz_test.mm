// What only Objective-C callers see of the four classes: nil, elements of other kinds, and how long the
// result arrays last. Everything else is behind the C header of the Swift stand-in, in CqzShim_test.cpp.
#import <Foundation/Foundation.h>
#include <gtest/gtest.h>

#include <cmath>
#include <initializer_list>
#include <vector>

#include "tests/support/Beats.h"

#include "api/qzFilterBanksC.h"
#include "api/qzSessionC.h"
#import "bindings/objc/OCqzConversions.h"
#import "bindings/objc/include/OCqz.h"

/// A number that counts how often its value is read.
@interface CountedNumber : NSNumber
@end

static int g_reads = 0;

@implementation CountedNumber
- (float)floatValue {
    ++g_reads;
    return 120;
}
@end

using Row = std::vector<short>;

static NSArray *Frame(const Row &samples) {
    NSMutableArray *frame = [NSMutableArray arrayWithCapacity:samples.size()];
    OCWriteArray(samples.data(), samples.size(), frame);
    return frame;
}

/// Nil where the headers say that there is none; the compiler does not see it.
static NSArray *NoArray() { return nil; }

static NSArray *Array(std::initializer_list<id> elements) {
    return [NSArray arrayWithObjects:elements.begin() count:elements.size()];
}

/// Read without the conversion under test.
static Row Samples(NSArray *array) {
    Row samples;
    for (NSUInteger i = 0; i < [array count]; ++i) samples.push_back([[array objectAtIndex:i] shortValue]);
    return samples;
}

/// Three elements that are no samples, and one that is.
static NSArray *OddFrame() {
    return Array({[NSNull null], @"12", [NSArray array], [NSNumber numberWithInt:65536 + 1000]});
}
static const Row kOddSamples = {0, 0, 0, 1000};

static const short kFs = 500, kLength = 400;

static NSArray *Beat(std::size_t leads) {
    NSMutableArray *rows = [NSMutableArray array];
    const TemplateRows beat = MakeTemplate(kFs, leads, kLength, 160);
    for (const auto &row : beat.Rows()) [rows addObject:Frame(row)];
    return rows;
}

static NSArray *RestTempl(OCqzStressTemplLib *stress, NSArray *templ) {
    return [stress restTempl:templ posQ:130 posJ:190 postJms:60];
}

/// A pool around every test.
class OCqz : public testing::Test {
protected:
    void SetUp() override {
        m_pool = [[NSAutoreleasePool alloc] init];
        m_stress = [[[OCqzStressTemplLib alloc] init] autorelease];
    }
    void TearDown() override {
        [m_stress destroy];
        [m_pool drain];
    }

    NSAutoreleasePool *m_pool = nil;
    OCqzStressTemplLib *m_stress = nil;
};

TEST_F(OCqz, RefillsItsResultArraysUntilTheNextSetUpAndLeavesThemToThePool) {
    OCqzDfsLib *dfs = [[OCqzDfsLib alloc] init:2 uVpb:1.0];
    NSArray *doubled = [dfs getData:Frame({10, 20})];
    EXPECT_EQ([dfs getData:Frame({1, 2})], doubled);
    EXPECT_TRUE([dfs create:3 uVpb:1.0]);
    NSArray *tripled = [dfs getData:Frame({1, 2, 3})];
    EXPECT_NE(tripled, doubled);
    [dfs release];
    EXPECT_EQ(Samples(doubled).size(), 4U);
    EXPECT_EQ(Samples(tripled).size(), 6U);

    OCqzFiltersLib *filters = [[OCqzFiltersLib alloc] init:kFs chn:2 freqLpass:40 freqNotch:0 smooth:0];
    NSArray *frame = Frame({1000, 2000});
    NSArray *filtered = [filters filters:frame];
    const Row once = Samples(filtered);
    EXPECT_EQ(Samples(frame), Row({1000, 2000})) << "the input stays";
    EXPECT_EQ([filters filters:filtered], filtered) << "its own result as input";
    EXPECT_NE(Samples(filtered), once);
    [filters destroy];
    EXPECT_EQ([filters filters:frame], filtered);
    [filters release];
    EXPECT_EQ(Samples(filtered), Samples(frame)) << "without a chain";

    ASSERT_TRUE([m_stress create:kFs chn:2 uVpb:2.5 mutex_lock:NO]);
    NSArray *row = [RestTempl(m_stress, Beat(2)) objectAtIndex:1];
    const auto results = [this] {
        return Array({[m_stress getTempl], [m_stress getPos], [m_stress getSTuv], [m_stress getSTslope]});
    };
    NSArray *first = results(), *again = results();
    EXPECT_EQ([[m_stress getTempl] objectAtIndex:1], row);
    RestTempl(m_stress, Beat(2));
    NSArray *renewed = results();
    for (NSUInteger i = 0; i < 4; ++i) {
        EXPECT_EQ([again objectAtIndex:i], [first objectAtIndex:i]);
        EXPECT_NE([renewed objectAtIndex:i], [first objectAtIndex:i]);
        EXPECT_EQ([[renewed objectAtIndex:i] count], [[first objectAtIndex:i] count]);
    }
}

TEST_F(OCqz, CountsNilAsEmptyAndReadsWhatIsNoNumberAs0InFrames) {
    OCqzDfsLib *dfs = [[[OCqzDfsLib alloc] init:4 uVpb:1.0] autorelease];
    OCqzFiltersLib *filters = [[[OCqzFiltersLib alloc] init:kFs chn:4 freqLpass:40 freqNotch:0
                                                     smooth:0] autorelease];
    EXPECT_EQ([dfs getData:NoArray()], NoArray());
    EXPECT_EQ([filters filters:NoArray()], NoArray());
    EXPECT_EQ([[[[OCqzFiltersLib alloc] init] autorelease] filters:Frame({})], NoArray());
    const Row filtered = Samples([filters filters:OddFrame()]);
    [filters create:kFs chn:4 freqLpass:40 freqNotch:0 smooth:0];
    EXPECT_EQ(filtered, Samples([filters filters:Frame(kOddSamples)]));
    EXPECT_NE(filtered, Row(4));

    OCqzMeanRRmsLib *meanRR = [[[OCqzMeanRRmsLib alloc] init:kFs chn:1 freqNotch:50 uVpb:5.0] autorelease];
    int beats[2] = {};  // in samples as numbers and without an array
    for (const short sample : BeatTrain(kFs, 1).Beats(800, 15).Record().samples)
        beats[0] += [meanRR meanHR:Frame({sample})] != 0;
    for (int i = 0; i < 6000; ++i) beats[1] += [meanRR meanHR:NoArray()] != 0;
    EXPECT_GT(beats[0], 8);
    EXPECT_EQ(beats[1], 0);
}

TEST_F(OCqz, ReadsRowsThatAreNoArraysAsEmptyAndElementsThatAreNoNumbersAs0) {
    ASSERT_TRUE([m_stress create:kFs chn:3 uVpb:2.5 mutex_lock:NO]);
    NSMutableArray *odd = [NSMutableArray arrayWithArray:Beat(3)];
    NSMutableArray *middle = [NSMutableArray arrayWithArray:[odd objectAtIndex:1]];
    [middle replaceObjectAtIndex:160 withObject:[NSNull null]];
    [odd replaceObjectAtIndex:0 withObject:[NSNumber numberWithInt:5]];
    [odd replaceObjectAtIndex:1 withObject:middle];
    Row expected = Samples([Beat(3) objectAtIndex:1]);
    EXPECT_NE(expected[160], 0);
    expected[160] = 0;
    NSArray *templ = RestTempl(m_stress, odd);
    EXPECT_EQ(Samples([templ objectAtIndex:0]), Row(kLength));
    EXPECT_EQ(Samples([templ objectAtIndex:1]), expected);
    EXPECT_EQ(RestTempl(m_stress, NoArray()), NoArray());
    EXPECT_EQ([m_stress match:NoArray()], NoArray());
    EXPECT_EQ([m_stress match:OddFrame()], NoArray());
    EXPECT_EQ(Samples([[m_stress getTempl] objectAtIndex:1]), expected);
    templ = RestTempl(m_stress, Array({[odd objectAtIndex:2], [odd objectAtIndex:2], @"no array"}));
    for (NSUInteger c = 0; c < 3; ++c) EXPECT_EQ(Samples([templ objectAtIndex:c]), Row());
    EXPECT_EQ([m_stress match:OddFrame()], NoArray());
}

TEST_F(OCqz, ReadsForPwcWhatAnswersFloatValueAndNoPowerThatDoesNotCount) {
    id counted = [[[CountedNumber alloc] init] autorelease], none = [NSNull null];
    g_reads = 0;
    const auto pwc = [](NSArray *power, NSArray *rates) {
        return Samples([OCqzStressTemplLib getPWC:power hr:rates]);
    };
    EXPECT_EQ(pwc(Array({counted, counted}), Array({counted, counted, counted})), Row(3, -1));
    EXPECT_EQ(pwc(NoArray(), Frame({110, 130, 150})), Row(3, -1));
    const Row found = {100, 150, -1};
    EXPECT_EQ(pwc(Array({@"50", @"100", @"150", counted, counted, counted}),
                  Array({@"110", @"130", @"150", @"109.9", @"190.1", none})),
              found);
    EXPECT_EQ(g_reads, 0);
    EXPECT_EQ(pwc(Array({@"50", @"100", @"150", none}), Frame({110, 130, 150, 190})), found);
    pwc(Array({counted, counted, counted}), Array({counted, counted, counted}));
    EXPECT_EQ(g_reads, 6) << "or the count above would prove nothing";
    EXPECT_EQ([OCqzStressTemplLib getDuke:600 deepestSTwithmV:0 anginaPectoris:9000], 10 - 36000 + 65536);
}

TEST_F(OCqz, HasFilterBanksOfItsOwnAndEchoesFramesOfOtherLengths) {
    OCqzFilterBank *banks[] = {[[OCqzFilterBank alloc] init:kFs chn:2 notch:60 q:10],
                               [[OCqzFilterBank alloc] init:kFs chn:2 highpass:0.5]};
    qzc_filter_bank *const same[] = {qzc_notch_create(kFs, 2, 60, 10), qzc_highpass_create(kFs, 2, 0.5)};
    NSArray *longer = Frame({1, 2, 3});
    for (std::size_t k = 0; k < 2; ++k) {
        for (short sample = 0; sample < 30000; sample += 111) {
            Row frame = {sample, 20000};
            NSArray *filtered = [banks[k] filter:Frame(frame)];
            qzc_filter_bank_filter(same[k], frame.data(), 2);
            EXPECT_EQ(Samples(filtered), frame);
            EXPECT_EQ([banks[k] filter:longer], longer);
        }
        [banks[k] release];
        qzc_filter_bank_destroy(same[k]);
    }
    EXPECT_TRUE([[OCqzFilterBank alloc] init:kFs chn:2 notch:kFs / 2 q:10] == nil);
    EXPECT_TRUE([[OCqzFilterBank alloc] init:kFs chn:-1 highpass:0.05] == nil);
}

static OCqzSession *Session(short chn) {
    return [[[OCqzSession alloc] init:kFs chn:chn uVpb:1 mains:50 lowpass:40 smooth:0
                              postJms:60] autorelease];
}

static OCqzSession *Session(short chn, OCqzLearnedBeat *beat, double stRateLimit) {
    return [[[OCqzSession alloc] init:kFs
                                  chn:chn
                                 uVpb:1
                                mains:50
                              lowpass:40
                               smooth:0
                                 comb:NO
                              postJms:60
                          stRateLimit:stRateLimit
                                paced:NO
                                 beat:beat
                          conditioned:YES] autorelease];
}

/// A session of the C interface, as those above with two leads.
static qzs_session *Plain(bool conditioned) {
    qzs_options options;
    qzs_options_init(&options, sizeof options);
    options.fs = kFs;
    options.leads = 2;
    options.conditioned = conditioned;
    return qzs_create(&options);
}

static std::vector<float> Floats(std::initializer_list<NSArray *> arrays) {
    std::vector<float> values;
    for (NSArray *array : arrays)
        for (NSUInteger i = 0; i < [array count]; ++i) values.push_back([[array objectAtIndex:i] floatValue]);
    return values;
}

// The rest of what their events tell is compared by the examples.
TEST_F(OCqz, HasSessionsOfItsOwn) {
    OCqzSession *session = Session(2), *empty = Session(1);
    EXPECT_TRUE(Session(0) == nil && Session(2, nil, 0) == nil && [session getTempl] == nil &&
                [session getPos] == nil && [session getMeasuredPos] == nil &&
                [session getMeasuredTempl] == nil && [session getMeasuredTemplPos] == nil);
    EXPECT_EQ([empty push:OddFrame()], 4);
    [empty finish];
    qzs_session *const plain = Plain(false);
    const Row samples = BeatTrain(kFs, 2).Noise(5, 1).Beats(700, 60).Record().samples;
    const double kOwn = std::nan(""), points[][3] = {{-40, 60, 100}, {kOwn, kOwn, 90}, {kOwn, kOwn, kOwn}};
    const std::size_t third = 10 * kFs;
    for (std::size_t k = 0; k < 4; ++k) {
        const std::size_t begin = k * third, end = k < 3 ? begin + third : samples.size() / 2;
        [session push:Frame(Row(samples.data() + 2 * begin, samples.data() + 2 * end))];
        qzs_push(plain, samples.data() + 2 * begin, end - begin);
        if (k == 3) continue;
        const auto &[q, j, st] = points[k];
        EXPECT_TRUE([session setPoints:q j:j st:st] && qzs_set_points(plain, q, j, st));
        EXPECT_FALSE([session setPoints:60 j:-40 st:st]);
    }
    [session finish];
    qzs_finish(plain);
    int beats = 0;
    qzs_event same;
    for (OCqzSessionEvent *event = [session nextEvent]; event != nil; event = [session nextEvent]) {
        const bool isBeat = [event kind] == OCqzEventBeat;
        EXPECT_TRUE([event text] == nil && ([event j] != nil) == isBeat);
        ASSERT_TRUE(qzs_next_event(plain, &same, sizeof same));
        EXPECT_EQ([event shape], same.shape);
        EXPECT_TRUE(SameValue([event votedBpm], same.voted_bpm) && SameValue([event qMs], same.q_ms) &&
                    SameValue([event jMs], same.j_ms));
        float st[12];
        double pointMs = 0;
        std::int32_t shapes[2];
        bool onT[2];
        if (!isBeat) continue;
        qzs_event_st(plain, st, &pointMs, 2);
        qzs_event_st_after_j(plain, st + 2, st + 4, st + 6, st + 8, 2);
        qzs_event_st_slope(plain, st + 10, shapes, onT, 2);
        EXPECT_EQ(
            Floats({[event st], [event stJ], [event stJ20], [event stJ60], [event stJ80], [event stSlope]}),
            std::vector<float>(st, st + 12));
        EXPECT_EQ(Samples([event stShape]), Row(shapes, shapes + 2));
        EXPECT_EQ(Samples([event stOnT]), Row(onT, onT + 2));
        EXPECT_EQ([event stPointMs], pointMs);
        beats += [[event j] count] == 2 && std::abs([event rrMs] - 700) < 20 &&
                 [event beatClass] == OCqzBeatNormal;
    }
    EXPECT_GT(beats, 40);
    qzs_positions at = {};
    qzs_get_measured_positions(plain, &at);
    EXPECT_EQ(Floats({[session getMeasuredPos]}),
              (std::vector<float>{float(at.length), float(at.q), float(at.r), float(at.j)}));
    std::vector<float> means(qzs_measured_template(plain, nullptr, 0, &at));
    qzs_measured_template(plain, means.data(), means.size(), nullptr);
    NSArray *rows = [session getMeasuredTempl];
    EXPECT_EQ(Floats({[rows objectAtIndex:0], [rows objectAtIndex:1]}), means);
    EXPECT_EQ(Floats({[session getMeasuredTemplPos]}),
              (std::vector<float>{float(at.length), float(at.q), float(at.r), float(at.j)}));
    EXPECT_TRUE([[session getTempl] count] == 2 && [[session getPos] count] == 4 && [session delayMs] > 0);
    EXPECT_EQ([[session conditioning] length], qzs_conditioning(plain, nullptr, 0));
    EXPECT_TRUE([[[empty nextEvent] text] length] > 0 && [empty nextEvent] == nil);
    qzs_free(plain);
}

TEST_F(OCqz, HandsALearnedBeatOnAndConditionedFramesOut) {
    const Row samples = BeatTrain(kFs, 2).Noise(5, 1).Beats(700, 10).Record().samples;
    qzs_session *const plain = Plain(true);
    qzs_push(plain, samples.data(), samples.size() / 2);
    Row conditioned(2 * qzs_conditioned(plain, nullptr, 0, nullptr));
    qzs_conditioned(plain, conditioned.data(), conditioned.size() / 2, nullptr);
    qzs_free(plain);

    OCqzLearnedBeat *beat = nil, *again = nil;
    for (int k = 0; k < 2; ++k) {
        OCqzSession *session = Session(2, beat, 145);
        [session push:Frame(samples)];
        double seconds = -1;
        EXPECT_EQ(Samples([session conditioned:&seconds]), conditioned);
        EXPECT_TRUE(seconds == 0 && [session conditioned:&seconds] == nil);
        EXPECT_EQ([session learnedBeat] == nil, k == 0) << "10 s have not passed";
        [session finish];
        (k == 0 ? beat : again) = [session learnedBeat];
    }
    EXPECT_TRUE([[again rows] isEqual:[beat rows]] && [[[beat rows] objectAtIndex:1] count] > 100);
    const auto values = [](OCqzLearnedBeat *of) {
        return std::vector<double>{[of stretchSeconds],
                                   [of likeness],
                                   1.0 * [of posR],
                                   1.0 * [of posQ],
                                   1.0 * [of posJ],
                                   1.0 * [of beatsFound],
                                   1.0 * [of beatsUsed],
                                   [of confident] ? 1.0 : 0.0,
                                   [of usable] == 3 ? 1.0 : 0.0};
    };
    EXPECT_EQ(values(again), values(beat));
    EXPECT_TRUE([beat posQ] < [beat posR] && [beat posR] < [beat posJ] && [beat usable] == 3);
    NSArray *rows = Array({[[beat rows] objectAtIndex:0], OddFrame()});
    OCqzLearnedBeat *odd = [[[OCqzLearnedBeat alloc] init:rows
                                                     posR:30
                                                     posQ:20
                                                     posJ:60
                                               beatsFound:9
                                                beatsUsed:9
                                           stretchSeconds:10
                                                 likeness:1
                                                   usable:3
                                                confident:YES] autorelease];
    EXPECT_TRUE(Session(2, odd, 145) == nil);
}
