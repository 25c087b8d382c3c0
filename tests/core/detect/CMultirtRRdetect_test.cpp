#include "core/detect/CMultirtRRdetect.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <new>
#include <vector>

#include "core/detect/CrtRRdetect.h"
#include "tests/support/Beats.h"
#include "tests/support/Signals.h"

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

/// The vote taken afterwards: every lead is detected through the whole recording, the detections are put in
/// the order of their time, and cut into groups.
static std::vector<Vote> VotesAfterwards(int fs, int acFreq, double scale, const Recording& input) {
    std::vector<std::size_t> used;
    for (std::size_t lead = 0; lead < input.leads; ++lead)
        if (lead < 2 || input.leads <= 8 || lead >= input.leads - 6) used.push_back(lead);
    std::vector<Vote> detections;
    for (const std::size_t lead : used) {
        CrtRRdetect detector(fs, acFreq);
        for (std::size_t i = 0; i < input.Frames(); ++i) {
            const int rr = detector.QRSdetect(Wrapped(Truncated(input.At(i, lead) * scale)));
            if (rr >= fs / 5) detections.push_back({i, rr});
        }
    }
    std::stable_sort(detections.begin(), detections.end(),
                     [](auto& a, auto& b) { return a.frame < b.frame; });
    std::vector<Vote> votes;
    for (auto next = detections.begin(); next != detections.end();) {
        const std::size_t start = next->frame;
        std::vector<int> group;
        for (; next != detections.end() && next->frame - start < static_cast<std::size_t>(fs / 5); ++next)
            if (next->frame - start < static_cast<std::size_t>(fs * 160 / 1000)) group.push_back(next->rr);
        std::sort(group.begin(), group.end());
        if (next != detections.end() && group.size() > used.size() / 2)
            votes.push_back({next->frame, group[(group.size() - 1) / 2]});
    }
    return votes;
}

TEST(CMultirtRRdetect, VotesAsAReaderWouldAfterwards) {
    constexpr int kRates[] = {500, 250, 257, 360, 200, 1000};
    for (std::size_t k = 0; k < std::size(kRates); ++k) {
        const int fs = kRates[k];
        const auto leads = static_cast<std::size_t>(kChannelCounts[k]);
        for (const double scale : {2.5, 4.88, 200.0}) {
            SCOPED_TRACE(testing::Message() << fs << " Hz, leads " << leads << ", scale " << scale);
            BeatTrain train(fs, leads);
            // Leads that lag by up to 200 ms fall out of the group, drop out or form one of their own.
            for (std::size_t lead = 0; lead < leads; ++lead)
                train.Delay(lead, static_cast<long>(lead * lead % 11) * fs / 50);
            for (const int rr : {800, 640, 930, 500, 410, 760})
                train.Beats(rr, 5).Beats(rr + 37, 2).Beats(rr - 41, 2);
            auto input = train.Noise(60, 17).Record();
            const auto expected = VotesAfterwards(fs, 50, scale, input);
            EXPECT_GT(expected.size(), 10u);
            CMultirtRRdetect detector(fs, static_cast<int>(leads), 50, scale);
            EXPECT_EQ(VotesOf(detector, input), expected);
            detector.Init(static_cast<int>(leads), 50, scale);
            EXPECT_EQ(VotesOf(detector, input), expected) << "Init starts over with the stored rate";
        }
    }
}

/// One lead's beats in every lead, each lagging by its own number of samples at 500 Hz; so do its detections.
static Recording LaggingLeads(const std::vector<long>& lags) {
    const auto wave = BeatTrain(500, 1).Beats(800, 6).Record();
    Recording input{lags.size(), {}};
    for (std::size_t i = 0; i < wave.Frames(); ++i)
        for (const long lag : lags)
            input.samples.push_back(
                static_cast<long>(i) < lag ? short{0} : wave.samples[i - static_cast<std::size_t>(lag)]);
    return input;
}

static std::vector<Vote> VotesOf(const std::vector<long>& lags) {
    auto input = LaggingLeads(lags);
    CMultirtRRdetect detector(500, static_cast<int>(lags.size()), 0, 1.0);
    return VotesOf(detector, input);
}

