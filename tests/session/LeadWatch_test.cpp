#include "session/internal/LeadWatch.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <vector>

using namespace qz;
using Kind = LeadEvent::Kind;

namespace {

constexpr int kWatchFs = 500;

// What is told of one lead whose sample at a time in seconds is unitsAt(time), at 0.5 uV per unit.
std::vector<LeadEvent> EventsOf(double seconds, const std::function<double(double)>& unitsAt) {
    LeadWatch watch(kWatchFs, 1, 0.5);
    std::vector<LeadEvent> told;
    for (int i = 0; i < seconds * kWatchFs; ++i) {
        const auto sample = static_cast<short>(unitsAt(static_cast<double>(i) / kWatchFs));
        watch.Take(&sample);
        for (const LeadEvent& event : watch.Events()) told.push_back(event);
    }
    return told;
}

bool IsTold(Kind kind, const std::vector<LeadEvent>& told) {
    for (const LeadEvent& event : told)
        if (event.kind == kind) return true;
    return false;
}

}  // namespace

TEST(LeadWatch, ALeadIsOffThatMovesByLessThan5UvFor2Seconds) {
    struct Case {
        double units, everySeconds;  // a sample is that much higher, once in so many seconds
        bool bOff;
    };
    for (const Case& c : {Case{9, 0.1, true}, {10, 0.1, false}, {10, 1.998, false}, {10, 2.004, true}}) {
        const long every = std::lround(c.everySeconds * kWatchFs);
        int frame = 0;
        // It goes up and down by turns: each change is a movement.
        const auto told = EventsOf(7, [&](double) { return frame++ / every % 2 == 0 ? 0 : c.units; });
        EXPECT_EQ(IsTold(Kind::Off, told), c.bOff) << c.units << " units every " << c.everySeconds << " s";
    }
}

TEST(LeadWatch, ALeadIsDisturbedWhoseLevelJumpsBy3MvAndStaysAway) {
    struct Case {
        double units, inSeconds;  // rise of the level, evenly
        double forSeconds;        // and back
        bool bDisturbed;
    };
    for (const Case& c : {Case{5990, 0, 9, false},
                          {6010, 0, 9, true},
                          {-6010, 0, 9, true},
                          {29900, 1, 9, false},
                          {30100, 1, 9, true},
                          {6100, 0, 0.43, false},  // a wide beat
                          {6100, 0, 0.47, true}}) {
        const auto told = EventsOf(5, [&](double seconds) {
            if (seconds < 2 || seconds >= 2 + c.forSeconds) return 0.0;
            return seconds >= 2 + c.inSeconds ? c.units : c.units * (seconds - 2) / c.inSeconds;
        });
        EXPECT_EQ(IsTold(Kind::Disturbed, told), c.bDisturbed) << c.units << " units in " << c.inSeconds;
    }
}

TEST(LeadWatch, DisturbancesWithinASecondAreOneAndTwoMinutesAreRemembered) {
    struct Case {
        double secondSeconds, lastSeconds;  // of two disturbances after the first one, which is at 5 s
        int count;                          // of those that are told
        bool bForgotten;                    // the first one, after the last
    };
    for (const Case& c : {Case{5.99, 124, 2, false}, {6.01, 124.9, 3, false}, {6.01, 125.2, 3, true}}) {
        LeadWatch watch(kWatchFs, 1, 1);
        int told = 0;
        for (int i = 0; i < 130 * kWatchFs; ++i) {
            const auto sample = static_cast<short>(i % 2 * 100);
            watch.Take(&sample);
            for (const double seconds : {5.0, c.secondSeconds, c.lastSeconds})
                if (i == std::lround(seconds * kWatchFs)) watch.Disturb(0);
            for (const LeadEvent& event : watch.Events()) told += event.kind == Kind::Disturbed ? 1 : 0;
        }
        EXPECT_EQ(told, c.count) << c.secondSeconds;
        EXPECT_EQ(watch.IsGood(0, {4, 5.5}, 0), c.bForgotten) << c.lastSeconds;
    }
}

// A jump is judged 0.4 s late.
TEST(LeadWatch, ADisturbanceBeginsWithTheJumpAndLastsOnThoughItIsKnownLater) {
    LeadWatch watch(kWatchFs, 1, 1);
    for (int i = 0; i < 8 * kWatchFs; ++i) {
        const auto sample = static_cast<short>(i % 2 * 100 + (i < 5 * kWatchFs ? 0 : 5000));
        watch.Take(&sample);
        if (i == 5 * kWatchFs + 150) watch.Disturb(0);
    }
    EXPECT_FALSE(watch.IsGood(0, {5.1, 5.15}, 0));
    EXPECT_FALSE(watch.IsGood(0, {5.25, 5.35}, 0));
    EXPECT_TRUE(watch.IsGood(0, {5.35, 6}, 0));
}
