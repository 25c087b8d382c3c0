#include "host/record/Annotations.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/Folder.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::string Bytes(std::initializer_list<int> values) {
    std::string bytes;
    for (const int value : values) bytes += static_cast<char>(value);
    return bytes;
}

// A rhythm mark with an odd text at frame 18; noise of subtype -1 on lead 1; a beat 1023 frames on, which
// still fits its word; a wave numbered 2 on after a skip of 0x12345 frames; one more with the same number.
const std::vector<Annotation> kMarks = {{18, 28, "(AB"},
                                        {18, 14, "", -1, 1},
                                        {1041, 1, ""},
                                        {1041 + 0x12345, 39, "", 0, 0, 2},
                                        {1042 + 0x12345, 24, "", 0, 0, 2}};
const std::string kMarksFile =
    Bytes({18,   28 << 2,      3,    63 << 2, '(',  'A',     'B', 0,  // text of 3, filled to 4
           0,    14 << 2,      0xFF, 61 << 2, 1,    62 << 2,          // subtype, channel
           0xFF, (1 << 2) + 3, 0,    62 << 2,                         // channel back to 0
           0,    59 << 2,      1,    0,       0x45, 0x23,    0,   39 << 2, 2, 60 << 2,  // skip, number
           1,    24 << 2,      0,    0});

TEST(Annotations, WritesTheLayoutByteForByteAndReadsItBack) {
    const Folder folder;
    WriteWhole(folder.Path("a.atr"), [&](PendingFile& file) { WriteAnnotations(file, kMarks); });
    EXPECT_EQ(folder.Bytes("a.atr"), kMarksFile);
    EXPECT_EQ(ReadAnnotations(folder.Path("a.atr")), kMarks);
    EXPECT_THAT(ReadAnnotations(folder.Write("empty.atr", Bytes({0, 0}))), IsEmpty());
    const std::vector<Annotation> far{{1LL << 40, 1, std::string(255, 'x')}};  // more than one skip holds
    WriteWhole(folder.Path("a.atr"), [&](PendingFile& file) { WriteAnnotations(file, far); });
    EXPECT_EQ(ReadAnnotations(folder.Path("a.atr")), far);
}

TEST(Annotations, TakesTextsEndedByZeroAndBringsMarksIntoOrder) {
    const Folder folder;
    const std::string file = Bytes({18, 28 << 2, 3,    63 << 2, '(',  'N',  0, 0,       // the zero counted in
                                    0,  59 << 2, 0xFF, 0xFF,    0xF6, 0xFF, 2, 1 << 2,  // skips -10
                                    0,  0,       0,    0});                             // filled up
    EXPECT_THAT(ReadAnnotations(folder.Write("a", file)),
                ElementsAre(Annotation{10, 1, ""}, Annotation{18, 28, "(N"}));
}

TEST(Annotations, CountInStepsOfTheRecordUnlessANoteAtTheirStartSaysOtherwise) {
    const auto stepsWith = [](const std::vector<Annotation>& marks) {
        const Folder folder;
        WriteWhole(folder.Path("a"), [&](PendingFile& file) { WriteAnnotations(file, marks); });
        return StepsPerSecond(ReadAnnotations(folder.Path("a")), 250);
    };
    EXPECT_EQ(stepsWith({}), 250);
    EXPECT_EQ(stepsWith({{0, 22, "## time resolution: 1000"}, {500, 1, ""}}), 1000);
    EXPECT_EQ(stepsWith({{0, 28, "(N"}, {0, 22, "by hand"}, {0, 22, "## time resolution:62.5 "}}), 62.5);
    for (const char* text : {"", "## time resolution:", "## time resolution: 0", "## time resolution: -8",
                             "## time resolution: nan", "## time resolution: inf", "time resolution: 8"})
        EXPECT_EQ(stepsWith({{0, 22, text}, {500, 1, ""}}), 250) << text;
    EXPECT_EQ(stepsWith({{0, 28, "## time resolution: 8"}}), 250) << "a rhythm, no note";
    EXPECT_EQ(stepsWith({{1, 22, "## time resolution: 8"}}), 250) << "not at the start";
}

TEST(Annotations, RefusesDamagedFilesWithThePosition) {
    const Folder folder;
    const auto refusal = [&](const std::string& bytes) {
        return RefusalOf([&] { ReadAnnotations(folder.Write("a", bytes)); });
    };
    EXPECT_THAT(RefusalOf([&] { ReadAnnotations(folder.Path("none")); }),
                HasSubstr("none: cannot be opened: No such"));
    EXPECT_THAT(refusal(""), HasSubstr("expected annotations of 1 to 16777216 bytes, found 0"));
    for (std::size_t length = 1; length < kMarksFile.size(); ++length)
        EXPECT_THAT(refusal(kMarksFile.substr(0, length)),
                    HasSubstr("byte " + std::to_string(length) + ": "));
    EXPECT_THAT(refusal(Bytes({0, 55 << 2})), HasSubstr("an annotation before"));
    EXPECT_THAT(refusal(Bytes({1, 1 << 2, 0, 55 << 2})), HasSubstr("byte 4: expected a code"));
    EXPECT_THAT(refusal(Bytes({0, 59 << 2, 0xFF, 0xFF, 0xFE, 0xFF, 1, 4, 0, 0})),
                HasSubstr("from 0 on, found -1"));
    EXPECT_THAT(refusal(Bytes({1, 1 << 2, 0, 0, 0, 7})), HasSubstr("byte 5: expected nothing behind"));
    std::string large;
    large.resize(16777217, '\4');
    EXPECT_THAT(refusal(large), HasSubstr("found 16777217"));
    EXPECT_THAT(refusal(std::string(2097154, '\4')), HasSubstr("expected at most 1048576 annotations"));
}

TEST(Annotations, RefusesToWriteWhatTheFormatCannotHold) {
    const Folder folder;
    const std::vector<Annotation> kBad[] = {
        {{5, 1, ""}, {4, 1, ""}},        {{-1, 1, ""}},     {{5, 0, ""}},         {{5, 50, ""}},
        {{5, 1, std::string(256, 'x')}}, {{5, 1, "", 128}}, {{5, 1, "", 0, -129}}};
    for (const auto& marks : kBad)
        EXPECT_THAT(RefusalOf([&] {
                        WriteWhole(folder.Path("a"),
                                   [&](PendingFile& file) { WriteAnnotations(file, marks); });
                    }),
                    HasSubstr("a: annotation at"));
    EXPECT_THAT(folder.Names(), IsEmpty());
}

TEST(Annotations, TellsBeatsFromOtherMarks) {
    std::string beats;
    for (int code = -1; code < 60; ++code)
        if (IsBeat(code)) beats += Mnemonic(code);
    EXPECT_EQ(beats, "NLRaVFJASEj/QB?enfr");
    EXPECT_EQ(Mnemonic(28), "+");
    EXPECT_EQ(Mnemonic(-1) + Mnemonic(42) + Mnemonic(1 << 20), "???");
}

}  // namespace
