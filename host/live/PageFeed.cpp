#include "host/live/PageFeed.h"

#include <algorithm>
#include <filesystem>

#include "host/live/StripPage.h"
#include "host/support/PendingFile.h"
#include "host/support/Text.h"

namespace {

constexpr std::chrono::milliseconds kStateEvery{250}, kBeatsEvery{1000};
constexpr std::chrono::milliseconds kListenTime{5};
constexpr std::size_t kMostInbox = 1000, kKeptEvents = 500;
constexpr std::size_t kMostWishes = 100;  // of a client
constexpr std::size_t kMostStrips = 200;  // of a test

double WallMs() {
    using namespace std::chrono;
    return duration<double, std::milli>(system_clock::now().time_since_epoch()).count();
}

}  // namespace

PageFeed::PageFeed(const ServerOptions& options, LiveTest& test, const KeptSignal& signal, std::string folder,
                   std::string protocol, bool isView)
    : m_test(test),
      m_signal(signal),
      m_folder(std::move(folder)),
      m_protocol(std::move(protocol)),
      m_isView(isView),
      m_server(options, [this](int client, std::string text) {
          const std::lock_guard lock(m_mutex);
          if (m_inbox.size() < kMostInbox) m_inbox.emplace_back(client, std::move(text));
      }) {}

void PageFeed::SendText(std::string text, int client, LiveServer::Kind kind) {
    m_server.Send({std::make_shared<const std::string>(std::move(text)), kind, false}, client);
}

void PageFeed::Greet(int client) {
    SendText(HelloMessage(m_test.Info(), m_protocol, m_isView), client);
    SendText(TrendMessage(m_test.Trend(), 0, true), client);
    SendText(EventsMessage({m_events.begin(), m_events.end()}, true), client);
    SendText(FindsMessage(m_test.Finds()), client);
    if (!m_state.empty()) SendText(m_state, client);
    if (!m_results.empty()) SendText(m_results, client);
    m_nextState = m_nextBeats = {};
}

std::vector<PageFeed::Asked> PageFeed::ReadInbox() {
    std::deque<std::pair<int, std::string>> inbox;
    {
        const std::lock_guard lock(m_mutex);
        inbox.swap(m_inbox);
    }
    std::vector<Asked> commands;
    for (const auto& [client, text] : inbox) {
        Wish wish{text.empty(), ParsePageRequest(text)};
        if (wish.request.ping) SendText(PongMessage(*wish.request.ping, WallMs()), client);
        if (wish.request.command) commands.push_back({client, wish.request.name, *wish.request.command});
        if (!wish.isGreeting && !wish.request.signal && !wish.request.stripSeconds) continue;
        std::deque<Wish>& wishes = m_wishes[client];
        if (wishes.size() < kMostWishes) wishes.push_back(std::move(wish));
    }
    return commands;
}

std::vector<PageFeed::Asked> PageFeed::Listen() {
    std::vector<Asked> commands = ReadInbox();
    for (const auto until = Clock::now() + kListenTime; !m_wishes.empty() && Clock::now() < until;) {
        auto next = m_wishes.upper_bound(m_granted);
        if (next == m_wishes.end()) next = m_wishes.begin();
        m_granted = next->first;
        Grant(m_granted, next->second.front());
        next->second.pop_front();
        if (next->second.empty()) m_wishes.erase(next);
    }
    return commands;
}

void PageFeed::Grant(int client, const Wish& wish) {
    if (wish.isGreeting) Greet(client);
    if (wish.request.signal) SendSignal(client, *wish.request.signal);
    if (wish.request.stripSeconds) BeginStrip(client, *wish.request.stripSeconds, wish.request.language);
}

void PageFeed::Answer(const Asked& asked, bool isDone) {
    SendText(DoneMessage(asked.name, isDone), asked.client);
    m_nextState = m_nextBeats = {};
}

void PageFeed::SendSignal(int client, const SignalRequest& request) {
    const std::size_t chn = m_test.Info().leads.size();
    SignalHead head{2, request.number, static_cast<double>(request.fromFrame), WallMs()};
    std::vector<short> samples;
    if (request.columns > 0) {
        SignalOverview::Columns cover =
            m_signal.Cover(request.fromFrame, request.frames, static_cast<std::size_t>(request.columns));
        head.firstFrame = static_cast<double>(cover.first);
        head.framesPerValue = static_cast<std::uint32_t>(cover.framesPerColumn);
        samples = std::move(cover.samples);
    } else {
        const auto secondsOf = [&](long long frame) { return m_test.Info().SecondsOf(frame); };
        samples = m_signal.Read(request.fromFrame, static_cast<std::size_t>(request.frames));
        SendText(BeatMarksMessage(m_test.BeatMarks(secondsOf(request.fromFrame),
                                                   secondsOf(request.fromFrame + request.frames)),
                                  request.number),
                 client);
    }
    m_server.Send(
        {std::make_shared<const std::string>(SignalMessage(head, chn, samples.data(), samples.size() / chn)),
         LiveServer::Kind::Kept, true},
        client);
}

