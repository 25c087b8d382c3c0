// CZatTemplRxy: what one lead answers, in worked cases. Its runs over whole recordings are in the digest.
#include "core/stress/CZatTemplRxy.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <tuple>
#include <utility>
#include <vector>

#include "core/stress/CZatMatch.h"
#include "tests/support/Beats.h"
#include "tests/support/Signals.h"

using Row = std::vector<short>;

/// A lead of `rate` samples per second with the template that the matcher would hand to it.
struct TaughtLead : CZatTemplRxy {
    TaughtLead(int rate, double scale, const Row& row, int posQ = 130, int posJ = 200)
        : CZatTemplRxy(static_cast<short>(rate), scale, 280), fs(rate) {
        Teach(row, posQ, posJ);
    }
    void Teach(const Row& row, int posQ = 130, int posJ = 200) {
        InitTempl(row.data(), static_cast<short>(row.size()), 160, static_cast<short>(posQ),
                  static_cast<short>(posJ), 60, static_cast<short>(fs * 12 / 1000),
                  static_cast<short>(fs * 6 / 1000));
    }
    std::vector<double> Feed(const Row& samples) {
        std::vector<double> answers;
        for (const short sample : samples) answers.push_back(rxy(sample));
        return answers;
    }
    int fs;
};

static const Row g_beat = MakeTemplate(500, 1, 400, 160)[0];

TEST(CZatTemplRxy, IsBlindToSizeAndPolarityAndGivesNanOnlyForSilence) {
    TaughtLead lead(500, 1.0, g_beat), level(500, 1.0, g_beat), flatTemplate(500, 1.0, Row(400, 77));
    Row input(500, 0);  // starts at 0, so that the running sum carries no offset
    for (const short x : g_beat) input.push_back(static_cast<short>(-2 * x));
    input.resize(1200, 0);
    const auto answers = lead.Feed(input);
    EXPECT_TRUE(std::isnan(answers[450]));
    EXPECT_NEAR(*std::max_element(answers.begin() + 600, answers.begin() + 800), 1.0, 1e-12);
    EXPECT_LT(level.Feed(Row(401, 100)).back(), 1e-20) << "the first step stays in the sum for good";
    EXPECT_TRUE(std::isnan(flatTemplate.Feed(input).back()));
}

/// Whether the lead has an estimate of its correlation, which then is a close one.
static bool IsEstimated(const CZatTemplRxy& lead) {
    const double estimate = lead.EstimateRxy(), exact = lead.rxy();
    if (std::isnan(estimate)) return false;
    EXPECT_NEAR(estimate, std::isnan(exact) ? 0 : exact, CorrelationScreen::kMargin / 2);
    return true;
}

TEST(CZatTemplRxy, EstimatesItsCorrelationClosely) {
    SCOPED_TRACE("seeds 1 and 2");
    for (const int windowMs : {2, 30, 32, 34, 280, 900})  // 32 ms are one block of products
        for (const int amplitude : {0, 1, 100, 1000}) {
            CZatTemplRxy lead(500, 1.0, Wrapped(windowMs));
            const Row beat = RandomSamples(1, 400, amplitude), input = RandomSamples(2, 1000, amplitude);
            lead.InitTempl(beat.data(), 400, 160, 130, 200, 60, 6, 3);
            for (std::size_t i = 0; i < input.size(); ++i) {
                lead.Take(i < 600 ? input[i] : Wrapped(beat[i - 600] + input[i] / 4));
                EXPECT_TRUE(IsEstimated(lead)) << windowMs << " ms, " << amplitude << ", sample " << i;
            }
            lead.DeleteTempl();
            EXPECT_FALSE(IsEstimated(lead)) << "without a template";
        }
}

TEST(CZatTemplRxy, EstimatesUpToTheEdgesOfItsNumbers) {
    for (const int t : {32767, 32768})
        for (const int d : {32767, 32768}) {
            const auto step = [](int height) {
                return Row{-16384, -16384, -16384, -16384, Wrapped(height - 16384)};
            };
            CZatTemplRxy lead(500, 1.0, 8);
            lead.InitTempl(step(t).data(), 5, 4, 0, 0, 60, 0, 0);
            for (const short x : step(d)) lead.Take(x);
            EXPECT_EQ(IsEstimated(lead), t < 32768 && d < 32768) << "the square of 32768 is the limit";
        }
    CZatTemplRxy lead(500, 1.0, 600);
    const short beat[] = {0, 100};
    lead.InitTempl(beat, 2, 1, 0, 0, 60, 0, 0);
    for (int length = 300; length > 172; --length) {  // each of 128 signals leaves a difference of 65535
        for (int i = 1; i < length; ++i) lead.Take(-32768);
        lead.Take(32767);
        lead.Create(500, 1.0, 600);
    }
    for (int i = 0; i < 300; ++i) lead.Take(0);
    EXPECT_FALSE(IsEstimated(lead)) << "the template has no mean";
    lead.Average();
    for (const auto& [x, isEstimated] : {std::pair{-127, true}, {-128, false}}) {
        lead.Take(Wrapped(x));
        EXPECT_EQ(IsEstimated(lead), isEstimated) << "the running sum is " << x - 128 * 65535;
    }
}

