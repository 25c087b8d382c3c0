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
    MatcherPair(int fs, std::size_t chn, double scale)
        : uVpb(scale),
          engine(static_cast<short>(fs), static_cast<short>(chn), uVpb, false, 280),
          plain(fs, chn) {}

    /// Hands the engine an averaged beat, and the plain one what the engine keeps of it.
    void InitTempl(TemplateRows rows, int posR, int posQ, int posJ, short ms = 60) {
        auto length = static_cast<short>(rows.Rows().front().size()), r = static_cast<short>(posR),
             q = static_cast<short>(posQ), j = static_cast<short>(posJ);
        short** kept = engine.InitTempl(rows.Pointers(), length, r, q, j, ms);
        EXPECT_EQ(Positions(), std::vector<short>({length, r, q, j, ms}));
        plain.TakeTemplate(kept, length, r, q, j);
        references.clear();
        for (short ch = 0; ch < plain.Leads(); ++ch)
            references.emplace_back(engine.uvSTvalue(ch, -1), engine.JuV(ch));
        ExpectMeasures(kept);
    }
    /// A beat of 800 ms, centred as the engine wants it.
    void InitTempl(const BeatForm& form = {}, int lengthMs = 800) {
        const int r = plain.fs * 32 / 100, width = plain.fs * 5 / 100;
        InitTempl(MakeTemplate(plain.fs, plain.leads.size(), plain.fs * lengthMs / 1000, r, form), 0,
                  r - width, r + width);
    }
    std::vector<short> Positions() {
        short r = 0, q = 0, j = 0, ms = 0;
        const short length = engine.GetPos(r, q, j, ms);
        return {length, r, q, j, ms};
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
            if (folded != nullptr && expected) ExpectFolded(folded);
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

    void ExpectFolded(short** templ) {
        for (std::size_t c = 0; c < plain.leads.size(); ++c) {
            const auto& beat = plain.leads[c].beat;
            EXPECT_TRUE(std::equal(beat.begin(), beat.end(), templ[c]))
                << "lead " << c << ", frame " << frames;
        }
        ExpectMeasures(templ);
    }
    /// Every lead measures what a new one does that is handed these samples with the engine's positions.
    void ExpectMeasures(const short* const* samples) {
        const auto at = Positions();
        for (short ch = 0; ch < plain.Leads(); ++ch) {
            CZatTemplRxy lead(static_cast<short>(plain.fs), uVpb, 280);
            lead.InitTempl(samples[ch], at[0], at[1], at[2], at[3], at[4],
                           static_cast<short>(plain.fs * 12 / 1000), static_cast<short>(plain.fs * 6 / 1000));
            EXPECT_EQ(engine.JuV(ch), lead.JuV());
            EXPECT_EQ(engine.RuV(ch), lead.RuV());
            const auto& [referenceST, referenceJ] = references[static_cast<std::size_t>(ch)];
            EXPECT_EQ(engine.JuVDelta(ch), Wrapped(lead.JuV() - referenceJ));
            for (const short ms : {short{-1}, short{20}}) {
                EXPECT_EQ(engine.uvSTvalue(ch, ms), lead.uvSTvalue(ms));
                EXPECT_TRUE(SameValue(engine.STslope(ch, ms), lead.STslope(ms)));
                EXPECT_EQ(engine.uvDeltaSTvalue(ch, ms), Wrapped(lead.uvSTvalue(ms) - referenceST));
            }
        }
    }

    double uVpb;
    CZatMatch engine;
    PlainMatcher plain;
    std::vector<std::pair<short, short>> references;  // ST and J level of the template handed in, uV
    const double* correlations = nullptr;             // the engine's own, rewritten by every frame
    int frames = 0;
};

constexpr BeatForm kWide{1.35, -0.2, 900}, kNarrow{0.75, 0.1, 700},
    kHuge{1.0, 0.0, 45000};  // wraps at 16 bits

}  // namespace

