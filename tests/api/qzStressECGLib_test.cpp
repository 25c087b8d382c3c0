#include "api/qzStressECGLib.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
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

TEST_F(qzStressECGLib, SmoothsTheTrendsFromTheirFirstValueOnInEveryEngine) {
    for (const short level : {short{300}, short{-500}}) {  // the second engine replaces the first
        qzStressECGLib_create(500, 2, 2.0);
        TemplateRows rows(2, 400);
        std::fill(rows[1].begin() + 200, rows[1].end(), level);
        short len = 400;
        ASSERT_NE(qzStressECGLib_InitTempl(rows.Pointers(), len, 130, 190, 60), nullptr);
        EXPECT_EQ(qzStressECGLib_uvSTvalue()[0], 0);
        EXPECT_NEAR(qzStressECGLib_uvSTvalue()[1], 2 * level, 1) << "shows no transient";
        rows[1].assign(400, 0);
        qzStressECGLib_InitTempl(rows.Pointers(), len, 130, 190, 60);
        const short* after = qzStressECGLib_uvSTvalue();
        EXPECT_NEAR(after[1], 2 * level * 0.98, std::abs(level) * 0.01) << "moves slowly: b0 is 0.02";
        EXPECT_EQ(qzStressECGLib_STslope()[1], 0) << "primed by a call of its own";
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
