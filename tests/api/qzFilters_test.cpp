#include "api/qzFilters.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

class qzFilters : public testing::Test {
protected:
    ~qzFilters() override { qzFilters_destroy(); }
};

constexpr short kMarks[] = {100, -200, 32767, -32768};

void ExpectPassesThrough() {
    std::vector<short> frame(std::begin(kMarks), std::end(kMarks));
    for (int n = 0; n < 3; ++n) qzFilters_filters(frame.data());
    EXPECT_EQ(frame, std::vector<short>(std::begin(kMarks), std::end(kMarks)));
}

}  // namespace

TEST_F(qzFilters, PassesFramesWithoutAChainOrStageAndFreezesAStageThatIsOff) {
    ExpectPassesThrough();
    for (const auto destroy : {qzFilters_destroy, qzFiltersDestroy}) {
        ASSERT_TRUE(qzFilters_create(500, 4, 40, 0, 0));
        short first[] = {1000, 0, 0, 0}, second[] = {1000, 0, 0, 0}, third[] = {1000, 0, 0, 0};
        qzFilters_filters(first);
        qzFilters_switch(false, true, true);  // the others were never built
        ExpectPassesThrough();
        qzFilters_switch(true, true, true);
        qzFilters_filters(second);
        EXPECT_EQ(first[0], 46);  // b0 of 40 Hz at 500 Hz is 0.0461
        EXPECT_GT(second[0], 2 * first[0]) << "goes on with its second sample";
        ASSERT_TRUE(qzFilters_create(500, 4, 40, 0, 0));
        qzFilters_filters(third);
        EXPECT_EQ(third[0], first[0]) << "a new chain starts anew";
        destroy();
        ExpectPassesThrough();
        qzFilters_switch(true, true, true);
        ExpectPassesThrough();
    }
}

TEST_F(qzFilters, TellsDelayAndSettlingTimeOfTheStagesThatAreOn) {
    EXPECT_EQ(qzFilters_DelaySamples() & qzFilters_SettlingSamples(), -1);
    const struct {
        short freqLpass, freqNotch, smooth;
        int delayMs, settlingMs;  // as README.md has them
    } stages[] = {{40, 0, 0, 6, 26}, {0, 50, 0, 740, 1500}, {0, 0, 1, 24, 30}, {0, 0, 2, 72, 90}};
    for (const auto& [freqLpass, freqNotch, smooth, delayMs, settlingMs] : stages) {
        ASSERT_TRUE(qzFilters_create(500, 2, freqLpass, freqNotch, smooth));
        EXPECT_EQ(2 * qzFilters_DelaySamples(), delayMs);
        EXPECT_EQ(2 * qzFilters_SettlingSamples(), settlingMs);
    }
    ASSERT_TRUE(qzFilters_create(500, 2, 40, 50, 2));
    EXPECT_EQ(2 * qzFilters_DelaySamples(), 6 + 740 + 72);
    qzFilters_switch(true, false, false);
    EXPECT_EQ(2 * qzFilters_SettlingSamples(), 26);
    short frame[2] = {};
    for (int i = 0; i < 13; ++i) {
        frame[0] = 10000;
        qzFilters_filters(frame);
    }
    EXPECT_NEAR(frame[0], 10000, 150) << "settled";
}

TEST_F(qzFilters, NoArgumentDoesHarm) {
    qzFilters_filters(nullptr);
    for (const short chn : {short{0}, short{-1}, short{-32768}}) {
        ASSERT_TRUE(qzFilters_create(500, chn, 40, 50, 2));
        ExpectPassesThrough();
    }
    // A rate that gives a stage nothing to work on leaves it out.
    for (const short fs : {short{0}, short{-1}, short{-32768}, short{33}}) {
        ASSERT_TRUE(qzFilters_create(fs, 4, 0, fs == 33 ? 0 : 50, 2));
        ExpectPassesThrough();
    }
    ASSERT_TRUE(qzFilters_create(0, 4, 40, 0, 0));
    ExpectPassesThrough();
}
