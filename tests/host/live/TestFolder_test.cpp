#include "host/live/TestFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <optional>
#include <thread>

#include "host/live/LiveJson.h"
#include "host/record/OpenRecord.h"
#include "tests/support/Folder.h"

using testing::HasSubstr;

namespace {

SourceInfo TwoLeads() {
    SourceInfo info;
    info.name = "test";
    info.fs = 500;
    info.uVpb = 1;
    info.leads = {"I", "V5"};
    info.started = "2026-05-04 10:11:12";
    return info;
}

// What any reader finds: a sample that is missing repeats the one before.
std::vector<short> ReadAll(const std::string& record) {
    const std::unique_ptr<FrameSource> source = OpenRecord(record);
    std::vector<short> samples, frame(source->Info().leads.size());
    while (source->Read(frame.data())) samples.insert(samples.end(), frame.begin(), frame.end());
    EXPECT_THAT(source->Info().leads, testing::ElementsAre("I", "V5"));
    EXPECT_EQ(source->Info().started, "2026-05-04 10:11:12");
    return samples;
}

TEST(TestFolder, IsARecordAtAnyMomentAndGoesOnBehindACutFrame) {
    const Folder folder;
    const std::string name = folder.Path("a test");
    const std::vector<short> first{1, -2, 300, -400}, second{kMissing, kMissing, 5, 6};
    {
        TestFolder test(name, TwoLeads(), JournalHead(TwoLeads(), {{"--mains", "50"}}));
        EXPECT_THAT(RefusalOf([&] { TestFolder(name, TwoLeads()); }), HasSubstr("another process"));
        test.Append(first.data(), 2);
        EXPECT_EQ(ReadAll(test.Record()), first);
        test.Note(JournalLine(live::Command{live::Command::Kind::Mark, "here"}, 2));
    }
    EXPECT_THAT(RefusalOf([&] { TestFolder(name, TwoLeads(), ""); }), HasSubstr("holds something"));
    std::ofstream(name + "/test.dat", std::ios::app | std::ios::binary) << "xyz";
    std::ofstream(name + "/journal.jsonl", std::ios::app) << R"({"frames":)";

    const std::vector<std::string> lines = ReadJournal(name);
    ASSERT_EQ(lines.size(), 2U);
    const JournalStart start = ParseJournalHead(name, lines[0]);
    EXPECT_EQ(start.info.leads, TwoLeads().leads);
    EXPECT_EQ(start.options, (GivenOptions{{"--mains", "50"}}));
    const std::vector<JournalCommand> commands = ParseJournalCommands(name, {lines[1]});
    ASSERT_EQ(commands.size(), 1U);
    EXPECT_EQ(commands[0].command.text, "here");

    TestFolder test(name, start.info);
    std::vector<short> kept;
    test.Replay([&](const short* frames, std::size_t count) { kept.assign(frames, frames + 2 * count); });
    EXPECT_EQ(kept, first);
    EXPECT_LT(test.SecondsSinceLast(), 60);
    test.Append(second.data(), 2);
    test.Note("{}");
    EXPECT_EQ(ReadJournal(name).size(), 3U);
    test.Finish({"1:00 a mark"});
    const std::unique_ptr<FrameSource> source = OpenRecord(test.Record());
    EXPECT_EQ(source->Info().frames, 4);
    EXPECT_THAT(source->Info().remarks, testing::ElementsAre("1:00 a mark"));
    EXPECT_EQ(ReadAll(test.Record()), (std::vector<short>{1, -2, 300, -400, 300, -400, 5, 6}));
    EXPECT_TRUE(std::filesystem::exists(name + "/test.hea"));
}

TEST(TestFolder, TakesASampleOfTheFutureForOneOfNow) {
    const Folder folder;
    const std::string name = folder.Path("a test");
    const std::vector<short> frame{1, 2};
    TestFolder(name, TwoLeads(), "{}").Append(frame.data(), 1);
    std::filesystem::last_write_time(
        name + "/test.dat",
        std::filesystem::file_time_type::clock::now() + std::chrono::hours(2));  // the clock was set back
    EXPECT_EQ(TestFolder(name, TwoLeads()).SecondsSinceLast(), 0);
}

TEST(TestFolder, KeepsWhatComesWhileTheDiskIsFullAndItsTime) {
    const Folder folder;
    const std::string name = folder.Path("full");
    SourceInfo info = TwoLeads();
    info.leads.resize(64, "I");
    constexpr std::size_t kLeads = 64, kBytes = 2 * kLeads, kBlock = 1 << 12;
    constexpr std::size_t kBlocks = 2 * TestFolder::kMostWaitingBytes / (kBytes * kBlock);
    TestFolder test(name, info, "{}");
    std::vector<short> block(kLeads * kBlock, 7);
    test.Append(block.data(), kBlock);
    {
        const FullDisk full(kBytes * kBlock * 4 / 3);  // a part of a frame fits
        for (std::size_t i = 1; i < kBlocks; ++i) test.Append(block.data(), kBlock);
        EXPECT_THAT(test.Trouble(), HasSubstr("test.dat"));
    }
    block.assign(block.size(), 9);
    test.Append(block.data(), kBlock);
    EXPECT_EQ(test.Trouble(), "");
    EXPECT_EQ(test.Signal().Frames(), static_cast<long long>((kBlocks + 1) * kBlock));
    EXPECT_EQ(std::filesystem::file_size(name + "/test.dat"), kBytes * (kBlocks + 1) * kBlock);
    const auto frameAt = [&](std::size_t frame) {
        return test.Signal().Read(static_cast<long long>(frame), 1).at(0);
    };
    EXPECT_EQ(frameAt(TestFolder::kMostWaitingBytes / kBytes), 7);  // it waited
    EXPECT_EQ(frameAt(kBlocks * kBlock - 1), kMissing);
    EXPECT_EQ(frameAt(kBlocks * kBlock), 9);
}

// The folder is looked at twice a second; a minute allows for a machine that has other things to do.
std::string TroubleOnce(const TestFolder& test, const std::function<bool(const std::string&)>& isMet) {
    const auto until = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (!isMet(test.Trouble()) && std::chrono::steady_clock::now() < until)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return test.Trouble();
}

TEST(TestFolder, TellsThatItWasMovedAwayOrDeleted) {
    const auto isTold = [](const std::string& trouble) { return !trouble.empty(); };
    const Folder folder;
    const std::string name = folder.Path("a test");
    TestFolder test(name, TwoLeads(), "{}");
    std::filesystem::rename(name, folder.Path("elsewhere"));
    EXPECT_THAT(TroubleOnce(test, isTold), HasSubstr("a test: the test is not found there"));
    EXPECT_THAT(RefusalOf([&] { test.Finish({}); }), HasSubstr("not found there"));
    std::filesystem::rename(folder.Path("elsewhere"), name);
    EXPECT_EQ(TroubleOnce(test, std::not_fn(isTold)), "");
    EXPECT_EQ(RefusalOf([&] { test.Finish({}); }), "");
    std::filesystem::remove_all(name);
    EXPECT_THAT(TroubleOnce(test, isTold), HasSubstr("not found there"));
}

}  // namespace
