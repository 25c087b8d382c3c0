#import "tests/bindings/ObjCTest.h"

class OCqzFiltersLibTest : public ObjCTest {
protected:
    static OCqzFiltersLib *Lowpass(short leads) {
        return [[OCqzFiltersLib alloc] init:500 chn:leads freqLpass:40 freqNotch:0 smooth:0];
    }
};

TEST_F(OCqzFiltersLibTest, HasItsMethodsAndNoOther) {
    EXPECT_EQ(Selectors([OCqzFiltersLib class]),
              std::vector<std::string>(
                  {"create:chn:freqLpass:freqNotch:smooth:", "destroy", "filters:", "init",
                   "init:chn:freqLpass:freqNotch:smooth:", "switchFilters:onOffNotch:onOffSmooth:",
                   "update:freqLpass:freqNotch:smooth:"}));
}

TEST_F(OCqzFiltersLibTest, ReturnsTheVeryInputOfAnotherCountAndItsOwnOneArrayOtherwise) {
    OCqzFiltersLib *filters = [Lowpass(2) autorelease];
    for (NSArray *other : {Frame({1}), Frame({1, 2, 3}), Frame({}), NoArray()})
        EXPECT_EQ([filters filters:other], other);
    NSArray *frame = Frame({1000, 2000});
    NSArray *filtered = [filters filters:frame];
    EXPECT_NE(filtered, frame);
    EXPECT_EQ(Samples(frame), std::vector<short>({1000, 2000}));
    const std::vector<short> first = Samples(filtered);
    EXPECT_EQ([filters filters:frame], filtered);
    EXPECT_NE(Samples(filtered), first) << "refilled in place";
    EXPECT_EQ([filters filters:filtered], filtered) << "its own result as input";
    [filters destroy];
    EXPECT_EQ([filters filters:frame], filtered);
    EXPECT_EQ(Samples(filtered), Samples(frame));
    EXPECT_EQ([[[[OCqzFiltersLib alloc] init] autorelease] filters:Frame({})], NoArray());
}

TEST_F(OCqzFiltersLibTest, ReadsWhatIsNoNumberAs0) {
    OCqzFiltersLib *filters = [Lowpass(4) autorelease];
    const std::vector<short> read = Samples([filters filters:OddFrame()]);
    EXPECT_TRUE([filters update:500 freqLpass:40 freqNotch:0 smooth:0]);
    EXPECT_EQ(read, Samples([filters filters:Frame(kOddSamples)]));
    EXPECT_NE(read, std::vector<short>(4));
}

TEST_F(OCqzFiltersLibTest, TakesTheChainAlongAndLeavesItsResultBehindOnRelease) {
    OCqzFiltersLib *released = Lowpass(2), *other = [Lowpass(2) autorelease];
    NSArray *left = [released filters:Frame({1000, 2000})];
    const std::vector<short> filtered = Samples(left);
    [released release];
    EXPECT_EQ(Samples(left), filtered) << "until the pool is drained";
    EXPECT_EQ(Samples([other filters:Frame({1000, 2000})]), std::vector<short>({1000, 2000}));
}
