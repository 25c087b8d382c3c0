#include "core/detect/CMultirtRRdetect.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "tests/support/Beats.h"

struct Vote {
    std::size_t frame;
    int rr;
    bool operator==(const Vote&) const = default;
    friend void PrintTo(const Vote& vote, std::ostream* out) { *out << vote.rr << " @ " << vote.frame; }
};

static std::vector<Vote> VotesOf(CMultirtRRdetect& detector, Recording& input) {
    std::vector<Vote> votes;
    for (std::size_t i = 0; i < input.Frames(); ++i)
        if (const int rr = detector.QRSdetect(input.Frame(i))) votes.push_back({i, rr});
    return votes;
}

/// One lead's beats in every lead, each lagging by its own number of samples at 500 Hz; so do its detections.
/// A negative lag is a silent lead.
static std::vector<Vote> VotesOf(const std::vector<long>& lags) {
    const auto wave = BeatTrain(500, 1).Beats(800, 6).Record();
    Recording input{lags.size(), {}};
    for (long i = 0; i < static_cast<long>(wave.Frames()); ++i)
        for (const long lag : lags)
            input.samples.push_back(lag < 0 || i < lag ? short{0}
                                                       : wave.samples[static_cast<std::size_t>(i - lag)]);
    CMultirtRRdetect detector(500, static_cast<int>(lags.size()), 0, 1.0);
    return VotesOf(detector, input);
}

TEST(CMultirtRRdetect, GroupsFor79SamplesAndIsLockedFor99At500Hz) {
    // Two leads make the quorum of two only within the window.
    EXPECT_FALSE(VotesOf({0, 79}).empty());
    EXPECT_TRUE(VotesOf({0, 80}).empty());
    // With two leads in time, a third within the lockout changes nothing; later it closes the group.
    const auto inTime = VotesOf({0, 0, 0}), early = VotesOf({0, 0, 100});
    EXPECT_EQ(VotesOf({0, 0, 80}), inTime);
    EXPECT_EQ(VotesOf({0, 0, 99}), inTime);
    ASSERT_GE(std::min(early.size(), inTime.size()), 2u);
    EXPECT_EQ(early[0], (Vote{inTime[0].frame - 400 + 100, 400}))
        << "when the late lead opens the next group";
}

TEST(CMultirtRRdetect, NeedsMoreThanHalfOfTheLeadsAndHearsEightOfTwelve) {
    for (std::size_t leads : {1u, 2u, 3u, 4u, 5u, 8u})
        for (std::size_t beating = 1; beating <= leads; ++beating) {
            std::vector<long> lags(leads, -1);
            std::fill_n(lags.begin(), beating, 0);
            EXPECT_EQ(VotesOf(lags).empty(), 2 * beating <= leads) << beating << " of " << leads;
        }
    // Every lead that is heard decides with four others; the four in the middle never do.
    constexpr std::size_t kHeard[] = {0, 1, 6, 7, 8, 9, 10, 11};
    for (std::size_t k = 0; k < 8; ++k)
        for (const std::size_t beating : {5u, 4u}) {
            std::vector<long> lags(12, -1);
            std::fill_n(lags.begin() + 2, 4, 0);
            for (std::size_t n = 0; n < beating; ++n) lags[kHeard[(k + n) % 8]] = 0;
            EXPECT_EQ(VotesOf(lags).empty(), beating == 4) << beating << " from lead " << kHeard[k];
        }
}
