// LiveServer: the page of a running test, over HTTP, and its messages, over WebSocket.
//
// It works in a thread of its own and holds nothing up: what is sent is queued for each client, and of a
// client that does not keep up, display data are dropped. It serves what is embedded in the program and the
// files that are offered, each by its exact name; there is no way from a request to any other file.
//
// Who is let in: a request whose Host is an address, "localhost" or the name that was given (a page elsewhere
// cannot pass for this one by a name of its own), a WebSocket whose Origin is that Host, and, where it is
// listened on other than the loopback, a client that has the token. Requests and messages are bounded in
// size and number; where as many connections are open as may be, a new one takes the place of the one that
// has asked for nothing for the longest time.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>

struct ServerOptions {
    std::string address = "127.0.0.1";  // to listen on
    unsigned short port = 8430;         // 0: one that is free
    std::string name = {};              // another name of this machine that requests may be made to
};

class LiveServer {
public:
    static constexpr int kMostClients = 20, kMostConnections = 60;
    static constexpr std::size_t kLongestMessage = 4096;         // bytes, of a client
    static constexpr int kMostMessages = 50;                     // of a client in a second
    static constexpr std::size_t kMostDisplayBytes = 512 << 10;  // that wait for a client
    static constexpr std::size_t kMostBytes = 16 << 20;          // over which a client is given up

    /// What becomes of a message that a client does not keep up with.
    enum class Kind {
        Signal,  // it is dropped
        State,   // the next of its kind takes its place
        Beats,   // the same
        Kept,    // it waits
    };
    struct Message {
        std::shared_ptr<const std::string> bytes;
        Kind kind = Kind::Kept;
        bool isBinary = false;
    };
    /// Called in the server's thread: a client has come (`text` is empty) or has sent a text.
    using Listener = std::function<void(int client, std::string text)>;

    /// Throws HostError where the address cannot be listened on.
    LiveServer(const ServerOptions& options, Listener listener);
    ~LiveServer();
    LiveServer(const LiveServer&) = delete;
    LiveServer& operator=(const LiveServer&) = delete;

    /// What to type into a browser, with the token where one is needed.
    std::string Url() const;
    int Port() const;
    /// To one client, or to all of them with 0. Any thread.
    void Send(Message message, int client = 0);
    int Clients() const { return m_clients; }
    /// Serves the file under /results/NAME from now on. Any thread.
    void Offer(const std::string& name, const std::string& type, const std::string& path);

private:
    class Impl;
    std::atomic<int> m_clients = 0;
    std::unique_ptr<Impl> m_impl;
};
