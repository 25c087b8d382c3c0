#include "core/stress/CZatMatch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <new>
#include <random>
#include <vector>

#include "tests/core/stress/PlainMatcher.h"
#include "tests/support/Beats.h"

namespace {

/// The matcher and the plain one, driven side by side and compared to the bit.
struct MatcherPair {
    MatcherPair(int fs, std::size_t chn, double uVpb)
        : engine(static_cast<short>(fs), static_cast<short>(chn), uVpb, false, 280), plain(fs, chn, uVpb) {}

    /// Hands both the same averaged beat; compares what they keep of it.
    void InitTempl(TemplateRows rows, int posR, int posQ, int posJ, int ms = 60) {
        plain.InitTempl(rows.Rows(), posR, posQ, posJ, ms);
        auto length = static_cast<short>(rows.Rows().front().size()), r = static_cast<short>(posR),
             q = static_cast<short>(posQ), j = static_cast<short>(posJ);
        short** kept = engine.InitTempl(rows.Pointers(), length, r, q, j, static_cast<short>(ms));
        const std::vector<int> expected{plain.length, plain.r, plain.q, plain.j};
        EXPECT_EQ(std::vector<int>({length, r, q, j}), expected);
        EXPECT_EQ(engine.GetPos(r, q, j, length), expected[0]);
        EXPECT_EQ(std::vector<int>({length, r, q, j}), std::vector<int>({ms, plain.r, plain.q, plain.j}));
        ExpectSameState(kept);
    }
    /// A beat of 800 ms, centred as the engine wants it.
    void InitTempl(const BeatForm& form = {}, int lengthMs = 800) {
        const int r = plain.fs * 32 / 100, width = plain.fs * 5 / 100;
        InitTempl(MakeTemplate(plain.fs, plain.leads.size(), plain.fs * lengthMs / 1000, r, form), 0,
                  r - width, r + width);
    }

    /// One frame into both: the same verdict, correlations, and, where a beat was folded, templates. True
    /// while they agree.
    bool Feed(const short* frame) {
        if (correlations == nullptr) {
            correlations = engine.rxy(frame);
            plain.Rxy(frame);
        } else {
            short** folded = engine.match(frame);
            const bool expected = plain.Match(frame);
            EXPECT_EQ(folded != nullptr, expected) << "frame " << frames;
            if (folded != nullptr && expected) ExpectSameState(folded);
        }
        for (std::size_t c = 0; c < plain.rxy.size(); ++c)
            EXPECT_TRUE(SameValue(correlations[c], plain.rxy[c])) << "lead " << c << ", frame " << frames;
        ++frames;
        return !testing::Test::HasFailure();
    }
    bool Feed(Recording recording) {
        for (std::size_t i = 0; i < recording.Frames(); ++i)
            if (!Feed(recording.Frame(i))) return false;
        return true;
    }

    void SetPos(int q, int j) {
        EXPECT_EQ(engine.SetPos(static_cast<short>(q), static_cast<short>(j)), std::ssize(plain.leads));
        plain.SetPos(q, j);
    }
    void SetTempl(TemplateRows rows) {
        engine.SetTempl(rows.Pointers());
        for (std::size_t c = 0; c < std::min<std::size_t>(plain.leads.size(), 12); ++c)
            plain.leads[c].measured = rows[c];
        ExpectSameState(engine.Templ());
    }

    void ExpectSameState(short** templ) {
        for (std::size_t c = 0; c < plain.leads.size(); ++c) {
            auto& lead = plain.leads[c];
            ASSERT_TRUE(std::equal(lead.beat.begin(), lead.beat.end(), templ[c]))
                << "template of lead " << c << ", frame " << frames;
            const auto ch = static_cast<short>(c);
            EXPECT_EQ(engine.uvSTvalue(ch, -1), lead.St(-1));
            EXPECT_EQ(engine.JuV(ch), lead.J());
            EXPECT_EQ(engine.RuV(ch), lead.R());
            EXPECT_TRUE(SameValue(engine.STslope(ch, -1), lead.Slope(-1)));
            for (const short ms : {short{-1}, short{20}})
                EXPECT_EQ(engine.uvDeltaSTvalue(ch, ms), Wrapped(lead.St(ms) - lead.firstSt));
            EXPECT_EQ(engine.JuVDelta(ch), Wrapped(lead.J() - lead.firstJ));
        }
    }

