#include "host/live/SignalOverview.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::ElementsAre;

namespace {

SourceInfo OverviewInfo() {
    SourceInfo info;
    info.fs = 8;  // two frames a column
    info.leads = {"I", "II"};
    return info;
}

TEST(SignalOverview, CoversAStretchByTheBoundsOfItsColumns) {
    SignalOverview overview(OverviewInfo());
    EXPECT_TRUE(overview.Cover(0, 100, 10).samples.empty());
    const std::vector<short> frames{1, -1,       5,        kMissing, 3,        7, 4,
                                    9, kMissing, kMissing, kMissing, kMissing, 8, 2};
    overview.Add(frames.data(), 7);
    const SignalOverview::Columns all = overview.Cover(0, 7, 4);
    EXPECT_EQ(all.framesPerColumn, 2);
    EXPECT_THAT(all.samples,
                ElementsAre(1, -1, 5, -1, 3, 7, 4, 9, kMissing, kMissing, kMissing, kMissing, 8, 2, 8, 2));
    const SignalOverview::Columns part = overview.Cover(3, 4, 2);  // of columns 2 to 4
    EXPECT_EQ(part.first, 2);
    EXPECT_EQ(part.framesPerColumn, 4);
    EXPECT_THAT(part.samples, ElementsAre(3, 7, 4, 9, 8, 2, 8, 2));
}

TEST(SignalOverview, IsTheSameOfFramesTogetherAndOneByOne) {
    SourceInfo info = OverviewInfo();
    info.fs = 100;  // 25 frames a column: three times eight and one
    std::vector<short> frames;
    for (int i = 0; i < 2 * 60; ++i)
        frames.push_back(i % 7 == 0 || i / 50 == 1 ? kMissing
                                                   : static_cast<short>(i * i * 37 % 65521 - 32767));
    SignalOverview together(info), single(info);
    together.Add(frames.data(), 60);
    for (std::size_t i = 0; i < 60; ++i) single.Add(&frames[2 * i], 1);
    EXPECT_EQ(together.Cover(0, 60, 3).samples, single.Cover(0, 60, 3).samples);
}

TEST(SignalOverview, JoinsColumnsByTwosWhereTheyAreMany) {
    SignalOverview overview(OverviewInfo());
    const auto frames = static_cast<long long>(2 * SignalOverview::kMostColumns);
    for (long long i = 0; i <= frames; ++i) {
        const std::vector<short> frame{static_cast<short>(i % 1000), static_cast<short>(i == 1)};
        overview.Add(frame.data(), 1);
    }
    const SignalOverview::Columns all = overview.Cover(0, frames + 1, SignalOverview::kMostColumns);
    EXPECT_EQ(all.framesPerColumn, 4);
    ASSERT_EQ(all.samples.size(), 4 * (SignalOverview::kMostColumns / 2 + 1));
    EXPECT_THAT(std::vector<short>(all.samples.begin(), all.samples.begin() + 8),
                ElementsAre(0, 0, 3, 1, 4, 0, 7, 0));
    EXPECT_EQ(all.samples.back(), 0);
    EXPECT_EQ(all.samples[all.samples.size() - 4], frames % 1000);
}

}  // namespace
