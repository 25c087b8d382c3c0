// StreamSource: frames from a device, over the network or the standard input.
//
//   away --connects--> greeting --first line--> flowing        a line of JSON, then frames of 16 bits,
//     ^                    |                      |            low byte first, one sample of each lead
//     +------ closed, refused, nothing for 2 s ---+
//
// Away, the program connects again each second (tcp) or waits for the device to do so (listen); the standard
// input is there until it ends. While nothing comes the time goes on, in frames of kMissing. The first block
// after such a gap ends now: what of it lies in time that has been told as missing is dropped.
//
// A gap is given in pieces, as long as it may be. Time goes on while the machine sleeps: what was under way
// then is dropped.
//
// A silent device is given up, as its cable may be out: its connection is closed, and what was still under
// way with it. A pause that is shorter is waited for, and what comes late follows without a gap.
#pragma once

#include <sys/socket.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "host/live/LiveSource.h"
#include "host/support/FileHandle.h"

class StreamSource : public LiveSource {
public:
    static constexpr double kSilenceSeconds = 2;  // after which a device is given up
    static constexpr double kRetrySeconds = 1;

    /// True for "-", "tcp://..." and "listen://...".
    static bool IsMeant(const std::string& name);
    /// Without a layout it waits for the first device, whose line tells it. Throws HostError where `name`
    /// cannot be used, the layout does not fit, or an interrupt ends the wait.
    StreamSource(const std::string& name, const std::optional<RawLayout>& layout);

    const SourceInfo& Info() const override { return m_info; }
    void GoOn(long long frames, double secondsAgo) override;
    bool Read(std::vector<short>& frames, std::chrono::milliseconds wait) override;
    LiveStatus Status() const override { return m_status; }
    /// The port that is listened on; 0 where none is.
    int Port() const;

private:
    // Time since the machine was started, its sleep included.
    struct Clock {
        using duration = std::chrono::nanoseconds;
        using rep = duration::rep;
        using period = duration::period;
        using time_point = std::chrono::time_point<Clock>;
        static constexpr bool is_steady = true;
        static time_point now() noexcept;
    };
    using Time = Clock::time_point;
    enum class State { Away, Connecting, Greeting, Flowing, Ended };
    enum class Way { Input, Connect, Listen };

    static Clock::duration Slept();
    static bool IsReady(int fd, short events, Time until);
    bool IsBehind(Time now) const;
    void NoticeSleep();
    void Resolve(std::string host, const std::string& port);
    FileHandle NewSocket() const;
    void Listen();
    void Step(Time until);
    void Approach(Time until);
    void StartConnecting();
    void Greet();
    void Receive();
    void LeaveDevice(const std::string& why);
    void TakeGreeting();
    void TakeFrames(std::vector<short>& frames);
    void Fill(std::vector<short>& frames, Time to);
    void WatchRate(Time now, long long frames);
    double SecondsFrom(Time from, Time to) const { return std::chrono::duration<double>(to - from).count(); }

    std::string m_name;
    sockaddr_storage m_address{};
    socklen_t m_addressBytes = 0;
    Way m_way = Way::Input;
    State m_state = State::Away;
    SourceInfo m_info;
    bool m_hasLayout = false;  // told by options: no line goes ahead of the frames
    bool m_isKnown = false;    // m_info is
    FileHandle m_listener, m_device;
    std::string m_bytes;                // received and not yet taken
    Time m_heard{};                     // when bytes came last
    Time m_retry{};                     // when to connect next
    Time m_latest{};                    // the time up to which frames have been given
    Clock::duration m_slept = Slept();  // of the machine, up to now
    bool m_hasBegun = false;            // a first frame has been given
    bool m_isGap = false;               // the latest frames given are missing ones
    Time m_rateSince{};                 // of the frames that are counted
    long long m_rateFrames = 0;
    LiveStatus m_status{false};
};