TEST(CZatTemplRxy, TakesTheZeroLevelFromFewerSamplesThanItDividesBy) {
    Row ramp(400);
    for (std::size_t i = 0; i < ramp.size(); ++i)
        ramp[i] = static_cast<short>(100 + 10 * i);  // 300 at Q = 20
    const auto constant = [](short value) { return Row(400, value); };
    const struct {
        int fs;
        Row row;
        int q, level;
    } cases[] = {{1000, ramp, 20, (270 + 280 + 290 + 300 + 310 + 320) / 6},
                 {500, ramp, 20, (290 + 300) / 3},
                 {360, ramp, 20, (290 + 300) / 2},
                 {250, ramp, 20, 0},
                 {500, ramp, 0, 100 / 3},  // at the edge only what lies inside is summed
                 {500, constant(30000), 20, (60000 - 65536) / 3},  // the sum wraps before the division,
                 {1000, constant(32767), 20, -1},                  // -6 / 6
                 {500, constant(-4), 20, -2}};                     // which truncates toward zero: -8 / 3
    for (const auto& [fs, row, q, level] : cases) {
        EXPECT_EQ(TaughtLead(fs, 1.0, row, q, 90).ZeroV(), level) << fs << " Hz";
    }
    for (const auto& [fs, share] : {std::pair{166, 0.0},
                                    {333, 0},
                                    {334, 1},
                                    {499, 1},
                                    {500, 2 / 3.0},
                                    {666, 2 / 3.0},
                                    {667, 1},
                                    {900, 0.8},
                                    {1000, 1}}) {
        const CZatMatch engine(static_cast<short>(fs), 1, 1.0, false, 280);
        EXPECT_DOUBLE_EQ(engine.Geometry().ZeroShare(), share) << fs << " Hz";
        EXPECT_EQ(TaughtLead(fs, 2.0, constant(3000)).ZeroUv(), std::lround(6000 * share)) << fs << " Hz";
    }
}

TEST(CZatTemplRxy, MeasuresTheWorkedExample) {
    // 500 Hz, 2.5 uV per unit, J at 200: J point 203, ST point after 60 ms 233; the zero level is 30 / 3.
    Row row(400, 15);
    row[3] = 20;
    row[203] = 50;
    row[233] = 30;
    TaughtLead lead(500, 2.5, row);
    EXPECT_EQ(lead.JuV(), 100);
    EXPECT_EQ(lead.ReferenceJuV(), 100);
    EXPECT_EQ(lead.ReferenceSTuV(), 50);
    EXPECT_EQ(lead.uvSTvalue(-1), 50);
    EXPECT_FLOAT_EQ(lead.STslope(-1), -50.0f / 60.0f);
    EXPECT_TRUE(std::isnan(lead.STslope(0)));
    lead.SetPostJms(0);
    EXPECT_EQ(lead.uvSTvalue(-5), 100);
    // The guard of the levels is Q, that of the slope is J; RuV has none.
    lead.SetPos(0, 200);
    EXPECT_EQ(lead.JuV() | lead.uvSTvalue(60), 0);
    EXPECT_FLOAT_EQ(lead.STslope(60), -50.0f / 60.0f);
    EXPECT_EQ(lead.RuV(), 25);
    lead.SetPos(160, 130, 0);
    EXPECT_EQ(lead.STslope(60), 0);
    EXPECT_EQ(lead.JuV(), 25);
    // R counts from Q on and up to J, against the zero level of the old Q; (15 - 10) * 2.5 is truncated.
    for (const auto& [q, j, uV] :
         {std::tuple{203, 204, 100}, {204, 233, 12}, {204, 234, 50}, {-5, 203, 25}}) {
        lead.SetPos(static_cast<short>(q), static_cast<short>(j));
        EXPECT_EQ(lead.RuV(), uV) << q << " to " << j;
    }
    // The last sample is measured; a point beyond the template is 0.
    for (const auto& [j, uV] : {std::pair{396, 12}, {397, 0}, {32767, 0}, {-5, 0}}) {
        lead.SetPos(130, static_cast<short>(j));
        EXPECT_EQ(lead.JuV(), uV) << j;
        EXPECT_EQ(lead.uvSTvalue(2), 0) << j;
        EXPECT_EQ(lead.STslope(2), 0) << j;
    }
}