TEST(CZatMatch, CutsTheTemplateTo800MsAroundTheFiducialPoint) {
    // One jump in a second of samples, searched from Q at 10 up to J; R would lie at 40 % of what is kept.
    static constexpr struct {
        int fs, at, start, length;
    } kCases[] = {{500, 100, 0, 400},   {500, 160, 0, 400},   {500, 161, 1, 400},
                  {500, 250, 90, 400},  {500, 260, 100, 400}, {500, 261, 100, 400},
                  {500, 450, 100, 400}, {257, 120, 38, 205},  {1000, 500, 180, 800}};
    for (const auto& [fs, at, start, length] : kCases) {
        SCOPED_TRACE(testing::Message() << fs << " Hz, " << at << ", seed 1");
        MatcherPair pair(fs, 1, 1.0);
        TemplateRows rows(1, static_cast<std::size_t>(fs));
        rows[0][static_cast<std::size_t>(at)] = 100;
        pair.InitTempl(rows, 0, 10, fs - 10);
        const int early = fs * 12 / 1000;  // Q lies 12 ms before the host's
        EXPECT_EQ(pair.Positions(),
                  std::vector<short>({Wrapped(length), Wrapped(at - start), Wrapped(10 - start - early),
                                      Wrapped(fs - 10 - start), 60}));
        EXPECT_TRUE(std::equal(&rows[0][static_cast<std::size_t>(start)],
                               &rows[0][static_cast<std::size_t>(start)] + length, pair.engine.Templ()[0]));
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
        {"all leads up to one top", {{{110, 50}, {149, 10}, {150, 90}}, {{120, 60}, {150, 90}}}, 0, 150},
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
            pair.plain = PlainMatcher(500, leads);
            pair.correlations = nullptr;
            pair.InitTempl();
            ASSERT_TRUE(pair.Feed(input));
        }
}

TEST(CZatMatch, UsesPositionsAndMeasurementCopiesThatTheHostMoved) {
    MatcherPair pair(500, 14, 4.88);
    pair.InitTempl();
    auto input = BeatTrain(500, 14).Beats(800, 10).Noise(6, 12).Record();
    ASSERT_TRUE(pair.Feed(input));
    EXPECT_EQ(pair.engine.SetPos(120, 195), 14);
    pair.plain.q = 120, pair.plain.j = 195;
    ASSERT_TRUE(pair.Feed(input));
    EXPECT_EQ(pair.engine.SetPos(163, 125, 190), 14);  // R moves, the wait and the window stay
    pair.plain.r = 163, pair.plain.q = 125, pair.plain.j = 190;
    EXPECT_EQ(pair.engine.SetPostJms(44), 14);
    EXPECT_EQ(pair.Positions(), std::vector<short>({400, 163, 125, 190, 44}));
    ASSERT_TRUE(pair.Feed(input));
    EXPECT_GT(pair.plain.folds, 20);
    EXPECT_GT(pair.plain.shifts, 0);
    // A measurement copy of the host's is measured at once, correlated never, and gone with the next fold.
    // Only twelve leads take it.
    auto copy = MakeTemplate(500, 14, 400, 170, kWide);
    for (std::size_t lead = 0; lead < 14; ++lead)
        if (const auto& own = pair.plain.leads[lead].beat; lead == 3 || lead > 11) copy[lead] = own;
    auto rows = MakeTemplate(500, 14, 400, 170, kWide);
    short** given = rows.Pointers();
    given[3] = nullptr;
    const short peak = pair.engine.RuV(0), level = pair.engine.JuV(0);
    pair.engine.SetTempl(given);
    EXPECT_NE(pair.engine.RuV(0), peak);
    pair.engine.ZeroV();
    EXPECT_NE(pair.engine.JuV(0), level);
    pair.ExpectMeasures(copy.Pointers());
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
                pair.engine.SetPos(59, 68);
                pair.plain.q = 59, pair.plain.j = 68;
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
                MatcherPair pair(fs, leads, 1.0);
                pair.InitTempl();
                const auto beat = MakeTemplate(fs, leads, fs * 8 / 10, fs * 32 / 100).Rows();
                const int len = fs * 8 / 10;
                // A single beat between silences; the silent leads correlate as NaN, which is no match.
                int folded = -1;
                std::vector<short> frame(leads, 0);
                for (int i = -2 * len; i < 2 * len; ++i) {
                    for (std::size_t c = 0; c < beating; ++c)
                        frame[c] = i >= 0 && i < len ? beat[c][static_cast<std::size_t>(i)] : short{0};
                    if (pair.engine.match(frame.data()) != nullptr && folded < 0) folded = i;
                }
                const int lastSample = fs == 257 ? len : len - 1;  // 257 Hz: a window of 71 samples
                EXPECT_EQ(folded, beating > leads / 2 ? lastSample : -1);
                // In time, the average of equals, (x + 9 x) / 10, is the beat itself.
                const bool equal = std::equal(beat[0].begin(), beat[0].end(), pair.engine.Templ()[0]);
                EXPECT_TRUE(beating < leads || equal == (folded != len));
            }
}

