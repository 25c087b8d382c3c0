#include "api/qzStressECGLib.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>
#include <random>
#include <tuple>
#include <vector>

#include "core/detect/CMultirtRRdetect.h"
#include "core/detect/CrtRRdetect.h"
#include "core/filters/CLowpassFilter2.h"
#include "core/stress/CZatMatch.h"
#include "core/stress/CZatMidRR.h"
#include "tests/support/Beats.h"
#include "tests/support/Signals.h"

class qzStressECGLib : public testing::Test {
protected:
    qzStressECGLib() { qzStressECGLib_init(false); }
    ~qzStressECGLib() override { qzStressECGLib_destroy(); }

    /// Creates the engine and a matcher of its own kind, and gives both the same first beat.
    static short** Start(CZatMatch& own, short fs, short chn, double uVpb) {
        EXPECT_TRUE(qzStressECGLib_create(fs, chn, uVpb));
        own.Create(fs, chn, uVpb, false, 280);
        Teach(own, TemplateRows(static_cast<std::size_t>(chn), 300));  // flat: R where the search starts
        return Teach(own, MakeTemplate(fs, static_cast<std::size_t>(chn), fs, fs * 2 / 5));
    }
    static short** Teach(CZatMatch& own, TemplateRows rows) {
        const auto length = static_cast<short>(rows.Rows().front().size());
        const auto q = static_cast<short>(length * 7 / 20), j = static_cast<short>(length * 9 / 20);
        short len = length, ownLen = length, ownR = 0, ownQ = q, ownJ = j;
        short** kept = qzStressECGLib_InitTempl(rows.Pointers(), len, q, j, 60);
        own.InitTempl(rows.Pointers(), ownLen, ownR, ownQ, ownJ, 60);
        EXPECT_EQ(len, ownLen);
        EXPECT_EQ(Positions(), std::vector<short>({len, ownR, ownQ, ownJ, 60}));
        return kept;
    }
    static std::vector<short> Positions() {
        short r = -7, q = -7, j = -7, ms = -7;
        const short length = qzStressECGLib_GetPos(r, q, j, ms);
        return {length, r, q, j, ms};
    }
    static void ExpectNoEngine() {
        short len = 400, frame[] = {1, 2};
        EXPECT_EQ(qzStressECGLib_InitTempl(MakeTemplate(500, 2, 400, 160).Pointers(), len, 130, 190, 60),
                  nullptr);
        EXPECT_EQ(len, 400);
        EXPECT_EQ(qzStressECGLib_getTempl(), nullptr);
        EXPECT_EQ(qzStressECGLib_match(frame), nullptr);
        EXPECT_EQ(qzStressECGLib_SetPos(123, 45), 123);
        EXPECT_EQ(qzStressECGLib_SetPostJms(77), 77);
        EXPECT_EQ(Positions(), std::vector<short>({0, -7, -7, -7, -7}));
        EXPECT_EQ(qzStressECGLib_STslope(), nullptr);
        EXPECT_EQ(qzStressECGLib_uvSTvalue(), nullptr);
        EXPECT_EQ(qzStressECGLib_STresults(800), nullptr);
        EXPECT_EQ(qzStressECGLib_MeanRRms(1, 2, 3), -1);
        EXPECT_EQ(qzStressECGLib_mutex(), nullptr);
    }
};

TEST_F(qzStressECGLib, AnswersWithNothingWhileThereIsNoEngine) {
    for (int round = 0; round < 2; ++round) {
        ExpectNoEngine();
        qzStressECGLib_create(500, 2, 1.0);
        qzStressECGLib_create(250, 3, 1.0);
        EXPECT_NE(qzStressECGLib_mutex(), nullptr);
        EXPECT_THROW(qzStressECGLib_create(500, -2, 1.0), std::bad_alloc);
        ExpectNoEngine();
        qzStressECGLib_create(250, 3, 1.0);
        qzStressECGLib_destroy();
        qzStressECGLib_destroy();
    }
}