    CZatMatch engine;
    PlainMatcher plain;
    const double* correlations = nullptr;  // the engine's own, rewritten by every frame
    int frames = 0;
};

constexpr BeatForm kWide{1.35, -0.2, 900}, kNarrow{0.75, 0.1, 700},
    kHuge{1.0, 0.0, 45000};  // wraps at 16 bits

}  // namespace

TEST(CZatMatch, CutsTheTemplateTo800MsAroundTheFiducialPoint) {
    // One jump in 500 samples, searched from 10 to 490; R would lie at 160 of the 400 that are kept.
    static constexpr int kCases[][2] = {{100, 0},   {160, 0},   {161, 1},  {250, 90},
                                        {260, 100}, {261, 100}, {450, 100}};
    for (const auto& [at, start] : kCases) {
        SCOPED_TRACE(testing::Message() << at << ", seed 1");
        MatcherPair pair(500, 1, 1.0);
        TemplateRows rows(1, 500);
        rows[0][static_cast<std::size_t>(at)] = 100;
        pair.InitTempl(rows, 0, 10, 490);
        EXPECT_EQ(pair.plain.length, 400);
        EXPECT_EQ(pair.plain.r, at - start);
        EXPECT_EQ(pair.plain.q, 10 - start - 6) << "Q lies 12 ms before the host's";
        EXPECT_EQ(pair.plain.j, 490 - start);
        EXPECT_TRUE(
            pair.Feed(Recording{1, RandomSamples(1, 900, 30000)}));  // the window may leave the template
    }
}

TEST(CZatMatch, SearchesTheFiducialPointAcrossTheLeadsInOrder) {
    using Points = std::vector<std::pair<std::size_t, short>>;
    const struct {
        const char* what;
        std::vector<Points> leads;
        int posR, fiducial;
    } cases[] = {
        {"flat: the middle between Q and J", {{}}, 0, 150},
        {"or where the host says", {{}}, 120, 120},
        {"which must lie inside", {{}}, 300, 150},
        {"on both sides", {{}}, -1, 150},
        {"a tie keeps the earlier", {{{120, 50}, {180, 50}}}, 0, 120},
        {"both ends belong to the search", {{{100, 60}, {199, 70}}}, 0, 199},
        {"J does not, and no upstroke at Q itself", {{{100, 60}, {200, 70}}}, 0, 100},
        {"lead 1 is compared at lead 0's top", {{{120, 50}}, {{120, 30}, {170, 29}}}, 0, 120},
        {"top 170", {{{120, 50}}, {{119, 10}, {120, 30}, {169, 20}, {170, 31}}}, 0, 120},
        {"top and upstroke at 170", {{{120, 50}}, {{119, 40}, {120, 30}, {170, 120}}}, 0, 170},
        {"the upstroke up to the top only", {{{149, 20}, {150, 25}, {151, 24}, {152, 0}, {190, 24}}}, 0, 149},
    };
    for (const auto& [what, leads, posR, fiducial] : cases) {
        TemplateRows rows(leads.size(), 300);
        for (std::size_t c = 0; c < leads.size(); ++c)
            for (const auto& [at, value] : leads[c]) rows[c][at] = value;
        MatcherPair pair(500, leads.size(), 1.0);
        pair.InitTempl(rows, posR, 100, 200);
        EXPECT_EQ(pair.plain.r, fiducial) << what;
    }
}

