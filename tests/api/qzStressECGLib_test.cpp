#include "api/qzStressECGLib.h"

#include <gtest/gtest.h>

#include <limits>
#include <new>
#include <random>
#include <vector>

#include "tests/support/Beats.h"
#include "tests/support/Signals.h"

class qzStressECGLib : public testing::Test {
protected:
    qzStressECGLib() { qzStressECGLib_init(false); }
    ~qzStressECGLib() override { qzStressECGLib_destroy(); }

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

/// What the three-lead path answers on beats at this interval, once it has seen some: the last two.
static std::vector<short> AnswersAt(int rrMs) {
    qzStressECGLib_create(500, 3, 1.0);
    Recording input = BeatTrain(500, 3).Beats(700, 6).Beats(rrMs, 12).Record();
    std::vector<short> answers;
    for (std::size_t i = 0; i < input.Frames(); ++i) {
        const short* x = input.Frame(i);
        if (const short rr = qzStressECGLib_MeanRRms(x[0], x[1], x[2]); rr != -1) answers.push_back(rr);
    }
    return {answers.end() - 2, answers.end()};
}

TEST_F(qzStressECGLib, GivesZeroForAnIntervalOfTwoSecondsAndRaisesOneBelow200Ms) {
    EXPECT_EQ(AnswersAt(198), std::vector<short>({200, 200}));
    EXPECT_EQ(AnswersAt(800), std::vector<short>({800, 800}));
    EXPECT_EQ(AnswersAt(1998), std::vector<short>({1998, 1998}));
    EXPECT_EQ(AnswersAt(2000), std::vector<short>({0, 0}));
    EXPECT_EQ(AnswersAt(2002), std::vector<short>({0, 0}));
}

TEST_F(qzStressECGLib, AnswersMinusOneWhileTheManyLeadPathIsNotSetUp) {
    short frame[2] = {};
    for (int round = 0; round < 2; ++round) {
        if (round == 0) qzStressECGLib_InitMultiMeanRRms(0, 2, 50, 1.0);
        if (round == 1) {
            EXPECT_THROW(qzStressECGLib_InitMultiMeanRRms(500, -2, 50, 1.0), std::bad_alloc);
        }
        EXPECT_EQ(qzStressECGLib_MultiMeanRRms(frame), -1);
        EXPECT_EQ(qzStressECGLib_MultiMeanHR(frame), -1);
        qzStressECGLib_InitMultiMeanRRms(500, 2, 50, 1.0);
        EXPECT_EQ(qzStressECGLib_MultiMeanRRms(nullptr), -1);
    }
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
    const auto samples = RandomSamples(99, 1 << 14, 32768);
    for (int round = 0; round < 150; ++round) {
        SCOPED_TRACE(testing::Message() << "round " << round << ", seed 99");
        const short fs = kRates[random() % std::size(kRates)];
        const auto chn = static_cast<short>(random() % 17);
        qzStressECGLib_create(fs, chn, kScales[random() % std::size(kScales)]);
        qzStressECGLib_InitMultiMeanRRms(fs, chn, any(), kScales[random() % std::size(kScales)]);
        for (int step = 0; step < 300; ++step) {
            const auto at = samples.begin() + static_cast<std::ptrdiff_t>(random() % (samples.size() - 16));
            std::vector<short> frame(at, at + 16);
            if (step % 60 == 0) {
                short len = static_cast<short>(any() % 2000);
                qzStressECGLib_InitTempl(step % 180 ? rows.Pointers() : nullptr, len, any(), any(), any());
            }
            if (step % 30 == 7) qzStressECGLib_SetPos(any(), any());
            if (step % 30 == 8) qzStressECGLib_SetPostJms(any());
            qzStressECGLib_match(step % 50 ? frame.data() : nullptr);
            EXPECT_LE(qzStressECGLib_MeanRRms(frame[0], frame[1], frame[2]), 1999);
            EXPECT_LE(qzStressECGLib_MultiMeanRRms(frame.data()), 1999);
            if (step % 20 != 3 || chn == 0) continue;
            EXPECT_TRUE(qzStressECGLib_uvSTvalue() && qzStressECGLib_STslope() &&
                        qzStressECGLib_STresults(any()));
        }
    }
}
