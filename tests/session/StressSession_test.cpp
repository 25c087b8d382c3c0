// Sessions as a host sees them: events of one do not depend on calls, threads or other sessions, and are
// those of the flat functions where these give them.
#include "session/StressSession.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "api/qzStressECGLib.h"
#include "tests/support/Allocations.h"
#include "tests/support/Beats.h"

namespace {

using namespace qz;

constexpr int kFs = 250;

SessionOptions OptionsFor(std::size_t leads) {
    SessionOptions options;
    options.fs = kFs;
    for (std::size_t c = 0; c < leads; ++c) options.leads.emplace_back(1, static_cast<char>('A' + c));
    return options;
}

/// Half a minute and more of beats, with a change of ST on the way.
Recording Beats(std::size_t leads, unsigned seed) {
    return BeatTrain(kFs, leads)
        .Noise(8, seed)
        .Beats(700 + static_cast<int>(seed), 30)
        .Form({1.0, -0.2, 900})
        .Beats(640, 25)
        .Record();
}

/// Everything that a session tells, in order.
struct Witness : SessionObserver {
    void OnConditioned(const short* uV, double seconds) override {
        conditioned.push_back(uV[0]);
        now = seconds;
    }
    void OnInterval(const IntervalEvent& interval) override {
        EXPECT_LE(interval.seconds, now);
        ++intervals;
        ventricular += interval.beatClass == BeatClass::Ventricular ? 1 : 0;
        log.insert(log.end(), {1, interval.seconds, interval.bpm});
    }
    void OnBeat(const BeatEvent& beat) override {
        EXPECT_LT(beat.seconds, now);
        log.insert(log.end(), {2, beat.seconds, beat.bpm});
        for (const auto* values : {&beat.levelUv, &beat.slopeUvPerMs, &beat.jUv})
            log.insert(log.end(), values->begin(), values->end());
        beats.push_back(beat);
    }
    void OnLead(const LeadEvent& event) override {
        log.insert(log.end(),
                   {3, static_cast<double>(event.kind), static_cast<double>(event.lead), event.seconds});
        leads.push_back(event);
    }
    void OnLearned(const LearnedBeat& beat, double fromSeconds, bool again) override {
        log.insert(log.end(), {4, fromSeconds, static_cast<double>(again)});
        learned = beat;
        learnedFrom = fromSeconds;
        learnedTimes.push_back(now);
    }
    void OnNotLearned(const std::string& why) override { notLearned = why; }

    double now = 0;  // seconds of the latest conditioned frame
    int intervals = 0, ventricular = 0;
    std::vector<double> log;
    std::vector<short> conditioned;  // first lead
    std::vector<BeatEvent> beats;
    std::vector<LeadEvent> leads;
    LearnedBeat learned;
    double learnedFrom = 0;            // seconds
    std::vector<double> learnedTimes;  // seconds at which it was told
    std::string notLearned;
};

bool Same(const std::vector<double>& a, const std::vector<double>& b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), SameValue);
}

/// A run with `chunk` frames in each call.
std::vector<double> LogOf(const Recording& recording, std::size_t chunk) {
    Witness witness;
    StressSession session(OptionsFor(recording.leads), witness);
    for (std::size_t i = 0; i < recording.Frames(); i += chunk)
        session.Push(recording.samples.data() + i * recording.leads, std::min(chunk, recording.Frames() - i));
    session.Finish();
    EXPECT_GT(witness.beats.size(), 40U);
    return witness.log;
}

TEST(StressSession, TellsTheSameHoweverItsFramesAreCutIntoCalls) {
    const Recording recording = Beats(3, 1);
    const std::vector<double> whole = LogOf(recording, recording.Frames());
    for (const std::size_t chunk : {std::size_t{1}, std::size_t{7}, std::size_t{1000}})
        EXPECT_TRUE(Same(LogOf(recording, chunk), whole)) << chunk;
}