TEST(CZatMatch, AnswersNullAndChangesNothingWithoutTemplateLeadsOrFrame) {
    const std::vector<short> frame(3, 700);
    CZatMatch none, untaught(500, 3, 1.0, false, 280), empty(500, 0, 1.0, false, 280);
    for (CZatMatch* engine : {&none, &untaught, &empty})
        for (int i = 0; i < 1000; ++i) EXPECT_EQ(engine->match(frame.data()), nullptr);
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
    pair.ExpectMeasures(pair.engine.Templ());
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
    EXPECT_THROW(CZatMatch(500, -1, 1.0, false, 280), std::bad_alloc);
    EXPECT_THROW(untaught.Create(500, -1, 1.0, false, 280), std::bad_alloc);
    EXPECT_EQ(untaught.match(frame.data()), nullptr);
}

TEST(CZatMatch, FillsOneRecordPerLeadAndMeasuresZeroOutsideTheLeads) {
    MatcherPair pair(500, 3, 4.88);
    CZatMatch& engine = pair.engine;
    pair.InitTempl();
    STrecord* records = engine.GetSTvalues();
    const std::uint16_t marks[] = {0xFFFF, 0x7FFF, 0x3FFF}, left[] = {0xC000, 0x4000, 0};
    for (std::size_t c = 0; c < 3; ++c) records[c].reserved = marks[c];
    engine.SetPostJms(44);
    ASSERT_EQ(engine.STvalues(731), records);
    for (short ch = 0; ch < 3; ++ch) {
        const STrecord& record = records[ch];
        EXPECT_EQ(std::vector<short>({record.RuV, record.JuV, record.STuV}),
                  std::vector<short>({engine.RuV(ch), engine.JuV(ch), engine.uvSTvalue(ch, 44)}));
        EXPECT_EQ(record.STslope, engine.STslope(ch, 44));
        EXPECT_EQ(record.STHRindex, engine.STHRindex(record.STuV, 731));
        EXPECT_EQ(record.reserved, left[ch]) << "the top two bits belong to somebody else";
    }
    EXPECT_EQ(engine.GetSTvalues(), records);
    for (const short ch : std::initializer_list<short>{-32768, -1, 3, 32767}) {
        EXPECT_EQ(engine.uvSTvalue(ch, 60) | engine.JuV(ch) | engine.RuV(ch), 0);
        EXPECT_EQ(engine.STslope(ch, 60), 0);
        EXPECT_EQ(engine.uvDeltaSTvalue(ch, 60) | engine.JuVDelta(ch), 0);
    }
}

TEST(CZatMatch, ConvertsTimesAndIndicesInTheirOwnArithmetic) {
    const CZatMatch engine(500, 1, 1.0, false, 280), slow(257, 1, 1.0, false, 280), none;
    EXPECT_EQ(engine.Samples2ms(250), 500);
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
