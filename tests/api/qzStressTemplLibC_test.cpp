#include "api/qzStressTemplLibC.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <mutex>
#include <thread>
#include <tuple>
#include <vector>

#include "api/qzDfs.h"
#include "api/qzFilters.h"
#include "api/qzStressECGLib.h"
#include "core/stress/ExerciseIndices.h"
#include "tests/support/Beats.h"

static_assert(sizeof(qzc_st_result) == 20 && offsetof(qzc_st_result, STslope) == 12);

namespace {

constexpr short kFs = 500, kLeads = 4, kLength = 450, kPosQ = 160, kPosJ = 210, kPostJms = 60, kRRms = 800;
constexpr double kUVpb = 2.0;
constexpr std::size_t kCount = kLeads;

Recording Stream() {
    return BeatTrain(kFs, kCount)
        .Noise(8, 3)
        .Beats(800, 4)
        .Beats(740, 3)
        .Form({1.0, 0.1, 900})
        .Beats(860, 4)
        .Record();
}

/// Everything that one run of the stream answers, in order.
using Answers = std::vector<double>;

template <typename Values>
void Append(Answers& answers, const Values& values, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) answers.push_back(static_cast<double>(values[i]));
}

template <typename Result>
void AppendResult(Answers& answers, const Result& s) {
    Append(answers, std::vector<short>{s.RuV, s.JuV, s.STuV, s.deltaSTuV, s.deltaJuV}, 5);
    Append(answers, std::vector<float>{s.STslope, s.STHRindex}, 2);
}

Answers RunFlat(Recording stream) {
    Answers answers;
    qzFilters_create(kFs, kLeads, 40, 50, 1);
    qzDfs_create(kLeads, kUVpb);
    qzStressECGLib_init(false);
    qzStressECGLib_create(kFs, kLeads, kUVpb);
    qzStressECGLib_InitMultiMeanRRms(kFs, kLeads, 50, kUVpb);
    auto beat = MakeTemplate(kFs, kCount, kLength, 180);
    short length = kLength;
    qzStressECGLib_InitTempl(beat.Pointers(), length, kPosQ, kPosJ, kPostJms);
    answers.push_back(length);
    for (std::size_t i = 0; i < stream.Frames(); ++i) {
        const bool late = i >= stream.Frames() / 2;
        if (i == stream.Frames() / 2) {
            answers.push_back(qzStressECGLib_SetPos(150, 205));
            answers.push_back(qzStressECGLib_SetPostJms(80));
            qzFilters_switch(true, true, false);
        }
        short* frame = stream.Frame(i);
        qzFilters_filters(frame);
        Append(answers, frame, kCount);
        for (const auto& row : qzDfs_getData(frame)) Append(answers, row, row.size());
        answers.push_back(qzStressECGLib_MeanRRms(frame[0], frame[1], frame[2]));
        answers.push_back(late ? qzStressECGLib_MultiMeanHR(frame) : qzStressECGLib_MultiMeanRRms(frame));
        short** templ = qzStressECGLib_match(frame);
        answers.push_back(templ != nullptr);
        if (templ == nullptr) continue;
        short r = 0, q = 0, j = 0, ms = 0;
        const short kept = qzStressECGLib_GetPos(r, q, j, ms);
        Append(answers, std::vector<short>{kept, r, q, j, ms}, 5);
        for (std::size_t lead = 0; lead < kCount; ++lead)
            Append(answers, templ[lead], static_cast<std::size_t>(kept));
        Append(answers, qzStressECGLib_STslope(), kCount);
        Append(answers, qzStressECGLib_uvSTvalue(), kCount);
        const STresult* results = qzStressECGLib_STresults(kRRms);
        for (std::size_t lead = 0; lead < kCount; ++lead) AppendResult(answers, results[lead]);
    }
    return answers;
}

std::vector<short> Flattened(const TemplateRows& rows) {
    std::vector<short> samples;
    for (const auto& row : rows.Rows()) samples.insert(samples.end(), row.begin(), row.end());
    return samples;
}

