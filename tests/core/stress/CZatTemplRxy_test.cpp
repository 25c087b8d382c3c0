#include "core/stress/CZatTemplRxy.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <utility>
#include <vector>

#include "tests/core/stress/PlainMatcher.h"
#include "tests/support/Beats.h"
#include "tests/support/Signals.h"

/// A correlator and its yardstick side by side.
struct LeadPair {
    LeadPair(int rate, double scale) : lead(static_cast<short>(rate), scale, 280) {
        plain.fs = rate, plain.uVpb = scale, plain.window = rate * 280 / 1000;
    }
    void InitTempl(std::vector<short> row, int posR, int posQ, int posJ, int ms = 60) {
        const int zeroWidth = plain.fs * 12 / 1000, jOffset = plain.fs * 6 / 1000;
        plain.TakeTemplate(row, posR, posQ, posJ, ms, zeroWidth, jOffset);
        const short* templ =
            lead.InitTempl(row.data(), static_cast<short>(row.size()), static_cast<short>(posR),
                           static_cast<short>(posQ), static_cast<short>(posJ), static_cast<short>(ms),
                           static_cast<short>(zeroWidth), static_cast<short>(jOffset));
        EXPECT_TRUE(row.empty() || std::equal(row.begin(), row.end(), templ));
    }
    /// Feeds both and demands the same bits; returns the greatest correlation.
    double Feed(const std::vector<short>& samples) {
        double best = 0;
        for (std::size_t i = 0; i < samples.size(); ++i) {
            const double expected = plain.Correlate(samples[i]), actual = lead.rxy(samples[i]);
            if (!SameValue(expected, actual)) {
                ADD_FAILURE() << "sample " << i << ": expected " << expected << ", got " << actual;
                return best;
            }
            best = std::max(best, actual);
        }
        return best;
    }
    void ExpectSameMeasurements(std::initializer_list<int> times) {
        EXPECT_EQ(lead.ZeroV(), plain.zero);
        EXPECT_EQ(lead.JuV(), plain.J());
        EXPECT_EQ(lead.RuV(), plain.R());
        for (const int ms : times) {
            EXPECT_EQ(lead.uvSTvalue(static_cast<short>(ms)), plain.St(ms)) << ms;
            EXPECT_TRUE(SameValue(lead.STslope(static_cast<short>(ms)), plain.Slope(ms))) << ms;
        }
    }
    CZatTemplRxy lead;
    PlainLead plain;
};

static std::vector<short> BeatRow(int fs, int length, int posR) {
    return MakeTemplate(fs, 1, length, posR)[0];
}

TEST(CZatTemplRxy, CorrelatesAsRecomputedFromTheWholeHistory) {
    for (const int fs : kSamplingRates) {
        SCOPED_TRACE(testing::Message() << fs << " Hz, seeds 21 to 23");
        LeadPair pair(fs, 2.5);
        EXPECT_EQ(pair.lead.Average(), fs * 280 / 1000);
        const int length = fs * 8 / 10, r = length * 2 / 5, width = fs / 20;
        const auto noise =
            RandomSamples(21, 1500, 32768);  // differences up to 65535, a first sample that is not 0
        const auto ecg = BeatTrain(fs, 1).Beats(700, 5).Noise(6, 22).Record().samples;
        pair.InitTempl(BeatRow(fs, length, r), r, r - width, r + width);
        pair.Feed({noise.begin(), noise.begin() + length / 2});
        pair.InitTempl(BeatRow(fs, length - 7, r), r, r - width, r + width);  // restarts the count
        pair.Feed({noise.begin(), noise.begin() + length - 8});
        pair.Feed(ecg);
        pair.InitTempl(RandomSamples(23, static_cast<std::size_t>(length + 9), 32768), r, r - width,
                       r + width);
        pair.Feed(noise);  // goes on at once
        EXPECT_EQ(pair.lead.Average(), pair.plain.window);
        pair.InitTempl(BeatRow(fs, length, r), 5, 2, 9);  // the window begins before the template
        pair.Feed(ecg);
        pair.InitTempl(BeatRow(fs, length, r), length - 4, r, r + width);  // and ends after it
        pair.Feed(ecg);
        LeadPair calm(fs, 2.5);
        calm.InitTempl(BeatRow(fs, length, r), r, r - width, r + width);
        EXPECT_GT(calm.Feed(ecg), 0.8);
    }
}

TEST(CZatTemplRxy, AnswersFromTheTemplatesLengththSampleOn) {
    const auto row = BeatRow(500, 400, 160);
    const auto input = RandomSamples(3, 1000, 900);
    const auto firstAnswer = [&](CZatTemplRxy& lead) {
        for (std::size_t i = 0; i < input.size(); ++i)
            if (lead.rxy(input[i]) != 0) return i + 1;
        return std::size_t{0};
    };
    LeadPair pair(500, 1.0);
    pair.InitTempl(row, 160, 130, 190);
    EXPECT_EQ(firstAnswer(pair.lead), 400u);
    pair.InitTempl({row.begin(), row.begin() + 350}, 160, 130, 190);
    EXPECT_EQ(firstAnswer(pair.lead), 1u) << "once full, it goes on answering";
    pair.lead.Create(500, 1.0, 280);
    pair.InitTempl(row, 160, 130, 190);
    for (int i = 0; i < 300; ++i) EXPECT_EQ(pair.lead.rxy(50), 0);
    pair.InitTempl(row, 160, 130, 190);
    EXPECT_EQ(firstAnswer(pair.lead), 400u) << "the count starts over";
}

