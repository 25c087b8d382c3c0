#include "host/FrameSink.h"

#include <edflib.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <sstream>

#include "host/CsvRecord.h"
#include "host/EdfRecord.h"
#include "host/WfdbRecord.h"
#include "tests/support/Folder.h"

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

using Frames = std::vector<std::vector<short>>;

SourceInfo Facts(double uVpb = 1) {
    return {"test", 250, uVpb, {"I", "aVR", "V5"}, 0, "2021-02-28 23:59:58", {"first\nremark", "second"}};
}

/// 3 leads over the whole range but the lowest value, which WFDB reserves.
Frames RandomFrames(std::size_t count) {
    std::mt19937 random(1);
    Frames frames(count, std::vector<short>(3));
    for (auto& frame : frames)
        for (short& sample : frame)
            sample = static_cast<short>(std::max(-32767, int(random() % 65536) - 32768));
    frames.front() = {32767, -32767, 0};
    return frames;
}

void WriteRecord(const std::string& path, const SourceInfo& info, const Frames& frames) {
    const auto sink = CreateRecord(path, info);
    for (const auto& frame : frames) sink->Write(frame.data());
    PendingFile::CommitAll(sink->Finish());
}

Frames ReadAll(FrameSource& source) {
    Frames frames;
    std::vector<short> frame(source.Info().leads.size());
    while (source.Read(frame.data())) frames.push_back(frame);
    return frames;
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

/// Through EDFlib alone.
struct EdfContent {
    edf_hdr_struct header{};
    Frames frames;
    std::vector<std::string> annotations;  // "100 ns: text"
};
EdfContent ReadEdf(const std::string& path) {
    EdfContent content;
    const int handle = edfopen_file_readonly(path.c_str(), &content.header, EDFLIB_READ_ALL_ANNOTATIONS);
    EXPECT_GE(handle, 0) << path;
    if (handle < 0) return content;
    for (int lead = 0; lead < content.header.edfsignals; ++lead) {
        const auto samples = static_cast<std::size_t>(content.header.signalparam[lead].smp_in_file);
        std::vector<int> values(samples);
        edfread_digital_samples(handle, lead, static_cast<int>(samples), values.data());
        content.frames.resize(samples, std::vector<short>(3));
        for (std::size_t i = 0; i < samples; ++i)
            content.frames[i][static_cast<std::size_t>(lead)] = static_cast<short>(values[i]);
    }
    for (int i = 0; i < content.header.annotations_in_file; ++i) {
        edf_annotation_struct annotation;
        edf_get_annotation(handle, i, &annotation);
        content.annotations.push_back(std::to_string(annotation.onset) + ": " + annotation.annotation);
    }
    edfclose_file(handle);
    return content;
}

TEST(FrameSink, WritesEdfToTheBitAndMarksWhereTheFillingStarts) {
    const Folder folder;
    Frames frames = RandomFrames(1001);
    frames[5][1] = -32768;
    WriteRecord(folder.Path("r.EDF"), Facts(0.305), frames);
    const EdfContent edf = ReadEdf(folder.Path("r.EDF"));
    frames.resize(1250, frames.back());
    EXPECT_EQ(edf.frames, frames);
    EXPECT_THAT(edf.annotations, ElementsAre("40040000: Recording ends"));
    const edf_param_struct& lead = edf.header.signalparam[1];
    EXPECT_THAT(lead.label, StartsWith("ECG aVR "));
    EXPECT_THAT(lead.physdimension, StartsWith("uV "));
    EXPECT_EQ(lead.phys_min, -9994.24);
    EXPECT_EQ(lead.phys_max, 9993.935);
    EXPECT_EQ(edf.header.startdate_year * 10000 + edf.header.startdate_month * 100 + edf.header.startdate_day,
              20210228);
    EXPECT_EQ(edf.header.starttime_hour * 60 + edf.header.starttime_minute, 23 * 60 + 59);
    EXPECT_THAT(edf.header.recording_additional, StartsWith("first remark; second"));
    // Whole seconds need no filling; without a start the file is the same on any day.
    SourceInfo unknown = Facts();
    unknown.started = "25:00:00";
    frames.resize(500);
    WriteRecord(folder.Path("s.edf"), unknown, frames);
    const EdfContent second = ReadEdf(folder.Path("s.edf"));
    EXPECT_EQ(second.frames, frames);
    EXPECT_THAT(second.annotations, IsEmpty());
    EXPECT_EQ(second.header.startdate_year, 1985);
}

TEST(FrameSink, WritesCsvInMicrovoltsThatDividedByTheScaleGiveTheSample) {
    const Folder folder;
    WriteRecord(folder.Path("a.csv"), Facts(), {{1, -2, 0}, {32767, -32768, 7}});
    EXPECT_EQ(folder.Bytes("a.csv"), "I (uV),aVR (uV),V5 (uV)\n1,-2,0\n32767,-32768,7\n");
    const Frames frames = RandomFrames(500);
    for (const double uVpb : {0.1, 0.305, 1.0 / 3, 4.88e-4, 1e6}) {
        WriteRecord(folder.Path("b.csv"), Facts(uVpb), frames);
        std::istringstream text(folder.Bytes("b.csv"));
        std::string line;
        std::getline(text, line);
        for (const auto& frame : frames) {
            for (std::size_t lead = 0; lead < 3; ++lead) {
                std::getline(text, line, lead < 2 ? ',' : '\n');
                ASSERT_EQ(std::lround(std::stod(line) / uVpb), frame[lead]) << uVpb << ' ' << line;
                ASSERT_LE(line.size(), 17U) << line;
            }
        }
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
        CsvRecord csv(folder.Path("r.csv"), {{}, 250, 0});
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
    for (const char* name : {"a", "a.edf", "a.csv"}) {
        const auto sink = CreateRecord(folder.Path(name), Facts());
        for (const auto& frame : frames) sink->Write(frame.data());
    }
    EXPECT_THAT(folder.Names(), IsEmpty());
    for (const char* name : {"a", "a.edf", "a.csv"})
        for (const rlim_t bytes : {600U, 20000U, 29999U}) {
            const FullDisk disk(bytes);
            EXPECT_THAT(RefusalOf([&] { WriteRecord(folder.Path(name), Facts(), frames); }),
                        AllOf(StartsWith(folder.Path(name)), EndsWith("is the disk full?")))
                << bytes;
        }
    EXPECT_THAT(folder.Names(), IsEmpty());
    EXPECT_EQ(edflib_get_number_of_open_files(), 0);
}

}  // namespace
