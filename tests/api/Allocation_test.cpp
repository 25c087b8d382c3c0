// Proves that the per-frame functions do not allocate. A program of its own: it replaces operator new.
#include <gtest/gtest.h>

#include <cstddef>

#include "api/qzDfs.h"
#include "api/qzFilters.h"
#include "api/qzStressECGLib.h"
#include "tests/support/Allocations.h"
#include "tests/support/Beats.h"

TEST(Allocation, CountsWhatTheLibraryAllocates) {
    EXPECT_GT(AllocationsOf([] { qzStressECGLib_create(500, 8, 2.5); }), 8u);
    qzStressECGLib_destroy();
}

TEST(Allocation, NoPerFrameFunctionAllocatesOverALongStream) {
    constexpr short kLeads = 12;
    BeatTrain train(500, kLeads);
    train.Beats(800, 40).Form({1.1, -0.1, 950}).Beats(500, 60).Pause(7000).Beats(900, 30).Noise(8, 2);
    auto input = train.Record();
    auto rows = MakeTemplate(500, kLeads, 400, 160);
    short len = 400, r = 0, q = 0, j = 0, ms = 0;
    qzStressECGLib_init(true);
    qzStressECGLib_create(500, kLeads, 2.5);
    qzStressECGLib_InitTempl(rows.Pointers(), len, 135, 185, 60);
    EXPECT_EQ(AllocationsOf([&] { qzStressECGLib_InitTempl(rows.Pointers(), len, 135, 185, 60); }), 0u);
    qzStressECGLib_InitMultiMeanRRms(500, kLeads, 50, 2.5);
    qzFilters_create(500, kLeads, 40, 50, 2);
    qzDfs_create(kLeads, 2.5);
    int folds = 0, beats = 0, votes = 0;
    for (std::size_t i = 0; i < input.Frames(); ++i) {
        short* frame = input.Frame(i);
        short three = -1, many = -1;
        const auto allocations = AllocationsOf([&] {
            qzFilters_switch(true, i % 3 != 0, true);
            qzFilters_filters(frame);
            if (qzStressECGLib_match(frame) != nullptr) {
                ++folds;
                qzStressECGLib_STslope();
                qzStressECGLib_uvSTvalue();
                qzStressECGLib_STresults(800);
                qzStressECGLib_getTempl();
                qzStressECGLib_GetPos(r, q, j, ms);
                qzStressECGLib_SetPos(q, j);
                qzStressECGLib_SetPostJms(ms);
            }
        });
        ASSERT_EQ(allocations, 0u) << "frame " << i;
        const auto ofThree =
            AllocationsOf([&] { three = qzStressECGLib_MeanRRms(frame[0], frame[1], frame[2]); });
        const auto ofMany = AllocationsOf(
            [&] { many = i % 2 ? qzStressECGLib_MultiMeanRRms(frame) : qzStressECGLib_MultiMeanHR(frame); });
        // A reported beat enters the average: a slot of the window and a sorted copy at the most.
        ASSERT_LE(ofThree, three > 0 ? 3u : 0u) << "frame " << i;
        ASSERT_LE(ofMany, many > 0 ? 3u : 0u) << "frame " << i;
        beats += three > 0;
        votes += many > 0;
        // Two rows and what holds them are returned by value.
        ASSERT_LE(AllocationsOf([&] { qzDfs_getData(frame); }), 3u) << "frame " << i;
    }
    EXPECT_GT(folds, 60);
    EXPECT_GT(beats, 60);
    EXPECT_GT(votes, 60);
    qzStressECGLib_destroy();
    qzFilters_destroy();
    qzDfs_destroy();
    qzStressECGLib_init(false);
}
