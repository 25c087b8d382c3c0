#include "api/qzDfs.h"

#include <gtest/gtest.h>

#include <new>
#include <vector>

using Rows = std::vector<std::vector<short>>;

TEST(qzDfs, ReturnsRowsThatBelongToTheCallerAndNoneWithoutADoublerOrAFrame) {
    short frame[] = {100, 0, -100};
    EXPECT_TRUE(qzDfs_getData(frame).empty());
    for (const auto destroy : {qzDfs_destroy, qzDfsDestroy, qzDfs_destroy}) {
        ASSERT_TRUE(qzDfs_create(16, 1.0));  // the next one replaces it
        ASSERT_TRUE(qzDfs_create(3, 1e9));   // a scale that is not used
        EXPECT_TRUE(qzDfs_getData(nullptr).empty());
        const Rows rows = qzDfs_getData(frame);  // the null frame was no step
        EXPECT_EQ(qzDfs_getData(frame), (Rows{{42, 0, -42}, {100, 0, -100}}));
        EXPECT_EQ(rows, (Rows{{-6, 0, 6}, {0, 0, 0}}));
        destroy();
        EXPECT_TRUE(qzDfs_getData(frame).empty());
    }
    EXPECT_EQ(std::vector<short>(frame, frame + 3), std::vector<short>({100, 0, -100}));  // only read
    ASSERT_TRUE(qzDfs_create(0, 1.0));
    EXPECT_EQ(qzDfs_getData(frame), Rows(2));
    EXPECT_THROW(qzDfs_create(-1, 1.0), std::bad_alloc);
    EXPECT_TRUE(qzDfs_getData(frame).empty()) << "the earlier doubler is gone too";
}