TEST(StressSession, SixteenOnFourThreadsAreEachWhatTheyAreAlone) {
    constexpr unsigned kSessions = 16, kThreads = 4;
    std::vector<Recording> recordings;
    std::vector<std::vector<double>> alone;
    for (unsigned i = 0; i < kSessions; ++i) {
        recordings.push_back(Beats(1 + i % 3, i));
        alone.push_back(LogOf(recordings.back(), 50));
    }
    // Each thread feeds four sessions in turn, a few frames at a time.
    std::vector<std::vector<double>> together(kSessions);
    std::vector<std::thread> threads;
    for (unsigned t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            std::vector<unsigned> mine;
            std::vector<Witness> witnesses(kSessions / kThreads);
            std::vector<std::unique_ptr<StressSession>> sessions;
            for (unsigned i = t; i < kSessions; i += kThreads) {
                sessions.push_back(
                    std::make_unique<StressSession>(OptionsFor(recordings[i].leads), witnesses[mine.size()]));
                mine.push_back(i);
            }
            for (std::size_t frame = 0; frame < 15000; ++frame)
                for (std::size_t s = 0; s < mine.size(); ++s)
                    if (Recording& recording = recordings[mine[s]]; frame < recording.Frames())
                        sessions[s]->Push(recording.Frame(frame), 1);
            for (std::size_t s = 0; s < mine.size(); ++s) {
                sessions[s]->Finish();
                together[mine[s]] = witnesses[s].log;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    for (unsigned i = 0; i < kSessions; ++i) EXPECT_TRUE(Same(together[i], alone[i])) << "session " << i;
}

// One upright lead, which a session hands over as it is. Levels are not compared: a session adds what the
// engine's zero level misses.
TEST(StressSession, FoldsAndMeasuresSlopesAsTheFlatFunctionsDo) {
    const Recording recording = Beats(1, 3);
    Witness witness;
    StressSession session(OptionsFor(1), witness);
    session.Push(recording.samples.data(), recording.Frames());
    session.Finish();

    qzStressECGLib_create(kFs, 1, kConditionedUvPerUnit);
    short* row = witness.learned.rows[0].data();
    short length = witness.learned.length, silence = 0;
    qzStressECGLib_InitTempl(&row, length, witness.learned.posQ, witness.learned.posJ, 60);
    for (int i = 0; i < length; ++i) qzStressECGLib_match(&silence);
    std::size_t beat = 0;
    for (auto i = static_cast<std::size_t>(std::lround(witness.learnedFrom * kFs));
         i < witness.conditioned.size(); ++i) {
        if (qzStressECGLib_match(&witness.conditioned[i]) == nullptr) continue;
        ASSERT_LT(beat, witness.beats.size());
        EXPECT_EQ(*qzStressECGLib_STslope(), witness.beats[beat++].slopeUvPerMs[0]);
    }
    EXPECT_EQ(beat, witness.beats.size());
    EXPECT_GT(beat, 40U);
    const std::vector<float> averaged = session.Template()[0];
    EXPECT_TRUE(std::equal(averaged.begin(), averaged.end(), *qzStressECGLib_getTempl()));
    qzStressECGLib_destroy();
}

TEST(StressSession, AllocatesNothingOnceItFollowsButAFewBytesPerBeat) {
    const Recording recording = Beats(12, 2);
    struct Counter : SessionObserver {
        void OnInterval(const IntervalEvent&) override { ++intervals; }
        std::size_t intervals = 0;
    } counter;
    StressSession session(OptionsFor(12), counter);
    const std::size_t half = recording.Frames() * 2 / 3;
    session.Push(recording.samples.data(), half);
    ASSERT_FALSE(session.Template().empty());
    counter.intervals = 0;
    const std::size_t allocations = AllocationsOf(
        [&] { session.Push(recording.samples.data() + half * recording.leads, recording.Frames() - half); });
    EXPECT_LE(allocations, 3 * counter.intervals);
    EXPECT_GT(counter.intervals, 10U);
}

TEST(StressSession, LeadsThatAreOffOrDisturbedHaveNoValuesUntilTheyAreRightAgain) {
    Recording recording = Beats(2, 4);
    const auto from = std::size_t{25} * kFs, to = std::size_t{29} * kFs;
    for (std::size_t i = from; i < to; ++i) recording.Frame(i)[1] = 0;  // four seconds of a line
    Witness witness;
    StressSession session(OptionsFor(2), witness);
    session.Push(recording.samples.data(), recording.Frames());
    session.Finish();
    ASSERT_EQ(witness.leads.size(), 2U);
    EXPECT_EQ(witness.leads[0].kind, LeadEvent::Kind::Off);
    EXPECT_NEAR(witness.leads[0].seconds, 25, 0.5);
    EXPECT_LT(witness.leads[0].voidFromSeconds, witness.leads[0].seconds);
    EXPECT_EQ(witness.leads[1].kind, LeadEvent::Kind::On);
    EXPECT_NEAR(witness.leads[1].seconds, 29, 0.5);
    int none = 0;
    for (const BeatEvent& beat : witness.beats) {
        EXPECT_FALSE(std::isnan(beat.levelUv[0]));
        EXPECT_EQ(std::isnan(beat.levelUv[1]), std::isnan(beat.jUv[1]));
        EXPECT_FALSE(std::isnan(beat.levelUv[1]) && beat.seconds < witness.leads[0].voidFromSeconds);
        EXPECT_FALSE(std::isnan(beat.levelUv[1]) && beat.seconds > witness.leads[1].seconds + 1);
        none += std::isnan(beat.levelUv[1]);
    }
    EXPECT_GT(none, 4);
}

/// What is told of a recording.
Witness WitnessOf(const Recording& recording, const SessionOptions& options) {
    Witness witness;
    StressSession session(options, witness);
    session.Push(recording.samples.data(), recording.Frames());
    session.Finish();
    return witness;
}

// A lead jumps by 4 mV at fourteen places of the beat: beats that the jump lies in have no value, nor those
// of the next 3 s without the comb, whose high-pass goes on swinging. After that ST is what it was.
void ExpectReach(bool comb, double aheadSeconds, double backSeconds) {
    SessionOptions options = OptionsFor(3);
    options.conditioning.comb = comb;
    double ahead = 0, back = 0, off = 0;
    for (int step = 0; step < 14; ++step) {
        Recording recording = BeatTrain(kFs, 3).Noise(4, 1).Beats(700, 60).Record();
        const int changed = 20 * kFs + step * kFs / 20;
        for (auto i = static_cast<std::size_t>(changed); i < recording.Frames(); ++i)
            recording.Frame(i)[2] = static_cast<short>(recording.Frame(i)[2] + 4000);
        const Witness witness = WitnessOf(recording, options);
        ASSERT_EQ(witness.leads.size(), 2U);
        const auto isBad = [](const BeatEvent& beat) { return std::isnan(beat.levelUv[2]); };
        const auto first = std::find_if(witness.beats.begin(), witness.beats.end(), isBad);
        const auto free = std::find_if_not(first, witness.beats.end(), isBad);
        ASSERT_NE(free, witness.beats.end());
        ahead = std::max(ahead, witness.leads[0].seconds - first->seconds);
        back = std::max(back, (free - 1)->seconds - witness.leads[1].seconds);
        for (auto beat = free; beat != witness.beats.end(); ++beat)
            off = std::max<double>(off, std::abs(beat->levelUv[2] - (first - 1)->levelUv[2]));
    }
    EXPECT_NEAR(ahead, aheadSeconds, 0.08);
    EXPECT_NEAR(back, backSeconds, 0.08);
    EXPECT_LT(off, 20);
}

TEST(StressSession, ADisturbanceIsFoldedIntoNoBeat) {
    ExpectReach(true, 0.42 + 0.74, 0.3 + 0.74);
    ExpectReach(false, 0.42, 0.3 + 3);
}

// Where all leads jump, beats are found between the jumps, and what a jump looks like is not ventricular.
TEST(StressSession, ALeadThatJumpsAgainAndAgainHidesNoBeatsAndMakesNone) {
    for (const std::size_t jumping : {1U, 2U}) {
        Recording recording = BeatTrain(kFs, 2).Noise(4, 1).Beats(800, 60).Record();
        for (std::size_t i = 20 * kFs; i < 36 * kFs; ++i)
            for (std::size_t lead = 2 - jumping; lead < 2; ++lead)
                if (i % 325 < 150)
                    recording.Frame(i)[lead] = static_cast<short>(recording.Frame(i)[lead] + 4500);
        const Witness witness = WitnessOf(recording, OptionsFor(2));
        EXPECT_NEAR(witness.intervals, 60, jumping == 1 ? 0 : 6);
        EXPECT_LE(witness.ventricular, 1);
    }
}

// Samples that are missing are held for 3 or 6 s, and the signal goes on elsewhere: at ten places of the
// interval, some between a QRS and the high ST behind it.
TEST(StressSession, AGapMakesNoBeatAndNoInterval) {
    struct : SessionObserver {
        void OnInterval(const IntervalEvent& interval) override { all.push_back(interval); }
        std::vector<IntervalEvent> all;
    } found;
    constexpr std::size_t kEvery = 2292;  // 9.17 s
    Recording recording = BeatTrain(kFs, 2).Noise(4, 1).Form({1.0, 1.0, 900}).Beats(700, 160).Record();
    std::size_t beats = 160;
    short step = 400;
    for (std::size_t from = 15 * kFs; from < 105 * kFs; from += kEvery) {
        step = static_cast<short>(400 - step);
        const std::size_t gap = step > 0 ? 3 * kFs : 6 * kFs;
        for (std::size_t i = from; i < from + kEvery && i < recording.Frames(); ++i)
            for (std::size_t lead = 0; lead < 2; ++lead)
                recording.Frame(i)[lead] = i < from + gap
                                               ? recording.Frame(from - 1)[lead]
                                               : static_cast<short>(recording.Frame(i)[lead] + step);
        beats -= step > 0 ? 5 : 9;  // and up to one more that a gap cuts
    }
    StressSession session(OptionsFor(2), found);
    session.Push(recording.samples.data(), recording.Frames());
    session.Finish();
    EXPECT_GE(found.all.size(), beats);
    for (const IntervalEvent& beat : found.all) {
        EXPECT_NEAR(beat.seconds, 0.7 * std::round(beat.seconds / 0.7), 0.06);
        EXPECT_TRUE(std::isnan(beat.rrMs) || std::abs(beat.rrMs - 700) < 40) << beat.seconds;
        EXPECT_TRUE(std::isnan(beat.bpm) || std::abs(beat.bpm - 85.7) < 3) << beat.seconds;
    }
}

TEST(StressSession, ALeadThatWasOffForLongIsOfThePresentAgain) {
    Recording recording =
        BeatTrain(kFs, 2).Noise(4, 1).Beats(700, 40).Form({1.0, -0.2, 900}).Beats(700, 40).Record();
    for (std::size_t i = std::size_t{20} * kFs; i < std::size_t{40} * kFs; ++i) recording.Frame(i)[1] = 0;
    const Witness witness = WitnessOf(recording, OptionsFor(2));
    const auto after = std::find_if(witness.beats.begin(), witness.beats.end(), [](const BeatEvent& beat) {
        return beat.seconds > 40 && !std::isnan(beat.levelUv[1]);
    });
    ASSERT_NE(after, witness.beats.end());
    EXPECT_LT(after->seconds, 46);
    EXPECT_NEAR(after->levelUv[1], witness.beats.back().levelUv[1], 20);
    EXPECT_GT(std::abs(after->levelUv[1] - witness.beats.front().levelUv[1]), 50);
}

TEST(StressSession, LearnsFrom10SecondsOrFiveMoreAtATimeUpTo60) {
    // It is sure of eight beats.
    for (const auto& [rrMs, seconds] : {std::pair{500, 10}, {1000, 10}, {1400, 15}, {2000, 20}})
        EXPECT_EQ(WitnessOf(BeatTrain(kFs, 1).Noise(4, 1).Beats(rrMs, 30).Record(), OptionsFor(1))
                      .learned.fromSeconds,
                  seconds);
    Recording late{1, std::vector<short>(std::size_t{100} * kFs)};
    EXPECT_NE(WitnessOf(late, OptionsFor(1)).notLearned.find("no stretch of 10 to 60 s"), std::string::npos);
    const Recording beats = BeatTrain(kFs, 1).Noise(4, 1).Beats(800, 40).Record();
    late.samples.insert(late.samples.end(), beats.samples.begin(), beats.samples.end());
    const Witness learnedLate = WitnessOf(late, OptionsFor(1));
    EXPECT_TRUE(learnedLate.notLearned.empty());
    EXPECT_GE(learnedLate.learnedFrom, 60);
}

constexpr BeatForm kOther{1.5, -0.4, -900};

TEST(StressSession, LearnsAnotherShapeWithin10SecondsAndLosesNoBeatOfIt) {
    constexpr int kBeats = 40, kRrMs = 800;
    const Recording recording =
        BeatTrain(kFs, 1).Noise(4, 1).Beats(kRrMs, kBeats).Form(kOther).Beats(kRrMs, kBeats).Record();
    const Witness witness = WitnessOf(recording, OptionsFor(1));
    EXPECT_EQ(witness.learnedTimes.size(), 2U);
    EXPECT_LT(witness.learnedTimes.back(), kBeats * kRrMs / 1000.0 + 10.0);
    double last = 6;
    for (const BeatEvent& beat : witness.beats) {
        if (beat.seconds < 6) continue;
        EXPECT_LT(beat.seconds - last, 1.5 * kRrMs / 1000.0) << beat.seconds;
        EXPECT_EQ(beat.shape, beat.seconds > (kBeats + 0.5) * kRrMs / 1000.0);
        EXPECT_FALSE(std::isnan(beat.levelUv[0])) << beat.seconds;
        last = beat.seconds;
    }
    EXPECT_GT(last, 2 * kBeats * kRrMs / 1000.0 - 1);
}

TEST(StressSession, FollowsShapesThatAlternateAndMeasuresTheDominantOne) {
    BeatTrain train(kFs, 1);
    train.Noise(4, 1);
    for (int i = 0; i < 6; ++i) train.Form({}).Beats(800, 20).Form(kOther).Beats(800, 20);
    const Witness witness = WitnessOf(train.Record(), OptionsFor(1));
    EXPECT_EQ(witness.learnedTimes.size(), 2U);
    int sinceChange = 0, changes = 0;
    for (std::size_t i = 1; i < witness.beats.size(); ++i) {
        const bool changed = witness.beats[i].shape != witness.beats[i - 1].shape;
        changes += changed;
        sinceChange = changed ? 0 : sinceChange + 1;
        if (changes < 2) continue;
        EXPECT_EQ(std::isnan(witness.beats[i].levelUv[0]), sinceChange < 5) << witness.beats[i].seconds;
    }
    EXPECT_EQ(changes, 11);
    EXPECT_GT(witness.beats.size(), 230U);
}

TEST(StressSession, MeasuresTheDominantShapeOnBehindThreeBeatsOfAnotherOne) {
    BeatTrain train(kFs, 1);
    train.Noise(4, 1);
    train.Beats(800, 20).Form(kOther).Beats(800, 20);
    for (int i = 0; i < 8; ++i) train.Form({}).Beats(800, 17).Form(kOther).Beats(800, 3);
    const Witness witness = WitnessOf(train.Record(), OptionsFor(1));
    EXPECT_EQ(witness.learnedTimes.size(), 2U);
    int others = 0;
    for (const BeatEvent& beat : witness.beats) {
        if (beat.seconds < 55 * 0.8) continue;
        others += beat.shape == 1;
        EXPECT_EQ(std::isnan(beat.levelUv[0]), beat.shape == 1) << beat.seconds;
    }
    EXPECT_GT(others, 20);
}

// One averaged beat is like both kinds, as their first differences are alike. ST is of the one that is there,
// as of its fifth beat, without what the other one left: told levels of a kind do not move.
TEST(StressSession, MeasuresKindsThatAlternateApartThoughOneAveragedBeatIsLikeBoth) {
    constexpr int kBeats = 20, kRrMs = 800;
    BeatTrain train(kFs, 1);
    train.Noise(4, 1);
    for (int i = 0; i < 5; ++i) train.Form({}).Beats(kRrMs, kBeats).Form({1, 0.5, 900}).Beats(kRrMs, kBeats);
    const Witness witness = WitnessOf(train.Record(), OptionsFor(1));
    EXPECT_EQ(witness.learnedTimes.size(), 1U);
    EXPECT_GT(witness.beats.size(), 190U);
    std::vector<float> levels[2];
    for (const BeatEvent& beat : witness.beats) {
        const int at = static_cast<int>(beat.seconds * 1000 / kRrMs - 0.5);
        if (at < 4 * kBeats) continue;  // both kinds are known, and where their points are
        const float level = beat.st[0].levelUv;
        EXPECT_EQ(std::isnan(level), at % kBeats < 4) << at;
        EXPECT_EQ(std::isnan(beat.levelUv[0]), at % kBeats < 4) << at;
        if (at % kBeats >= 4) levels[at / kBeats % 2].push_back(level);
    }
    for (std::vector<float>& ofKind : levels) {
        std::sort(ofKind.begin(), ofKind.end());
        EXPECT_LT(ofKind.back() - ofKind.front(), 10);
    }
    EXPECT_GT(std::abs(levels[1].front() - levels[0].front()), 25);
}

TEST(StressSession, MatchesHalfAMinuteAnewWithAShapeThatComesBetweenOthers) {
    BeatTrain train(kFs, 1);
    train.Noise(4, 1).Beats(1300, 20);
    for (int i = 0; i < 25; ++i) train.Form(kOther).Beats(1300, 1).Form({}).Beats(1300, 1);
    const Witness witness = WitnessOf(train.Record(), OptionsFor(1));
    EXPECT_EQ(witness.learnedTimes.size(), 2U);
    EXPECT_GT(witness.learnedTimes.back() - witness.learnedFrom, 30);
}

// Bursts are found as beats, but are not alike: attempts to learn from them fail, 2, 4, 8, 16 and then 20 s
// apart, on stretches of up to 30 s.
TEST(StressSession, LearnsAnotherShapeHalfAMinuteAfterNoise) {
    for (const int burstSeconds : {20, 60, 100}) {
        Recording recording =
            BeatTrain(kFs, 1).Noise(4, 1).Beats(800, 30).Form(kOther).Beats(800, 200).Record();
        std::mt19937 random(1);
        for (int i = 0; i < burstSeconds * 5 / 4; ++i)
            for (int k = -100; k < 100; ++k) {
                const int at = (31 + i) * kFs * 4 / 5 + k;
                short& sample = recording.samples[static_cast<std::size_t>(at)];
                sample = static_cast<short>(std::abs(k) < 15 ? static_cast<int>(random() % 4000U) - 2000 : 0);
            }
        const Witness witness = WitnessOf(recording, OptionsFor(1));
        EXPECT_EQ(witness.learnedTimes.size(), 2U) << burstSeconds;
        EXPECT_LT(witness.learnedTimes.back(), 30 * 0.8 + burstSeconds + 35) << burstSeconds;
    }
}

TEST(StressSession, FollowsABeatThatWasHandedInFromTheStartOn) {
    SessionOptions options = OptionsFor(2);
    options.beat = WitnessOf(Beats(2, 5), options).learned;
    options.beat->record = "another";
    const Witness witness = WitnessOf(Beats(2, 6), options);
    EXPECT_EQ(witness.learned.record, "another");
    ASSERT_GT(witness.beats.size(), 40U);
    EXPECT_LT(witness.beats.front().seconds, 5);
    options.leads.resize(1);
    EXPECT_NE(StressSession::Refusal(options).find("has 2 leads, not 1"), std::string::npos);
}

TEST(StressSession, TakesABeatThatWasHandedInWhoseQrsLasts40To240Ms) {
    SessionOptions options = OptionsFor(1);
    for (const auto& [qrs, bFits] : {std::pair{9, false}, {10, true}, {60, true}, {61, false}}) {
        LearnedBeat beat;
        beat.rows.assign(1, std::vector<short>(180));
        beat.usable.assign(1, true);
        beat.length = 180;
        beat.posQ = 60;
        beat.posJ = static_cast<short>(beat.posQ + qrs);
        options.beat = beat;
        EXPECT_EQ(StressSession::Refusal(options).empty(), bFits) << qrs;
    }
}

TEST(StressSession, RefusesOptionsAndSaysWhereThereIsNothingToLearn) {
    for (const auto& [leads, fits] : {std::pair{0U, false}, {1U, true}, {64U, true}, {65U, false}})
        EXPECT_EQ(StressSession::Refusal(OptionsFor(leads)).empty(), fits) << leads;
    SessionOptions options = OptionsFor(0);
    Witness witness;
    EXPECT_THROW(StressSession(options, witness), std::invalid_argument);
    for (const double scale : {0.0, -1.0, std::numeric_limits<double>::quiet_NaN()}) {
        options = OptionsFor(1);
        options.uVpb = scale;
        EXPECT_NE(StressSession::Refusal(options), "") << scale;
    }
    for (const auto& [postJms, fits] : {std::pair{9, false}, {10, true}, {200, true}, {201, false}}) {
        options = OptionsFor(1);
        options.postJms = postJms;
        EXPECT_EQ(StressSession::Refusal(options).empty(), fits) << postJms;
    }
    options = OptionsFor(1);
    options.points.jMs = 7;
    EXPECT_NE(StressSession::Refusal(options), "");
    options = OptionsFor(2);
    options.beat.emplace().rows.resize(2);
    options.beat->usable = {true};
    EXPECT_NE(StressSession::Refusal(options).find("of 1 leads whether they are usable, not of 2"),
              std::string::npos);
    StressSession session(OptionsFor(1), witness);
    session.Push(nullptr, 5);
    session.Push(Recording{1, std::vector<short>(2000, 5)}.samples.data(), 2000);
    session.Finish();
    session.Finish();
    session.Push(std::vector<short>(10).data(), 10);
    EXPECT_EQ(session.Frames(), 2000);
    EXPECT_NE(witness.notLearned.find("not enough beats"), std::string::npos);
    EXPECT_TRUE(session.Template().empty());
    EXPECT_EQ(session.Positions().q, 0);
}

}  // namespace