TEST(CZatTemplRxy, IsBlindToSizeAndPolarity) {
    LeadPair pair(500, 1.0);
    const auto row = BeatRow(500, 400, 160);
    pair.InitTempl(row, 160, 130, 190);
    std::vector<short> input(500, 0);
    for (const short x : row) input.push_back(static_cast<short>(-2 * x));
    input.resize(1200, 0);
    EXPECT_NEAR(pair.Feed(input), 1.0, 1e-12);  // starts at 0, so that the running sum carries no offset
}

TEST(CZatTemplRxy, OnlySilenceGivesNan) {
    const auto row = BeatRow(500, 400, 160);
    for (const short level : std::initializer_list<short>{0, 100}) {
        LeadPair pair(500, 1.0);
        pair.InitTempl(row, 160, 130, 190);
        pair.Feed(std::vector<short>(400, level));
        const double answer = pair.lead.rxy(level);
        EXPECT_EQ(std::isnan(answer), level == 0);
        EXPECT_FALSE(answer > 1e-20) << "the first step stays in the sum for good";
    }
    LeadPair flatTemplate(500, 1.0);
    flatTemplate.InitTempl(std::vector<short>(400, 77), 160, 130, 190);
    flatTemplate.Feed(RandomSamples(4, 500, 900));
    EXPECT_TRUE(std::isnan(flatTemplate.lead.rxy(5)));
}

TEST(CZatTemplRxy, CreateStartsTheCorrelationOver) {
    for (const int windowMs : {280, 200}) {
        LeadPair used(500, 1.0), fresh(500, 1.0);
        const auto row = BeatRow(500, 400, 160);
        used.InitTempl(row, 160, 130, 190);
        used.Feed(RandomSamples(6, 777, 32768));
        EXPECT_EQ(used.lead.Create(500, 3.0, static_cast<short>(windowMs)), 0);
        EXPECT_EQ(used.lead.Average(), windowMs / 2);
        fresh.plain.window = windowMs / 2;
        fresh.plain.uVpb = 3.0;
        std::swap(used.plain, fresh.plain);
        used.InitTempl(row, 160, 130, 190);
        used.Feed(RandomSamples(7, 1500, 1000));
        used.ExpectSameMeasurements({60});
    }
}

TEST(CZatTemplRxy, AnswersZeroWithoutBuffers) {
    CZatTemplRxy lead;
    short row[] = {1, 2, 3};
    const auto expectNothing = [&lead] {
        for (const short x : std::initializer_list<short>{5, 0, -900}) EXPECT_EQ(lead.rxy(x), 0);
        EXPECT_EQ(lead.uvSTvalue(60), 0);
        EXPECT_EQ(lead.JuV(), 0);
        EXPECT_EQ(lead.RuV(), 0);
        EXPECT_EQ(lead.STslope(60), 0);
        EXPECT_EQ(lead.ZeroV(), 0);
    };
    expectNothing();
    lead.Create(500, 2.5, 280);
    expectNothing();
    lead.InitTempl(row, 3, 1, 1, 2, 60, 6, 3);
    lead.DeleteTempl();
    expectNothing();
    lead.Delete();
    EXPECT_EQ(lead.Init(), 0);
    expectNothing();
    for (const short window :
         std::initializer_list<short>{0, 3, -280}) {  // ends in no window at all: 3 ms at 250 Hz are none
        CZatTemplRxy windowless(250, 1.0, window);
        windowless.InitTempl(row, 3, 1, 1, 2, 60, 3, 1);
        for (int i = 0; i < 10; ++i) EXPECT_EQ(windowless.rxy(7), 0);
    }
}

TEST(CZatTemplRxy, TakesTheZeroLevelFromFewerSamplesThanItDividesBy) {
    std::vector<short> ramp(400);
    for (std::size_t i = 0; i < ramp.size(); ++i)
        ramp[i] = static_cast<short>(100 + 10 * i);  // 300 at Q = 20
    // By rate: the samples around Q that are summed, and the divisor.
    const std::pair<int, int> expected[] = {{1000, (270 + 280 + 290 + 300 + 310 + 320) / 6},
                                            {500, (290 + 300) / 3},
                                            {360, (290 + 300) / 2},
                                            {334, (290 + 300) / 2},
                                            {333, 0},
                                            {257, 0},
                                            {250, 0},
                                            {167, 0},
                                            {166, 0},
                                            {80, 0}};
    for (const auto& [fs, level] : expected) {
        LeadPair pair(fs, 1.0);
        pair.InitTempl(ramp, 60, 20, 90);
        EXPECT_EQ(pair.lead.ZeroV(), level) << fs;
        EXPECT_EQ(pair.plain.zero, level) << fs;
    }
    // The sum wraps at 16 bits before the division, which truncates toward zero.
    const auto zeroOfConstant = [](int fs, short value) {
        LeadPair pair(fs, 1.0);
        pair.InitTempl(std::vector<short>(400, value), 60, 20, 90);
        return pair.lead.ZeroV();
    };
    EXPECT_EQ(zeroOfConstant(500, 30000), (60000 - 65536) / 3);
    EXPECT_EQ(zeroOfConstant(1000, 32767), -1);  // -6 / 6
    EXPECT_EQ(zeroOfConstant(500, -4), -2);      // -8 / 3
    // At the edge only what lies inside is summed.
    LeadPair edge(500, 1.0);
    edge.InitTempl(ramp, 60, 0, 90);
    EXPECT_EQ(edge.lead.ZeroV(), 100 / 3);
}

