#import "tests/bindings/ObjCTest.h"

class OCqzDfsLibTest : public ObjCTest {};

TEST_F(OCqzDfsLibTest, HasItsMethodsAndNoOther) {
    EXPECT_EQ(Selectors([OCqzDfsLib class]),
              std::vector<std::string>({"create:uVpb:", "destroy", "getData:", "init", "init:uVpb:"}));
}

TEST_F(OCqzDfsLibTest, RefillsOneArrayUntilTheNextCreateAndLetsItOutliveTheObject) {
    OCqzDfsLib *dfs = [[OCqzDfsLib alloc] init:2 uVpb:1.0];
    NSArray *doubled = [dfs getData:Frame({10, 20})];
    EXPECT_EQ([dfs getData:Frame({30, 40})], doubled);
    EXPECT_EQ(Samples(doubled).size(), 4U);
    EXPECT_TRUE([dfs create:3 uVpb:1.0]);
    NSArray *tripled = [dfs getData:Frame({1, 2, 3, 4})];
    EXPECT_NE(tripled, doubled);
    [dfs release];
    EXPECT_EQ(Samples(doubled).size(), 4U) << "until the pool is drained";
    EXPECT_EQ(Samples(tripled).size(), 6U);
}

TEST_F(OCqzDfsLibTest, CountsNilAsEmptyAndReadsWhatIsNoNumberAs0) {
    OCqzDfsLib *odd = [[[OCqzDfsLib alloc] init:4 uVpb:1.0] autorelease];
    EXPECT_EQ([odd getData:NoArray()], NoArray());
    [odd getData:OddFrame()];
    const std::vector<short> read = Samples([odd getData:OddFrame()]);
    [odd create:4 uVpb:1.0];
    [odd getData:Frame(kOddSamples)];
    EXPECT_EQ(read, Samples([odd getData:Frame(kOddSamples)]));
    EXPECT_NE(read, std::vector<short>(8));
}
