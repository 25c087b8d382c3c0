// CZatMatch: following the beat (match, rxy). The template and the measurements are in CZatMatch_test.cpp.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <tuple>
#include <vector>

#include "core/stress/CZatMatch.h"
#include "tests/core/stress/MatcherPair.h"
#include "tests/support/Beats.h"

static constexpr BeatForm kWide{1.35, -0.2, 900};
static constexpr BeatForm kNarrow{0.75, 0.1, 700};
static constexpr BeatForm kHuge{1.0, 0.0, 45000};  // wraps at 16 bits

TEST(CZatMatchMatching, FollowsThePlainMatcherToTheBit) {
    int shifts = 0;
    for (const auto& [fs, leads] : {std::tuple{500, 12u},
                                    {250, 8u},
                                    {257, 3u},
                                    {360, 2u},
                                    {200, 16u},
                                    {1000, 1u},
                                    {257, 1u},
                                    {500, 2u}}) {
        SCOPED_TRACE(testing::Message() << fs << " Hz, leads " << leads);
        MatcherPair pair(fs, leads, 4.88);
        pair.InitTempl();
        BeatTrain clean(fs, leads), noisy(fs, leads), huge(fs, leads);
        clean.Beats(800, 8).Pause(1500).Form(kWide).Beats(620, 6);
        noisy.Beats(700, 5).Form(kNarrow).Beats(450, 7).Form(kWide).Beats(900, 6).Noise(6, 3);
        huge.Form(kHuge).Beats(750, 6).Noise(32000, 4);
        ASSERT_TRUE(pair.Feed(clean.Record()) && pair.Feed(noisy.Record()) && pair.Feed(huge.Record()));
        EXPECT_GT(pair.plain.folds, 8);
        pair.InitTempl(kNarrow, 600);
        ASSERT_TRUE(pair.Feed(noisy.Record()));
        shifts += pair.plain.shifts;
    }
    EXPECT_GT(shifts, 10) << "the stream must make the template shift";
}

TEST(CZatMatchMatching, KeepsItsFlagsWhenItGetsATemplateInAnyState) {
    for (const std::size_t leads : {1u, 3u})
        for (const int lengthMs : {800, 700}) {
            SCOPED_TRACE(testing::Message() << leads << " leads, " << lengthMs << " ms");
            MatcherPair pair(500, leads, 2.5);
            pair.InitTempl();
            auto input = BeatTrain(500, leads).Beats(800, 60).Noise(8, 8).Record();
            int inPeak = 0, completing = 0;
            for (std::size_t i = 0; i < input.Frames(); ++i) {
                ASSERT_TRUE(pair.Feed(input.Frame(i)));
                // Now and then a new template, on the first frame of a peak, later in it, and at odd times
                // after it.
                if (pair.plain.inPeak && i % 5 == 0 && ++inPeak < 8)
                    pair.InitTempl({0.95, 0.1, 700}, lengthMs);
                if (pair.plain.completing && i % 67 == 0 && ++completing < 8)
                    pair.InitTempl({1.05, -0.2, 950}, 800);
            }
            EXPECT_GE(inPeak, 3);
            EXPECT_GE(completing, 3);
            EXPECT_GT(pair.plain.folds, 20);
        }
}

TEST(CZatMatchMatching, UsesPositionsAndMeasurementCopiesThatTheHostMoved) {
    MatcherPair pair(500, 12, 4.88);
    pair.InitTempl();
    auto input = BeatTrain(500, 12).Beats(800, 10).Noise(6, 12).Record();
    ASSERT_TRUE(pair.Feed(input));
    EXPECT_EQ(pair.engine.SetPos(120, 195), 12);
    pair.plain.SetPos(120, 195);
    ASSERT_TRUE(pair.Feed(input));
    EXPECT_EQ(pair.engine.SetPos(163, 125, 190), 12);  // R moves, the wait and the window stay
    pair.plain.SetPos(163, 125, 190);
    ASSERT_TRUE(pair.Feed(input));
    EXPECT_GT(pair.plain.folds, 20);
    EXPECT_GT(pair.plain.shifts, 0);
    // A measurement copy of the host's is measured at once, correlated never, and gone with the next fold.
    auto rows = MakeTemplate(500, 12, 400, 170, kWide);
    pair.engine.SetTempl(rows.Pointers());
    for (std::size_t c = 0; c < 12; ++c) pair.plain.leads[c].measured = rows[c];
    pair.ExpectSameState(pair.engine.Templ());
    pair.engine.ZeroV();
    for (auto& lead : pair.plain.leads) lead.Zero();
    pair.ExpectSameState(pair.engine.Templ());
    ASSERT_TRUE(pair.Feed(input));
}

