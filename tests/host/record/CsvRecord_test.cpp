#include "host/record/CsvRecord.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "tests/support/Folder.h"
#include "tests/support/Frames.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

RecordOptions Options(double fs, double uVpb) { return {{}, fs, uVpb}; }

class CsvRecordTest : public testing::Test {
protected:
    CsvRecord Open(const std::string& text, const RecordOptions& options = {}) const {
        return CsvRecord(m_folder.Write("r.csv", text), options);
    }

    Folder m_folder;
};

TEST_F(CsvRecordTest, ReadsUnitsSeparatorsAndTimes) {
    const struct {
        std::string text;
        double fs, uVpb;       // options
        std::string expected;  // rate, scale, leads, frames
    } cases[] = {
        {"time_s,I (mV),II [uV],V5 (\xC2\xB5V)\n0,0.5,-7,1.5\n0.004,-1e0,8,2\n", 0, 0,
         "250 1|I|II|V5| 500 -7 2, -1000 8 2,"},
        {"\xEF\xBB\xBFSample;\"I\";II (mV)\r\n1;100;1\r\n\r\n2;-3;-2\r\n", 500, 2.5,
         "500 1|I|II| 250 1000, -8 -2000,"},
        {"I\tII\n3\t4\n5\t6", 360, 2.5, "360 2.5|I|II| 3 4, 5 6,"},
        {"Time (ms),I (V)\n10,0.1\n12,-0.1\n14,0\n", 0, 0, "500 5|I| 20000, -20000, 0,"},
        {"seconds,I (mV)\n7.000,1\n7.003,1\n7.006,1\n7.008,1\n", 0, 0, "375 1|I| 1000, 1000, 1000, 1000,"},
        {"time,I (mV)\n0,1\n1,1\n", 200, 0, "200 1|I| 1000, 1000,"},  // the option rules
        {"\"I, left (uV)\";\"II (uV)\"\n+3;-4\n", 500, 0, "500 1|I, left|II| 3 -4,"},
        {"\"I, left (uV)\",\"II; a (uV)\"\n+0,+1e1\n", 500, 0, "500 1|I, left|II; a| 0 10,"},
        {"I, left (uV)\tII; a (uV)\n3\t4\n", 500, 0, "500 1|I, left|II; a| 3 4,"},
        {"\"'-aVR (uV)\",'a (uV)\n3,4\n", 500, 0, "500 1|-aVR|'a| 3 4,"},  // as CsvField escapes formulas
        {"\"I (mV)\";II (mV)\n1,5;-0,002\n2.5;+1\n", 500, 0, "500 1|I|II| 1500 -2, 2500 1000,"},
        {"# sampling_rate_hz: 200\n#\ntime_s\tI (uV)\n#x\n0\t1\n# \n\n1\t2\n", 0, 0, "200 1|I| 1, 2,"},
        {"# sampling_rate_hz: 200\nI (uV)\n1\n2\n", 250, 0, "250 1|I| 1, 2,"},  // the option rules
        {"I (uV),HR (1/min),II (uV)\n,x,5\nNaN,,\n7,70,NA\nnull,1,6\n", 500, 0,
         "500 1|I|II| 7 5, 7 5, 7 5, 7 6,"},  // values are held, the first one from the start on
        {std::string("\xFF\xFEI\0 \0(\0\xB5\0V\0)\0\n\0"
                     "7\0\n\0",
                     20),
         500, 0, "500 1|I| 7,"},
        {std::string("\xFE\xFF\0I\0 \0(\0V\0)\0\n\0"
                     "1",
                     16),
         500, 0, "500 50|I| 20000,"},
        {"ECG,ECG (uV),ecg 2,ECG\n3,4,5,6\n", 500, 1, "500 1|ECG|ECG 3|ecg 2|ECG 4| 3 4 5 6,"},
    };
    for (const auto& [text, fs, uVpb, expected] : cases) {
        CsvRecord record = Open(text, Options(fs, uVpb));
        std::ostringstream found;
        found << record.Info().fs << ' ' << record.Info().uVpb << '|';
        for (const std::string& lead : record.Info().leads) found << lead << '|';
        const Frames frames = ReadAll(record);
        EXPECT_EQ(record.Info().frames, frames.size()) << text;
        for (const auto& frame : frames) {
            for (const int sample : frame) found << ' ' << sample;
            found << ',';
        }
        EXPECT_EQ(found.str(), expected);
    }
}

