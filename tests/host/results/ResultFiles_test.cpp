#include "host/results/ResultFiles.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <nlohmann/json.hpp>

#include "tests/support/Folder.h"

namespace {

class ResultFilesTest : public testing::Test {
protected:
    ResultFilesTest() {
        m_result.source = {"r\xFF", 250, 2.5, {"I", "a,b"}, 0, "", {"remark"}};
        m_result.learned.usable = {true, false};
        m_result.referenceBeatUv = m_result.latestBeatUv = {{1, 2}, {3, 4}};
        m_result.reference = {{10, 15}, "as asked for"};
        for (int i = 0; i < 7; ++i)
            m_result.beats.push_back({10.0 + i,
                                      i == 0 ? std::nan("") : 60,
                                      {50.F - static_cast<float>(i), 8},
                                      {0.25F, 0},
                                      i == 0 ? std::nan("") : 990});
        m_result.rates = {{11, 60}};
        m_result.off = {{}, {{2, 5}}};
        m_result.disturbed.resize(2);
    }
    const Folder m_folder;
    StressResult m_result;
};

TEST_F(ResultFilesTest, CsvHasARowPerBeatOrPerStretchAndLeavesUnknownFiguresEmpty) {
    WriteWhole(m_folder.Path("a.csv"), [&](PendingFile& file) { WriteTrendsCsv(file, m_result, 0); });
    EXPECT_THAT(m_folder.Bytes("a.csv"),
                testing::StartsWith("time_s,rr_ms,heart_rate_per_min,I_st_uv,I_slope_uv_per_ms,I_change_uv,"
                                    "I_sthr_uv_min,\"a,b_st_uv\",\"a,b_slope_uv_per_ms\",\"a,b_change_uv\","
                                    "\"a,b_sthr_uv_min\",reference_from_s,reference_to_s\n"
                                    "10.000,,,50,0.250,2,,8,0.000,0,,10.000,15.000\n"
                                    "11.000,990,60.0,49,0.250,1,0.817,8,0.000,0,0.133,10.000,15.000\n"));
    WriteWhole(m_folder.Path("b.csv"), [&](PendingFile& file) { WriteTrendsCsv(file, m_result, 3); });
    const std::string every = m_folder.Bytes("b.csv");
    EXPECT_EQ(std::count(every.begin(), every.end(), '\n'), 4);
    EXPECT_THAT(every, testing::AllOf(testing::HasSubstr("\n10.000"), testing::HasSubstr("\n12.000"),
                                      testing::HasSubstr("\n15.000")));
}

TEST_F(ResultFilesTest, JsonHoldsEverythingAndIsWhole) {
    ExerciseSummary exercise;
    exercise.duke = Duke{{-1.25, 0, 12, -1}, 7.75, 7, "low"};
    exercise.stages = {{0, 0, "rest"}, {12, 50, ""}};
    exercise.sthr = {{1.5, {2.5, 4}}, {NAN, {}}};
    exercise.pwcWatts[1] = 150;
    exercise.peakBpm = std::nan("");
    WriteWhole(m_folder.Path("r.json"),
               [&](PendingFile& file) { WriteResultJson(file.Stream(), m_result, exercise); });
    const auto json = nlohmann::json::parse(m_folder.Bytes("r.json"));
    EXPECT_EQ(json.at("schema"), "qzstress-result-1");
    EXPECT_EQ(json.at("record").at("sampling_rate_hz"), 250);
    EXPECT_EQ(json.at("st").size(), 7U);
    EXPECT_EQ(json.at("st")[1].at("level_uv"), (std::vector<double>{49, 8}));
    EXPECT_TRUE(json.at("st")[0].at("heart_rate_per_min").is_null());
    EXPECT_EQ(json.at("heart_rate")[0].at("heart_rate_per_min"), 60);
    EXPECT_EQ(json.at("leads")[0].at("largest_change_uv"), -4);
    EXPECT_EQ(json.at("leads")[0].at("reference_beats"), 5);
    EXPECT_EQ(json.at("leads")[0].at("published_sthr_slope_points"), 4);
    EXPECT_TRUE(json.at("leads")[1].at("published_sthr_index_uv_min").is_null());
    EXPECT_EQ(json.at("reference").at("to_s"), 15);
    EXPECT_EQ(json.at("exercise").at("duke_detail").dump(),
              R"({"points":7.75,"risk":"low","st_lead":"I","st_mm":1.25,"st_net_mm":-1.25,"st_s":12.0,)"
              R"("st_slope_uv_per_ms":-1.0,"st_stage":"2"})");
    EXPECT_EQ(json.at("leads")[1].at("off")[0].at("to_s"), 5);
    EXPECT_EQ(json.at("exercise").at("duke"), 7);
    EXPECT_TRUE(json.at("exercise").at("pwc130_w").is_null());
    EXPECT_TRUE(json.at("exercise").at("peak_heart_rate_per_min").is_null());
    EXPECT_EQ(json.at("averaged_beat").at("usable_leads"), std::vector<std::string>{"I"});
    m_result.beats.clear();
    m_result.rates.clear();
    WriteWhole(m_folder.Path("none.json"),
               [&](PendingFile& file) { WriteResultJson(file.Stream(), m_result, exercise); });
    EXPECT_TRUE(nlohmann::json::parse(m_folder.Bytes("none.json")).at("st").empty());
}

}  // namespace