TEST(CZatMatchMatching, FoldsSlowWavesWhosePeakOutlastsTheWait) {
    // Three seconds per wave: the correlation stays up for longer than the rest of the beat takes to come.
    TemplateRows wave(2, 400);
    Recording input{2, std::vector<short>(2 * 500, 0)};  // fills the rings with silence: no offset stays
    const auto slope = [](long i) {
        return Wrapped(std::lround(9000 * std::sin(6.2831853 * static_cast<double>(i) / 1500.0)));
    };
    for (std::size_t lead = 0; lead < 2; ++lead)
        for (std::size_t i = 0; i < 400; ++i) wave[lead][i] = slope(static_cast<long>(i));
    for (long i = 0; i < 20000; ++i) input.samples.insert(input.samples.end(), 2, slope(i));
    MatcherPair pair(500, 2, 1.0);
    pair.InitTempl(wave, 0, 300, 330);
    bool outlasted = false;
    for (std::size_t i = 0; i < input.Frames(); ++i) {
        ASSERT_TRUE(pair.Feed(input.Frame(i)));
        outlasted |= pair.plain.inPeak && pair.plain.now - pair.plain.peakAt > pair.plain.waitLength;
    }
    EXPECT_TRUE(outlasted);
    EXPECT_GT(pair.plain.folds, 5);
}

TEST(CZatMatchMatching, SearchesTheFiducialPointWhileItAverages) {
    // Two leads match while the third is noise, which puts top and steepest upstroke anywhere between Q and
    // J, the first and last sample included. New templates keep the shifts from adding up.
    for (const std::size_t noisy : {0u, 1u, 2u}) {
        SCOPED_TRACE(testing::Message() << "noise in lead " << noisy << ", seed 60");
        MatcherPair pair(200, 3, 2.5);
        auto input = BeatTrain(200, 3).Beats(600, 250).Record();
        const auto noise = RandomSamples(60, input.Frames(), 9000);
        int foldsOfLastTemplate = -5;
        for (std::size_t i = 0; i < input.Frames(); ++i) {
            if (pair.plain.folds == foldsOfLastTemplate + 5) {
                foldsOfLastTemplate = pair.plain.folds;
                pair.InitTempl();
                pair.engine.SetPos(59, 68);
                pair.plain.SetPos(59, 68);
            }
            input.Frame(i)[noisy] = noise[i];
            ASSERT_TRUE(pair.Feed(input.Frame(i)));
        }
        EXPECT_GT(pair.plain.folds, 150);
        EXPECT_EQ(pair.plain.shifts > 75, noisy == 2) << "the last lead decides";
    }
}

TEST(CZatMatchMatching, KeepsTheFirstOfEqualPeaks) {
    // A wave of period two correlates at the same value in every frame, polarity being ignored.
    TemplateRows wave(1, 400);
    for (std::size_t i = 0; i < 400; i += 2) wave[0][i] = 100;
    for (const std::size_t length : {401u, 450u, 777u}) {
        MatcherPair pair(500, 1, 1.0);
        pair.InitTempl(wave, 0, 135, 185);
        Recording input{1, std::vector<short>(length, 0)};
        for (std::size_t i = 0; i < length; i += 2) input.samples[i] = 100;
        input.samples.resize(2000, 0);
        ASSERT_TRUE(pair.Feed(input));
        EXPECT_GE(pair.plain.folds, 1) << length;
    }
}

/// A single beat between silences; the frame on which it is folded in, counted from its first sample, or -1.
static long FoldFrame(CZatMatch& engine, TemplateRows& beat, std::size_t leadsWithBeat) {
    const std::size_t leads = beat.Rows().size(), length = beat.Rows().front().size();
    std::vector<short> frame(leads, 0);
    for (std::size_t i = 0; i < 2 * length; ++i) EXPECT_EQ(engine.match(frame.data()), nullptr);
    long folded = -1;
    for (std::size_t i = 0; i < 2 * length; ++i) {
        for (std::size_t c = 0; c < leads; ++c)
            frame[c] = i < length && c < leadsWithBeat ? beat[c][i] : short{0};
        if (engine.match(frame.data()) != nullptr && folded < 0) folded = static_cast<long>(i);
    }
    return folded;
}