void PageFeed::Offer(const std::string& name, const std::string& path) {
    m_server.Offer(name, name.ends_with(".pdf") ? "application/pdf" : "application/octet-stream", path);
}

/// Another thread draws: the signal does not wait for it. One strip at a time.
void PageFeed::BeginStrip(int client, double seconds, const std::string& language) {
    const std::vector<std::string> languages = LanguageCodes();
    const bool isKnown = std::find(languages.begin(), languages.end(), language) != languages.end();
    std::optional<StripPage> page;
    if (!m_strip.valid()) page = GatherStrip(m_test, m_signal, seconds);
    if (!page) {
        SendText(StripMessage({}, m_strip.valid() ? "another one is being drawn" : "there is no signal yet"),
                 client);
        return;
    }
    const std::string name = "strip-" + Number(page->result.strips.front().seconds, 1) + ".pdf";
    if (m_strips.size() >= kMostStrips && !m_strips.contains(name)) {
        SendText(StripMessage({}, "as many have been drawn as may be"), client);
        return;
    }
    m_stripClient = client;
    m_stripName = name;
    m_strip = std::async(std::launch::async,
                         [page = std::move(*page), folder = m_folder + "/strips", name,
                          code = isKnown ? language : "en"]() mutable -> std::string {
                             try {
                                 // Not the folder of the test, should that be gone.
                                 std::filesystem::create_directory(folder);
                                 PendingFile file(folder + "/" + name);
                                 WriteStrip(file.Stream(), std::move(page), FindLanguage(code));
                                 file.Commit();
                                 return {};
                             } catch (const std::exception& error) {
                                 return error.what();
                             }
                         });
}

void PageFeed::FinishStrip() {
    if (!m_strip.valid() || m_strip.wait_for(std::chrono::seconds(0)) != std::future_status::ready) return;
    const std::string why = m_strip.get();
    if (why.empty()) {
        m_strips.insert(m_stripName);
        Offer(m_stripName, m_folder + "/strips/" + m_stripName);
    }
    SendText(StripMessage(why.empty() ? m_stripName : "", why), m_stripClient);
}

void PageFeed::ShowSignal(const short* frames, std::size_t count) {
    if (count == 0 || m_server.Clients() == 0) return;
    const SignalHead head{1, 0, static_cast<double>(m_test.State().frames - static_cast<long long>(count)),
                          WallMs()};
    m_server.Send(
        {std::make_shared<const std::string>(SignalMessage(head, m_test.Info().leads.size(), frames, count)),
         LiveServer::Kind::Signal, true});
}

void PageFeed::ShowEvents(const std::vector<live::Event>& events) {
    m_events.insert(m_events.end(), events.begin(), events.end());
    while (m_events.size() > kKeptEvents) m_events.pop_front();
    if (!events.empty() && m_server.Clients() > 0) SendText(EventsMessage(events, false));
}

void PageFeed::Show(const LiveStatus& source, const std::string& trouble, bool now) {
    FinishStrip();
    const std::vector<live::BeatMark> marks = m_test.TakeBeatMarks();
    const auto time = Clock::now();
    if (!now && m_server.Clients() == 0) {
        m_state.clear();
        return;
    }
    if (!marks.empty() && !m_isView) SendText(BeatMarksMessage(marks), 0, LiveServer::Kind::Signal);
    if (!now && time < m_nextState) return;
    m_nextState = time + kStateEvery;
    m_state = StateMessage(m_test.State(), source, trouble, m_test.Info().SecondsOf(m_signal.Frames()));
    SendText(m_state, 0, LiveServer::Kind::State);
    // A trend that was thinned out is told anew.
    const std::vector<live::TrendRow>& trend = m_test.Trend();
    const double second = trend.size() > 1 ? trend[1].seconds : -1;
    const bool isOther = trend.size() < m_trendRows || (m_trendRows > 1 && second != m_trendSecond);
    if (trend.size() != m_trendRows || isOther)
        SendText(TrendMessage(trend, isOther ? 0 : m_trendRows, isOther));
    if (trend.size() != m_trendRows || m_test.State().hasEnded) {
        std::string finds = FindsMessage(m_test.Finds());
        if (finds != m_finds) SendText(m_finds = std::move(finds));
    }
    m_trendRows = trend.size();
    m_trendSecond = second;
    if (!now && time < m_nextBeats) return;
    m_nextBeats = time + kBeatsEvery;
    const live::Beats beats = m_test.Beats();
    if (!beats.uV.empty()) SendText(BeatsMessage(beats, m_test.Info().fs), 0, LiveServer::Kind::Beats);
}

void PageFeed::ShowResults(const std::vector<std::string>& names, const std::string& why) {
    m_results = ResultsMessage(names, why);
    for (const std::string& name : names) Offer(name, m_folder + "/results/" + name);
    SendText(m_results);
}
