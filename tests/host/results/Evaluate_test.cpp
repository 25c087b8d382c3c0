#include "host/results/Evaluate.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <sstream>

namespace {

TEST(ScoreBeats, PairsEachBeatOnceWithTheNearerOfTwoWithin150Ms) {
    // Right; 150 ms late, still right; 151 ms early, missed and extra; doubled, the nearer counts; missed.
    const BeatScore score = ScoreBeats({1.02, 2.15, 2.849, 4.1, 4.13, 9.0}, {1.0, 2.0, 3.0, 4.12, 5.0}, {});
    EXPECT_EQ(score.right, 3);
    EXPECT_EQ(score.missed, 2);
    EXPECT_EQ(score.extra, 3);
    EXPECT_NEAR(score.offsetMs, 20, 1e-9);
    EXPECT_DOUBLE_EQ(score.Sensitivity(), 0.6);
    EXPECT_DOUBLE_EQ(score.PositivePredictivity(), 0.5);
    // A reference beat in reach of two found ones, and a found one in reach of two reference beats.
    EXPECT_EQ(ScoreBeats({1.0}, {0.9, 1.01}, {}).missed, 1);
    EXPECT_NEAR(ScoreBeats({1.0}, {0.9, 1.01}, {}).offsetMs, -10, 1e-9);
    EXPECT_EQ(ScoreBeats({0.0, 0.15}, {0.1, 0.16}, {}).right, 2)
        << "the second pair leaves the first its own";
}

TEST(ScoreBeats, LeavesOutWhatIsSkippedAndKnowsNoRateOfNothing) {
    const std::vector<Span> uncounted{{0, 300}, {310, 320}};
    const BeatScore score =
        ScoreBeats({1, 2, 300.02, 301, 311, 315, 319.9}, {1, 299.98, 300.5, 301, 320}, uncounted);
    EXPECT_EQ(score.right, 2);  // 301, and 320 with a beat found just before the end of the span
    EXPECT_EQ(score.missed, 1);
    EXPECT_EQ(score.extra, 0) << "300.02 belongs to a beat that is skipped";
    EXPECT_TRUE(std::isnan(ScoreBeats({}, {}, {}).Sensitivity()));
    EXPECT_TRUE(std::isnan(ScoreBeats({}, {1}, {}).PositivePredictivity()));
    EXPECT_EQ(ScoreBeats({}, {1}, {}).missed, 1);
}

// What an algorithm says of ten beats one second apart, in the order of their numbers; '-' is a beat not
// found.
std::vector<MarkedBeat> Beats(const std::string& letters, double firstSeconds = 1) {
    const std::map<char, int> codes{{'N', 1},  {'L', 2}, {'A', 8},  {'V', 5},
                                    {'E', 10}, {'F', 6}, {'/', 12}, {'e', 34}};
    std::vector<MarkedBeat> beats;
    for (std::size_t i = 0; i < letters.size(); ++i)
        if (letters[i] != '-') beats.push_back({firstSeconds + static_cast<double>(i), codes.at(letters[i])});
    return beats;
}

TEST(ScoreClasses, CountsTheMatrixOfEC57WithoutExcusedBeats) {
    // The last column lies in a span that does not count.
    const ClassScores scores = ScoreClasses(Beats("VNN-VVVVAVVAAAAV"),  //
                                            Beats("VVAVEN/FAA--F/VN"), {{16, 17}});
    EXPECT_EQ(scores.ventricular.right, 2);   // V as V, E as V
    EXPECT_EQ(scores.ventricular.missed, 3);  // as N, not found, as A
    EXPECT_EQ(scores.ventricular.extra, 3);   // N, A, and one without a reference beat
    EXPECT_EQ(scores.supraventricular.right, 1);
    EXPECT_EQ(scores.supraventricular.missed, 2);  // as N, as V
    EXPECT_EQ(scores.supraventricular.extra, 3);   // no beat, F and V; the paced one is excused
}

TEST(ScoreFolding, FindsTheLongestRowOfNormalBeatsWithoutST) {
    const float nothing = std::nanf("");
    // N at 1 to 4, 6, 7 and 30 to 32 s.
    std::vector<MarkedBeat> reference = Beats("NLeNVNN");
    for (const MarkedBeat& beat : Beats("NNN", 30)) reference.push_back(beat);
    const std::deque<STReading> folded{{1.1, 60, {nothing, 5}, {0, 0}},
                                       {2.1, 60, {nothing, nothing}, {0, 0}},
                                       {5, 60, {1, 1}, {0, 0}},
                                       {7.16, 60, {1, 1}, {0, 0}}};
    FoldingScore score = ScoreFolding(folded, reference, {});
    EXPECT_EQ(score.normal, 9);
    EXPECT_EQ(score.folded, 2);
    EXPECT_EQ(score.holeSeconds, 5);  // from 2 to 7 s; not on to 30 s, as no beats pass
    EXPECT_EQ(score.holeFromSeconds, 2);
    score = ScoreFolding(folded, reference, {{1.5, 31.5}});
    EXPECT_EQ(score.holeSeconds, 0) << "one beat is no stretch of time";
    EXPECT_TRUE(std::isnan(ScoreFolding(folded, Beats("N"), {}).holeSeconds));
}

TEST(ScoreRate, CountsSecondsRightWithin5PercentOr3PerMinute) {
    Truth truth{Beats("NNNNNNNNNNNNNNNNNNNNN", 0), {}};  // 60 per minute up to 20 s
    StressResult result;
    result.seconds = 30;
    result.rates = {{2, 63}, {3, 63.1}, {4, 57}, {5, 56.9}, {6.5, 60}};
    // 1 s: none. 2, 4 and 7 to 16 s: right, 6.5 s being shown for 10 s. 3, 5 and 6 s: wrong. 17 to 23 s:
    // none.
    RateScore score = ScoreRate(result, truth, {});
    EXPECT_EQ(score.right, 12);
    EXPECT_EQ(score.wrong, 3);
    EXPECT_EQ(score.none, 8) << "the last beat is 3 s ago at 23 s";
    score = ScoreRate(result, truth, {{6, 18}});
    EXPECT_EQ(score.right, 2);
    truth.bpm = [](double) { return 100; };
    result.rates = {{2, 105}, {12, 105.1}};
    EXPECT_EQ(ScoreRate(result, truth, {}).right, 10);
}

TEST(Truth, TakesTheRateOverTheIntervalsOfTenSeconds) {
    Truth truth{Beats("NNNNNNNNNNNNNNN", 0), {}};
    for (const double seconds : {14.5, 15.0, 15.5}) truth.beats.push_back({seconds});
    EXPECT_TRUE(std::isnan(truth.BpmAt(0.9)));
    EXPECT_DOUBLE_EQ(truth.BpmAt(1), 60);
    EXPECT_DOUBLE_EQ(truth.BpmAt(15.9), 60 * 12 / 10.5);  // those that end from 6 to 15.5 s
    truth.uncounted = {{6.2, 13.5}};
    EXPECT_DOUBLE_EQ(truth.BpmAt(15.9), 60 * 4 / 2.5);  // those that end at 6 s, and from 14.5 s on
}

TEST(TruthFrom, TakesBeatsFibrillationAndMarksOfST) {
    const Truth truth = TruthFrom({{0, 28, "(N"},
                                   {50, 18, "AST2-100"},
                                   {100, 1, ""},
                                   {150, 18, "ST2-)"},
                                   {200, 32, ""},
                                   {240, 5, ""},
                                   {300, 33, ""},
                                   {310, 19, "(T2+"},
                                   {350, 18, "(ST2+"},
                                   {370, 18, "AST2+150"},
                                   {400, 32, ""}},
                                  100);
    EXPECT_THAT(TimesOf(truth.beats), testing::ElementsAre(1, 2.4));
    EXPECT_EQ(truth.beats[1].code, kVentricularBeat);
    ASSERT_EQ(truth.uncounted.size(), 2U);
    EXPECT_DOUBLE_EQ(truth.uncounted[0].fromSeconds, 2);
    EXPECT_DOUBLE_EQ(truth.uncounted[0].toSeconds, 3);
    EXPECT_GT(truth.uncounted[1].toSeconds, 1e9) << "to the end of the record";
    ASSERT_EQ(truth.st.size(), 2U);
    EXPECT_TRUE(truth.st[0].extremes.empty());
    ASSERT_EQ(truth.st[1].extremes.size(), 2U);
    EXPECT_EQ(truth.st[1].extremes[0].changeUv, -100);
    for (const auto& [seconds, isEpisode] :
         {std::pair{0.0, true}, {1.5, false}, {3.4, false}, {3.5, true}, {99, true}})
        EXPECT_EQ(LiesIn(truth.st[1].episodes, seconds), isEpisode) << seconds;
}

TEST(CompareSTChanges, TakesTheLevelBehindTheMarkLessThatOutsideEpisodes) {
    StressResult result;
    result.source.leads = {"V4", "D3"};
    for (int second = 0; second < 200; ++second) {
        const float level = second < 100 ? 40.0F : second < 131 ? 190.0F : 500.0F;
        result.beats.push_back({second * 1.0, 60, {level, -level}, {0, 0}});
    }
    const std::vector<MarkedST> marked{{{{95, 1e9}}, {{121, 200}}}, {{{-1e9, 1e9}}, {{20, -100}}}};
    const std::vector<STChange> changes = CompareSTChanges(result, marked);
    ASSERT_EQ(changes.size(), 2U);
    EXPECT_EQ(changes[0].measuredUv, 500 - 40) << "of 21 beats from 121 s on 11 are at 500 uV";
    EXPECT_EQ(changes[0].markedUv, 200);
    EXPECT_EQ(changes[1].lead, 1U);
    EXPECT_TRUE(std::isnan(changes[1].measuredUv)) << "all of the recording is an episode";
}

TEST(Fiducials, TakesOnsetsAndEndsWithoutTheOutlyingLead) {
    const auto lead = [](long long onset, long long end) {
        std::vector<Annotation> marks;
        for (const auto& [sample, code] : {std::pair{500LL, 39},
                                           {520LL, 24},
                                           {540LL, 40},
                                           {onset, 39},
                                           {1000LL, 1},
                                           {end, 40},
                                           {2000LL, 5}})
            marks.push_back({sample, code, ""});
        return QrsMarksFrom(marks, 1000);
    };
    const std::vector<QrsMark> one = CombineLeads({lead(960, 1050), lead(970, 1090)});
    ASSERT_EQ(one.size(), 2U);
    EXPECT_EQ(one[0].onset, 0.96);
    EXPECT_EQ(one[0].end, 1.09);
    EXPECT_TRUE(std::isnan(one[1].onset)) << "the second beat has no marks but its peak";
    const std::vector<QrsMark> marks =
        CombineLeads({lead(960, 1050), lead(970, 1090), lead(900, 1040), {}, {}});
    ASSERT_EQ(marks.size(), 2U);
    EXPECT_EQ(marks[0].onset, 0.96);
    EXPECT_EQ(marks[0].end, 1.05);
    EXPECT_TRUE(CombineLeads({lead(960, 1050), {}, {}}).empty()) << "one lead of three";

    StressResult result;
    for (const double seconds : {1.01, 2.01, 3.02})
        result.beats.push_back({seconds, 60, {}, {}, 0, 80, seconds < 3 ? -40.0 : -45, 60});
    const FiducialScore score =
        ScoreFiducials(result, {{1, 0.96, 1.05}, {2, std::nan(""), 2.06}, {3, 2.96, 3.05}, {5, 4.96, 5.05}});
    EXPECT_EQ(score.marked, 4U);
    EXPECT_EQ(score.onset.count, 2);
    EXPECT_NEAR(score.onset.meanMs, 12.5, 1e-9);  // 10 and 15
    EXPECT_NEAR(score.onset.sdMs, std::sqrt(12.5), 1e-9);
    EXPECT_NEAR(score.end.meanMs, 20, 1e-9);  // 20, 10 and 30
    EXPECT_NEAR(score.end.sdMs, 10, 1e-9);
}

TEST(TruthFrom, CountsOnlyBetweenHandMarksThatFollowEachOther) {
    const Truth truth = TruthFrom({{10}, {11}, {12}, {13.5}, {15.1}, {16}});
    EXPECT_FALSE(truth.classesKnown);
    EXPECT_EQ(truth.beats.size(), 6U);
    for (const auto& [seconds, counts] : {std::pair{9.8, false},
                                          {9.9, true},
                                          {12.7, true},
                                          {14.0, false},
                                          {15.0, true},
                                          {16.1, true},
                                          {16.2, false}})
        EXPECT_NE(LiesIn(truth.uncounted, seconds), counts) << seconds;
}

StressResult TwoLeads() {
    StressResult result;
    result.source.name = "r";
    result.source.fs = 100;
    result.source.leads = {"I", "II"};
    for (int beat = 1; beat <= 10; ++beat) {
        result.rates.push_back({beat * 1.0, 62});
        result.beats.push_back({beat * 1.0, 62, {10, -20}, {0.5F, 0}});
    }
    return result;
}

TEST(Evaluate, ComparesTheHeartRateWithTheBeatsWhereOnlyTheyAreKnown) {
    Truth reference;
    for (int beat = 0; beat <= 10; ++beat) reference.beats.push_back({beat * 1.0});
    std::vector<Annotation> found;
    for (int beat = 0; beat <= 10; ++beat) found.push_back({beat * 100 + 3, 1, ""});
    const Evaluation evaluation = Evaluate(TwoLeads(), found, reference, 0);
    EXPECT_EQ(evaluation.beats.right, 11);
    EXPECT_DOUBLE_EQ(evaluation.accuracy.bpm.median, 2);
    EXPECT_TRUE(evaluation.accuracy.levelUv.empty());
    std::ostringstream text;
    PrintEvaluation(text, evaluation);
    EXPECT_THAT(text.str(), testing::HasSubstr("sensitivity 100.00 %"));
    EXPECT_THAT(text.str(), testing::HasSubstr("found 30 ms after"));
}

TEST(Evaluate, ComparesSTPerLeadWhereTheTruthKnowsItAndNotBeforeTheSkip) {
    const Truth reference{{},
                          {},
                          [](double) { return 60.0; },
                          [](std::size_t lead, double seconds, double) {
                              return seconds < 6 ? 1000.0 : lead == 0 ? 14 : -20;
                          },
                          [](std::size_t, double, double) { return std::nan(""); }};
    const Accuracy accuracy = Evaluate(TwoLeads(), {}, reference, 5.5).accuracy;
    EXPECT_DOUBLE_EQ(accuracy.bpm.maximum, 2);
    ASSERT_EQ(accuracy.levelUv.size(), 2U);
    EXPECT_DOUBLE_EQ(accuracy.levelUv[0].maximum, 4);
    EXPECT_DOUBLE_EQ(accuracy.levelUv[1].maximum, 0);
    EXPECT_TRUE(std::isnan(accuracy.slopeUvPerMs[0].median)) << "nothing is known of it";
}

}  // namespace