TEST(CZatTemplRxy, MeasuresTheWorkedExample) {
    // 500 Hz, 2.5 uV per unit, J at 200: J point 203, ST point after 60 ms 233; the zero level is 30 / 3.
    std::vector<short> row(400, 15);
    row[203] = 50;
    row[233] = 30;
    LeadPair pair(500, 2.5);
    pair.InitTempl(row, 160, 130, 200);
    EXPECT_EQ(pair.lead.JuV(), 100);
    EXPECT_EQ(pair.lead.uvSTvalue(60), 50);
    EXPECT_EQ(pair.lead.uvSTvalue(-1), 50);
    EXPECT_FLOAT_EQ(pair.lead.STslope(-1), -50.0f / 60.0f);
    EXPECT_EQ(pair.lead.uvSTvalue(0), 100);
    EXPECT_TRUE(std::isnan(pair.lead.STslope(0)));
    pair.lead.SetPostJms(0);
    EXPECT_EQ(pair.lead.uvSTvalue(-5), 100);
    // The guard of the levels is Q, that of the slope is J; RuV has none.
    pair.lead.SetPos(0, 200);
    EXPECT_EQ(pair.lead.JuV(), 0);
    EXPECT_EQ(pair.lead.uvSTvalue(60), 0);
    EXPECT_FLOAT_EQ(pair.lead.STslope(60), -50.0f / 60.0f);
    EXPECT_EQ(pair.lead.RuV(), 12);  // (15 - 10) * 2.5, truncated
    pair.lead.SetPos(160, 130, 0);
    EXPECT_EQ(pair.lead.STslope(60), 0);
    EXPECT_EQ(pair.lead.JuV(), 12);
}

TEST(CZatTemplRxy, TruncatesWrapsAndSaturatesMicrovolts) {
    const auto jUv = [](int value, double scale) {
        std::vector<short> row(400, 0);
        row[203] = static_cast<short>(value);
        LeadPair pair(500, scale);
        pair.InitTempl(row, 160, 130, 200);
        return pair.lead.JuV();
    };
    EXPECT_EQ(jUv(-3, 0.305), 0);               // -0.915
    EXPECT_EQ(jUv(13, 4.88), 63);               // 63.44
    EXPECT_EQ(jUv(7000, 4.88), 34160 - 65536);  // wraps at 16 bits
    EXPECT_EQ(jUv(3, 1e9), -1);                 // 3e9 saturates at 0x7FFFFFFF
    EXPECT_EQ(jUv(-3, 1e9), 0);                 // and at 0x80000000
    EXPECT_EQ(jUv(3, std::nan("")), 0);
    std::vector<short> below(400, -300);
    LeadPair pair(500, 1.0);
    pair.InitTempl(below, 160, 130, 200);
    EXPECT_EQ(pair.lead.RuV(), 200) << "the running maximum starts at 0: 0 - (-600 / 3)";
}

TEST(CZatTemplRxy, MeasuresAnyTemplateAsThePlainFormDoes) {
    for (const int fs : kSamplingRates)
        for (const double scale : {4.88, 0.305, 2.5, -7.0}) {
            SCOPED_TRACE(testing::Message() << fs << " Hz, scale " << scale << ", seed 41");
            LeadPair pair(fs, scale);
            std::mt19937 random(41);
            const auto upTo = [&random](int n) {
                return static_cast<int>(random() % static_cast<unsigned>(n));
            };
            for (int round = 0; round < 60; ++round) {
                const int length = fs / 2 + upTo(fs / 3);
                const int q = upTo(length / 3), j = q + upTo(length / 2);
                pair.InitTempl(RandomSamples(static_cast<unsigned>(random()),
                                             static_cast<std::size_t>(length), round % 2 ? 32768 : 500),
                               length / 2, q, j, upTo(300));
                EXPECT_EQ(pair.lead.ReferenceSTuV(), pair.plain.St(-1));
                EXPECT_EQ(pair.lead.ReferenceJuV(), pair.plain.J());
                pair.ExpectSameMeasurements(
                    {-1, 0, 1, 3, 40, 60, 61, 80, 333, 900});  // the last ones lie outside
            }
        }
}