bool SetUpDoor() {
    const auto beat = Flattened(MakeTemplate(kFs, kCount, kLength, 180));
    return qzc_filters_create(kFs, kLeads, 40, 50, 1) && qzc_dfs_create(kLeads, kUVpb) &&
           qzc_stress_init(false) && qzc_stress_create(kFs, kLeads, kUVpb) &&
           qzc_multi_init(kFs, kLeads, 50, kUVpb) &&
           qzc_stress_init_templ(beat.data(), kCount, kLength, kPosQ, kPosJ, kPostJms, nullptr);
}

/// Every call with an array, with the wrong number of elements or with null.
void ExpectRefusals() {
    std::vector<short> samples(kCount * 40000, 77);
    std::vector<float> floats(kCount + 1, 77.0F);
    std::vector<qzc_st_result> results(kCount + 1);
    short* const any = samples.data();
    for (const std::size_t wrong : {kCount - 1, kCount + 1}) {
        EXPECT_FALSE(qzc_stress_init_templ(any, wrong, 400, 150, 190, 60, nullptr));
        EXPECT_FALSE(qzc_stress_match(any, wrong));
        EXPECT_FALSE(qzc_stress_st_slope(floats.data(), wrong));
        EXPECT_FALSE(qzc_stress_st_level(any, wrong));
        EXPECT_FALSE(qzc_stress_st_results(kRRms, results.data(), wrong));
        EXPECT_EQ(qzc_multi_mean_rr_ms(any, wrong), -1);
        EXPECT_EQ(qzc_multi_mean_hr(any, wrong), -1);
        EXPECT_FALSE(qzc_filters_filters(any, wrong));
        EXPECT_FALSE(qzc_dfs_get_data(any, wrong, any, 2 * kCount + 2));
    }
    EXPECT_FALSE(qzc_stress_init_templ(nullptr, kCount, 400, 150, 190, 60, nullptr));
    EXPECT_FALSE(qzc_stress_init_templ(any, kCount, 32768, 150, 190, 60, nullptr));
    EXPECT_FALSE(qzc_stress_match(nullptr, kCount));
    EXPECT_FALSE(qzc_stress_st_slope(nullptr, kCount));
    EXPECT_FALSE(qzc_stress_st_level(nullptr, kCount));
    EXPECT_FALSE(qzc_stress_st_results(kRRms, nullptr, kCount));
    EXPECT_EQ(qzc_multi_mean_rr_ms(nullptr, kCount), -1);
    EXPECT_EQ(qzc_multi_mean_hr(nullptr, kCount), -1);
    EXPECT_FALSE(qzc_filters_filters(nullptr, kCount));
    EXPECT_FALSE(qzc_dfs_get_data(nullptr, kCount, any, 2 * kCount));
    EXPECT_FALSE(qzc_dfs_get_data(any, kCount, nullptr, 2 * kCount));
    EXPECT_FALSE(qzc_dfs_get_data(any, kCount, any, 2 * kCount - 1));
    EXPECT_EQ(qzc_stress_get_pos(nullptr, any, any, any), 0);
    EXPECT_TRUE(std::all_of(samples.begin(), samples.end(), [](short s) { return s == 77; }));
    EXPECT_TRUE(std::all_of(floats.begin(), floats.end(), [](float f) { return f == 77.0F; }));
}