TEST(CZatMatchMatching, FoldsWithTheLastSampleOfTheBeatOrOneLaterForOddWindows) {
    for (const int fs : kSamplingRates) {
        SCOPED_TRACE(fs);
        const int length = fs * 8 / 10, r = fs * 32 / 100, width = fs / 20;
        CZatMatch engine(static_cast<short>(fs), 1, 1.0, false, 280);
        auto beat = MakeTemplate(fs, 1, length, r);
        short len = static_cast<short>(length), posR = 0, posQ = static_cast<short>(r - width),
              posJ = static_cast<short>(r + width);
        engine.InitTempl(beat.Pointers(), len, posR, posQ, posJ, 60);
        const bool oddWindow = (fs * 280 / 1000) % 2 == 1;  // 257 Hz: 71
        EXPECT_EQ(oddWindow, fs == 257);
        EXPECT_EQ(FoldFrame(engine, beat, 1), oddWindow ? length : length - 1);
        // In time, the average of equals, (x + 9 x) / 10, is the beat itself.
        EXPECT_EQ(std::equal(beat[0].begin(), beat[0].end(), engine.Templ()[0]), !oddWindow);
    }
}

TEST(CZatMatchMatching, NeedsMoreThanHalfOfTheLeadsAndIgnoresSilentOnes) {
    for (const auto& [leads, needed] :
         {std::pair{12u, 7u}, {1u, 1u}, {2u, 2u}, {3u, 2u}, {8u, 5u}, {16u, 9u}})
        for (std::size_t beating = needed - 1; beating <= needed; ++beating) {
            CZatMatch engine(500, static_cast<short>(leads), 1.0, false, 280);
            auto beat = MakeTemplate(500, leads, 400, 160);
            short len = 400, posR = 0, posQ = 135, posJ = 185;
            engine.InitTempl(beat.Pointers(), len, posR, posQ, posJ, 60);
            EXPECT_EQ(FoldFrame(engine, beat, beating) >= 0, beating == needed) << beating << " of " << leads;
        }
}

TEST(CZatMatchMatching, ConvergesToASteadyBeatWithAWeightOfOneTenth) {
    CZatMatch engine(500, 1, 1.0, false, 280);
    auto templ = MakeTemplate(500, 1, 400, 160), other = templ;
    for (std::size_t i = 300; i < 400; ++i)
        other[0][i] = static_cast<short>(other[0][i] + 1000);  // beyond the window
    short len = 400, posR = 0, posQ = 135, posJ = 185;
    engine.InitTempl(templ.Pointers(), len, posR, posQ, posJ, 60);
    for (int beats = 1; beats <= 30; ++beats) {
        FoldFrame(engine, other, 1);
        // Each step is truncated toward zero, by less than one: 10 at the most in the sum over all steps.
        EXPECT_NEAR(other[0][350] - engine.Templ()[0][350], 1000 * std::pow(0.9, beats), 10.0) << beats;
    }
}

TEST(CZatMatchMatching, KeepsRAtItsIndexWhileTheBeatChanges) {
    MatcherPair pair(500, 3, 2.5);
    pair.InitTempl();
    const int r = pair.plain.r;
    BeatTrain train(500, 3);
    for (int i = 0; i < 12; ++i) train.Form({1.0 + 0.08 * i, 0.02 * i, 900}).Beats(700, 8);
    ASSERT_TRUE(pair.Feed(train.Noise(10, 4).Record()));
    short posR = 0, posQ = 0, posJ = 0, ms = 0;
    EXPECT_EQ(pair.engine.GetPos(posR, posQ, posJ, ms), 400);
    EXPECT_EQ(posR, r);
    EXPECT_GT(pair.plain.shifts, 0);
    EXPECT_GT(pair.plain.folds, 50);
}

TEST(CZatMatchMatching, AnswersNullWithoutTemplateLeadsOrFrame) {
    std::vector<short> frame(3, 700), other(3, -300);
    CZatMatch none, untaught(500, 3, 1.0, false, 280), empty(500, 0, 1.0, false, 280);
    for (CZatMatch* engine : {&none, &untaught, &empty})
        for (int i = 0; i < 1000; ++i) EXPECT_EQ(engine->match(i % 2 ? frame.data() : other.data()), nullptr);
    MatcherPair pair(500, 3, 1.0);
    pair.InitTempl();
    auto input = BeatTrain(500, 3).Beats(700, 4).Record();
    for (std::size_t i = 0; i < input.Frames(); ++i) {
        EXPECT_EQ(pair.engine.match(nullptr), nullptr);
        EXPECT_EQ(pair.engine.rxy(nullptr), nullptr);
        ASSERT_TRUE(pair.Feed(input.Frame(i)));
    }
    pair.engine.Delete();
    EXPECT_EQ(pair.engine.match(frame.data()), nullptr);
}
