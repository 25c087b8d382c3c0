#include "host/simulate/TruthFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "host/record/Annotations.h"
#include "host/record/WfdbRecord.h"
#include "host/simulate/Simulate.h"
#include "tests/support/Folder.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

SimulatedTestOptions Short() {
    SimulatedTestOptions options;
    options.seconds = 60.3;
    options.ectopySeconds = 8;
    options.protocol = SimulatedProtocol::Bruce;
    options.leads = {"V5", "aVR", "II"};
    return options;
}

void ReadToTheEnd(SimulatedTest& test) {
    std::vector<short> frame(test.Info().leads.size());
    while (test.Read(frame.data())) continue;
}

TEST(Truth, ReadsBackWhatTheTestKnows) {
    const Folder folder;
    SimulatedTest test(Short());
    ReadToTheEnd(test);
    WriteWhole(folder.Path("t.json"), [&](PendingFile& file) { WriteTruth(file, test, {80, 0.5}); });
    const RecordedTruth truth = ReadTruth(folder.Path("t.json"));
    EXPECT_EQ(truth.fs, 500);
    EXPECT_EQ(truth.seconds, 60.3);
    EXPECT_EQ(truth.postJms, 80);
    EXPECT_EQ(truth.leads, Short().leads);
    ASSERT_EQ(truth.stages.size(), test.Stages().size());
    EXPECT_EQ(truth.stages[1].startSeconds, test.Stages()[1].startSeconds);
    EXPECT_EQ(truth.stages[0].watts, 0);
    EXPECT_EQ(truth.stages[1].watts, std::nullopt);
    EXPECT_EQ(truth.stages[1].name, "Bruce 1");
    EXPECT_EQ(DescribePower(truth.stages[1]), "2.7 km/h, 10 %");
    ASSERT_EQ(truth.beats.size(), test.Beats().size());
    for (std::size_t i = 0; i < truth.beats.size(); ++i) {
        const SimulatedBeat &read = truth.beats[i], &written = test.Beats()[i];
        EXPECT_TRUE(read.r == written.r && read.rrMs == written.rrMs && read.onsetMs == written.onsetMs &&
                    read.jMs == written.jMs && read.type == written.type)
            << i;
    }
    ASSERT_EQ(truth.course.size(), 121U);
    // Rows hold to their last digit; a straight line between two comes close.
    for (const double at : {10.0, 30.5, 60.0, 20.25, 41.9}) {
        const bool isRow = std::fmod(at, 0.5) == 0;
        EXPECT_NEAR(truth.Bpm(at), test.TrueHeartRate(at), isRow ? 0.0005 : 0.2) << at;
        for (std::size_t lead = 0; lead < 3; ++lead) {
            EXPECT_NEAR(truth.LevelUv(lead, at), test.TrueSTuV(lead, at, 80), isRow ? 0.005 : 3) << at;
            EXPECT_NEAR(truth.SlopeUvPerMs(lead, at), test.TrueSTslope(lead, at, 80), isRow ? 5e-6 : 0.02)
                << at;
        }
    }
    EXPECT_EQ(truth.Bpm(-5), truth.course.front().bpm);
    EXPECT_EQ(truth.LevelUv(0, 1000), truth.course.back().levelUv[0]);
}

TEST(Truth, MakesAReferenceForTheLeadsOfARecording) {
    const Folder folder;
    SimulatedTest test(Short());
    ReadToTheEnd(test);
    WriteWhole(folder.Path("t.json"), [&](PendingFile& file) { WriteTruth(file, test); });
    const RecordedTruth truth = ReadTruth(folder.Path("t.json"));
    const Truth reference = truth.For({"r", 250, 1, {"ii", "V5"}, 0, "", {}});
    EXPECT_EQ(reference.levelUv(0, 40.5, 86), truth.LevelUv(2, 40.5));
    EXPECT_EQ(reference.slopeUvPerMs(1, 40.5, 86), truth.SlopeUvPerMs(0, 40.5));
    EXPECT_EQ(reference.bpm(40.5), truth.Bpm(40.5));
    EXPECT_EQ(reference.beats.size(), truth.beats.size());
    EXPECT_EQ(reference.beats[1].seconds, static_cast<double>(truth.beats[1].r) / 500);
    EXPECT_THAT(RefusalOf([&] {
                    truth.For({"r", 250, 1, {"V1"}, 0, "", {}});
                }),
                HasSubstr("t.json: expected the lead V1 of r"));
}

