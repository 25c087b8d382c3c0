#include "host/record/EdfRecord.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "tests/support/Folder.h"
#include "tests/support/Frames.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

struct Signal {
    std::string label, unit;
    int physicalMin, physicalMax, digitalMin, digitalMax;
    int perRecord;             // samples in a data record
    std::vector<int> samples;  // digital; of annotations the bytes, two or three a sample
};

std::string Field(const std::string& text, std::size_t width) {
    std::string field = text;
    field.resize(width, ' ');
    return field;
}

/// A file of records of one second, field by field from the format's description.
std::string Edf(const std::vector<Signal>& signals, const std::string& reserved = "", bool isBdf = false,
                const std::string& recording = "Startdate X X X X") {
    const std::size_t records = signals[0].samples.size() / static_cast<std::size_t>(signals[0].perRecord);
    std::string file = isBdf ? "\xFF" + Field("BIOSEMI", 7) : Field("0", 8);
    file += Field("A-1 F 02-MAR-1951 Doe", 80) + Field(recording, 80) + "14.03.9509.05.30" +
            Field(std::to_string(256 * (signals.size() + 1)), 8) + Field(reserved, 44) +
            Field(std::to_string(records), 8) + Field("1", 8) + Field(std::to_string(signals.size()), 4);
    const auto each = [&](std::size_t width, auto text) {
        for (const Signal& signal : signals) file += Field(text(signal), width);
    };
    each(16, [](const Signal& signal) { return signal.label; });
    each(80, [](const Signal&) { return ""; });  // transducer
    each(8, [](const Signal& signal) { return signal.unit; });
    each(8, [](const Signal& signal) { return std::to_string(signal.physicalMin); });
    each(8, [](const Signal& signal) { return std::to_string(signal.physicalMax); });
    each(8, [](const Signal& signal) { return std::to_string(signal.digitalMin); });
    each(8, [](const Signal& signal) { return std::to_string(signal.digitalMax); });
    each(80, [](const Signal&) { return ""; });  // filters
    each(8, [](const Signal& signal) { return std::to_string(signal.perRecord); });
    each(32, [](const Signal&) { return ""; });
    for (std::size_t record = 0; record < records; ++record) {
        for (const Signal& signal : signals) {
            const auto count = static_cast<std::size_t>(signal.perRecord);
            for (std::size_t i = record * count; i < (record + 1) * count; ++i)
                for (int shift = 0; shift < (isBdf ? 24 : 16); shift += 8)
                    file += static_cast<char>(signal.samples[i] >> shift & 0xFF);
        }
    }
    return file;
}

std::vector<int> Random(std::size_t count, int lowest, int highest) {
    std::mt19937 random(5);
    std::uniform_int_distribution<int> value(lowest, highest);
    std::vector<int> samples(count);
    for (int& sample : samples) sample = value(random);
    return samples;
}

/// The annotations that EDF+ asks of every record: when it begins, "+0" and "+1".
Signal RecordStarts(int records) {
    Signal signal{"EDF Annotations", "", -1, 1, -32768, 32767, 4, {}};
    for (int i = 0; i < records; ++i)
        for (const int sample : {'+' | ('0' + i) << 8, 0x1414, 0, 0}) signal.samples.push_back(sample);
    return signal;
}

class EdfRecordTest : public testing::Test {
protected:
    EdfRecord Open(const std::string& bytes) const { return EdfRecord(m_folder.Write("r.edf", bytes)); }
    std::string Refusal(const std::string& bytes) const {
        return RefusalOf([&] { Open(bytes); });
    }

    Folder m_folder;
};

TEST_F(EdfRecordTest, BringsTheVoltagesOfEdfAndBdfToOneScaleThroughManyBlocks) {
    constexpr int kFs = 250, kRecords = 40;
    constexpr std::size_t kFrames = std::size_t{kFs} * kRecords;
    for (const bool isBdf : {false, true}) {
        const int highest = isBdf ? 8388607 : 32767;
        const auto samples = Random(kFrames, -highest - 1, highest);
        auto reversed = samples;
        std::reverse(reversed.begin(), reversed.end());
        EdfRecord record = Open(Edf({{"ECG V4", "uV", -4000, 4000, -highest, highest, kFs, samples},
                                     {"II", "mV", 8, -2, -highest - 1, highest, kFs, reversed}},
                                    isBdf ? "24BIT" : "", isBdf));
        EXPECT_THAT(record.Info().leads, ElementsAre("V4", "II"));
        EXPECT_EQ(record.Info().fs, kFs);
        EXPECT_EQ(record.Info().uVpb, 1);
        EXPECT_EQ(record.Info().frames, kFrames);
        EXPECT_EQ(record.Info().started, "1995-03-14 09:05:30");
        const Frames read = ReadAll(record);
        ASSERT_EQ(read.size(), kFrames);
        for (std::size_t t = 0; t < kFrames; ++t) {
            EXPECT_NEAR(read[t][0], samples[t] * 4000.0 / highest, 0.501);
            EXPECT_NEAR(read[t][1], 8000 - 10000.0 * (reversed[t] + highest + 1) / (2 * highest + 1), 0.501);
        }
        EXPECT_THAT(record.Warnings(), IsEmpty());
    }
}

