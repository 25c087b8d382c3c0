#include "api/qzStressTemplLibC.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <tuple>
#include <vector>

#include "core/stress/ExerciseIndices.h"
#include "tests/bindings/FlatRun.h"

static_assert(sizeof(qzc_st_result) == 20 && offsetof(qzc_st_result, STslope) == 12);

namespace {

using namespace run;

bool SetUpDoor(short* keptLength = nullptr) {
    const TemplateRows rows = FirstBeat();
    std::vector<short> beat;
    for (const auto& row : rows.Rows()) beat.insert(beat.end(), row.begin(), row.end());
    return qzc_filters_create(kFs, kLeads, kLowpassHz, kNotchHz, kSmooth) && qzc_dfs_create(kLeads, kUVpb) &&
           qzc_stress_init(false) && qzc_stress_create(kFs, kLeads, kUVpb) &&
           qzc_multi_init(kFs, kLeads, kNotchHz, kUVpb) &&
           qzc_stress_init_templ(beat.data(), kCount, kLength, kPosQ, kPosJ, kPostJms, keptLength);
}

constexpr std::size_t kLongestRow = 40000;  // longer than any template

/// Every call that takes or fills an array with elements for every lead, with `count` for the number of
/// leads.
void ExpectRefused(short* samples, float* slopes, qzc_st_result* results, std::size_t count) {
    EXPECT_FALSE(qzc_stress_init_templ(samples, count, 1, 0, 0, 0, nullptr));
    EXPECT_FALSE(qzc_stress_match(samples, count));
    EXPECT_FALSE(qzc_stress_st_slope(slopes, count));
    EXPECT_FALSE(qzc_stress_st_level(samples, count));
    EXPECT_FALSE(qzc_stress_st_results(kRRms, results, count));
    EXPECT_EQ(qzc_multi_mean_rr_ms(samples, count), -1);
    EXPECT_EQ(qzc_multi_mean_hr(samples, count), -1);
    EXPECT_FALSE(qzc_filters_filters(samples, count));
    short doubled[2 * kCount + 2];
    EXPECT_FALSE(qzc_dfs_get_data(samples, count, doubled, 2 * count));
}

/// Calls with wrong counts, with null and, while nothing is built, with the right count. No array changes.
void ExpectRefusals(bool built) {
    std::vector<short> samples(kCount * kLongestRow, 77);
    std::vector<float> slopes(kCount + 1, 77.0F);
    std::vector<qzc_st_result> results(kCount + 1);
    short* const any = samples.data();
    for (const std::size_t wrong : {kCount - 1, kCount + 1})
        ExpectRefused(any, slopes.data(), results.data(), wrong);
    ExpectRefused(nullptr, nullptr, nullptr, kCount);
    EXPECT_FALSE(qzc_stress_init_templ(any, kCount, 32768, 150, 190, 60, nullptr));
    EXPECT_FALSE(qzc_dfs_get_data(any, kCount, nullptr, 2 * kCount));
    EXPECT_FALSE(qzc_dfs_get_data(any, kCount, any, 2 * kCount - 1));
    EXPECT_EQ(qzc_stress_get_pos(nullptr, any, any, any), 0);
    if (!built) {
        ExpectRefused(any, slopes.data(), results.data(), kCount);
        ExpectRefused(any, slopes.data(), results.data(), 0);
    }
    EXPECT_TRUE(std::all_of(samples.begin(), samples.end(), [](short s) { return s == 77; }));
    EXPECT_TRUE(std::all_of(slopes.begin(), slopes.end(), [](float f) { return f == 77.0F; }));
}

/// The run of the flat interface, with a round of refused calls before every 50th frame where asked for.
Answers ThroughDoor(Recording stream, bool withRefusals) {
    Answers answers;
    short length = 0;
    EXPECT_TRUE(SetUpDoor(&length));
    for (std::size_t i = 0; i < stream.Frames(); ++i) {
        const bool late = i >= stream.Frames() / 2;
        if (i == stream.Frames() / 2) {
            answers.Add("new positions", qzc_stress_set_pos(kMovedQ, kMovedJ));
            answers.Add("new positions", qzc_stress_set_post_j_ms(kMovedMs));
            qzc_filters_switch(true, true, false);
        }
        if (i == stream.Frames() * 3 / 4) qzc_filters_switch(true, false, true);
        if (withRefusals && i % 50 == 0) ExpectRefusals(true);
        short* frame = stream.Frame(i);
        EXPECT_TRUE(qzc_filters_filters(frame, kCount));
        answers.Add("filtered", frame, kCount);
        short doubled[2 * kCount];
        EXPECT_TRUE(qzc_dfs_get_data(frame, kCount, doubled, 2 * kCount));
        answers.Add("doubled", doubled, 2 * kCount);
        answers.Add("RR of three leads", qzc_stress_mean_rr_ms(frame[0], frame[1], frame[2]));
        answers.Add("many leads",
                    late ? qzc_multi_mean_hr(frame, kCount) : qzc_multi_mean_rr_ms(frame, kCount));
        if (!qzc_stress_match(frame, kCount)) continue;
        answers.Add("match", static_cast<double>(i));
        short r = 0, q = 0, j = 0, ms = 0;
        EXPECT_EQ(qzc_stress_get_pos(&r, &q, &j, &ms), length);
        answers.Add("length", length);
        answers.Add("positions", std::vector<short>{q, j, ms, r}, 4);
        std::vector<short> templ(kCount * static_cast<std::size_t>(length)), level(kCount);
        std::vector<float> slope(kCount);
        EXPECT_EQ(qzc_stress_get_templ(templ.data(), templ.size()), templ.size());
        answers.Add("template", templ, templ.size());
        EXPECT_TRUE(qzc_stress_st_slope(slope.data(), kCount));
        answers.Add("ST slope", slope, kCount);
        EXPECT_TRUE(qzc_stress_st_level(level.data(), kCount));
        answers.Add("ST level", level, kCount);
        qzc_st_result results[kCount];
        EXPECT_TRUE(qzc_stress_st_results(kRRms, results, kCount));
        for (const qzc_st_result& s : results) {
            answers.Add("ST results", std::vector<short>{s.RuV, s.JuV, s.STuV, s.deltaSTuV, s.deltaJuV}, 5);
            answers.Add("ST results", std::vector<float>{s.STslope, s.STHRindex}, 2);
        }
    }
    return answers;
}

class qzStressTemplLibC : public testing::Test {
protected:
    ~qzStressTemplLibC() override {
        qzc_stress_destroy();
        qzc_filters_destroy();
        qzc_dfs_destroy();
    }
};

TEST_F(qzStressTemplLibC, RepeatsTheRunOfTheFlatFunctionsAndRefusedCallsChangeNothing) {
    const Answers flat = RepeatedFlat(Stream());
    EXPECT_GT(flat.Count("match"), 8U);
    for (const bool withRefusals : {false, true})
        EXPECT_EQ(flat.Difference(ThroughDoor(Stream(), withRefusals)), "");
}

TEST_F(qzStressTemplLibC, AnswersWithNothingWhereNothingIsBuiltNoLongerOrCannotBe) {
    const auto expectNothing = [] {
        EXPECT_FALSE(qzc_multi_init(kFs, -1, 50, kUVpb));  // this one has no destroy
        ExpectRefusals(false);
        EXPECT_EQ(qzc_stress_get_templ(nullptr, 0), 0U);
        short r = 1, q = 2, j = 3, ms = 4;
        EXPECT_EQ(qzc_stress_get_pos(&r, &q, &j, &ms), 0);
        EXPECT_EQ(std::vector<short>({r, q, j, ms}), std::vector<short>({1, 2, 3, 4}));
        EXPECT_EQ(qzc_stress_set_pos(123, 45), 123);
        EXPECT_EQ(qzc_stress_set_post_j_ms(77), 77);
        EXPECT_EQ(qzc_stress_mean_rr_ms(1, 2, 3), -1);
    };
    expectNothing();

    EXPECT_TRUE(SetUpDoor());
    qzc_stress_destroy();
    qzc_dfs_destroy();
    qzc_filters_destroy();
    expectNothing();

    EXPECT_TRUE(SetUpDoor());
    EXPECT_FALSE(qzc_stress_create(kFs, -1, kUVpb));
    EXPECT_FALSE(qzc_dfs_create(-1, kUVpb));
    EXPECT_FALSE(qzc_filters_create(kFs, -1, 40, 50, 1));
    expectNothing();
}

TEST_F(qzStressTemplLibC, CopiesTheTemplateOnlyWhereItFitsAndThereIsOne) {
    ASSERT_TRUE(qzc_stress_create(kFs, kLeads, kUVpb));
    std::vector<short> templ(kCount * kLength, 77);
    EXPECT_EQ(qzc_stress_get_templ(templ.data(), templ.size()), 0U);
    ASSERT_TRUE(SetUpDoor());
    const std::size_t samples = qzc_stress_get_templ(nullptr, 0);
    EXPECT_EQ(samples, kCount * 200);  // 800 ms of the 880
    EXPECT_EQ(qzc_stress_get_templ(templ.data(), samples - 1), samples);
    EXPECT_EQ(templ, std::vector<short>(kCount * kLength, 77));
    EXPECT_EQ(qzc_stress_get_templ(templ.data(), templ.size()), samples);
    EXPECT_NE(templ[samples - 1], 77);
    EXPECT_EQ(templ[samples], 77);
}

TEST_F(qzStressTemplLibC, ForwardsTheExerciseIndices) {
    EXPECT_EQ(qzc_duke(600, -0.1F, 1), 1);
    EXPECT_EQ(qzc_duke(600, 0.0F, 9000), DukeScore(600, 0.0F, 9000));
    short score = 77;
    EXPECT_FALSE(qzc_duke_checked(600, 0.0F, 9000, &score));
    EXPECT_EQ(score, 77);
    EXPECT_TRUE(qzc_duke_checked(600, -0.1F, 1, &score));
    EXPECT_EQ(score, 1);
    EXPECT_TRUE(qzc_duke_checked(600, -0.1F, 1, nullptr));

    const float power[] = {50, 100, 150}, rate[] = {110, 130, 150};
    float pwc[3] = {};
    const auto values = [&pwc] { return std::vector<float>(pwc, pwc + 3); };
    qzc_pwc(power, rate, 3, pwc);
    EXPECT_EQ(values(), std::vector<float>({100, 150, -1}));
    for (const auto& [p, hr, count] : {std::tuple{power, rate, 2}, {nullptr, rate, 3}, {power, nullptr, 3}}) {
        qzc_pwc(p, hr, static_cast<std::size_t>(count), pwc);
        EXPECT_EQ(values(), std::vector<float>({-1, -1, -1}));
        std::fill_n(pwc, 3, 0.0F);
    }
    qzc_pwc(power, rate, 3, nullptr);
    EXPECT_EQ(qzc_heart_rate_of_three_leads(801), 75);
    EXPECT_EQ(qzc_heart_rate_of_many_leads(801), 74);
}

}  // namespace
