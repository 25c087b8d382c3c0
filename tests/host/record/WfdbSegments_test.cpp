#include "host/record/WfdbSegments.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/Folder.h"
#include "tests/support/Frames.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class WfdbSegmentsTest : public testing::Test {
protected:
    WfdbSegments Open(const std::string& header) const {
        const std::string path = m_folder.Write("r.hea", header);
        return WfdbSegments(path, ReadWfdbHeader(path));
    }
    /// A segment of format 80, whose letters are samples in 1 uV per unit: 'a' is 97 - 128 = -31 uV.
    void Segment(const std::string& name, const std::vector<std::string>& leads, const std::string& samples,
                 const std::string& rate = "250") const {
        std::string header = name + " " + std::to_string(leads.size()) + " " + rate + "\n";
        for (const std::string& lead : leads) header += name + ".dat 80 1000/mV 8 0 0 0 0 " + lead + "\n";
        m_folder.Write(name + ".hea", header);
        m_folder.Write(name + ".dat", samples);
    }

    Folder m_folder;
};

TEST_F(WfdbSegmentsTest, PutsSegmentsBehindEachOtherEachWithItsOwnCalibration) {
    Segment("a", {"I", "II"}, "abcd");
    m_folder.Write("b.hea", "b 2 250 1\nb.dat 16 500/mV 12 0 0 3 0 I\nb.dat 16 20/mV 16 0 0 4 0 II\n");
    m_folder.Write("b.dat", std::string("\3\0\4\0", 4));
    WfdbSegments record = Open("r/3 2 250 5 9:05:30.25 14/3/1995\n# before\na 2\nb 1\na 2\n#  Age: 50 \n#\n");
    EXPECT_EQ(record.Info().name, "r");
    EXPECT_EQ(record.Info().frames, 5);
    EXPECT_EQ(record.Info().started, "1995-03-14 09:05:30");
    EXPECT_THAT(record.Info().remarks, ElementsAre("before"));
    EXPECT_EQ(record.Info().patient.ageYears, 50);
    EXPECT_THAT(record.Info().leads, ElementsAre("I", "II"));
    EXPECT_EQ(record.Info().uVpb, 50);  // 16 bits at 50 uV need it, and one scale holds for all
    EXPECT_EQ(ReadAll(record), (Frames{{-1, -1}, {-1, -1}, {0, 4}, {-1, -1}, {-1, -1}}));
    EXPECT_THAT(record.Warnings(), IsEmpty());
    EXPECT_THAT(record.Describe(),
                ElementsAre("segment a: 2 frames", "segment b: 1 frames", "segment a: 2 frames"));
}

TEST_F(WfdbSegmentsTest, MatchesLeadsByNameInTheOrderOfTheLayoutAndHoldsThemInGaps) {
    m_folder.Write(
        "layout.hea",
        "layout 3 250 0\n~ 0 200/mV 8 0 0 0 0 V5\n~ 0 200/mV 8 0 0 0 0 II\n~ 0x2 1/mmHg 8 0 0 0 0 ABP\n");
    Segment("a", {"II", "V5"}, "abcd");
    Segment("b", {"V5"}, "xyz");
    WfdbSegments record = Open("r/6 3 250\nlayout 0\n~ 1\na 2\nb 1\n~ 2\nb 2\n");
    EXPECT_THAT(record.Info().leads, ElementsAre("V5", "II"));
    EXPECT_EQ(record.Info().frames, 8);
    EXPECT_EQ(
        ReadAll(record),
        (Frames{{0, 0}, {-30, -31}, {-28, -29}, {-8, -29}, {-8, -29}, {-8, -29}, {-8, -29}, {-7, -29}}));
    EXPECT_THAT(record.Warnings(), ElementsAre("3 frames in gaps, values before held"));
}

TEST_F(WfdbSegmentsTest, KeepsLeadsOfOneNameApart) {
    Segment("a", {"ECG", "ECG", "ECG"}, "abc");
    Segment("b", {"ecg", "ECG"}, "xy");
    WfdbSegments record = Open("r/2 3 250\na 1\nb 1\n");
    EXPECT_THAT(record.Info().leads, ElementsAre("ECG", "ECG 2", "ECG 3"));
    EXPECT_EQ(ReadAll(record), (Frames{{-31, -30, -29}, {-8, -7, -29}}));
}

