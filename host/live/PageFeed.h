// PageFeed: what the pages are told of a running test, and what they ask for.
//
//   LiveTest, KeptSignal --> PageFeed --messages--> LiveServer --> pages
//                       <--commands-- inbox <--texts--
//
// It belongs to the thread of the test; only its inbox is shared with the server's. While no page is open it
// does next to nothing.
#pragma once

#include <chrono>
#include <deque>
#include <future>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "host/live/KeptSignal.h"
#include "host/live/LiveJson.h"
#include "host/live/LiveServer.h"
#include "host/live/LiveTest.h"

class PageFeed {
public:
    /// Keeps references to the test and the signal. What is drawn and the results of the test lie in
    /// `folder`. Throws HostError as LiveServer does.
    PageFeed(const ServerOptions& options, LiveTest& test, const KeptSignal& signal, std::string folder,
             std::string protocol, bool isView = false);

    std::string Url() const { return m_server.Url(); }
    /// Returns the pages' commands, in order, each with the client that waits for an answer, and answers what
    /// else they ask for, one of each page after the other, for a few milliseconds at the most: what then
    /// waits has its turn at the next call. So no page holds up the signal, a command, or another page.
    struct Asked {
        int client = 0;
        std::string name;
        live::Command command;
    };
    std::vector<Asked> Listen();
    void Answer(const Asked& asked, bool isDone);

    /// Frames that the test has just taken.
    void ShowSignal(const short* frames, std::size_t count);
    void ShowEvents(const std::vector<live::Event>& events);
    /// State, beats and trend, as often as they are due; `now` at once.
    void Show(const LiveStatus& source, const std::string& trouble, bool now = false);
    /// The results lie in the folder; or `why` there are none.
    void ShowResults(const std::vector<std::string>& names, const std::string& why);

private:
    using Clock = std::chrono::steady_clock;

    /// Of a page: a greeting first of all.
    struct Wish {
        bool isGreeting = false;
        PageRequest request;
    };

    std::vector<Asked> ReadInbox();
    void Grant(int client, const Wish& wish);
    void Greet(int client);
    void SendSignal(int client, const SignalRequest& request);
    void BeginStrip(int client, double seconds, const std::string& language);
    void FinishStrip();
    void Offer(const std::string& name, const std::string& path);
    void SendText(std::string text, int client = 0, LiveServer::Kind kind = LiveServer::Kind::Kept);

    LiveTest& m_test;
    const KeptSignal& m_signal;
    std::string m_folder, m_protocol;
    std::mutex m_mutex;
    std::deque<std::pair<int, std::string>> m_inbox;  // under m_mutex
    std::map<int, std::deque<Wish>> m_wishes;         // of each client; none is empty
    int m_granted = 0;                                // the client whose wish was the last
    std::deque<live::Event> m_events;                 // the latest, for pages that come later
    std::size_t m_trendRows = 0;                      // that have been told
    double m_trendSecond = -1;                        // time of the second of them
    Clock::time_point m_nextState{}, m_nextBeats{};
    bool m_isView;
    std::future<std::string> m_strip;  // why it could not be drawn, empty where it has been
    std::string m_stripName;           // under which it is offered
    int m_stripClient = 0;
    std::set<std::string> m_strips;           // that have been offered
    std::string m_results, m_state, m_finds;  // the latest messages; empty: none
    LiveServer m_server;                      // last: its thread ends first
};
