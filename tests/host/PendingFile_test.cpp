#include "host/PendingFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/Folder.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

TEST(PendingFile, AppearsWithCommitAndLeavesNothingWithout) {
    const Folder folder;
    folder.Write("a", "before");
    {
        PendingFile file(folder.Path("a"));
        file.Stream() << "after";
        EXPECT_EQ(folder.Bytes("a"), "before");
    }
    EXPECT_THAT(folder.Names(), ElementsAre("a"));
    EXPECT_EQ(folder.Bytes("a"), "before");
    PendingFile file(folder.Path("a"));
    file.Stream() << "after";
    file.Commit();
    EXPECT_THAT(folder.Names(), ElementsAre("a"));
    EXPECT_EQ(folder.Bytes("a"), "after");
}

TEST(PendingFile, TakesWhatALibraryWroteUnderThePartName) {
    const Folder folder;
    PendingFile file(folder.Path("a"));
    file.CloseStream();
    std::ofstream(file.PartPath()) << "by another";
    file.Commit();
    EXPECT_EQ(folder.Bytes("a"), "by another");
}

TEST(PendingFile, NamesTheFileThatCannotBeCreatedOrWritten) {
    const Folder folder;
    std::filesystem::create_directory(folder.Path("d"));
    EXPECT_THAT(RefusalOf([&] { PendingFile file(folder.Path("d")); }), HasSubstr(folder.Path("d")));
    EXPECT_THAT(RefusalOf([&] { PendingFile file(folder.Path("none/a")); }),
                HasSubstr(folder.Path("none/a") + ": cannot be created: No such file"));
    const FullDisk disk(10000);
    for (const std::size_t bytes : {10001U, 100000U}) {  // noticed when closed, noticed when written
        EXPECT_THAT(RefusalOf([&] {
                        PendingFile file(folder.Path("a"));
                        file.Stream() << std::string(bytes, 'x');
                        file.Commit();
                    }),
                    HasSubstr(folder.Path("a") + ": cannot be written to its end"));
    }
    EXPECT_THAT(folder.Names(), ElementsAre("d"));
}

}  // namespace
