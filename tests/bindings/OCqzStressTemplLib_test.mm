#include "api/qzStressECGLib.h"
#include "tests/support/Beats.h"

#import "tests/bindings/ObjCTest.h"

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

static const short kLength = 400, kQ = 130, kJ = 190, kPostJms = 60;  // samples at 500 a second

class OCqzStressTemplLibTest : public ObjCTest {
protected:
    void SetUp() override {
        ObjCTest::SetUp();
        m_stress = [[OCqzStressTemplLib alloc] init];
    }
    void TearDown() override {
        [m_stress destroy];
        [m_stress release];
        ObjCTest::TearDown();
    }
    static NSArray *Beat(std::size_t leads) {
        NSMutableArray *rows = [NSMutableArray array];
        const TemplateRows beat = MakeTemplate(500, leads, kLength, 160);
        for (const auto &row : beat.Rows()) [rows addObject:Frame(row)];
        return rows;
    }
    NSArray *RestTempl(NSArray *templ) { return [m_stress restTempl:templ posQ:kQ posJ:kJ postJms:kPostJms]; }
    static std::vector<short> Row(NSArray *templ, NSUInteger c) { return Samples([templ objectAtIndex:c]); }

    OCqzStressTemplLib *m_stress = nil;
};

TEST_F(OCqzStressTemplLibTest, HasItsMethodsAndNoOther) {
    EXPECT_EQ(Selectors([OCqzStressTemplLib class]),
              std::vector<std::string>(
                  {"+getDuke:deepestSTwithmV:anginaPectoris:", "+getPWC:hr:", "create:chn:uVpb:mutex_lock:",
                   "destroy", "getMeanHR:data2:data3:", "getPos", "getSTslope", "getSTuv", "getTempl", "init",
                   "match:", "restTempl:posQ:posJ:postJms:", "setPos:Jpoint:", "setPostJms:"}));
}

TEST_F(OCqzStressTemplLibTest, RefillsTheSameArraysAndRowsThroughBeats) {
    ASSERT_TRUE([m_stress create:500 chn:2 uVpb:2.5 mutex_lock:YES]);
    NSArray *templ = RestTempl(Beat(2));
    NSArray *row = [templ objectAtIndex:1];
    NSArray *pos = [m_stress getPos], *level = [m_stress getSTuv], *slope = [m_stress getSTslope];
    EXPECT_EQ([pos count], 4U);
    EXPECT_EQ([level count], 2U);
    std::vector<std::vector<short>> folded;
    Recording recording = BeatTrain(500, 2).Form({1.0, -0.2, 700}).Beats(700, 6).Record();
    for (std::size_t i = 0; i < recording.Frames(); ++i) {
        NSAutoreleasePool *pool = [[NSAutoreleasePool alloc] init];
        NSArray *matched = [m_stress match:Frame({recording.Frame(i)[0], recording.Frame(i)[1]})];
        if (matched != nil) {
            EXPECT_EQ(matched, templ);
            EXPECT_EQ([matched objectAtIndex:1], row);
            folded.push_back(Samples(row));
        }
        [pool drain];
    }
    ASSERT_GT(folded.size(), 2U);
    EXPECT_NE(folded[0], folded[1]);
    EXPECT_EQ([m_stress getTempl], templ);
    EXPECT_EQ([m_stress getPos], pos);
    EXPECT_EQ([m_stress getSTuv], level);
    EXPECT_EQ([m_stress getSTslope], slope);
    const float *smoothed = qzStressECGLib_STslope();  // one step further than what was shown
    EXPECT_NEAR([[slope objectAtIndex:0] floatValue], smoothed[0], 0.5);
    EXPECT_NE([[slope objectAtIndex:0] floatValue], [[slope objectAtIndex:0] shortValue]) << "floats";

    EXPECT_NE(RestTempl(Beat(2)), templ) << "new arrays";
    EXPECT_NE([m_stress getSTuv], level);
    EXPECT_EQ([templ count], 2U) << "the old ones stay until the pool is drained";
}

