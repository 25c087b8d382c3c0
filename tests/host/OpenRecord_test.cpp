#include "host/OpenRecord.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

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

TEST(OpenRecord, GoesByTheExtension) {
    const Folder folder;
    const std::string csv = folder.Write("r.csv", kThreeLeads);
    for (const char* name : {"r.edf", "r.BDF"}) {
        const std::string path = folder.Write(name, kThreeLeads);
        EXPECT_THAT(RefusalOf([&] { OpenRecord(path); }), HasSubstr("EDF header"));
    }
    folder.Write("r.dat", "abcd");
    folder.Write("s.hea", "s 1 250 2\nr.dat 16\n");
    folder.Write("r.hea", "r/2 1 250 3\ns 2\n~ 1\n");
    for (const char* name : {"r", "r.hea"})
        EXPECT_EQ(OpenRecord(folder.Path(name))->Info().frames, 3) << name;
    EXPECT_EQ(OpenRecord(folder.Path("s"))->Info().frames, 2);
    EXPECT_THAT(RefusalOf([&] { OpenRecord(folder.Path("none")); }),
                HasSubstr("none.hea: the header cannot be opened"));
}

}  // namespace