TEST_F(WfdbSegmentsTest, TakesASegmentWithoutAVoltageAsAGap) {
    m_folder.Write("p.hea", "p 1 250 2\np.dat 80 1/mmHg 8 0 0 0 0 ABP\n");
    Segment("a", {"I"}, "ab");
    WfdbSegments record = Open("r/3 1 250\np 2\na 2\np 1\n");
    EXPECT_EQ(ReadAll(record), (Frames{{0}, {0}, {-31}, {-30}, {-30}}));
    const std::string gap = "segment p: a gap, no signal is in a unit of voltage";
    EXPECT_THAT(record.Warnings(), ElementsAre(gap, gap, "3 frames in gaps, values before held"));
    EXPECT_THAT(RefusalOf([&] { Open("r/2 1 250\np 2\n~ 1\n"); }),
                HasSubstr("expected a segment with an ECG signal, found none"));
}

TEST_F(WfdbSegmentsTest, KeepsTheTimeWhereSegmentsEndEarlyAndDoesNotRepeatItselfForever) {
    Segment("a", {"I"}, "ab");
    std::string header = "r/30 1 250 80\n";
    for (int i = 0; i < 30; ++i) header += "a 3\n";
    m_folder.Write("a.hea", "a 1 250 3\na.dat 80 1000 8 0 0 0 0 I\n");
    WfdbSegments record = Open(header);
    const Frames read = ReadAll(record);
    EXPECT_EQ(read.size(), 90U);
    EXPECT_EQ(Frames(read.end() - 4, read.end()), (Frames{{-30}, {-31}, {-30}, {-30}}));
    const auto warnings = record.Warnings();
    ASSERT_EQ(warnings.size(), 22U);
    EXPECT_EQ(warnings[0], "expected 80 frames, the segments have 90");
    EXPECT_EQ(warnings[1], "segment a: ends early: 2 of 3 frames");
    EXPECT_EQ(warnings[20], "11 more warnings from segments");
    EXPECT_EQ(warnings[21], "30 frames in gaps, values before held");
}

TEST_F(WfdbSegmentsTest, CountsFramesOfSeveralSamplesAsTheHeaderDoes) {
    m_folder.Write("a.hea", "a 1 62.5 1\na.dat 80x4 1000 8 0 0 -118 0 I\n");
    m_folder.Write("a.dat", "abcd");
    WfdbSegments record = Open("r/2 1 62.5 3\na 1\n~ 2\n");
    EXPECT_EQ(record.Info().fs, 250);
    EXPECT_EQ(record.Info().AnnotationHz(), 62.5);
    EXPECT_EQ(record.Info().frames, 12);
    const Frames read = ReadAll(record);
    ASSERT_EQ(read.size(), 12U);
    EXPECT_EQ(Frames(read.begin(), read.begin() + 5), (Frames{{-31}, {-30}, {-29}, {-28}, {-28}}));
    EXPECT_THAT(record.Warnings(), ElementsAre("8 frames in gaps, values before held"));
}

TEST_F(WfdbSegmentsTest, RefusesSegmentsThatDoNotFitTogether) {
    Segment("a", {"I"}, "ab");
    Segment("slow", {"I"}, "ab", "125");
    m_folder.Write("nested.hea", "nested/1 1 250\na 2\n");
    m_folder.Write("null.hea", "null 1 250 2\n~ 0 1/mV\n");
    const struct {
        const char* header;
        const char* fragment;
    } cases[] = {
        {"r/1 1 250\nnone 2\n", "none.hea: cannot be opened"},
        {"r/2 1 250\na 2\nslow 2\n", "slow.hea: expected the rate of "},
        {"r/1 1 250\nnested 2\n", "nested.hea: expected a record of one piece, found segments"},
        {"r/1 1 250\nnull 2\n", "null.hea: line 2: unknown format 0"},
        {"r/1 1 250\n../a 2\n", "line 2: expected a file in the directory of the header, found \"../a\""},
        {"r/1 1 250\n~ 9223372036854775807\n", "line 2: length of the segment: expected 0 to 40000000000"},
        {"r/2 1 250\n~ 5\na 0\n", "expected a segment with an ECG signal, found none"},
        {"r/2 1 250\na 2\n", "line 3: expected 2 segments, found the end after 1"},
        {"r/1 1 250\na 2\na 2\n", "line 3: expected the end after 1 segments, found \"a 2\""},
        {"r/1 1 50\na 2\n", "a.hea: expected the rate of "},
        {"r/2 1 250\na 2\n~ 5400250\n", "expected gaps of at most 6 hours in all, found 6 hours"},
        {"r/1 1 250\na 40000000000\n", "r.hea: expected gaps of at most 6 hours in all"},
    };
    for (const auto& [header, fragment] : cases) {
        const std::string message = RefusalOf([&, text = header] { Open(text); });
        EXPECT_THAT(message, HasSubstr(fragment));
        EXPECT_EQ(message.rfind(m_folder.Path(""), 0), 0U) << message;
    }
}

}  // namespace
