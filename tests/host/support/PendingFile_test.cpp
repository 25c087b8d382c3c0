#include "host/support/PendingFile.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

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
    file.CloseStream();
    std::ofstream(file.OpenName(), std::ios::app) << " by a library";
    file.Commit();
    EXPECT_THAT(folder.Names(), ElementsAre("a"));
    EXPECT_EQ(folder.Bytes("a"), "after by a library");
}

TEST(PendingFile, IsPrivateUnlessItReplacesAFileOfOtherRights) {
    const Folder folder;
    const auto rightsOf = [](const std::string& path) {
        struct stat about {};
        return stat(path.c_str(), &about) == 0 ? about.st_mode & 0777 : 0;
    };
    for (const mode_t before : {0U, 0600U, 0644U, 0440U}) {
        if (before > 0) chmod(folder.Write("a", "before").c_str(), before);
        PendingFile file(folder.Path("a"));
        EXPECT_EQ(rightsOf(file.OpenName()), 0600U);
        file.Commit();
        EXPECT_EQ(rightsOf(folder.Path("a")), before > 0 ? before : 0600U);
    }
}

TEST(PendingFile, FollowsLinksWritesStraightToPipesAndRefusesASecondOfOneName) {
    const Folder folder;
    folder.Write("a", "before");
    std::filesystem::create_symlink("a", folder.Path("link"));
    {
        PendingFile file(folder.Path("link"));
        EXPECT_THAT(RefusalOf([&] { PendingFile again(folder.Path("./a")); }), HasSubstr("two outputs"));
        EXPECT_THAT(RefusalOf([&] {
                        PendingFile::RefuseOverwriting({folder.Path("none"), folder.Path("a")});
                    }),
                    HasSubstr("/a: is read from"));
        file.Stream() << "after";
        file.Commit();
    }
    EXPECT_TRUE(std::filesystem::is_symlink(folder.Path("link")));
    EXPECT_EQ(folder.Bytes("a"), "after");
    EXPECT_EQ(RefusalOf([&] { PendingFile::RefuseOverwriting({folder.Path("a")}); }), "");

    PendingFile first(folder.Path("first")), second(folder.Path("second"));
    std::filesystem::create_directory(folder.Path("second"));
    EXPECT_THAT(RefusalOf([&] { PendingFile::CommitAll({&second, &first}); }), HasSubstr("final name"));
    EXPECT_FALSE(folder.Names().contains("first"));
    std::filesystem::remove(folder.Path("second"));

    ASSERT_EQ(mkfifo(folder.Path("pipe").c_str(), 0600), 0);
    const int reader = open(folder.Path("pipe").c_str(), O_RDONLY | O_NONBLOCK);
    PendingFile pipe(folder.Path("pipe"));
    pipe.Stream() << "through";
    pipe.Commit();
    char bytes[8] = {};
    EXPECT_EQ(read(reader, bytes, 7), 7);
    close(reader);
    EXPECT_STREQ(bytes, "through");
    std::ofstream(folder.Path("log")) << "before ";
    const int log = open(folder.Path("log").c_str(), O_RDONLY);
    WriteWhole("/dev/fd/" + std::to_string(log), [](PendingFile& file) { file.Stream() << "after"; });
    close(log);
    EXPECT_EQ(folder.Bytes("log"), "before after") << "what a shell opened is neither emptied nor replaced";
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