/// The same run through the C door, with a round of refused calls before every 50th frame where asked for.
Answers RunDoor(Recording stream, bool withRefusals) {
    Answers answers;
    EXPECT_TRUE(SetUpDoor());
    const auto beat = Flattened(MakeTemplate(kFs, kCount, kLength, 180));
    short length = 0;
    EXPECT_TRUE(qzc_stress_init_templ(beat.data(), kCount, kLength, kPosQ, kPosJ, kPostJms, &length));
    answers.push_back(length);
    for (std::size_t i = 0; i < stream.Frames(); ++i) {
        const bool late = i >= stream.Frames() / 2;
        if (i == stream.Frames() / 2) {
            answers.push_back(qzc_stress_set_pos(150, 205));
            answers.push_back(qzc_stress_set_post_j_ms(80));
            qzc_filters_switch(true, true, false);
        }
        if (withRefusals && i % 50 == 0) ExpectRefusals();
        short* frame = stream.Frame(i);
        EXPECT_TRUE(qzc_filters_filters(frame, kCount));
        Append(answers, frame, kCount);
        short doubled[2 * kCount];
        EXPECT_TRUE(qzc_dfs_get_data(frame, kCount, doubled, 2 * kCount));
        Append(answers, doubled, 2 * kCount);
        answers.push_back(qzc_stress_mean_rr_ms(frame[0], frame[1], frame[2]));
        answers.push_back(late ? qzc_multi_mean_hr(frame, kCount) : qzc_multi_mean_rr_ms(frame, kCount));
        answers.push_back(qzc_stress_match(frame, kCount));
        if (answers.back() == 0) continue;
        short r = 0, q = 0, j = 0, ms = 0;
        const short kept = qzc_stress_get_pos(&r, &q, &j, &ms);
        Append(answers, std::vector<short>{kept, r, q, j, ms}, 5);
        std::vector<short> templ(kCount * static_cast<std::size_t>(kept)), level(kCount);
        std::vector<float> slope(kCount);
        qzc_st_result results[kCount];
        EXPECT_EQ(qzc_stress_get_templ(templ.data(), templ.size()), templ.size());
        EXPECT_TRUE(qzc_stress_st_slope(slope.data(), kCount));
        EXPECT_TRUE(qzc_stress_st_level(level.data(), kCount));
        EXPECT_TRUE(qzc_stress_st_results(kRRms, results, kCount));
        Append(answers, templ, templ.size());
        Append(answers, slope, kCount);
        Append(answers, level, kCount);
        for (const qzc_st_result& result : results) AppendResult(answers, result);
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

TEST_F(qzStressTemplLibC, AnswersAsTheFlatFunctionsAndRefusedCallsChangeNothing) {
    RunFlat(Stream());  // the average of the many-lead heart rate keeps its intervals from run to run
    const Answers flat = RunFlat(Stream());
    EXPECT_GT(flat.size(), Stream().Frames() * 15 + 5 * kCount * 400);  // five matches at least
    for (const bool withRefusals : {false, true}) {
        const Answers door = RunDoor(Stream(), withRefusals);
        ASSERT_EQ(door.size(), flat.size());
        const auto [a, b] = std::mismatch(door.begin(), door.end(), flat.begin());
        ASSERT_TRUE(a == door.end()) << "answer " << a - door.begin() << ": " << *a << ", flat " << *b;
    }
}

TEST_F(qzStressTemplLibC, AnswersWithNothingWhereNothingIsBuiltNoLongerOrCannotBe) {
    for (int round = 0; round < 3; ++round) {
        SCOPED_TRACE(testing::Message() << "round " << round);
        if (round > 0) {
            EXPECT_TRUE(SetUpDoor());
        }
        if (round == 1) {
            qzc_stress_destroy();
            qzc_dfs_destroy();
        } else if (round == 2) {
            EXPECT_FALSE(qzc_stress_create(kFs, -1, kUVpb));
            EXPECT_FALSE(qzc_dfs_create(-1, kUVpb));
        }
        EXPECT_FALSE(qzc_multi_init(kFs, -1, 50, kUVpb));  // this one has no destroy
        ExpectRefusals();
        std::vector<short> frame(2 * kCount, 5);
        std::vector<float> slope(kCount);
        std::vector<qzc_st_result> results(kCount);
        for (const std::size_t count : {std::size_t{0}, kCount}) {
            EXPECT_FALSE(qzc_stress_init_templ(frame.data(), count, 1, 0, 0, 0, nullptr));
            EXPECT_FALSE(qzc_stress_match(frame.data(), count));
            EXPECT_FALSE(qzc_stress_st_slope(slope.data(), count));
            EXPECT_FALSE(qzc_stress_st_level(frame.data(), count));
            EXPECT_FALSE(qzc_stress_st_results(kRRms, results.data(), count));
            EXPECT_EQ(qzc_multi_mean_rr_ms(frame.data(), count), -1);
            EXPECT_EQ(qzc_multi_mean_hr(frame.data(), count), -1);
            EXPECT_FALSE(qzc_dfs_get_data(frame.data(), count, frame.data(), 2 * count));
        }
        EXPECT_EQ(qzc_stress_get_templ(frame.data(), frame.size()), 0U);
        short r = 1, q = 2, j = 3, ms = 4;
        EXPECT_EQ(qzc_stress_get_pos(&r, &q, &j, &ms), 0);
        EXPECT_EQ(std::vector<short>({r, q, j, ms}), std::vector<short>({1, 2, 3, 4}));
        EXPECT_EQ(qzc_stress_set_pos(123, 45), 123);
        EXPECT_EQ(qzc_stress_set_post_j_ms(77), 77);
        EXPECT_EQ(qzc_stress_mean_rr_ms(1, 2, 3), -1);
        EXPECT_EQ(frame, std::vector<short>(2 * kCount, 5));
    }
}

TEST_F(qzStressTemplLibC, LeavesFramesAsTheyAreWithoutAChain) {
    short frame[kCount] = {900, -900, 30, 40};
    const std::vector<short> before(frame, frame + kCount);
    ASSERT_TRUE(qzc_filters_create(kFs, kLeads, 40, 50, 1));
    qzc_filters_destroy();
    qzc_filters_filters(frame, kCount);
    EXPECT_FALSE(qzc_filters_create(kFs, -1, 40, 50, 1));
    EXPECT_FALSE(qzc_filters_filters(frame, kCount));
    EXPECT_EQ(std::vector<short>(frame, frame + kCount), before);
}

TEST_F(qzStressTemplLibC, CopiesTheTemplateOnlyWhereItFitsAndThereIsOne) {
    ASSERT_TRUE(qzc_stress_create(kFs, kLeads, kUVpb));
    std::vector<short> templ(kCount * kLength, 77);
    EXPECT_EQ(qzc_stress_get_templ(templ.data(), templ.size()), 0U);
    ASSERT_TRUE(SetUpDoor());
    const std::size_t samples = qzc_stress_get_templ(nullptr, 0);
    EXPECT_EQ(samples, kCount * 400);  // 800 ms of the 900
    EXPECT_EQ(qzc_stress_get_templ(templ.data(), samples - 1), samples);
    EXPECT_EQ(templ, std::vector<short>(kCount * kLength, 77));
    EXPECT_EQ(qzc_stress_get_templ(templ.data(), templ.size()), samples);
    EXPECT_EQ(templ[samples], 77);
    for (std::size_t lead = 0; lead < kCount; ++lead)
        EXPECT_TRUE(
            std::equal(&templ[lead * 400], &templ[lead * 400] + 400, qzStressECGLib_getTempl()[lead]));
}

TEST_F(qzStressTemplLibC, LocksTheMutexOfTheEngine) {
    EXPECT_FALSE(qzc_stress_lock());
    qzc_stress_unlock();
    ASSERT_TRUE(SetUpDoor() && qzc_stress_init(true) && qzc_stress_create(kFs, kLeads, kUVpb));
    EXPECT_EQ(qzc_stress_get_templ(nullptr, 0), 0U);  // that of the earlier engine is gone
    const std::vector<short> beat(kCount * 300);
    ASSERT_TRUE(qzc_stress_init_templ(beat.data(), kCount, 300, 100, 150, 60, nullptr));
    const auto isFree = [] {  // as another thread sees it
        bool taken = false;
        std::thread([&taken] {
            taken = qzStressECGLib_mutex()->try_lock();
            if (taken) qzStressECGLib_mutex()->unlock();
        }).join();
        return taken;
    };
    ASSERT_TRUE(qzc_stress_lock());
    EXPECT_FALSE(isFree());
    EXPECT_EQ(qzc_stress_get_templ(nullptr, 0), kCount * 300);  // made to be called under the lock
    qzc_stress_unlock();
    EXPECT_TRUE(isFree());
    qzc_stress_init(false);
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