TEST(CZatMatch, BuildsAnyTemplateAsThePlainFormDoes) {
    for (const int fs : kSamplingRates)
        for (const short chn : kChannelCounts) {
            SCOPED_TRACE(testing::Message() << fs << " Hz, leads " << chn << ", seed 77");
            std::mt19937 random(77);
            const auto upTo = [&random](int n) {
                return static_cast<int>(random() % static_cast<unsigned>(n));
            };
            MatcherPair pair(fs, static_cast<std::size_t>(chn), 0.305);
            for (int round = 0; round < 12; ++round) {
                const int length = fs / 2 + upTo(fs), q = 1 + upTo(length / 2),
                          j = q + 1 + upTo(length - q - 1);
                TemplateRows rows(static_cast<std::size_t>(chn), static_cast<std::size_t>(length));
                for (std::size_t c = 0; c < rows.Rows().size(); ++c)
                    rows[c] = RandomSamples(static_cast<unsigned>(random()), static_cast<std::size_t>(length),
                                            round % 3 ? 32768 : 2);
                pair.InitTempl(rows, round % 2 ? upTo(length) : 0, q, j, upTo(200));
                pair.SetTempl(MakeTemplate(fs, static_cast<std::size_t>(chn), pair.plain.length, 60, kWide));
            }
        }
}

TEST(CZatMatch, FollowsThePlainMatcherToTheBit) {
    int shifts = 0;
    for (const auto& [fs, leads] :
         {std::pair{500, 12u}, {250, 8u}, {257, 3u}, {360, 2u}, {200, 16u}, {1000, 1u}, {257, 1u}}) {
        SCOPED_TRACE(testing::Message() << fs << " Hz, leads " << leads << ", seeds 2 to 4");
        MatcherPair pair(fs, leads, 4.88);
        pair.InitTempl();
        ASSERT_TRUE(
            pair.Feed(Recording{leads, RandomSamples(2, leads * static_cast<std::size_t>(fs / 2), 32768)}));
        pair.InitTempl({}, 790);  // restarts the count of samples
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

TEST(CZatMatch, KeepsItsFlagsWhenItGetsATemplateInAnyStateAndLosesThemInInit) {
    for (const std::size_t leads : {1u, 3u})
        for (const int lengthMs : {800, 700}) {
            SCOPED_TRACE(testing::Message() << leads << " leads, " << lengthMs << " ms, seed 8");
            MatcherPair pair(500, leads, 2.5);
            pair.InitTempl();
            auto input = BeatTrain(500, leads).Beats(800, 60).Noise(8, 8).Record();
            int inPeak = 0, completing = 0;
            for (std::size_t i = 0; i < input.Frames(); ++i) {
                ASSERT_TRUE(pair.Feed(input.Frame(i)));
                // A new template on the first frame of a peak, later in it, and at odd times after it.
                if (pair.plain.inPeak && i % 5 == 0 && ++inPeak < 8)
                    pair.InitTempl({0.95, 0.1, 700}, lengthMs);
                if (pair.plain.completing && i % 67 == 0 && ++completing < 8)
                    pair.InitTempl({1.05, -0.2, 950}, 800);
            }
            EXPECT_GE(std::min(inPeak, completing), 3);
            EXPECT_GT(pair.plain.folds, 20);
            std::size_t frame = 0;
            while (!(leads == 1 ? pair.plain.inPeak : pair.plain.completing))
                ASSERT_TRUE(pair.Feed(input.Frame(frame++)));
            EXPECT_EQ(pair.engine.Init(), 0);
            pair.engine.Create(500, static_cast<short>(leads), 2.5, false, 280);
            pair.plain = PlainMatcher(500, leads, 2.5);
            pair.correlations = nullptr;
            pair.InitTempl();
            ASSERT_TRUE(pair.Feed(input));
        }
}

TEST(CZatMatch, UsesPositionsAndMeasurementCopiesThatTheHostMoved) {
    MatcherPair pair(500, 12, 4.88);
    pair.InitTempl();
    auto input = BeatTrain(500, 12).Beats(800, 10).Noise(6, 12).Record();
    ASSERT_TRUE(pair.Feed(input));
    pair.SetPos(120, 195);
    ASSERT_TRUE(pair.Feed(input));
    EXPECT_EQ(pair.engine.SetPos(163, 125, 190), 12);  // R moves, the wait and the window stay
    pair.plain.SetPos(163, 125, 190);
    ASSERT_TRUE(pair.Feed(input));
    EXPECT_GT(pair.plain.folds, 20);
    EXPECT_GT(pair.plain.shifts, 0);
    // A measurement copy of the host's is measured at once, correlated never, and gone with the next fold.
    pair.SetTempl(MakeTemplate(500, 12, 400, 170, kWide));
    pair.engine.ZeroV();
    for (auto& lead : pair.plain.leads) lead.Zero();
    pair.ExpectSameState(pair.engine.Templ());
    ASSERT_TRUE(pair.Feed(input));
}

TEST(CZatMatch, FoldsSlowWavesWhosePeakOutlastsTheWait) {
    // Three seconds per wave: the correlation stays up for longer than the rest of the beat takes to come.
    TemplateRows wave(2, 400);
    Recording input{2, std::vector<short>(1000, 0)};  // fills the rings with silence: no offset stays
    const auto slope = Tone(500, 20000, 1 / 3.0, 9000);
    for (std::size_t lead = 0; lead < 2; ++lead) std::copy_n(slope.begin(), 400, wave[lead].begin());
    for (const short x : slope) input.samples.insert(input.samples.end(), 2, x);
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

TEST(CZatMatch, SearchesTheFiducialPointWhileItAverages) {
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
                pair.SetPos(59, 68);
            }
            input.Frame(i)[noisy] = noise[i];
            ASSERT_TRUE(pair.Feed(input.Frame(i)));
        }
        EXPECT_GT(pair.plain.folds, 150);
        EXPECT_EQ(pair.plain.shifts > 75, noisy == 2) << "the last lead decides";
    }
}