TEST(Truth, RefusesDamagedFilesInOneLineThatNamesThePlace) {
    const Folder folder;
    SimulatedTestOptions options = Short();
    options.seconds = 3;
    SimulatedTest test(options);
    ReadToTheEnd(test);
    WriteWhole(folder.Path("t.json"), [&](PendingFile& file) { WriteTruth(file, test); });
    const std::string whole = folder.Bytes("t.json");
    const auto refusal = [&](const std::string& text) {
        std::string message = RefusalOf([&] { ReadTruth(folder.Write("d.json", text)); });
        EXPECT_EQ(message.find('\n'), std::string::npos);
        EXPECT_LT(message.size(), 400U);
        return message;
    };
    ASSERT_EQ(refusal(whole), "");
    for (std::size_t length = 0; length + 2 < whole.size(); length += 7)
        ASSERT_THAT(refusal(whole.substr(0, length)), HasSubstr("d.json: expected JSON")) << length;
    EXPECT_THAT(refusal(std::string(100000, '[')), HasSubstr("far more brackets"));
    const auto changed = [&](const std::string& from, const std::string& to) {
        std::string text = whole;
        const std::size_t at = text.find(from);
        EXPECT_NE(at, std::string::npos) << from;
        return refusal(text.replace(at, from.size(), to));
    };
    const struct {
        const char *from, *to, *fragment;
    } cases[] = {{"truth-1", "truth-2", "schema: expected \"qzstress-truth-1\""},
                 {"\"beats\": [", "\"beasts\": [", "expected an object with \"beats\""},
                 {"\"rr_ms\":0.0", "\"rr_ms\":\"0\"", "beats[0].rr_ms: expected a number of 0 to"},
                 {"\"sample\":250", "\"sample\":25.5", "beats[0].sample: expected a whole"},
                 {"\"sample\":250", "\"sample\":1e9", "beats: expected ascending"},
                 {"\"type\":\"N\"", "\"type\":\"X\"", "beats[0].type: expected N or V"},
                 {"\"level_uv\":[", "\"level_uv\":[1,", "course[0].level_uv: expected 3 values"},
                 {"\"time_s\":1.0", "\"time_s\":0", "course: expected ascending"},
                 {"_j\": 66", "_j\": 5", "st_measured_ms_after_j: expected a number of 6 to 1006"}};
    for (const auto& [from, to, fragment] : cases) EXPECT_THAT(changed(from, to), HasSubstr(fragment));
    EXPECT_THAT(RefusalOf([&] { ReadTruth(folder.Path("none")); }), HasSubstr("none: cannot be opened"));
}

TEST(Simulate, WritesTheRecordItsBeatsAndItsTruth) {
    const Folder folder;
    EXPECT_THAT(Simulate(folder.Path("s"), Short(), false), testing::IsEmpty());
    EXPECT_THAT(folder.Names(), ElementsAre("s.atr", "s.dat", "s.hea", "s.truth.json"));
    SimulatedTest test(Short());
    ReadToTheEnd(test);
    EXPECT_EQ(WfdbRecord(folder.Path("s")).Info().frames, test.Info().frames);
    const std::vector<Annotation> marks = ReadAnnotations(folder.Path("s.atr"));
    ASSERT_EQ(marks.size(), test.Beats().size());
    int ectopic = 0;
    for (std::size_t i = 0; i < marks.size(); ++i) {
        EXPECT_EQ(marks[i].sample, test.Beats()[i].r);
        const bool isEctopic = test.Beats()[i].type == SimulatedBeatType::Ectopic;
        EXPECT_EQ(Mnemonic(marks[i].code), isEctopic ? "V" : "N");
        ectopic += isEctopic;
    }
    EXPECT_GT(ectopic, 2);
    EXPECT_EQ(ReadTruth(folder.Path("s.truth.json")).beats.size(), marks.size());
}

}  // namespace
