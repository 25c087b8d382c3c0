#include "host/record/OpenRecord.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cmath>
#include <fstream>
#include <numbers>
#include <thread>

#include "host/record/Annotations.h"
#include "host/record/Calibration.h"
#include "host/simulate/TruthFile.h"
#include "host/support/Text.h"
#include "tests/support/Folder.h"
#include "tests/support/Frames.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

constexpr const char* kThreeLeads = "I (mV),II (mV),aVF (mV)\n1,2,3\n4,5,6\n";

TEST(OpenRecord, KeepsTheLeadsAskedForInTheOrderAskedFor) {
    const Folder folder;
    const std::string path = folder.Write("r.CSV", kThreeLeads);
    const auto record = OpenRecord(path, {{"AVF", "i"}, 500, 0});
    EXPECT_THAT(record->Info().leads, ElementsAre("aVF", "I"));  // as the file spells them
    EXPECT_EQ(record->Info().fs, 500);
    EXPECT_EQ(ReadAll(*record), (Frames{{3000, 1000}, {6000, 4000}}));
    EXPECT_THAT(OpenRecord(path, {{}, 500, 0})->Info().leads, ElementsAre("I", "II", "aVF"));
}

TEST(OpenRecord, RefusesUnknownAndRepeatedLeadsAndListsWhatThereIs) {
    const Folder folder;
    const std::string path = folder.Write("r.csv", kThreeLeads);
    for (const std::vector<std::string>& leads :
         {std::vector<std::string>{"I", "V5"}, {"I", "II", "i"}, {"II", ""}}) {
        const std::string message = RefusalOf([&] { OpenRecord(path, {leads, 500, 0}); });
        EXPECT_EQ(message.rfind(path + ": lead \"" + leads.back() + "\" is ", 0), 0U) << message;
        EXPECT_TRUE(message.ends_with("its leads: I II aVF")) << message;
    }
}

TEST(OpenRecord, FindsTheRecordOfAFileBesideItOrInAFolder) {
    const Folder folder;
    folder.Write("a.dat", "abcd");
    folder.Write("a.hea", "a 1 250 2\na.dat 16\n");
    folder.Write("notes.txt", "");
    for (const char* name : {"a", "a.hea", "a.dat", ""})
        EXPECT_EQ(OpenRecord(folder.Path(name))->Info().name, "a") << name;
    folder.Write("b.csv", kThreeLeads);
    folder.Write("c.doc", "");
    const std::pair<const char*, const char*> cases[] = {
        {"", "is a folder with 2 recordings: give one, as "},
        {"c.doc", "c.hea, which is not there; --raw reads"},
        {"a", "a: --fs is for CSV: a WFDB header tells it"},
        {"none", "none.hea: cannot be opened: No such file"}};
    for (const auto& [name, message] : cases) {
        const RecordOptions options{{}, name == std::string("a") ? 500.0 : 0.0, 0, {}};
        EXPECT_THAT(RefusalOf([&, record = name] { OpenRecord(folder.Path(record), options); }),
                    HasSubstr(message));
    }
}

TEST(OpenRecord, BringsOtherRatesToWholeOnesInStepAndSaysSo) {
    const Folder folder;
    const auto level = [](double seconds, double shift) {
        return 300 + 1000 * std::sin(2 * std::numbers::pi * 10 * seconds + shift);
    };
    const std::pair<double, int> cases[] = {{128.5, 129}, {2000, 2000}, {2000.5, 2000}, {10000, 2000}};
    for (const auto& [storedHz, fs] : cases) {
        RecordOptions raw;
        raw.raw = RawLayout{storedHz, {"I", "II"}, 1};
        std::string bytes;
        for (int i = 0; i < 3000; ++i)
            for (const double shift : {0.0, 1.0}) {
                const auto value = std::lround(level(i / storedHz, shift));
                bytes += {static_cast<char>(value & 0xFF), static_cast<char>(value >> 8)};
            }
        const auto record = OpenRecord(folder.Write("r.bin", bytes), raw);
        EXPECT_EQ(record->Info().fs, fs);
        EXPECT_EQ(record->Info().AnnotationHz(), storedHz);
        EXPECT_EQ(record->Warnings().size(), storedHz == fs ? 0U : 1U);
        const Frames frames = ReadAll(*record);
        EXPECT_NEAR(static_cast<double>(frames.size()), 3000.0 * fs / storedHz, 1);
        // The signal does not go on in a straight line beyond its ends, as it is taken to.
        const std::size_t edge = storedHz == fs ? 0 : static_cast<std::size_t>(fs) / 5;
        for (std::size_t i = edge; i + edge < frames.size(); ++i) {
            const double seconds = static_cast<double>(i) / fs;
            ASSERT_NEAR(frames[i][0], level(seconds, 0), 1.5) << storedHz << " frame " << i;
            ASSERT_NEAR(frames[i][1], level(seconds, 1), 1.5) << storedHz << " frame " << i;
        }
    }
}

