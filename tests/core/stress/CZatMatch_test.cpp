// CZatMatch: template building and measurement. Following the beat is in CZatMatchMatching_test.cpp.
#include "core/stress/CZatMatch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <new>
#include <random>
#include <vector>

#include "tests/core/stress/MatcherPair.h"
#include "tests/support/Beats.h"

/// 500 samples of one lead that jump up at `at`: the fiducial point of a search from 10 to 490.
static TemplateRows Step(std::size_t at) {
    TemplateRows rows(1, 500);
    rows[0][at] = 100;
    return rows;
}

TEST(CZatMatch, CutsTheTemplateTo800MsAroundTheFiducialPoint) {
    struct {
        std::size_t at;
        int start;  // where the cut begins; R would lie at 160 of 400 samples
    } cases[] = {{100, 0}, {160, 0}, {161, 1}, {250, 90}, {260, 100}, {261, 100}, {450, 100}};
    for (const auto& [at, start] : cases) {
        SCOPED_TRACE(at);
        MatcherPair pair(500, 1, 1.0);
        pair.InitTempl(Step(at), 0, 10, 490);
        EXPECT_EQ(pair.plain.length, 400);
        EXPECT_EQ(pair.plain.r, static_cast<int>(at) - start);
        EXPECT_EQ(pair.plain.q, 10 - start - 6) << "Q lies 12 ms before the host's";
        EXPECT_EQ(pair.plain.j, 490 - start);
        short r = -1, q = -1, j = -1, ms = -1;
        EXPECT_EQ(pair.engine.GetPos(r, q, j, ms), 400);
        EXPECT_EQ(r, static_cast<int>(at) - start);
        EXPECT_EQ(q, 10 - start - 6);
        EXPECT_EQ(j, 490 - start);
        EXPECT_EQ(ms, 60);
        auto noise = RandomSamples(1, 900, 30000);  // the window may leave the template
        EXPECT_TRUE(pair.Feed(Recording{1, noise}));
    }
}

TEST(CZatMatch, SearchesTheFiducialPointAcrossTheLeadsInOrder) {
    const auto fiducial =
        [](std::initializer_list<std::initializer_list<std::pair<std::size_t, short>>> leads, int posR = 0) {
            TemplateRows rows(leads.size(), 300);
            std::size_t lead = 0;
            for (const auto& points : leads) {
                for (const auto& [at, value] : points) rows[lead][at] = value;
                ++lead;
            }
            MatcherPair pair(500, leads.size(), 1.0);
            pair.InitTempl(rows, posR, 100, 200);
            return pair.plain.r;
        };
    EXPECT_EQ(fiducial({{}}), 150) << "flat: the middle between Q and J";
    EXPECT_EQ(fiducial({{}}, 120), 120) << "or where the host says";
    EXPECT_EQ(fiducial({{}}, 300), 150) << "which must lie inside";
    EXPECT_EQ(fiducial({{}}, -1), 150);
    EXPECT_EQ(fiducial({{{120, 50}, {180, 50}}}), 120) << "a tie keeps the earlier";
    EXPECT_EQ(fiducial({{{100, 60}, {199, 70}}}), 199) << "both ends belong to the search, J does not";
    EXPECT_EQ(fiducial({{{100, 60}, {200, 70}}}), 100) << "no upstroke at Q itself";
    // Lead 1 is compared at lead 0's top: its own top must beat its value there.
    EXPECT_EQ(fiducial({{{120, 50}}, {{120, 30}, {170, 29}}}), 120);
    EXPECT_EQ(fiducial({{{120, 50}}, {{119, 10}, {120, 30}, {169, 20}, {170, 31}}}), 120) << "top 170";
    EXPECT_EQ(fiducial({{{120, 50}}, {{119, 40}, {120, 30}, {170, 120}}}), 170);
    // The upstroke is searched up to the top, not beyond.
    EXPECT_EQ(fiducial({{{149, 20}, {150, 25}, {151, 24}, {152, 0}, {190, 24}}}), 149);
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
            }
        }
}

TEST(CZatMatch, ReportsNoChangeRightAfterATemplate) {
    MatcherPair pair(500, 3, 4.88);
    pair.InitTempl();
    ASSERT_TRUE(pair.Feed(BeatTrain(500, 3).Form({1.0, -0.3, 900}).Beats(800, 10).Record()));
    EXPECT_LT(pair.engine.uvDeltaSTvalue(0, -1), -100) << "the ST wave came in with the beats";
    pair.InitTempl({1.0, 0.5, 1200});
    for (short ch = 0; ch < 3; ++ch) {
        EXPECT_EQ(pair.engine.uvDeltaSTvalue(ch, -1), 0);
        EXPECT_EQ(pair.engine.JuVDelta(ch), 0);
    }
}

TEST(CZatMatch, ChangesNothingOnNullTemplates) {
    MatcherPair pair(500, 3, 2.5);
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
    short r, q, j, ms;
    EXPECT_EQ(pair.engine.GetPos(r, q, j, ms), 400);
    EXPECT_EQ(ms, 60);
    EXPECT_TRUE(pair.Feed(BeatTrain(500, 3).Beats(800, 5).Record()));
}