// One lead of 100 frames a second, 2 uV per unit: each second a beat, whose ST is at 10 uV and from 130 s on
// at 200 uV, over a level that drifts. Every fifth beat is at 3 mV.
class RawBeats : public FrameSource {
public:
    RawBeats() {
        m_info.fs = 100;
        m_info.uVpb = 2;
        m_info.leads = {"V5"};
    }
    const SourceInfo& Info() const override { return m_info; }
    bool Read(short* frame) override {
        const int second = m_next / 100, isST = m_next % 100 >= 10 && m_next % 100 < 40;
        const int levelUv = second % 5 == 0 ? 3000 : second < 130 ? 10 : 200;
        *frame = static_cast<short>((isST * levelUv + 4 * second) / 2);
        return m_next++ < 18000;
    }

private:
    SourceInfo m_info;
    int m_next = 0;
};

TEST(MeasureRawChanges, TakesTheMedianBeatOfTheSignalAndTheHalfMinutesOutsideEpisodes) {
    StressResult result;
    result.source.leads = {"V5"};
    result.seconds = 180;
    for (int second = 0; second < 180; ++second)
        result.beats.push_back({second * 1.0, 60, {7}, {0}, 1000, 80, -40, 60});
    RawBeats first, again;
    const std::vector<RawSTDifference> halfMinutes = CompareWithRawST(first, result, HalfMinutes(result, 30));
    ASSERT_EQ(halfMinutes.size(), 5U);
    EXPECT_TRUE(halfMinutes[0].span.fromSeconds == 30 && halfMinutes[0].toldUv == 7);
    EXPECT_NEAR(halfMinutes[3].rawUv, 204, 1e-9) << "16 beats of 30, and the drift since PR";
    // The half minute from 90 s on ends where the episode begins; the second mark has 11 beats of 20 at 10
    // uV.
    const std::vector<MarkedST> marked{{{{120, 1e9}}, {}}};
    std::vector<STChange> changes{{0, 165, 150, 0}, {0, 117, 150, 0}, {0, 171.5, 150, 0}};
    MeasureRawChanges(changes, again, result, halfMinutes, marked);
    EXPECT_NEAR(changes[0].rawUv, 190, 1e-9);
    EXPECT_NEAR(changes[1].rawUv, 0, 1e-9);
    EXPECT_TRUE(std::isnan(changes[2].rawUv)) << "8 beats";
}