TEST_F(qzStressECGLib, FollowsTheMatcherThroughBeatsPositionsAndRebuilds) {
    for (const auto& [fs, chn] : {std::pair<short, short>{500, 12}, {257, 3}, {250, 1}, {1000, 2}}) {
        SCOPED_TRACE(testing::Message() << fs << " Hz, leads " << chn << ", seed 5");
        const auto leads = static_cast<std::size_t>(chn);
        CZatMatch own;
        short** templ = Start(own, fs, chn, 4.88);
        EXPECT_EQ(Positions().front(), fs * 800 / 1000) << "a second is cut to 800 ms";
        EXPECT_EQ(templ, qzStressECGLib_getTempl());
        auto input =
            BeatTrain(fs, leads).Beats(750, 9).Form({1.04, -0.2, 950}).Beats(680, 9).Noise(4, 5).Record();
        int folds = 0;
        for (std::size_t i = 0; i < input.Frames(); ++i) {
            short** folded = qzStressECGLib_match(input.Frame(i));
            short** expected = own.match(input.Frame(i));
            ASSERT_EQ(folded != nullptr, expected != nullptr) << i;
            if (folded == nullptr) continue;
            EXPECT_EQ(folded, templ) << "the array stays where it is";
            for (std::size_t c = 0; c < leads; ++c)
                ASSERT_TRUE(std::equal(folded[c], folded[c] + fs * 800 / 1000, expected[c]));
            if (++folds == 6) {
                auto moved = Positions();
                moved[2] = static_cast<short>(moved[2] + 3), moved[3] = static_cast<short>(moved[3] + 5),
                moved[4] = 80;
                EXPECT_EQ(qzStressECGLib_SetPos(moved[2], moved[3]), own.SetPos(moved[2], moved[3]));
                EXPECT_EQ(qzStressECGLib_SetPostJms(80), own.SetPostJms(80));
                EXPECT_EQ(Positions(), moved);
            }
            const STresult* results = qzStressECGLib_STresults(731);
            const STrecord* records = own.STvalues(731);
            for (short ch = 0; ch < chn; ++ch) {
                const STresult& result = results[ch];
                EXPECT_EQ(std::vector<short>(
                              {result.RuV, result.JuV, result.STuV, result.deltaSTuV, result.deltaJuV}),
                          std::vector<short>({records[ch].RuV, records[ch].JuV, records[ch].STuV,
                                              own.uvDeltaSTvalue(ch, -1), own.JuVDelta(ch)}));
                EXPECT_EQ(result.STslope, records[ch].STslope);
                EXPECT_EQ(result.STHRindex, records[ch].STHRindex);
            }
        }
        EXPECT_GT(folds, 10);
        EXPECT_EQ(qzStressECGLib_match(nullptr), nullptr);
    }
}

TEST_F(qzStressECGLib, SmoothsTheTrendsFromTheirFirstValueOn) {
    constexpr short kLeads = 3;
    CZatMatch own;
    for (int engines = 0; engines < 2; ++engines) {  // a rebuilt engine is primed anew
        Start(own, 500, kLeads, 4.88);
        std::vector<CLowpassFilter2> levels(kLeads, CLowpassFilter2(5.0, 100)), slopes = levels;
        for (int call = 0; call < 25; ++call) {
            if (call > 0 && call % 6 == 0)
                Teach(own, MakeTemplate(500, kLeads, 500, 200, {1.0, -0.05 * call, 900.0 + 100 * engines}));
            const short* level = qzStressECGLib_uvSTvalue();
            const float* slope =
                call < 2 ? nullptr : qzStressECGLib_STslope();  // primed apart from the level
            ASSERT_NE(level, nullptr);
            for (short ch = 0; ch < kLeads; ++ch) {
                const auto c = static_cast<std::size_t>(ch);
                const int uv = own.uvSTvalue(ch, -1);
                const double uVperMs = own.STslope(ch, -1);
                if (call == 0) levels[c].InitialValue(uv);
                if (call == 2) slopes[c].InitialValue(uVperMs);
                EXPECT_EQ(level[ch], Wrapped(levels[c].Filter(uv))) << "call " << call;
                EXPECT_TRUE(!slope || slope[ch] == static_cast<float>(slopes[c].Filter(uVperMs)))
                    << "call " << call;
            }
        }
    }
}

/// Milliseconds as the heart-rate paths enter and report them.
static short MeanOf(CZatMidRR& averager, long rrMs) {
    if (rrMs < 1) return -1;
    if (rrMs >= 2000) return 0;
    return averager.MeanRR(static_cast<short>(std::max(rrMs, 200L)));
}

/// A tone of 12 Hz that swells every `period` samples: for the detector, beats in quick succession.
static Recording Swelling(int fs, int period, std::size_t leads) {
    Recording input{leads, {}};
    for (int i = 0; i < 20 * fs; ++i) {
        const double swell = std::pow(std::sin(3.14159265 * i / period), 4);
        const double tone = swell * 30000 * std::sin(6.2831853 * 12.0 * i / fs);
        input.samples.insert(input.samples.end(), leads, Wrapped(Truncated(tone)));
    }
    return input;
}

/// The many-lead path lives as long as the process, and so does what it is compared with.
static struct ManyLeads {
    void Init(short rate, short chn, short acFreq, double uVpb) {
        fs = rate;
        detector.Init(fs, chn, acFreq, uVpb);
        qzStressECGLib_InitMultiMeanRRms(fs, chn, acFreq, uVpb);
    }
    short Expected(short* frame) {
        return MeanOf(averager, fs < 1 ? 0 : detector.QRSdetect(frame) * 1000L / fs);
    }
    CMultirtRRdetect detector;
    CZatMidRR averager{5};
    short fs = 0;
} g_manyLeads;