TEST(CMultirtRRdetect, GroupsFor79SamplesAndIsLockedFor99At500Hz) {
    // Two leads make the quorum of two only within the window.
    EXPECT_FALSE(VotesOf({0, 0}).empty());
    EXPECT_FALSE(VotesOf({0, 79}).empty());
    EXPECT_TRUE(VotesOf({0, 80}).empty());
    // With two leads in time, a third within the lockout changes nothing; from 100 samples on it closes the
    // group.
    const auto inTime = VotesOf({0, 0, 0});
    ASSERT_GE(inTime.size(), 2u);
    EXPECT_EQ(VotesOf({0, 0, 80}), inTime);
    EXPECT_EQ(VotesOf({0, 0, 99}), inTime);
    const auto early = VotesOf({0, 0, 100});
    ASSERT_GE(early.size(), 2u);
    EXPECT_EQ(early[0].rr, 400);
    EXPECT_EQ(early[0].frame, inTime[0].frame - 400 + 100)
        << "reported when the late lead opens the next group";
}

TEST(CMultirtRRdetect, NeedsMoreThanHalfOfTheLeads) {
    for (std::size_t leads : {1u, 2u, 3u, 4u, 5u, 8u})
        for (std::size_t beating = 1; beating <= leads; ++beating) {
            SCOPED_TRACE(testing::Message() << beating << " of " << leads);
            auto input = LaggingLeads(std::vector<long>(leads, 0));
            for (std::size_t i = 0; i < input.Frames(); ++i)
                for (std::size_t lead = beating; lead < leads; ++lead) input.Frame(i)[lead] = 0;
            CMultirtRRdetect detector(500, static_cast<int>(leads), 0, 1.0);
            EXPECT_EQ(VotesOf(detector, input).empty(), 2 * beating <= leads);
        }
}

TEST(CMultirtRRdetect, NeverHearsTheFourLeadsInTheMiddleOfTwelve) {
    auto input = BeatTrain(500, 12).Beats(800, 10).Noise(20, 5).Record();
    auto disturbed = input;
    const auto noise = RandomSamples(8, input.samples.size(), 32768);
    for (std::size_t i = 0; i < input.Frames(); ++i)
        for (std::size_t lead = 2; lead < 6; ++lead) disturbed.Frame(i)[lead] = noise[i * 12 + lead];
    CMultirtRRdetect calm(500, 12, 50, 2.5), noisy(500, 12, 50, 2.5);
    const auto votes = VotesOf(calm, input);
    EXPECT_GE(votes.size(), 5u);
    EXPECT_EQ(VotesOf(noisy, disturbed), votes);
    // Each of the eight others is heard: with it they are five of eight, without it four.
    constexpr std::size_t kHeard[] = {0, 1, 6, 7, 8, 9, 10, 11};
    for (std::size_t k = 0; k < 8; ++k)
        for (const std::size_t beating : {5u, 4u}) {
            Recording few{12, std::vector<short>(input.samples.size(), 0)};
            for (std::size_t i = 0; i < input.Frames(); ++i)
                for (std::size_t n = 5 - beating; n < 5; ++n) {
                    const std::size_t lead = kHeard[(k + n) % 8];
                    few.Frame(i)[lead] = input.Frame(i)[lead];
                }
            CMultirtRRdetect detector(500, 12, 0, 2.5);
            EXPECT_EQ(VotesOf(detector, few).empty(), beating == 4) << "without lead " << kHeard[k];
        }
}

TEST(CMultirtRRdetect, AnswersZeroWhileItHasNoLeads) {
    Recording input = BeatTrain(500, 2).Beats(800, 8).Record();
    CMultirtRRdetect detector;
    EXPECT_TRUE(VotesOf(detector, input).empty());
    detector.Init(2, 50, 1.0);  // the stored rate is still 0
    EXPECT_TRUE(VotesOf(detector, input).empty());
    detector.Init(500, 2, 50, 1.0);
    const auto votes = VotesOf(detector, input);
    EXPECT_FALSE(votes.empty());
    detector.Destroy();
    EXPECT_TRUE(VotesOf(detector, input).empty());
    detector.Init(500, 2, 50, 1.0);
    EXPECT_EQ(VotesOf(detector, input), votes);
    EXPECT_THROW(detector.Init(500, -3, 50, 1.0), std::bad_alloc);
    EXPECT_TRUE(VotesOf(detector, input).empty()) << "nothing half built is left";
    detector.Init(500, 0, 50, 1.0);
    EXPECT_TRUE(VotesOf(detector, input).empty());
}

TEST(CMultirtRRdetect, IgnoresANullFrame) {
    Recording input = BeatTrain(500, 2).Beats(800, 8).Record();
    CMultirtRRdetect detector(500, 2, 50, 1.0), interrupted(500, 2, 50, 1.0);
    for (std::size_t i = 0; i < input.Frames(); ++i) {
        EXPECT_EQ(interrupted.QRSdetect(nullptr), 0);
        ASSERT_EQ(interrupted.QRSdetect(input.Frame(i)), detector.QRSdetect(input.Frame(i)));
    }
}
