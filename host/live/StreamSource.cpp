#include "host/live/StreamSource.h"

#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <utility>

#include "host/live/LiveJson.h"
#include "host/record/Calibration.h"
#include "host/support/HostError.h"
#include "host/support/Interrupt.h"
#include "host/support/Text.h"

namespace {

constexpr std::string_view kTcp = "tcp://", kListen = "listen://";
constexpr std::size_t kLongestGreeting = 4096;        // bytes
constexpr std::size_t kMostBytesAtOnce = 1 << 20;     // taken before other work has its turn
constexpr double kPaceSeconds = 10, kMostOff = 0.02;  // over which, and from which on, another rate is told

std::chrono::nanoseconds Seconds(double seconds) {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::duration<double>(seconds));
}

std::string LastError() { return std::strerror(errno); }

}  // namespace

StreamSource::Time StreamSource::Clock::now() noexcept {
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    return Time(std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec));
}

/// How long the machine has slept since it was started.
StreamSource::Clock::duration StreamSource::Slept() {
    return Clock::now().time_since_epoch() - std::chrono::steady_clock::now().time_since_epoch();
}

/// Waits until `fd` is ready for `events`, an error on it included. False at the time `until`.
bool StreamSource::IsReady(int fd, short events, Time until) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now());
    pollfd one{fd, events, 0};
    return poll(&one, 1, static_cast<int>(std::clamp<long long>(left.count(), 0, 1000))) > 0;
}

bool StreamSource::IsMeant(const std::string& name) {
    return name == "-" || name.starts_with(kTcp) || name.starts_with(kListen);
}

StreamSource::StreamSource(const std::string& name, const std::optional<RawLayout>& layout) : m_name(name) {
    m_info.name = "test";
    if (layout) {
        SetRate(m_info, layout->fs, name);
        if (m_info.storedHz > 0) throw HostError(name, "expected a whole rate of 100 to 2000 Hz");
        m_info.leads = layout->leads;
        MakeUnique(m_info.leads);
        m_info.uVpb = layout->uVpb;
        m_hasLayout = m_isKnown = true;
    }
    if (name == "-") {
        m_device = FileHandle(dup(STDIN_FILENO));
        Greet();
    } else {
        const bool listens = name.starts_with(kListen);
        const std::string address = name.substr(listens ? kListen.size() : kTcp.size());
        const std::size_t colon = address.rfind(':');
        if (colon == std::string::npos) throw HostError(name, "expected HOST:PORT");
        m_way = listens ? Way::Listen : Way::Connect;
        m_status.what = listens ? "waiting for a device" : "connecting to the device";
        Resolve(address.substr(0, colon), address.substr(colon + 1));
        if (listens) Listen();
    }
    while (!m_isKnown) {
        Step(Clock::now() + std::chrono::milliseconds(100));
        if (m_state == State::Greeting) TakeGreeting();
        if (m_state == State::Ended) throw HostError(name, "ended before it told what it sends");
        if (Interrupt::IsAsked()) throw HostError(name, "interrupted before a device came");
    }
}

/// The address is looked up once: a name server that fails later does not matter.
void StreamSource::Resolve(std::string host, const std::string& port) {
    const bool isNumber =
        !port.empty() && port.size() <= 5 && port.find_first_not_of("0123456789") == port.npos;
    if (!isNumber || std::stoi(port) > 65535) throw HostError(m_name, "expected a port of 0 to 65535");
    if (host.starts_with('[') && host.ends_with(']')) host = host.substr(1, host.size() - 2);
    if (host.empty()) host = "127.0.0.1";
    addrinfo wanted{};
    wanted.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    const int error = getaddrinfo(host.c_str(), port.c_str(), &wanted, &found);
    if (error != 0) throw HostError(m_name, std::string("is no address: ") + gai_strerror(error));
    std::memcpy(&m_address, found->ai_addr, found->ai_addrlen);
    m_addressBytes = found->ai_addrlen;
    freeaddrinfo(found);
}