TEST_F(qzStressECGLib, ReportsTheMeanRROfThreeLeadsWhileThereIsAnEngineAndThatOfManyBesides) {
    short frame[16] = {};
    g_manyLeads.Init(0, 2, 50, 1.0);
    EXPECT_EQ(qzStressECGLib_MultiMeanRRms(frame), -1) << "no rate, not set up";
    EXPECT_EQ(qzStressECGLib_MultiMeanHR(frame), -1);
    bool sawRaised = false, sawTooLong = false;
    int votes = 0;
    for (const auto& [fs, chn, uVpb] : {std::tuple<short, short, double>{500, 12, 4.88},
                                        {250, 3, 2.5},
                                        {257, 8, 0.305},
                                        {1000, 16, 300.0}}) {
        const auto leads = static_cast<std::size_t>(chn);
        BeatTrain train(fs, leads);
        // 999, 1000 and 1001 samples at 500 Hz stand around the limit of two seconds.
        train.Beats(800, 8).Beats(600, 8).Beats(1998, 2).Beats(2000, 2).Beats(2002, 2).Beats(2500, 2);
        train.Beats(450, 12).Noise(5, 3);
        for (Recording input :
             {train.Record(), Swelling(fs, fs * 99 / 500, leads), Swelling(fs, fs / 5, leads)}) {
            SCOPED_TRACE(testing::Message() << fs << " Hz, leads " << chn << ", seed 3");
            qzStressECGLib_create(fs, 3, uVpb);
            g_manyLeads.Init(fs, chn, 50, uVpb);  // the average goes on from the path before
            CrtRRdetect detector(fs, 50);
            CZatMidRR averager(5);
            int beats = 0;
            for (std::size_t i = 0; i < input.Frames(); ++i) {
                if (i == input.Frames() * 9 / 10) qzStressECGLib_destroy();
                const bool engine = i < input.Frames() * 9 / 10;
                short* x = input.Frame(i);
                const long rr = detector.QRSdetect(Truncated(x[0] * uVpb), Truncated(x[1] * uVpb),
                                                   Truncated(x[2] * uVpb));
                const long ms = rr * 1000 / fs;
                beats += rr > 0;
                sawRaised |= ms > 0 && ms < 200;
                sawTooLong |= ms >= 2000;
                ASSERT_EQ(qzStressECGLib_MeanRRms(x[0], x[1], x[2]), engine ? MeanOf(averager, ms) : -1)
                    << i << ", rr " << rr;
                const short many = g_manyLeads.Expected(x);
                votes += many > 0;
                if (i / 1000 % 2 == 0)
                    ASSERT_EQ(qzStressECGLib_MultiMeanRRms(x), many) << i;
                else
                    ASSERT_EQ(qzStressECGLib_MultiMeanHR(x), many > 0 ? 60000 / many : many) << i;
            }
            EXPECT_GT(beats, 10);
        }
    }
    EXPECT_TRUE(sawRaised && sawTooLong) << "the input must reach both limits";
    EXPECT_GT(votes, 60);
    EXPECT_EQ(qzStressECGLib_MultiMeanRRms(nullptr), -1);
    EXPECT_EQ(qzStressECGLib_MultiMeanHR(nullptr), -1);
    EXPECT_THROW(qzStressECGLib_InitMultiMeanRRms(500, -2, 50, 1.0), std::bad_alloc);
    EXPECT_EQ(qzStressECGLib_MultiMeanRRms(frame), -1);
}

TEST_F(qzStressECGLib, SurvivesAnyArguments) {
    using Limits = std::numeric_limits<double>;
    constexpr double kScales[] = {1.0, 0.0, -4.88, 1e300, Limits::quiet_NaN(), Limits::infinity()};
    constexpr short kRates[] = {500, 250, 0, -1, 1, 9, 100, 166, 32767, -32768};
    std::mt19937 random(99);
    const auto any = [&random] {
        return static_cast<short>(random() % 3 ? static_cast<int>(random() % 600) - 50
                                               : static_cast<int>(random()));
    };
    auto rows = MakeTemplate(500, 16, 32767, 300);
    for (int round = 0; round < 150; ++round) {
        SCOPED_TRACE(testing::Message() << "round " << round << ", seed 99");
        const short fs = kRates[random() % std::size(kRates)];
        const auto chn = static_cast<short>(random() % 17);
        qzStressECGLib_create(fs, chn, kScales[random() % std::size(kScales)]);
        g_manyLeads.Init(fs, chn, any(), kScales[random() % std::size(kScales)]);
        for (int step = 0; step < 300; ++step) {
            auto frame = RandomSamples(static_cast<unsigned>(random()), 16, 32768);
            if (step % 60 == 0) {
                short len = static_cast<short>(any() % 2000);
                qzStressECGLib_InitTempl(step % 180 ? rows.Pointers() : nullptr, len, any(), any(), any());
            }
            if (step % 30 == 7) qzStressECGLib_SetPos(any(), any());
            if (step % 30 == 8) qzStressECGLib_SetPostJms(any());
            qzStressECGLib_match(step % 50 ? frame.data() : nullptr);
            EXPECT_LE(qzStressECGLib_MeanRRms(frame[0], frame[1], frame[2]), 1999);
            EXPECT_EQ(qzStressECGLib_MultiMeanRRms(frame.data()), g_manyLeads.Expected(frame.data()));
            if (step % 20 != 3 || chn == 0) continue;
            EXPECT_TRUE(qzStressECGLib_uvSTvalue() && qzStressECGLib_STslope() &&
                        qzStressECGLib_STresults(any()));
        }
    }
}
