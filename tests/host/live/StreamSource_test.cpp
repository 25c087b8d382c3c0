#include "host/live/StreamSource.h"

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

#include "host/live/LiveJson.h"
#include "tests/support/Folder.h"

using testing::HasSubstr;

namespace {

constexpr int kStreamFs = 1000;
const std::string kLine = R"({"fs":1000,"leads":["I","II"],"uVpb":2.5})"
                          "\n";

// A device that connects to a port and sends what it is told to.
class Device {
public:
    explicit Device(int port) : m_socket(socket(AF_INET, SOCK_STREAM, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<std::uint16_t>(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (connect(m_socket.Value(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0)
            ADD_FAILURE() << "the device does not reach port " << port;
    }
    Device& Send(const std::string& bytes) {
        send(m_socket.Value(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        return *this;
    }
    // Frames of two leads, all samples alike.
    Device& Frames(int count, char low) {
        std::string bytes;
        for (int i = 0; i < 2 * count; ++i) bytes += {low, '\0'};
        return Send(bytes);
    }

private:
    FileHandle m_socket;
};

int FreePort() {
    // A port of the system's choice, as the first of these sources has it.
    const StreamSource source("listen://:0", RawLayout{kStreamFs, {"I"}, 1});
    return source.Port();
}

std::vector<short> ReadFor(StreamSource& source, int ms) {
    std::vector<short> frames;
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
    while (std::chrono::steady_clock::now() < end)
        if (!source.Read(frames, std::chrono::milliseconds(5))) break;
    return frames;
}

long Missing(const std::vector<short>& frames) {
    return std::count(frames.begin(), frames.end(), kMissing) / 2;
}

TEST(StreamSource, MarksTheTimeWithoutADeviceAndRefusesAnother) {
    const int port = FreePort();
    std::optional<Device> device;
    std::thread first([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        device.emplace(port).Send(kLine).Frames(100, 1);
    });
    StreamSource source("listen://127.0.0.1:" + std::to_string(port), {});
    first.join();
    EXPECT_EQ(source.Info().leads, (std::vector<std::string>{"I", "II"}));
    EXPECT_EQ(source.Info().uVpb, 2.5);
    EXPECT_EQ(ReadFor(source, 50), std::vector<short>(200, 1));
    EXPECT_TRUE(source.Status().isThere);

    device->Frames(10, 2).Send("abc");  // and is unplugged within a frame
    device.reset();
    std::vector<short> frames = ReadFor(source, 300);
    EXPECT_EQ(std::count(frames.begin(), frames.end(), 2), 20);
    EXPECT_NEAR(static_cast<double>(Missing(frames)), 300, 60);
    EXPECT_FALSE(source.Status().isThere);
    EXPECT_THAT(source.Status().what, HasSubstr("in the middle of a frame"));

    Device(port).Send(R"({"fs":1000,"leads":["I"],"uVpb":2.5})"
                      "\n");
    frames = ReadFor(source, 100);
    EXPECT_THAT(source.Status().what, HasSubstr("1 leads at 1000 Hz"));
    Device(port).Send(std::string(5000, ' '));
    const std::vector<short> more = ReadFor(source, 100);
    EXPECT_THAT(source.Status().what, HasSubstr("at most 4096 bytes"));
    const auto missing = Missing(frames) + Missing(more);  // 200 and what a busy machine adds
    EXPECT_GT(missing, 140);
    EXPECT_LT(missing, 1000);

    Device again(port);
    again.Send(kLine).Frames(150, 3);
    // Then up to 100 of these lie in the time that was told as missing.
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    frames = ReadFor(source, 100);
    for (int tries = 0; frames.empty() && tries < 20; ++tries) {  // a slow machine told more as missing
        again.Frames(50, 3);
        frames = ReadFor(source, 100);
    }
    EXPECT_LT(std::count(frames.begin(), frames.end(), 3) / 2, 130);
    ASSERT_FALSE(frames.empty());
    EXPECT_EQ(frames.back(), 3);
    EXPECT_THAT(source.Status().what, HasSubstr("back"));
}

TEST(StreamSource, WaitsForADeviceThatPausesAndGivesUpOneThatIsSilent) {
    const int port = FreePort();
    StreamSource source("listen://127.0.0.1:" + std::to_string(port), RawLayout{kStreamFs, {"I", "II"}, 1});
    Device device(port);
    device.Frames(50, 1);
    EXPECT_EQ(Missing(ReadFor(source, 1700)), 0);  // below StreamSource::kSilenceSeconds
    device.Frames(50, 1);
    EXPECT_EQ(Missing(ReadFor(source, 1700)), 0);
    const std::vector<short> frames = ReadFor(source, 600);
    EXPECT_NEAR(static_cast<double>(Missing(frames)), 2300, 100);
    EXPECT_THAT(source.Status().what, HasSubstr("nothing for 2 s"));
}

TEST(StreamSource, GivesALongGapInPieces) {
    StreamSource source("listen://127.0.0.1:0", RawLayout{kStreamFs, {"I", "II"}, 1});
    source.GoOn(5, 24);
    std::vector<long> pieces;
    for (int i = 0; i < 3; ++i) {
        std::vector<short> frames;
        EXPECT_TRUE(source.Read(frames, std::chrono::milliseconds(5)));
        pieces.push_back(Missing(frames) / 100);
    }
    EXPECT_THAT(pieces, testing::ElementsAre(100, 100, 40));
}

TEST(StreamSource, RefusesWhatIsNoAddressOrNoDeviceLine) {
    for (const char* name : {"tcp://nowhere", "tcp://127.0.0.1:port", "listen://127.0.0.1:65536"})
        EXPECT_NE(RefusalOf([&] { StreamSource(name, RawLayout{kStreamFs, {"I"}, 1}); }), "") << name;
    for (const char* line :
         {"", "[]", "{}", R"({"fs":99,"leads":["I"],"uVpb":1})", R"({"fs":500.5,"leads":["I"],"uVpb":1})",
          R"({"fs":500,"leads":[],"uVpb":1})", R"({"fs":500,"leads":"I","uVpb":1})",
          R"({"fs":500,"leads":["I"],"uVpb":0})", R"({"fs":500,"leads":[[[[[[]]]]]],"uVpb":1})"})
        EXPECT_NE(RefusalOf([&] { ParseDeviceLine(line); }), "") << line;
    EXPECT_NE(RefusalOf([] { ParseJournalHead("folder", R"({"schema":{}})"); }), "");
    const SourceInfo told = ParseDeviceLine(R"({"fs":500,"leads":["I","I"],"uVpb":0.5,"more":1})");
    EXPECT_EQ(told.leads, (std::vector<std::string>{"I", "I 2"}));
}

}  // namespace