TEST(OpenRecord, ReadsRawFramesAndWhatComesThroughAPipe) {
    const Folder folder;
    RecordOptions raw;
    raw.raw = RawLayout{250, {"I", "I"}, 2.5};
    const auto record = OpenRecord(folder.Write("r.hea", std::string("\1\0\377\377\0\200\0\1\2", 9)), raw);
    EXPECT_THAT(record->Info().leads, ElementsAre("I", "I 2"));
    EXPECT_EQ(record->Info().frames, 2);
    EXPECT_EQ(ReadAll(*record), (Frames{{1, -1}, {-32768, 256}}));
    EXPECT_THAT(record->Warnings(), ElementsAre("ends within a frame: the last 1 bytes are left out"));
    ASSERT_EQ(mkfifo(folder.Path("pipe").c_str(), 0600), 0);
    std::thread writer([&] { std::ofstream(folder.Path("pipe")) << kThreeLeads; });
    EXPECT_EQ(ReadAll(*OpenRecord(folder.Path("pipe"), {{"II"}, 500, 0, {}})), (Frames{{2000}, {5000}}));
    writer.join();
}

TEST(InputFile, IsNoPipeNoFolderAndNoLinkOutOfTheHeadersFolder) {
    const Folder folder;
    std::filesystem::create_directory(folder.Path("in"));
    for (const char* pipe : {"p.hea", "p.dat"}) ASSERT_EQ(mkfifo(folder.Path(pipe).c_str(), 0600), 0);
    folder.Write("a.dat", "abcd");
    folder.Write("a.hea", "a 1 250 2\na.dat 16\n");
    folder.Write("in/p.hea", "p 1 250 2\np.dat 16\n");
    folder.Write("in/s.hea", "s/1 1 250\na 2\n");
    std::filesystem::create_symlink("../a.dat", folder.Path("in/p.dat"));
    std::filesystem::create_symlink("../a.hea", folder.Path("in/a.hea"));
    std::filesystem::create_symlink("in", folder.Path("linked"));
    folder.Write("big.hea", "");
    std::filesystem::resize_file(folder.Path("big.hea"), 3LL << 30);
    const std::pair<const char*, const char*> cases[] = {
        {"p", "p.hea: expected a file, found a pipe"},
        {"in/p", "in/p.dat: expected a file in the folder of the header, found a link out of it"},
        {"in/s", "in/a.hea: expected a file in the folder of the header, found a link"},
        {"none", "none.hea: cannot be opened: No such file"},
        {"big", "big.hea: expected a text of at most 4194304 bytes, found 3221225472"}};
    for (const auto& [name, message] : cases)
        EXPECT_THAT(RefusalOf([&, record = name] { OpenRecord(folder.Path(record)); }), HasSubstr(message));
    for (const auto read : {+[](const std::string& path) { ReadAnnotations(path); },
                            +[](const std::string& path) { ReadTruth(path); },
                            +[](const std::string& path) { ReadStages(path); }})
        EXPECT_THAT(RefusalOf([&] { read(folder.Path("p.dat")); }), HasSubstr("found a pipe"));
    std::filesystem::remove(folder.Path("in/p.dat"));
    folder.Write("in/p.dat", "abcd");
    EXPECT_EQ(OpenRecord(folder.Path("linked/p"))->Info().frames, 2) << "the folder itself may be a link";
}

TEST(Text, LeavesTheProgramAsOneLineOfUtf8AndIsNoFormula) {
    EXPECT_EQ(OneLine("a\n\x1b\xC2\x9B"
                      "b\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"),
              "a   b\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
    const std::string mark = "\xEF\xBF\xBD";
    for (const char* bad : {"\xFF", "\xE9", "\xC0\xAF", "\xE0\x80\xAF", "\xED\xA0\x80", "\xF0\x80\x80\xAF",
                            "\xF4\x90\x80\x80", "\xE2\x82"}) {
        std::string marks;
        while (marks.size() < 3 * std::string(bad).size()) marks += mark;
        EXPECT_EQ(OneLine(bad + std::string("x")), marks + "x");
    }
    EXPECT_EQ(Characters("a\xC3\xA9\xE2\x82\xAC"
                         "b",
                         1, 2),
              "\xC3\xA9\xE2\x82\xAC");
    EXPECT_EQ(Quote(std::string(59, 'a') + "\xC3\xA9z"), '"' + std::string(59, 'a') + "\xC3\xA9...\"");
    const std::pair<const char*, const char*> fields[] = {
        {"V5", "V5"},      {"a,\"b", "\"a,\"\"b\""}, {"a;=1", "\"a;=1\""},
        {"=1", "\"'=1\""}, {"+1", "\"'+1\""},        {"-aVR", "\"'-aVR\""},
        {"@a", "\"'@a\""}, {" =1", "\"' =1\""},      {"a=1", "a=1"}};
    for (const auto& [text, field] : fields) EXPECT_EQ(CsvField(text), field);
}

}  // namespace