TEST(CZatMatch, KeepsTheFirstOfEqualPeaks) {
    // A wave of period two correlates at the same value in every frame, polarity being ignored.
    TemplateRows wave(1, 400);
    for (std::size_t i = 0; i < 400; i += 2) wave[0][i] = 100;
    for (const std::size_t length : {401u, 450u, 777u}) {
        MatcherPair pair(500, 1, 1.0);
        pair.InitTempl(wave, 0, 135, 185);
        Recording input{1, std::vector<short>(2000, 0)};
        for (std::size_t i = 0; i < length; i += 2) input.samples[i] = 100;
        ASSERT_TRUE(pair.Feed(input));
        EXPECT_GE(pair.plain.folds, 1) << length;
    }
}

TEST(CZatMatch, FoldsWithTheLastSampleOfTheBeatOrOneLaterForOddWindowsOnceMoreThanHalfOfTheLeadsMatch) {
    for (const int fs : kSamplingRates)
        for (const std::size_t leads : {1u, 2u, 3u, 8u, 12u})
            for (std::size_t beating = leads / 2; beating <= leads / 2 + 1; ++beating) {
                SCOPED_TRACE(testing::Message() << fs << " Hz, " << beating << " of " << leads << " leads");
                const int r = fs * 32 / 100, width = fs / 20;
                auto beat = MakeTemplate(fs, leads, fs * 8 / 10, r);
                CZatMatch engine(static_cast<short>(fs), static_cast<short>(leads), 1.0, false, 280);
                short len = static_cast<short>(fs * 8 / 10), posR = 0, posQ = static_cast<short>(r - width),
                      posJ = static_cast<short>(r + width);
                engine.InitTempl(beat.Pointers(), len, posR, posQ, posJ, 60);
                // A single beat between silences; the silent leads correlate as NaN, which is no match.
                int folded = -1;
                std::vector<short> frame(leads, 0);
                for (int i = -2 * len; i < 2 * len; ++i) {
                    for (std::size_t c = 0; c < beating; ++c)
                        frame[c] = i >= 0 && i < len ? beat[c][static_cast<std::size_t>(i)] : short{0};
                    if (engine.match(frame.data()) != nullptr && folded < 0) folded = i;
                }
                const int lastSample = fs == 257 ? len : len - 1;  // 257 Hz: a window of 71 samples
                EXPECT_EQ(folded, beating > leads / 2 ? lastSample : -1);
                // In time, the average of equals, (x + 9 x) / 10, is the beat itself.
                const bool equal = std::equal(beat[0].begin(), beat[0].end(), engine.Templ()[0]);
                EXPECT_TRUE(beating < leads || equal == (folded != len));
            }
}