TEST_F(OCqzStressTemplLibTest, ReadsRowsThatAreNoArraysAsEmptyAndElementsThatAreNoNumbersAs0) {
    ASSERT_TRUE([m_stress create:500 chn:3 uVpb:2.5 mutex_lock:NO]);
    NSMutableArray *odd = [NSMutableArray arrayWithArray:Beat(3)];
    NSMutableArray *middle = [NSMutableArray arrayWithArray:[odd objectAtIndex:1]];
    [middle replaceObjectAtIndex:160 withObject:[NSNull null]];
    [odd replaceObjectAtIndex:0 withObject:[NSNumber numberWithInt:5]];
    [odd replaceObjectAtIndex:1 withObject:middle];
    std::vector<short> expected = Samples([Beat(3) objectAtIndex:1]);
    EXPECT_NE(expected[160], 0);
    expected[160] = 0;
    NSArray *templ = RestTempl(odd);
    EXPECT_EQ(Row(templ, 0), std::vector<short>(kLength));
    EXPECT_EQ(Row(templ, 1), expected);
    EXPECT_EQ(RestTempl(NoArray()), NoArray());
    EXPECT_EQ([m_stress match:NoArray()], NoArray());
    EXPECT_EQ([m_stress match:OddFrame()], NoArray());
    EXPECT_EQ(Row([m_stress getTempl], 1), expected);
    NSArray *lastWithoutSamples = Array({[odd objectAtIndex:2], [odd objectAtIndex:2], @"no array"});
    templ = RestTempl(lastWithoutSamples);
    for (NSUInteger c = 0; c < [templ count]; ++c) EXPECT_EQ(Row(templ, c), std::vector<short>());
    EXPECT_EQ([m_stress match:OddFrame()], NoArray());
}

TEST_F(OCqzStressTemplLibTest, ServesTheTwelveLeadsOfAnotherObjectBeforeItsOwnCreate) {
    OCqzStressTemplLib *maker = [[OCqzStressTemplLib alloc] init];
    [maker create:500 chn:12 uVpb:2.5 mutex_lock:NO];
    [maker release];
    EXPECT_NE(qzStressECGLib_getTempl(), nullptr) << "released, not destroyed";
    EXPECT_EQ([RestTempl(Beat(12)) count], 12U);
    Recording recording = BeatTrain(500, 12).Beats(700, 4).Record();
    int folds = 0;
    for (std::size_t i = 0; i < recording.Frames(); ++i) {
        NSAutoreleasePool *pool = [[NSAutoreleasePool alloc] init];
        folds += [m_stress match:Frame({recording.Frame(i), recording.Frame(i) + 12})] != nil;
        [pool drain];
    }
    EXPECT_GT(folds, 1);
}

TEST_F(OCqzStressTemplLibTest, GivesThreeNewNumbersForPwcAndReadsNothingOfFewerThanThreePairs) {
    NSArray *none = [OCqzStressTemplLib getPWC:NoArray() hr:Frame({110, 130, 150})];
    EXPECT_EQ(Samples(none), std::vector<short>({-1, -1, -1}));
    NSArray *computed = [OCqzStressTemplLib getPWC:Frame({50, 100, 150}) hr:Frame({110, 130, 150})];
    EXPECT_NE(computed, none);
    EXPECT_EQ(Samples(computed), std::vector<short>({100, 150, -1}));
    NSArray *odd = [OCqzStressTemplLib getPWC:Frame({50, 100, 150, 7})
                                           hr:Array({[NSNull null], @"130", computed, none})];
    EXPECT_EQ(Samples(odd), std::vector<short>({-1, -1, -1}));

    id counted = [[[CountedNumber alloc] init] autorelease];
    g_reads = 0;
    [OCqzStressTemplLib getPWC:Array({counted, counted}) hr:Array({counted, counted, counted})];
    EXPECT_EQ(g_reads, 0);
    [OCqzStressTemplLib getPWC:Array({counted, counted, counted}) hr:Array({counted, counted, counted})];
    EXPECT_EQ(g_reads, 6) << "or the count above would prove nothing";
}

TEST_F(OCqzStressTemplLibTest, ComputesDukeInTheFormThatWraps) {
    EXPECT_EQ([OCqzStressTemplLib getDuke:600 deepestSTwithmV:-0.1f anginaPectoris:1], 1);
    EXPECT_EQ([OCqzStressTemplLib getDuke:600 deepestSTwithmV:0 anginaPectoris:9000], 10 - 36000 + 65536);
}