TEST_F(EdfRecordTest, LeavesOutWithAWarningWhatIsNoLeadAndSaysWhatTheFileHolds) {
    const std::vector<int> few(200, 10), more(400, 10);
    EdfRecord record = Open(Edf({{"Resp", "%", -100, 100, -100, 100, 100, few},
                                 {"ekg I", "uV", -100, 100, -100, 100, 100, few},
                                 {"ECG II", "uV", -100, 100, -100, 100, 200, more},
                                 {"ECG", "uV", -100000, 100000, -32768, 32767, 100, few},
                                 RecordStarts(2)},
                                "EDF+C", false, "Startdate 14-MAR-1995 X Lee X"));
    EXPECT_THAT(record.Info().leads, ElementsAre("I", "ECG"));
    EXPECT_EQ(record.Info().uVpb, 5);  // 100 mV fit into 16 bits
    EXPECT_EQ(ReadAll(record), Frames(200, {2, 6}));
    EXPECT_THAT(record.Warnings(), ElementsAre("\"Resp\" left out: its unit \"%\" is not a voltage",
                                               "\"ECG II\" left out: its rate is not that of \"I\""));
    EXPECT_THAT(
        PatientRemarks(record.Info().patient),
        ElementsAre("Name: Doe", "Id: A-1", "Birth date: 1951-03-02", "Sex: female", "Performing: Lee"));
    EXPECT_THAT(record.Info().remarks, IsEmpty());
    EXPECT_EQ(Open(Edf({{"I", "uV", -100, 100, -100, 100, 100, few}})).Info().patient.id,
              "A-1 F 02-MAR-1951 Doe");
    EXPECT_THAT(record.Describe(), testing::Contains("annotations: 0 in 1 signal"));
}

TEST_F(EdfRecordTest, ReadsWhatIsThereOfAFileThatIsNotWhole) {
    const std::string whole = Edf({{"I", "uV", -100, 100, -100, 100, 100, std::vector<int>(200, 1)}});
    std::string unclosed = whole + "x";
    unclosed.replace(236, 8, Field("-1", 8));
    const struct {
        std::string file;
        std::size_t frames;
        const char* warning;
    } cases[] = {{whole.substr(0, whole.size() - 1), 100, "ends early: 1 of 2 data records"},
                 {whole.substr(0, 712), 100, "ends early: 1 of 2 data records"},
                 {whole + "x", 200, "goes on behind its end: the last 1 bytes are left out"},
                 {unclosed, 200, "was not closed"}};
    for (const auto& [file, frames, warning] : cases) {
        EdfRecord record = Open(file);
        EXPECT_EQ(ReadAll(record), Frames(frames, {1}));
        EXPECT_THAT(record.Warnings(), ElementsAre(HasSubstr(warning)));
    }
}

TEST_F(EdfRecordTest, RefusesWhatItCannotReadAndSaysWhy) {
    const Signal lead{"I", "uV", -100, 100, -100, 100, 100, std::vector<int>(200, 1)};
    const std::string whole = Edf({lead});
    std::string hugeCount = whole;
    hugeCount.replace(256 + 216, 8, "99999999");
    const struct {
        std::string file;
        const char* fragment;
    } cases[] = {
        {"", "expected an EDF header of 256 bytes, found 0"},
        {whole.substr(0, 300), "ends early: expected a header of 512 bytes, found 300"},
        {whole.substr(0, 711),
         "ends early: expected a data record of 200 bytes behind the header, found 199"},
        {hugeCount, "signal 1: expected a count of samples in a data record, found \"99999999\""},
        {Edf({lead, RecordStarts(2)}, "EDF+D"), "is discontinuous (EDF+D)"},
        {Edf({{"Resp", "%", -1, 1, -1, 1, 100, lead.samples}}), "found no signal in a unit of voltage"},
        {Edf({{"I", "uV", 1, 1, -1, 1, 100, lead.samples}}), "is no valid EDF or BDF file"},
        {Edf({{"I", "uV", -1, 1, -1, 1, 99, lead.samples}}), "sampling rate: expected 100 to 10000 Hz"},
        {std::string(5000, '\xA5'), "expected an EDF header with 1 to 640 signals"},
    };
    for (const auto& [file, fragment] : cases) {
        const std::string message = Refusal(file);
        EXPECT_THAT(message, HasSubstr(fragment));
        EXPECT_EQ(message.rfind(m_folder.Path("r.edf: "), 0), 0U) << message;
    }
    EXPECT_EQ(Refusal(whole), "");
}

// EDFlib holds at most 64 files open: what is not given back is missed soon.
TEST_F(EdfRecordTest, GivesTheFileBackWhereItRefusesIt) {
    const std::string whole = Edf({{"I", "uV", -100, 100, -100, 100, 100, std::vector<int>(100, 1)}});
    for (std::size_t length = 0; length < whole.size(); length += 5)
        EXPECT_NE(Refusal(whole.substr(0, length)), "");
    const std::string slow = Edf({{"I", "uV", -100, 100, -100, 100, 99, std::vector<int>(99, 1)}});
    for (int i = 0; i < 100; ++i) EXPECT_NE(Refusal(slow), "");
    EXPECT_EQ(Refusal(whole), "");
}

}  // namespace