TEST_F(CsvRecordTest, WarnsOfTimesThatJumpAndOfSamplesBeyondSixteenBits) {
    std::string text = "time,I\n";
    for (int i = 0; i < 1000; ++i)
        text += std::to_string(i < 600 ? i * 0.002 : i * 0.002 + 0.003) + ",40000\n";
    CsvRecord record = Open(text, Options(500, 1));
    EXPECT_EQ(ReadAll(record), Frames(1000, {32767}));
    EXPECT_THAT(
        record.Warnings(),
        ElementsAre("line 602: its time is not that of frame after frame at 500 Hz, times are not used",
                    "\"I\": 1000 samples clipped at 16 bits"));
}

TEST_F(CsvRecordTest, TellsTheStartAndWhatItLeavesOutOrHolds) {
    CsvRecord record =
        Open("# started: 2021-02-28 23:59:58\n# bicycle\nI (uV),HR (1/min),II (uV)\n1,,\n2,70,\n",
             Options(500, 0));
    ReadAll(record);
    EXPECT_EQ(record.Info().started, "2021-02-28 23:59:58");
    EXPECT_THAT(record.Info().remarks, ElementsAre("bicycle"));
    EXPECT_THAT(record.Warnings(), ElementsAre("\"HR\" left out: its unit \"1/min\" is not a voltage",
                                               "\"II\": 2 cells without a value, value before held"));
}

TEST_F(CsvRecordTest, RefusesWhatItCannotReadAndNamesTheLine) {
    const std::string frames = "1,2\n3,4\n";
    std::string many = "I";
    for (int i = 0; i < 300; ++i) many += ",x";
    const struct {
        std::string text;
        double fs, uVpb;
        const char* fragment;
    } cases[] = {
        {"", 500, 1, "line 1: expected a header line with the names of the leads, found the end"},
        {"\n" + frames, 500, 1, "line 1: column 1: expected the name of a lead, found none"},
        {"I,\n" + frames, 500, 1, "line 1: column 2: expected the name of a lead, found none"},
        {frames, 500, 1, "line 1: expected the names of the leads, found numbers"},
        {"I,II\n" + frames, 500, 0,
         "column \"I\": expected a unit, as in \"I (mV)\", or --uv-per-bit, found neither"},
        {"time,SpO2 (%)\n" + frames, 500, 1, "line 1: expected a lead in a unit of voltage, found none"},
        {"\xFF\xFEI", 500, 1, "expected UTF-16, found half a character"},
        {std::string("\xFF\xFE\0\xDC\0\0", 6), 500, 1, "expected UTF-16, as its byte order mark says"},
        {many, 500, 1, "line 1: expected at most 257 columns, found more"},
        {"I,II\n", 500, 1, "expected a line of samples after the header, found none"},
        {"I,II\n" + frames, 0, 1, "expected --fs or a first column of rising times, found neither"},
        {"time,I\n0,1\n1,1\n", 0, 1, "sampling rate: expected 100 to 10000 Hz, found 1"},
        {"I,II\n" + frames + "5\n", 500, 1, "line 4: expected 2 columns as in the header, found 1"},
        {"I,II\n" + frames + "5,6,\n", 500, 1, "line 4: expected 2 columns as in the header, found 3"},
        {"I;II\n1,000,5;2\n", 500, 1, "line 2: column 1: expected a number, found \"1,000,5\""},
        {"I,II\n1,++2\n", 500, 1, "line 2: column 2: expected a number, found \"++2\""},
        {"#\ntime,II\nnan,1\n", 500, 1, "line 3: column 1: expected a number, found \"nan\""},
        {"I,II\n1,1e999\n", 500, 1, "line 2: column 2: expected a number, found \"1e999\""},
        {"I,II\n1," + std::string(70000, '1'), 500, 1, "line 2: expected a line of at most 65536 bytes"},
    };
    for (const auto& [text, fs, uVpb, fragment] : cases) {
        const RecordOptions options = Options(fs, uVpb);
        const std::string message = RefusalOf([&, bytes = text] { Open(bytes, options); });
        EXPECT_THAT(message, HasSubstr(fragment));
        EXPECT_EQ(message.rfind(m_folder.Path("r.csv: "), 0), 0U) << message;
    }
}

}  // namespace
