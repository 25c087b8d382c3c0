#include "api/qzDfs.h"

#include <gtest/gtest.h>

#include <new>
#include <vector>

#include "core/filters/CDoubleSampleRate.h"
#include "tests/support/Signals.h"

namespace {

using Rows = std::vector<std::vector<short>>;

class qzDfs : public testing::Test {
protected:
    ~qzDfs() override { qzDfs_destroy(); }
};

/// Every lead must come out as a doubler of 15 and 240 units gives it: midpoints in row 0, samples in row 1.
/// The first lead carries an ECG with isolated steps, the others full-scale noise.
void ExpectDoublesFromTheStart(short chn) {
    SCOPED_TRACE(testing::Message() << chn << " leads, seed 131");
    const auto leads = static_cast<std::size_t>(chn);
    auto x = RandomSamples(131, leads * 600, 32768);
    const auto ecg = SyntheticEcg(500, 1.2, 75, 1000);
    std::vector<CDoubleSampleRate> doublers(leads);
    for (std::size_t n = 0; n < 600; ++n) {
        short* frame = &x[n * leads];
        frame[0] = static_cast<short>(ecg[n] + (n / 50 % 2 == 0 ? 0 : 300));
        Rows expected(2);
        for (std::size_t k = 0; k < leads; ++k) {
            const short* pair = doublers[k].GetDoubleSampleRateData(frame[k]);
            for (std::size_t row = 0; row < 2; ++row) expected[row].push_back(pair[row]);
        }
        ASSERT_EQ(qzDfs_getData(frame), expected) << "frame " << n;
    }
}

}  // namespace

TEST_F(qzDfs, GivesMidpointsAndSamplesOfEveryLeadWhateverTheScale) {
    for (const short chn : kChannelCounts)
        for (const double uVpb : {1.0, 0.5, 4.88, 0.0, -1.0}) {
            ASSERT_TRUE(qzDfs_create(chn, uVpb));
            ExpectDoublesFromTheStart(chn);
        }
}

TEST_F(qzDfs, ReturnsRowsThatBelongToTheCallerAndNoneWithoutADoublerOrAFrame) {
    short frame[16] = {100};
    EXPECT_TRUE(qzDfs_getData(frame).empty());
    ASSERT_TRUE(qzDfs_create(1, 1.0));
    EXPECT_TRUE(qzDfs_getData(nullptr).empty());
    const Rows rows = qzDfs_getData(frame);  // the null frame was no step
    qzDfs_getData(frame + 1);
    for (const auto destroy : {qzDfs_destroy, qzDfsDestroy, qzDfs_destroy}) {
        destroy();
        EXPECT_TRUE(qzDfs_getData(frame).empty());
        ASSERT_TRUE(qzDfs_create(16, 1.0));
        ExpectDoublesFromTheStart(16);
    }
    EXPECT_EQ(rows, (Rows{{-6}, {0}}));
    EXPECT_EQ(frame[0], 100);  // the input frame is only read
    ASSERT_TRUE(qzDfs_create(0, 1.0));
    EXPECT_EQ(qzDfs_getData(frame), Rows(2));
    for (const short chn : {short{-1}, short{-32768}}) {
        ASSERT_TRUE(qzDfs_create(2, 1.0));
        EXPECT_THROW(qzDfs_create(chn, 1.0), std::bad_alloc);
        EXPECT_TRUE(qzDfs_getData(frame).empty());  // the earlier doubler is gone too
    }
}