TEST(CZatMatch, AnswersNullAndChangesNothingWithoutTemplateLeadsOrFrame) {
    std::vector<short> frame(3, 700), other(3, -300);
    CZatMatch none, untaught(500, 3, 1.0, false, 280), empty(500, 0, 1.0, false, 280);
    for (CZatMatch* engine : {&none, &untaught, &empty})
        for (int i = 0; i < 1000; ++i) EXPECT_EQ(engine->match(i % 2 ? frame.data() : other.data()), nullptr);
    MatcherPair pair(500, 3, 1.0);
    pair.InitTempl();
    auto rows = MakeTemplate(500, 3, 350, 100);
    std::vector<short*> holed = {rows[0].data(), rows[1].data(), nullptr};
    for (short** bad : {static_cast<short**>(nullptr), holed.data()}) {
        short len = 350, r = 11, q = 80, j = 120;
        EXPECT_EQ(pair.engine.InitTempl(bad, len, r, q, j, 99), nullptr);
        EXPECT_EQ(std::vector<short>({len, r, q, j}), std::vector<short>({350, 11, 80, 120}));
    }
    pair.engine.SetTempl(nullptr);
    pair.ExpectSameState(pair.engine.Templ());
    auto input = BeatTrain(500, 3).Beats(700, 5).Record();
    for (std::size_t i = 0; i < input.Frames(); ++i) {
        EXPECT_EQ(pair.engine.match(nullptr), nullptr);
        EXPECT_EQ(pair.engine.rxy(nullptr), nullptr);
        ASSERT_TRUE(pair.Feed(input.Frame(i)));
    }
    // Create forgets the template.
    pair.engine.Create(500, 3, 1.0, false, 280);
    for (std::size_t i = 0; i < input.Frames(); ++i) ASSERT_EQ(pair.engine.match(input.Frame(i)), nullptr);
    EXPECT_EQ(pair.engine.RuV(0) | pair.engine.uvSTvalue(0, -1), 0);
    pair.engine.Delete();
    EXPECT_EQ(pair.engine.match(frame.data()), nullptr);
    EXPECT_EQ(pair.engine.STvalues(800), nullptr);
    EXPECT_EQ(pair.engine.SetPostJms(60), 0);
    for (const short chn : std::initializer_list<short>{-1, -32768}) {
        EXPECT_THROW(CZatMatch(500, chn, 1.0, false, 280), std::bad_alloc);
        EXPECT_THROW(untaught.Create(500, chn, 1.0, false, 280), std::bad_alloc);
        EXPECT_EQ(untaught.match(frame.data()), nullptr);
    }
}

TEST(CZatMatch, FillsOneRecordPerLeadAndLeavesTheTopBitsAlone) {
    MatcherPair pair(500, 3, 4.88);
    pair.InitTempl();
    STrecord* records = pair.engine.GetSTvalues();
    const std::uint16_t marks[] = {0xFFFF, 0x7FFF, 0x3FFF}, left[] = {0xC000, 0x4000, 0};
    for (std::size_t c = 0; c < 3; ++c) records[c].reserved = marks[c];
    EXPECT_EQ(pair.engine.SetPostJms(44), 3);
    ASSERT_EQ(pair.engine.STvalues(731), records);
    for (std::size_t c = 0; c < 3; ++c) {
        const auto& lead = pair.plain.leads[c];
        EXPECT_EQ(std::vector<short>({records[c].RuV, records[c].JuV, records[c].STuV}),
                  std::vector<short>({lead.R(), lead.J(), lead.St(44)}));
        EXPECT_EQ(records[c].STslope, lead.Slope(44));
        EXPECT_EQ(records[c].STHRindex, pair.engine.STHRindex(lead.St(44), 731));
        EXPECT_EQ(records[c].reserved, left[c]);
    }
    EXPECT_EQ(pair.engine.GetSTvalues(), records);
}