FileHandle StreamSource::NewSocket() const {
    return FileHandle(socket(m_address.ss_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
}

void StreamSource::Listen() {
    m_listener = NewSocket();
    const int yes = 1;
    if (m_listener.IsOpen()) setsockopt(m_listener.Value(), SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    if (!m_listener.IsOpen() ||
        bind(m_listener.Value(), reinterpret_cast<const sockaddr*>(&m_address), m_addressBytes) != 0 ||
        listen(m_listener.Value(), 1) != 0)
        throw HostError(m_name, "cannot be listened on: " + LastError());
}

int StreamSource::Port() const {
    sockaddr_storage address{};
    socklen_t length = sizeof address;
    if (!m_listener.IsOpen() ||
        getsockname(m_listener.Value(), reinterpret_cast<sockaddr*>(&address), &length) != 0)
        return 0;
    return ntohs(address.ss_family == AF_INET6 ? reinterpret_cast<const sockaddr_in6&>(address).sin6_port
                                               : reinterpret_cast<const sockaddr_in&>(address).sin_port);
}

void StreamSource::GoOn(long long /*frames*/, double secondsAgo) {
    m_latest = Clock::now() - Seconds(secondsAgo);
    m_hasBegun = m_isGap = true;
}

bool StreamSource::Read(std::vector<short>& frames, std::chrono::milliseconds wait) {
    const Time until = Clock::now() + wait;
    const std::size_t before = frames.size();
    NoticeSleep();
    // The device waits until the frames of a long gap have been given.
    if (IsBehind(Clock::now())) {
        Fill(frames, Clock::now());
        return true;
    }
    do {
        Step(until);
        if (m_state == State::Greeting) TakeGreeting();
        if (m_state == State::Flowing || m_state == State::Ended) TakeFrames(frames);
    } while (frames.size() == before && Clock::now() < until && m_state != State::Ended);
    if (m_state == State::Ended) return false;
    const Time now = Clock::now();
    const bool isSilent = SecondsFrom(m_heard, now) > kSilenceSeconds;
    if (isSilent && m_way != Way::Input && (m_state == State::Flowing || m_state == State::Greeting))
        LeaveDevice("the device has sent nothing for 2 s");
    if (m_state != State::Flowing || isSilent) Fill(frames, now);
    m_status.isThere = m_state == State::Flowing && !isSilent;
    return true;
}

bool StreamSource::IsBehind(Time now) const {
    return m_isGap && SecondsFrom(m_latest, now) > kMostSecondsAtOnce;
}

/// What a device has sent before the machine slept is of a time that nobody knows.
void StreamSource::NoticeSleep() {
    const Clock::duration before = std::exchange(m_slept, Slept());
    if (m_slept - before < Seconds(kSilenceSeconds) || !m_hasBegun) return;
    m_isGap = true;
    if (m_way != Way::Input && (m_state == State::Flowing || m_state == State::Greeting))
        LeaveDevice("the machine has slept");
}

/// Waits until something happens to the connection, and does what follows from it.
void StreamSource::Step(Time until) {
    switch (m_state) {
        case State::Away: return Approach(until);
        case State::Connecting: {
            if (!IsReady(m_device.Value(), POLLOUT, until)) {
                if (Clock::now() > m_retry) LeaveDevice("the device does not answer");
                return;
            }
            int error = 0;
            socklen_t length = sizeof error;
            getsockopt(m_device.Value(), SOL_SOCKET, SO_ERROR, &error, &length);
            if (error != 0)
                return LeaveDevice(std::string("the device is not there: ") + std::strerror(error));
            return Greet();
        }
        case State::Greeting:
        case State::Flowing:
            if (IsReady(m_device.Value(), POLLIN, until)) Receive();
            return;
        case State::Ended: return;
    }
}

void StreamSource::Approach(Time until) {
    if (m_way == Way::Listen) {
        if (!IsReady(m_listener.Value(), POLLIN, until)) return;
        m_device = FileHandle(accept4(m_listener.Value(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
        if (m_device.IsOpen()) Greet();
        return;
    }
    if (Clock::now() >= m_retry) return StartConnecting();
    poll(nullptr, 0,
         static_cast<int>(std::clamp<long long>(
             std::chrono::ceil<std::chrono::milliseconds>(std::min(until, m_retry) - Clock::now()).count(), 0,
             1000)));
}

void StreamSource::StartConnecting() {
    m_retry = Clock::now() + Seconds(kRetrySeconds);
    m_device = NewSocket();
    if (connect(m_device.Value(), reinterpret_cast<const sockaddr*>(&m_address), m_addressBytes) == 0)
        return Greet();
    if (errno != EINPROGRESS) return LeaveDevice("the device is not there: " + LastError());
    m_state = State::Connecting;
}

/// There is a device: what comes first is its line, or already frames.
void StreamSource::Greet() {
    m_bytes.clear();
    m_heard = Clock::now();
    m_state = m_hasLayout ? State::Flowing : State::Greeting;
}

void StreamSource::Receive() {
    char block[1 << 16];
    for (std::size_t taken = 0; taken < kMostBytesAtOnce;) {
        // The standard input may wait for bytes: one block each time that it is ready.
        const ssize_t count = read(m_device.Value(), block, sizeof block);
        if (count < 0 && (errno == EAGAIN || errno == EINTR)) return;
        if (count <= 0) {
            if (taken > 0) return;  // what came last is taken first
            if (m_way != Way::Input) return LeaveDevice("the device has closed the connection");
            m_state = State::Ended;
            return;
        }
        m_heard = Clock::now();
        m_bytes.append(block, static_cast<std::size_t>(count));
        taken += static_cast<std::size_t>(count);
        if (m_way == Way::Input) return;
    }
}

void StreamSource::LeaveDevice(const std::string& why) {
    const std::size_t frameBytes = 2 * m_info.leads.size();
    m_status.what = why;
    if (m_state == State::Flowing && m_bytes.size() % frameBytes != 0)
        m_status.what += ", in the middle of a frame";
    m_device = FileHandle();
    m_state = State::Away;
    m_retry = std::max(m_retry, Clock::now() + Seconds(kRetrySeconds));
}

void StreamSource::TakeGreeting() {
    const std::size_t end = m_bytes.find('\n');
    if (end == std::string::npos && m_bytes.size() <= kLongestGreeting) return;
    try {
        if (end > kLongestGreeting)  // npos too
            throw HostError("device", "expected a first line of at most 4096 bytes");
        const SourceInfo told = ParseDeviceLine(m_bytes.substr(0, end));
        if (m_isKnown && (told.fs != m_info.fs || told.leads != m_info.leads || told.uVpb != m_info.uVpb))
            throw HostError("device", "sends " + std::to_string(told.leads.size()) + " leads at " +
                                          std::to_string(told.fs) + " Hz, other signals than the test's " +
                                          std::to_string(m_info.leads.size()) + " leads at " +
                                          std::to_string(m_info.fs) + " Hz");
        m_info.fs = told.fs;
        m_info.leads = told.leads;
        m_info.uVpb = told.uVpb;
        m_isKnown = true;
        m_bytes.erase(0, end + 1);
        m_state = State::Flowing;
    } catch (const HostError& refusal) {
        if (m_way == Way::Input) throw;
        LeaveDevice(std::string("refused: ") + refusal.what());
    }
}

void StreamSource::TakeFrames(std::vector<short>& frames) {
    const std::size_t chn = m_info.leads.size(), frameBytes = 2 * chn;
    const auto count = static_cast<long long>(m_bytes.size() / frameBytes);
    if (count == 0) return;
    const Time now = Clock::now();
    long long late = 0;  // frames of a time that has been told as missing
    if (std::exchange(m_isGap, false)) {
        const Time first = now - Seconds(m_info.SecondsOf(count));
        Fill(frames, first);
        m_isGap = false;
        late = std::clamp<long long>(std::llround(SecondsFrom(first, m_latest) * m_info.fs), 0, count);
        m_rateFrames = 0;
    }
    if (m_rateFrames == 0) m_status.what = m_hasBegun ? "the device is back" : "";
    const auto* byte =
        reinterpret_cast<const unsigned char*>(m_bytes.data()) + static_cast<std::size_t>(late) * frameBytes;
    for (std::size_t left = static_cast<std::size_t>(count - late) * chn; left > 0; --left, byte += 2)
        frames.push_back(static_cast<short>(static_cast<std::uint16_t>(byte[0] | byte[1] << 8)));
    m_bytes.erase(0, static_cast<std::size_t>(count) * frameBytes);
    m_latest = now;
    m_hasBegun = true;
    WatchRate(now, count);
}

/// Time has gone on to `to` without frames: gives them, kMostSecondsAtOnce at the most.
void StreamSource::Fill(std::vector<short>& frames, Time to) {
    if (!m_hasBegun) return;
    m_isGap = true;
    const double seconds = std::min(SecondsFrom(m_latest, to), kMostSecondsAtOnce);
    const auto missing = static_cast<long long>(seconds * m_info.fs);
    if (missing <= 0) return;
    frames.insert(frames.end(), static_cast<std::size_t>(missing) * m_info.leads.size(), kMissing);
    m_latest += Seconds(m_info.SecondsOf(missing));
}

/// The first block of a stretch is not counted: nobody knows since when it was gathered.
void StreamSource::WatchRate(Time now, long long frames) {
    if (m_rateFrames == 0) {
        m_rateSince = now;
        m_rateFrames = 1;
        return;
    }
    m_rateFrames += frames;
    const double seconds = SecondsFrom(m_rateSince, now);
    if (seconds < kPaceSeconds) return;
    const double hz = static_cast<double>(m_rateFrames - 1) / seconds;
    m_status.measuredHz = std::abs(hz / m_info.fs - 1) > kMostOff ? hz : 0;
    m_rateSince = now;
    m_rateFrames = 1;
}
