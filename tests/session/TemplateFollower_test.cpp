#include "session/internal/TemplateFollower.h"

#include <gtest/gtest.h>

#include <cmath>
#include <optional>
#include <utility>
#include <vector>

#include "session/internal/BeatShapes.h"
#include "tests/support/Beats.h"

using namespace qz;

namespace {

constexpr int kFs = 500, kMsPerSample = 2;
constexpr int kRowLength = 360, kR = 150, kQ = kR - 25, kJ = kR + 25;  // samples

LearnedBeat BeatOf(const TemplateRows& rows) {
    LearnedBeat beat;
    beat.rows = rows.Rows();
    beat.length = kRowLength;
    beat.posQ = kQ;
    beat.posJ = kJ;
    beat.usable.assign(beat.rows.size(), true);
    return beat;
}

// What is told of a beat that is heard again and again; nothing where it does not match the averaged one.
std::optional<BeatEvent> Told(TemplateFollower& follower, const LearnedBeat& averaged,
                              const std::vector<std::vector<short>>& heard) {
    const std::size_t leads = heard.size();
    BeatEvent event{0, 0, std::vector<float>(leads), std::vector<float>(leads), std::vector<float>(leads)};
    follower.Start(averaged);
    std::vector<short> frame(leads);
    for (int i = 0; i < 4 * kRowLength; ++i) {
        for (std::size_t c = 0; c < leads; ++c) frame[c] = heard[c][static_cast<std::size_t>(i % kRowLength)];
        if (follower.Match(frame.data(), event)) return event;
    }
    return {};
}

}  // namespace

TEST(TemplateFollower, MeasuresJPlus6MsAgainst12MsOfPRSegment) {
    // One sample of the row is 70 uV higher, so many ms from the onset; the PR level is a mean of seven.
    const auto jUv = [](int atMs) {
        TemplateRows rows = MakeTemplate(kFs, 1, kRowLength, kR);
        for (int i = kQ - 20; i < kQ; ++i) rows[0][static_cast<std::size_t>(i)] = 0;
        for (int i = kJ; i < kJ + 20; ++i) rows[0][static_cast<std::size_t>(i)] = 0;
        const int at = kQ + atMs / kMsPerSample;
        rows[0][static_cast<std::size_t>(at)] += 70;
        TemplateFollower follower(kFs, {0}, 60);
        return Told(follower, BeatOf(rows), rows.Rows())->jUv[0];
    };
    const int j = (kJ - kQ) * kMsPerSample;
    for (const auto& [atMs, uV] :
         {std::pair{-22, 0}, {-20, -10}, {-14, -10}, {-8, -10}, {-6, 0}, {j + 4, 0}, {j + 6, 70}, {j + 8, 0}})
        EXPECT_NEAR(jUv(atMs), uV, 3) << atMs;
}

TEST(TemplateFollower, PrefersAnUprightLeadOfHalfTheHeightOfAnInvertedOne) {
    for (const auto& [upright, bUpright] : {std::pair{480, false}, {520, true}}) {
        // The inverted lead is 20 ms late: where R is found tells which one decides.
        TemplateRows rows(2, kRowLength);
        for (int i = 0; i < kRowLength; ++i) {
            const auto at = static_cast<std::size_t>(i);
            rows[0][at] = Wrapped(Truncated(BeatShape((i - kR) / 500.0, {0.3, 0, 1.0 * upright})));
            rows[1][at] = Wrapped(Truncated(-BeatShape((i - kR - 10) / 500.0, {0.3, 0, 1000})));
        }
        TemplateFollower follower(kFs, {0, 1}, 60);
        follower.Start(BeatOf(rows));
        EXPECT_NEAR(follower.Positions().r, (bUpright ? kR : kR + 10) * kMsPerSample, 8) << upright;
        EXPECT_NEAR(follower.Positions().q, kQ * kMsPerSample, 1e-9);
    }
}

TEST(TemplateFollower, MatchesBy280MsAroundR) {
    const TemplateRows averaged = MakeTemplate(kFs, 1, kRowLength, kR);
    for (const auto& [fromMs, bMatches] : {std::pair{80, false}, {160, true}}) {
        TemplateRows heard = averaged;  // with a block of 40 ms
        const int first = kR + fromMs / kMsPerSample;
        for (int i = first; i < first + 20; ++i) heard[0][static_cast<std::size_t>(i)] -= 800;
        TemplateFollower follower(kFs, {0}, 60);
        EXPECT_EQ(Told(follower, BeatOf(averaged), heard.Rows()).has_value(), bMatches) << fromMs;
    }
}

TEST(TemplateFollower, ReachesWhereTheRowHoldsQAndTheSTPoint) {
    LearnedBeat beat = BeatOf(MakeTemplate(kFs, 1, kRowLength, kR));
    const int lastMs = (kRowLength - kJ) * kMsPerSample - kSTOffsetMs;
    EXPECT_TRUE(TemplateFollower::Reaches(beat, kFs, lastMs - kMsPerSample));
    EXPECT_FALSE(TemplateFollower::Reaches(beat, kFs, lastMs));
    for (const auto& [posQ, bReaches] : {std::pair{6, false}, {7, true}}) {  // the engine's Q is 6 earlier
        beat.posQ = static_cast<short>(posQ);
        EXPECT_EQ(TemplateFollower::Reaches(beat, kFs, 60), bReaches) << posQ;
    }
}

// The shorter row has a beat 140 ms ahead of the longer one: by then it has been told.
TEST(BeatShapes, TellABeatOnceThoughTheyHaveItLongAfterOneAnother) {
    const LearnedBeat longer = BeatOf(MakeTemplate(kFs, 1, kRowLength, kR));
    LearnedBeat shorter = longer;
    shorter.length -= 70;
    shorter.rows[0].resize(static_cast<std::size_t>(shorter.length));
    BeatShapes shapes(kFs, 1, 60);
    shapes.Add(longer, 0, true);
    shapes.Add(shorter, 0, false);
    BeatEvent event{0, 0, std::vector<float>(1), std::vector<float>(1), std::vector<float>(1)};
    const auto isGood = [](std::size_t, long long) { return true; };
    std::vector<long long> told;
    for (int i = 0; i < 8 * kRowLength; ++i) {
        const short* const frame = &longer.rows[0][static_cast<std::size_t>(i % kRowLength)];
        if (const auto r = shapes.Match(frame, isGood, event)) told.push_back(*r);
    }
    ASSERT_GE(told.size(), 6U);
    for (std::size_t i = 1; i < told.size(); ++i) EXPECT_LE(std::abs(told[i] - told[i - 1] - kRowLength), 1);
}