TEST(CZatMatch, OverwritesTheMeasurementCopiesOfTwelveLeadsAtMost) {
    for (const std::size_t leads : {3u, 12u, 16u}) {
        MatcherPair pair(500, leads, 1.0);
        pair.InitTempl();
        auto rows = MakeTemplate(500, leads, 400, 160, {1.0, 0.4, 2000});
        pair.engine.SetTempl(rows.Pointers());
        for (std::size_t c = 0; c < std::min<std::size_t>(leads, 12); ++c)
            pair.plain.leads[c].measured = rows[c];
        pair.ExpectSameState(pair.engine.Templ());
    }
}

TEST(CZatMatch, FailsAsAnAllocationOnANegativeLeadCount) {
    EXPECT_THROW(CZatMatch(500, -1, 1.0, false, 280), std::bad_alloc);
    CZatMatch engine(500, 2, 1.0, false, 280);
    EXPECT_THROW(engine.Create(500, -32768, 1.0, false, 280), std::bad_alloc);
    short frame[] = {1, 2};
    EXPECT_EQ(engine.match(frame), nullptr);
    EXPECT_EQ(engine.JuV(0), 0);
}

TEST(CZatMatch, CreateForgetsTheTemplate) {
    MatcherPair pair(500, 3, 2.5);
    pair.InitTempl();
    ASSERT_TRUE(pair.Feed(BeatTrain(500, 3).Beats(800, 5).Record()));
    EXPECT_NE(pair.engine.RuV(0), 0);
    pair.engine.Create(250, 2, 1.0, false, 280);
    auto input = BeatTrain(250, 2).Beats(800, 6).Record();
    for (std::size_t i = 0; i < input.Frames(); ++i) ASSERT_EQ(pair.engine.match(input.Frame(i)), nullptr);
    for (const short ch : std::initializer_list<short>{0, 1}) {
        EXPECT_EQ(pair.engine.RuV(ch), 0);
        EXPECT_EQ(pair.engine.uvSTvalue(ch, -1), 0);
        EXPECT_EQ(pair.engine.STslope(ch, -1), 0);
    }
    pair.engine.Delete();
    EXPECT_EQ(pair.engine.Init(), 0);
    EXPECT_EQ(pair.engine.STvalues(800), nullptr);
    EXPECT_EQ(pair.engine.SetPostJms(60), 0);
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
        auto& lead = pair.plain.leads[c];
        lead.postJms = 44;
        EXPECT_EQ(records[c].RuV, lead.R());
        EXPECT_EQ(records[c].JuV, lead.J());
        EXPECT_EQ(records[c].STuV, lead.St(44));
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
    // In float, the product first: 16777217 is no float, so that a double product would come out different.
    EXPECT_EQ(engine.STHRindex(100, 600), 1.0f);
    EXPECT_EQ(engine.STHRindex(4793.49f, 3500), 4793.49f * 3500.0f / 60000.0f);
    const float product = 1e-38f;  // 0.01 * 1e-38 is subnormal: dividing first loses bits
    EXPECT_EQ(engine.STHRindex(product, 30000), product * 30000.0f / 60000.0f);
}

TEST(CZatMatch, MeasuresZeroOutsideItsLeadsAndItsTemplate) {
    MatcherPair pair(500, 2, 2.5);
    pair.InitTempl();
    for (const short ch : std::initializer_list<short>{-32768, -1, 2, 3, 32767}) {
        EXPECT_EQ(pair.engine.STslope(ch, 60), 0);
        EXPECT_EQ(pair.engine.uvSTvalue(ch, 60), 0);
        EXPECT_EQ(pair.engine.JuV(ch), 0);
        EXPECT_EQ(pair.engine.RuV(ch), 0);
        EXPECT_EQ(pair.engine.uvDeltaSTvalue(ch, 60), 0);
        EXPECT_EQ(pair.engine.JuVDelta(ch), 0);
    }
    for (const short position : std::initializer_list<short>{-32768, -1, 0, 399, 400, 32767})
        for (const short ms : std::initializer_list<short>{-32768, 0, 500, 32767}) {
            pair.engine.SetPos(position, position);
            pair.plain.SetPos(position, position);
            pair.engine.SetPostJms(ms);
            for (short ch = 0; ch < 2; ++ch) {
                const auto& lead = pair.plain.leads[static_cast<std::size_t>(ch)];
                EXPECT_EQ(pair.engine.RuV(ch), lead.R());
                EXPECT_EQ(pair.engine.JuV(ch), lead.J());
                if (ms < 0) continue;
                EXPECT_EQ(pair.engine.uvSTvalue(ch, ms), lead.St(ms));
                EXPECT_TRUE(SameValue(pair.engine.STslope(ch, ms), lead.Slope(ms)));
            }
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
            if (len <= 0) {
                EXPECT_EQ(engine.match(input.Frame(0)), nullptr);
            }
            if (len > 2000) continue;  // long templates only cost time
            for (std::size_t i = 0; i < 900; ++i) {
                engine.match(input.Frame(i % input.Frames()));
                if (i == 450) engine.SetPos(any(), any(), any());
            }
            engine.STvalues(any());
        }
}
