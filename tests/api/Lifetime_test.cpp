// The objects of the process from before main until after it, through more than one door, and without memory.
// The program links the static library, whose globals are then set up in no certain order with its own.
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include <unistd.h>

#include "api/qzDfs.h"
#include "api/qzFilters.h"
#include "api/qzStressECGLib.h"
#include "api/qzStressTemplLibC.h"
#include "tests/support/Allocations.h"

namespace {

constexpr short kFs = 250, kLeads = 4, kLength = 200;
constexpr std::size_t kCount = kLeads, kSamples = kCount * kLength;

/// A beat whose ST level is different in every lead: a spike at 80 and a plateau behind it.
std::array<short, kSamples> Beat() {
    std::array<short, kSamples> beat = {};
    for (std::size_t c = 0; c < kCount; ++c)
        for (std::size_t i = 78; i < kLength; ++i)
            beat[c * kLength + i] =
                static_cast<short>(i < 83 ? 900 - 300 * (i > 80 ? i - 80 : 80 - i) : 100 - 7 * c);
    return beat;
}

bool CreateEngine() {
    const auto beat = Beat();
    return qzc_stress_create(kFs, kLeads, 1.0) &&
           qzc_stress_init_templ(beat.data(), kCount, kLength, 75, 85, 60, nullptr);
}

std::vector<short> Levels() {
    std::vector<short> levels(kCount);
    EXPECT_TRUE(qzc_stress_st_level(levels.data(), kCount));
    return levels;
}

/// Constructed before every other static object of the program, and destroyed after them.
struct Early {
    Early() {
        CreateEngine();
        qzc_multi_init(kFs, kLeads, 50, 1.0);
        qzc_filters_create(kFs, kLeads, 40, 50, 1);
        qzc_dfs_create(kLeads, 1.0);
    }
    ~Early() {
        if (qzc_multi_leads() != -1) std::abort();  // the many-lead path alone is gone by now, and says so
        if (feeding) std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    static std::atomic<bool> feeding;  // a thread still feeds frames
};
std::atomic<bool> Early::feeding = false;
__attribute__((init_priority(101))) Early g_early;

/// Every facility once through the C door, without an allocation of its own: a hash of all that it answers.
std::uint64_t RunDoor() {
    std::uint64_t hash = 0;
    const auto add = [&hash](long long value) {
        hash = (hash ^ static_cast<std::uint64_t>(value)) * 1099511628211U;
    };
    const auto beat = Beat();
    add(CreateEngine());
    add(qzc_filters_create(kFs, kLeads, 40, 50, 2));
    add(qzc_dfs_create(kLeads, 1.0));
    add(qzc_multi_init(kFs, kLeads, 50, 1.0));
    for (std::size_t i = 0; i < std::size_t{9} * kLength; ++i) {
        short frame[kCount], doubled[2 * kCount], templ[kSamples] = {}, levels[kCount] = {};
        float slopes[kCount] = {};
        for (std::size_t c = 0; c < kCount; ++c) frame[c] = beat[c * kLength + i % kLength];
        add(qzc_stress_mean_rr_ms(frame[0], frame[1], frame[2]));
        add(i % 2 == 0 ? qzc_multi_mean_rr_ms(frame, kCount) : qzc_multi_mean_hr(frame, kCount));
        if (i < 3) add(qzc_dfs_get_data(frame, kCount, doubled, 2 * kCount) ? doubled[kCount] : -1);
        if (qzc_stress_match(frame, kCount)) {
            add(static_cast<long long>(qzc_stress_get_templ(templ, kSamples)));
            for (const short sample : templ) add(sample);
            add(qzc_stress_st_level(levels, kCount) ? levels[1] : -1);
            add(qzc_stress_st_slope(slopes, kCount));
        }
        add(qzc_filters_filters(frame, kCount) ? frame[3] : -1);
    }
    const float power[] = {50, 100, 150}, rate[] = {110, 130, 150};
    float pwc[3];
    qzc_pwc(power, rate, 3, pwc);
    add(static_cast<long long>(pwc[1]));
    return hash;
}

void DestroyAll() {
    qzc_stress_destroy();
    qzc_filters_destroy();
    qzc_dfs_destroy();
}

TEST(Lifetime, WhatAStaticConstructorCreatesIsThereAndWhole) {
    const std::vector<short> early = Levels();  // before any test has created anything
    EXPECT_EQ(std::make_tuple(qzc_stress_leads(), qzc_multi_leads(), qzc_filters_leads(), qzc_dfs_leads()),
              std::make_tuple(kLeads, kLeads, kLeads, kLeads));
    ASSERT_TRUE(CreateEngine());
    EXPECT_EQ(early, Levels());
    EXPECT_NE(early[0], early[3]);
    DestroyAll();
}

TEST(LifetimeDeathTest, TheProcessEndsWhileLocksAreHeldAndFramesAreFed) {
    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    const auto end = [](bool feed) {
        alarm(30);  // a process that hangs fails
        qzc_stress_init(true);
        CreateEngine();
        if (feed) {
            std::thread([] {
                short frame[kCount] = {1, 2, 3, 4};
                for (;; ++frame[0]) {
                    qzc_stress_match(frame, kCount);
                    qzc_stress_mean_rr_ms(frame[0], 0, 0);
                    qzc_filters_filters(frame, kCount);
                    qzDfs_getData(frame);
                    Early::feeding = true;
                }
            }).detach();
            while (!Early::feeding) std::this_thread::yield();
        } else {
            qzc_stress_lock();
            qzStressECGLib_mutex()->lock();
        }
        std::exit(0);
    };
    EXPECT_EXIT(end(true), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(end(false), testing::ExitedWithCode(0), "");
}

TEST(Lifetime, DoorsMayBeMixedAndTheCountsAreThoseOfWhatIsThere) {
    std::array<short, 24> samples = {};
    std::array<float, 12> slopes = {};
    // More leads through one door, fewer through the other, in both orders: the latest counts.
    for (const auto& [first, second] : {std::pair{short{12}, short{2}}, {short{2}, short{12}}}) {
        ASSERT_TRUE(qzc_stress_create(kFs, first, 1.0) && qzStressECGLib_create(kFs, second, 1.0));
        ASSERT_TRUE(qzc_filters_create(kFs, first, 40, 0, 0) && qzFilters_create(kFs, second, 40, 0, 0));
        ASSERT_TRUE(qzc_dfs_create(first, 1.0) && qzDfs_create(second, 1.0));
        ASSERT_TRUE(qzc_multi_init(kFs, first, 0, 1.0));
        qzStressECGLib_InitMultiMeanRRms(kFs, second, 0, 1.0);
        EXPECT_EQ(qzc_multi_leads(), second);
        for (const auto& [leads, taken] : {std::pair{first, false}, {second, true}}) {
            const auto count = static_cast<std::size_t>(leads);
            EXPECT_EQ(qzc_stress_init_templ(samples.data(), count, 2, 0, 1, 60, nullptr), taken);
            EXPECT_EQ(qzc_stress_st_slope(slopes.data(), count), taken);
            EXPECT_EQ(qzc_stress_st_level(samples.data(), count), taken);
            EXPECT_EQ(qzc_filters_filters(samples.data(), count), taken);
            EXPECT_EQ(qzc_dfs_get_data(samples.data(), count, samples.data(), 2 * count), taken);
        }
        EXPECT_EQ(qzc_stress_get_templ(nullptr, 0), 2U * static_cast<std::size_t>(second));
        qzStressECGLib_destroy();
        qzFilters_destroy();
        qzDfs_destroy();
        EXPECT_EQ(qzc_stress_leads(), -1);
        EXPECT_FALSE(qzc_filters_filters(samples.data(), static_cast<std::size_t>(second)));
    }
}

TEST(Lifetime, NoLeadsAndTemplatesWithoutSamplesAreNumbersLikeOthers) {
    std::array<short, 2> samples = {};
    short kept = 7;
    ASSERT_TRUE(qzc_stress_create(kFs, 0, 1.0) && qzc_filters_create(kFs, 0, 40, 50, 1) &&
                qzc_dfs_create(0, 1.0));
    EXPECT_EQ(qzc_stress_templ_length(), -1);
    EXPECT_TRUE(qzc_stress_init_templ(nullptr, 0, 150, 50, 80, 60, &kept));
    EXPECT_EQ(std::make_pair(kept, qzc_stress_templ_length()), std::make_pair(short{150}, std::int16_t{150}));
    EXPECT_FALSE(qzc_stress_match(nullptr, 0));
    EXPECT_TRUE(qzc_stress_st_slope(nullptr, 0) && qzc_stress_st_level(nullptr, 0));
    EXPECT_TRUE(qzc_stress_st_results(800, nullptr, 0));
    EXPECT_TRUE(qzc_filters_filters(nullptr, 0) && qzc_dfs_get_data(nullptr, 0, nullptr, 0));
    EXPECT_NE(qzStressECGLib_STslope(), nullptr);

    const std::vector<short> longest(32767);  // and the largest number
    ASSERT_TRUE(qzc_stress_create(kFs, 1, 1.0));
    EXPECT_TRUE(qzc_stress_init_templ(longest.data(), 1, longest.size(), 50, 80, 60, &kept));
    ASSERT_TRUE(qzc_stress_create(kFs, 2, 1.0));
    EXPECT_TRUE(qzc_stress_init_templ(nullptr, 2, 0, 50, 80, 60, &kept));
    EXPECT_EQ(std::make_pair(kept, qzc_stress_templ_length()), std::make_pair(short{0}, std::int16_t{0}));
    EXPECT_FALSE(qzc_stress_match(samples.data(), 2));
    EXPECT_TRUE(qzc_stress_st_level(samples.data(), 2));
    DestroyAll();
}

TEST(Lifetime, NoDoorBreaksWhereAnAllocationFails) {
    RunDoor();
    const std::uint64_t expected =
        RunDoor();  // the many-lead average goes on from run to run: now as in all others
    const auto expectUsable = [&](std::size_t n) {
        RunDoor();
        EXPECT_EQ(RunDoor(), expected) << "after allocation " << n;
    };
    FailEachAllocation([] { RunDoor(); }, expectUsable);

    DestroyAll();
}

}  // namespace
