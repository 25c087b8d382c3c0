#include "host/record/CreateRecord.h"

#include <edflib.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "host/record/CsvRecord.h"
#include "host/record/EdfRecord.h"
#include "host/record/WfdbRecord.h"
#include "tests/support/Folder.h"
#include "tests/support/Frames.h"

namespace {

using testing::AllOf;
using testing::AnyOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

SourceInfo Facts(double uVpb = 1) {
    return {"test", 250, uVpb, {"I", "aVR", "V5"}, 0, "2021-02-28 23:59:58", {"first\nremark", "second"}};
}

/// 3 leads over the whole range but the lowest value, which WFDB reserves.
Frames RandomFrames(std::size_t count) {
    std::mt19937 random(1);
    Frames frames(count, std::vector<int>(3));
    for (auto& frame : frames)
        for (int& sample : frame) sample = std::max(-32767, int(random() % 65536) - 32768);
    frames.front() = {32767, -32767, 0};
    return frames;
}

void WriteRecord(const std::string& path, const SourceInfo& info, const Frames& frames) {
    const auto sink = CreateRecord(path, info);
    for (const auto& frame : frames) sink->Write(std::vector<short>(frame.begin(), frame.end()).data());
    PendingFile::CommitAll(sink->Finish());
}

TEST(FrameSink, WritesWfdbByteForByte) {
    const Folder folder;
    WriteRecord(folder.Path("s.hea"), Facts(2.5), {{1, -2, 3}, {4, -5, 6}});
    EXPECT_THAT(folder.Names(), ElementsAre("s.dat", "s.hea"));
    EXPECT_EQ(folder.Bytes("s.hea"),
              "s 3 250 2 23:59:58 28/02/2021\n"
              "s.dat 16 400(0)/mV 16 0 1 5 0 I\n"
              "s.dat 16 400(0)/mV 16 0 -2 -7 0 aVR\n"
              "s.dat 16 400(0)/mV 16 0 3 9 0 V5\n"
              "# first remark\n# second\n");
    EXPECT_EQ(folder.Bytes("s.dat"), std::string("\1\0\xFE\xFF\3\0\4\0\xFB\xFF\6\0", 12));
}

TEST(FrameSink, WritesEdfWithItsFactsAndMarksWhereTheFillingStarts) {
    const Folder folder;
    const Frames frames = RandomFrames(1001);
    WriteRecord(folder.Path("r.EDF"), Facts(0.305), frames);
    const std::string bytes = folder.Bytes("r.EDF");
    for (const char* fact : {"ECG aVR  ", "uV  ", "-9994.24", "9993.935", "28.02.2123.59.58", "28-FEB-2021",
                             "first remark; second", "+4.0040\x14Recording ends\x14"})
        EXPECT_NE(bytes.find(fact), std::string::npos) << fact;
    EdfRecord record(folder.Path("r.EDF"));
    EXPECT_EQ(record.Info().frames, 1250);
    ASSERT_EQ(record.Info().notes.size(), 1U);
    EXPECT_EQ(record.Info().notes[0].text, "Recording ends");
    EXPECT_EQ(record.Info().notes[0].seconds, 4.004);
    EXPECT_EQ(ReadAll(record).back()[1], std::lround(frames.back()[1] * 0.305));
    // Whole seconds need no filling; without a start the file is the same on any day.
    SourceInfo unknown = Facts();
    unknown.started = "25:00:00";
    WriteRecord(folder.Path("s.edf"), unknown, RandomFrames(500));
    const std::string whole = folder.Bytes("s.edf");
    EXPECT_NE(whole.find("01.01.85"), std::string::npos);
    EXPECT_EQ(whole.find("Recording ends"), std::string::npos);
}

TEST(FrameSink, WritesCsvInMicrovoltsThatDividedByTheScaleGiveTheSample) {
    const Folder folder;
    WriteRecord(folder.Path("a.csv"), Facts(), {{1, -2, 0}, {32767, -32768, 7}});
    EXPECT_EQ(folder.Bytes("a.csv"),
              "# sampling_rate_hz: 250\n# started: 2021-02-28 23:59:58\n# first remark\n# second\n"
              "time_s,I (uV),aVR (uV),V5 (uV)\n0.000,1,-2,0\n0.004,32767,-32768,7\n");
    const std::pair<double, const char*> scales[] = {
        {0.305, "3.050,9993.935,-9994.240"},
        {1.0 / 3, "3.333333333,10922.333333333,-10922.666666667"},
        {1e6, "10000000,32767000000,-32768000000"}};
    for (const auto& [uVpb, line] : scales) {
        WriteRecord(folder.Path("b.csv"), Facts(uVpb), {{10, 32767, -32768}});
        EXPECT_THAT(folder.Bytes("b.csv"), EndsWith(std::string("V5 (uV)\n0.000,") + line + "\n"));
    }
}

TEST(FrameSink, IsReadBackToTheBitByEveryReader) {
    const Folder folder;
    const Frames frames = RandomFrames(500);
    const auto expectSame = [&](FrameSource& source, double uVpb) {
        SCOPED_TRACE(source.Info().name);
        EXPECT_EQ(source.Info().uVpb, uVpb);
        EXPECT_EQ(source.Info().fs, 250);
        EXPECT_EQ(source.Info().leads, Facts().leads);
        EXPECT_EQ(ReadAll(source), frames);
        EXPECT_THAT(source.Warnings(), IsEmpty());
    };
    for (const double uVpb : {1.0, 5.0, 50.0}) {
        WriteRecord(folder.Path("r.edf"), Facts(uVpb), frames);
        EdfRecord edf(folder.Path("r.edf"));
        EXPECT_EQ(edf.Info().started, Facts().started);
        expectSame(edf, uVpb);
        WriteRecord(folder.Path("r.csv"), Facts(uVpb), frames);
        CsvRecord csv(folder.Path("r.csv"), {});
        EXPECT_EQ(csv.Info().started, Facts().started);
        expectSame(csv, uVpb);
        WriteRecord(folder.Path("r"), Facts(uVpb), frames);
        WfdbRecord wfdb(folder.Path("r"));
        expectSame(wfdb, uVpb);
    }
}

TEST(FrameSink, ChoosesTheFormatByTheNameAndRefusesWhatItCannotHold) {
    const Folder folder;
    EXPECT_EQ(RecordBase("a.b/c.Edf"), "a.b/c");
    EXPECT_EQ(RecordBase("a.csv/c.d"), "a.csv/c.d");
    const auto refusal = [&](const std::string& name, void (*ruin)(SourceInfo&)) {
        SourceInfo info = Facts();
        ruin(info);
        return RefusalOf([&] { CreateRecord(folder.Path(name), info); });
    };
    EXPECT_THAT(refusal("a.bdf", [](SourceInfo&) {}), HasSubstr("a.bdf: expected .edf"));
    EXPECT_THAT(refusal("a b", [](SourceInfo&) {}), HasSubstr("record name without blanks"));
    EXPECT_THAT(refusal("a", [](SourceInfo& i) { i.leads.clear(); }), HasSubstr("at least one lead"));
    EXPECT_THAT(refusal("a", [](SourceInfo& i) { i.uVpb = -1; }), HasSubstr("scale above zero"));
    EXPECT_THAT(refusal("a", [](SourceInfo& i) { i.fs = 0; }), HasSubstr("sample per second"));
    EXPECT_THAT(refusal("a.edf", [](SourceInfo& i) { i.uVpb = 1000; }), HasSubstr("0.0001 to 300 uV"));
    EXPECT_THAT(refusal("a.edf", [](SourceInfo& i) { i.leads.resize(640); }), HasSubstr("fewer than 640"));
    EXPECT_THAT(refusal("a.csv", [](SourceInfo& i) { i.uVpb = 1e-7; }), HasSubstr("at least 1e-6 uV"));
    EXPECT_THAT(RefusalOf([&] { WriteRecord(folder.Path("a.edf"), Facts(), {}); }), HasSubstr("one frame"));
    EXPECT_THAT(folder.Names(), IsEmpty());
}

TEST(FrameSink, LeavesNothingWithoutFinishOrOnAFullDisk) {
    const Folder folder;
    const Frames frames = RandomFrames(5000);  // 30,000 bytes
    const short frame[3] = {};
    for (const char* name : {"a", "a.edf", "a.csv"}) CreateRecord(folder.Path(name), Facts())->Write(frame);
    EXPECT_THAT(folder.Names(), IsEmpty());
    for (const char* name : {"a", "a.edf", "a.csv"})
        for (const rlim_t bytes : {600U, 20000U, 29999U}) {
            const FullDisk disk(bytes);
            EXPECT_THAT(RefusalOf([&] { WriteRecord(folder.Path(name), Facts(), frames); }),
                        AllOf(StartsWith(folder.Path(name)),
                              AnyOf(EndsWith("is the disk full?"), EndsWith("File too large"))))
                << bytes;
        }
    EXPECT_THAT(folder.Names(), IsEmpty());
    EXPECT_EQ(edflib_get_number_of_open_files(), 0);
}

}  // namespace