TEST(CZatMatch, ConvertsTimesAndIndicesInTheirOwnArithmetic) {
    const CZatMatch engine(500, 1, 1.0, false, 280), slow(257, 1, 1.0, false, 280), none;
    EXPECT_EQ(engine.Samples2ms(250), 500);
    EXPECT_EQ(engine.ms2Samples(60), 30);
    EXPECT_EQ(slow.Samples2ms(-1), -3);
    EXPECT_EQ(slow.ms2Samples(-60), -15);
    EXPECT_EQ(slow.Samples2ms(4'000'000'000L), 15'564'202'334L) << "64 bits";
    EXPECT_EQ(slow.ms2Samples(4'000'000'000L), 1'028'000'000L);
    EXPECT_EQ(none.Samples2ms(7), 0);
    // In float, the product first: in double the second would come out different, 0.01 * 1e-38 is subnormal.
    EXPECT_EQ(engine.STHRindex(100, 600), 1.0f);
    EXPECT_EQ(engine.STHRindex(4793.49f, 300), 4793.49f * 300.0f / 60000.0f);
    EXPECT_EQ(engine.STHRindex(1e-38f, 30000), 1e-38f * 30000.0f / 60000.0f);
}

TEST(CZatMatch, MeasuresZeroOutsideItsLeadsAndItsTemplate) {
    MatcherPair pair(500, 2, 2.5);
    pair.InitTempl();
    CZatMatch& engine = pair.engine;
    for (const short ch : std::initializer_list<short>{-32768, -1, 2, 3, 32767}) {
        EXPECT_EQ(engine.uvSTvalue(ch, 60) | engine.JuV(ch) | engine.RuV(ch), 0);
        EXPECT_EQ(engine.STslope(ch, 60), 0);
        EXPECT_EQ(engine.uvDeltaSTvalue(ch, 60) | engine.JuVDelta(ch), 0);
    }
    for (const short position : std::initializer_list<short>{-32768, -1, 0, 399, 400, 32767})
        for (const short ms : std::initializer_list<short>{0, 500, 32767}) {
            pair.SetPos(position, position);
            engine.SetPostJms(ms);
            for (auto& lead : pair.plain.leads) lead.postJms = ms;
            pair.ExpectSameState(engine.Templ());
        }
}

TEST(CZatMatch, SurvivesAnyPositionsLengthsAndRates) {
    std::mt19937 random(5);
    const auto any = [&random] { return static_cast<short>(random() % 7 ? random() % 900 : random()); };
    auto input = BeatTrain(500, 2).Beats(500, 4).Noise(50, 2).Record();
    auto rows = MakeTemplate(500, 2, 32767, 200);
    for (const short fs : std::initializer_list<short>{500, 1000, 100, 3, 0, -500, 32767})
        for (int round = 0; round < 40; ++round) {
            SCOPED_TRACE(testing::Message() << fs << " Hz, round " << round << ", seed 5");
            CZatMatch engine(fs, 2, 4.88, false, static_cast<short>(round % 4 ? 280 : any()));
            short len = round % 5 ? static_cast<short>(any() & 0x7FFF) : any(), r = any(), q = any(),
                  j = any();
            engine.InitTempl(rows.Pointers(), len, r, q, j, any());
            for (std::size_t i = 0; i < 900 && len <= 2000; ++i) {  // long templates only cost time
                EXPECT_TRUE(engine.match(input.Frame(i % input.Frames())) == nullptr || len > 0);
                if (i == 450) engine.SetPos(any(), any(), any());
            }
            engine.SetPostJms(any());
            engine.STvalues(any());
        }
}
