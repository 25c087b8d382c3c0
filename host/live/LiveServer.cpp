#include "host/live/LiveServer.h"

#include <sys/random.h>

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/websocket.hpp>
#include <chrono>
#include <deque>
#include <map>
#include <optional>
#include <string_view>
#include <thread>
#include <utility>

#include "host/live/PageFiles.h"
#include "host/support/HostError.h"
#include "host/support/InputFile.h"
#include "host/support/Text.h"

namespace beast = boost::beast;
namespace http = beast::http;
namespace net = boost::asio;
using net::ip::tcp;

namespace {

constexpr std::chrono::seconds kRequestTime{10};   // for a request, and for its answer
constexpr std::chrono::seconds kSilence{30};       // of a client, pings included, before it is given up
constexpr std::uint32_t kLongestHeader = 8 << 10;  // bytes, of a request
constexpr long long kLongestResult = 256LL << 20;  // bytes, of a file that is offered

using Request = http::request<http::empty_body>;
using Response = http::response<http::string_body>;

std::string NewToken() {
    unsigned char bytes[16];
    if (getrandom(bytes, sizeof bytes, 0) != sizeof bytes)
        throw HostError("token", "there are no random numbers");
    std::string token;
    for (const unsigned char byte : bytes) {
        token += "0123456789abcdef"[byte >> 4];
        token += "0123456789abcdef"[byte & 15];
    }
    return token;
}

/// Takes as long for a wrong text as for the right one.
bool IsSecret(std::string_view text, std::string_view secret) {
    if (text.size() != secret.size()) return false;
    int difference = 0;
    for (std::size_t i = 0; i < text.size(); ++i) difference |= text[i] ^ secret[i];
    return difference == 0;
}

std::string_view View(beast::string_view text) { return {text.data(), text.size()}; }

/// "127.0.0.1:8080" without the port, "[::1]:8080" without the brackets too.
std::string_view WithoutPort(std::string_view host) {
    if (host.starts_with('[')) return host.substr(1, host.find(']') - 1);
    return host.substr(0, host.find(':'));
}

void AddSafety(Response& response) {
    response.set(http::field::cache_control, "no-store");
    response.set("Content-Security-Policy",
                 "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; connect-src "
                 "'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'");
    response.set("X-Content-Type-Options", "nosniff");
    response.set("Referrer-Policy", "no-referrer");
    response.set("Cross-Origin-Resource-Policy", "same-origin");
    response.set("Cross-Origin-Opener-Policy", "same-origin");
}

}  // namespace

class LiveServer::Impl {
public:
    Impl(LiveServer& owner, const ServerOptions& options, Listener listener)
        : m_owner(owner), m_options(options), m_listener(std::move(listener)), m_acceptor(m_context) {
        beast::error_code error;
        const auto address = net::ip::make_address(options.address, error);
        if (error) throw HostError(options.address, "expected an address of this machine");
        if (!address.is_loopback()) m_token = NewToken();
        const tcp::endpoint endpoint(address, options.port);
        m_acceptor.open(endpoint.protocol(), error);
        if (!error) m_acceptor.set_option(net::socket_base::reuse_address(true), error);
        if (!error) m_acceptor.bind(endpoint, error);
        if (!error) m_acceptor.listen(net::socket_base::max_listen_connections, error);
        if (error)
            throw HostError(options.address + ":" + std::to_string(options.port),
                            "the page cannot be served there: " + error.message());
        Accept();
        m_thread = std::thread([this] { m_context.run(); });
    }
    ~Impl() {
        m_context.stop();
        m_thread.join();
        m_clientsByNumber.clear();  // before the context that their sockets belong to
    }

    int Port() const { return m_acceptor.local_endpoint().port(); }
    std::string Url() const {
        const auto address = m_acceptor.local_endpoint().address();
        const std::string host = address.is_unspecified()
                                     ? (m_options.name.empty() ? "localhost" : m_options.name)
                                 : address.is_v6() ? "[" + address.to_string() + "]"
                                                   : address.to_string();
        return "http://" + host + ":" + std::to_string(Port()) + "/" +
               (m_token.empty() ? "" : "?token=" + m_token);
    }
    void Send(Message message, int client);
    void Offer(const std::string& name, const std::string& type, const std::string& path) {
        net::post(m_context, [=, this] { m_offered["/results/" + name] = {type, path}; });
    }

private:
    class Connection;
    class Client;
    struct Offered {
        std::string type, path;
    };

    void Accept();
    bool IsHostRight(const Request& request) const;
    bool IsOriginRight(const Request& request) const;
    bool HasToken(const Request& request) const;
    /// The name of the token, which tells the port: cookies of one host are those of all its ports.
    std::string Cookie() const { return "qzstress-" + std::to_string(Port()) + "="; }
    Response Answer(const Request& request) const;

    LiveServer& m_owner;
    ServerOptions m_options;
    Listener m_listener;
    std::string m_token;  // empty on the loopback
    std::map<std::string, Offered, std::less<>> m_offered;
    std::map<int, std::shared_ptr<Client>> m_clientsByNumber;
    int m_connections = 0, m_lastClient = 0;
    long long m_lastWait = 0;
    std::map<long long, Connection*> m_waiting;  // for a request of theirs, the longest first
    net::io_context m_context{1};
    tcp::acceptor m_acceptor;
    std::thread m_thread;
};

/// A connection of HTTP, which may become a client.
class LiveServer::Impl::Connection : public std::enable_shared_from_this<Connection> {
public:
    Connection(Impl& server, tcp::socket socket) : m_server(server), m_stream(std::move(socket)) {
        ++m_server.m_connections;
    }
    ~Connection() { --m_server.m_connections; }
    void Read();
    void Close() { m_stream.close(); }

private:
    void Take();
    void Reply(Response response);

    Impl& m_server;
    beast::tcp_stream m_stream;
    beast::flat_buffer m_buffer;
    std::optional<http::request_parser<http::empty_body>> m_parser;
    std::optional<Response> m_response;
};

/// A page that is open.
class LiveServer::Impl::Client : public std::enable_shared_from_this<Client> {
public:
    Client(Impl& server, beast::tcp_stream stream, int number)
        : m_server(server), m_stream(std::move(stream)), m_number(number) {}
    void Begin(const Request& request);
    void Queue(const Message& message);

private:
    void Read();
    void Write();
    void End();
    bool IsTooMuch();

    Impl& m_server;
    beast::websocket::stream<beast::tcp_stream, false> m_stream;  // nothing is compressed
    int m_number;
    beast::flat_buffer m_buffer;
    std::deque<Message> m_queue;  // the first is being written
    std::size_t m_bytes = 0;      // in it
    bool m_isOpen = false;
    std::chrono::steady_clock::time_point m_second{};  // in which its messages are counted
    int m_messages = 0;
};

void LiveServer::Impl::Accept() {
    m_acceptor.async_accept([this](beast::error_code error, tcp::socket socket) {
        if (error == net::error::operation_aborted) return;
        const bool isFull = m_connections >= kMostConnections;
        if (!error && (!isFull || !m_waiting.empty())) {
            if (isFull) m_waiting.extract(m_waiting.begin()).mapped()->Close();
            std::make_shared<Connection>(*this, std::move(socket))->Read();
        }
        Accept();
    });
}

void LiveServer::Impl::Send(Message message, int client) {
    net::post(m_context, [this, message = std::move(message), client] {
        if (client == 0) {
            // A client that is given up leaves the map.
            for (auto next = m_clientsByNumber.begin(); next != m_clientsByNumber.end();) {
                const std::shared_ptr<Client> one = (next++)->second;
                one->Queue(message);
            }
        } else if (const auto found = m_clientsByNumber.find(client); found != m_clientsByNumber.end()) {
            found->second->Queue(message);
        }
    });
}

bool LiveServer::Impl::IsHostRight(const Request& request) const {
    const std::string host(WithoutPort(View(request[http::field::host])));
    // Browsers send names in small letters.
    if (EqualIgnoringCase(host, "localhost")) return true;
    if (!m_options.name.empty() && EqualIgnoringCase(host, m_options.name)) return true;
    beast::error_code error;
    net::ip::make_address(host, error);
    return !error;
}

/// The page itself, also as a proxy with TLS serves it.
bool LiveServer::Impl::IsOriginRight(const Request& request) const {
    const std::string_view origin = View(request[http::field::origin]);
    const std::string host(View(request[http::field::host]));
    return origin == "http://" + host || origin == "https://" + host;
}

bool LiveServer::Impl::HasToken(const Request& request) const {
    if (m_token.empty()) return true;
    const std::string_view cookies = View(request[http::field::cookie]);
    const std::string name = Cookie();
    for (std::size_t at = cookies.find(name); at != std::string_view::npos; at = cookies.find(name, at + 1)) {
        const std::string_view value = cookies.substr(at + name.size());
        if (IsSecret(value.substr(0, value.find(';')), m_token)) return true;
    }
    return false;
}

Response LiveServer::Impl::Answer(const Request& request) const {
    Response response{http::status::ok, request.version()};
    response.keep_alive(request.keep_alive());
    AddSafety(response);
    const auto refuse = [&](http::status status, const char* why) {
        response.result(status);
        response.set(http::field::content_type, "text/plain; charset=utf-8");
        response.body() = why;
    };
    const std::string_view target = View(request.target());
    constexpr std::string_view kTokenTarget = "/?token=";
    if (!IsHostRight(request)) {
        refuse(http::status::misdirected_request, "This name is not one of the monitor's.\n");
    } else if (!m_token.empty() && target.starts_with(kTokenTarget) &&
               IsSecret(target.substr(kTokenTarget.size()), m_token)) {
        // The token does not stay in the address line.
        response.result(http::status::see_other);
        response.set(http::field::location, "/");
        response.set(http::field::set_cookie, Cookie() + m_token + "; HttpOnly; SameSite=Strict; Path=/");
    } else if (!HasToken(request)) {
        refuse(http::status::forbidden, "The address with the token is needed that the monitor printed.\n");
    } else if (request.method() != http::verb::get) {
        refuse(http::status::method_not_allowed, "Only GET is answered.\n");
    } else {
        for (const PageFile& file : PageFiles()) {
            if (file.path != target) continue;
            response.set(http::field::content_type, beast::string_view(file.type.data(), file.type.size()));
            response.body() = file.bytes;
            response.prepare_payload();
            return response;
        }
        if (const auto offered = m_offered.find(target); offered != m_offered.end()) {
            try {
                const InputFile file(offered->second.path);
                if (file.Bytes() > kLongestResult) throw HostError(file.Path(), "is too long");
                std::ifstream stream = file.Stream();
                response.body().assign(std::istreambuf_iterator<char>(stream), {});
                response.set(http::field::content_type, offered->second.type);
            } catch (const HostError&) {
                refuse(http::status::not_found, "The file is gone.\n");
            }
        } else {
            refuse(http::status::not_found, "There is nothing of this name.\n");
        }
    }
    response.prepare_payload();
    return response;
}

void LiveServer::Impl::Connection::Read() {
    m_parser.emplace();
    m_parser->header_limit(kLongestHeader);
    m_parser->body_limit(0);
    m_stream.expires_after(kRequestTime);
    const long long wait = ++m_server.m_lastWait;
    m_server.m_waiting[wait] = this;
    http::async_read(m_stream, m_buffer, *m_parser,
                     [self = shared_from_this(), wait](beast::error_code error, std::size_t) {
                         self->m_server.m_waiting.erase(wait);
                         if (!error) self->Take();
                     });
}

void LiveServer::Impl::Connection::Take() {
    const Request request = m_parser->release();
    if (!beast::websocket::is_upgrade(request)) return Reply(m_server.Answer(request));
    const bool isRight = View(request.target()) == "/live" && m_server.IsHostRight(request) &&
                         m_server.IsOriginRight(request) && m_server.HasToken(request);
    if (isRight && std::ssize(m_server.m_clientsByNumber) < kMostClients) {
        m_stream.expires_never();
        const int number = ++m_server.m_lastClient;
        const auto client = std::make_shared<Client>(m_server, std::move(m_stream), number);
        m_server.m_clientsByNumber[number] = client;
        m_server.m_owner.m_clients = static_cast<int>(m_server.m_clientsByNumber.size());
        return client->Begin(request);
    }
    Response response{isRight ? http::status::service_unavailable : http::status::forbidden,
                      request.version()};
    AddSafety(response);
    response.body() = isRight ? "As many pages are open as may be.\n" : "This page is not let in.\n";
    response.prepare_payload();
    Reply(std::move(response));
}

void LiveServer::Impl::Connection::Reply(Response response) {
    m_response.emplace(std::move(response));
    m_stream.expires_after(kRequestTime);
    http::async_write(m_stream, *m_response,
                      [self = shared_from_this()](beast::error_code error, std::size_t) {
                          if (!error && self->m_response->keep_alive()) return self->Read();
                          self->m_stream.socket().shutdown(tcp::socket::shutdown_send, error);
                      });
}

void LiveServer::Impl::Client::Begin(const Request& request) {
    beast::websocket::stream_base::timeout times{kRequestTime, kSilence, true};
    m_stream.set_option(times);
    m_stream.read_message_max(kLongestMessage);
    m_stream.auto_fragment(false);
    m_stream.next_layer().socket().set_option(tcp::no_delay(true));
    m_stream.async_accept(request, [self = shared_from_this()](beast::error_code error) {
        if (error) return self->End();
        self->m_isOpen = true;
        self->m_server.m_listener(self->m_number, {});
        self->Read();
    });
}

void LiveServer::Impl::Client::Read() {
    m_stream.async_read(m_buffer, [self = shared_from_this()](beast::error_code error, std::size_t) {
        if (error || !self->m_stream.got_text() || self->IsTooMuch()) return self->End();
        std::string text = beast::buffers_to_string(self->m_buffer.data());
        self->m_buffer.consume(self->m_buffer.size());
        if (!text.empty()) self->m_server.m_listener(self->m_number, std::move(text));
        self->Read();
    });
}

bool LiveServer::Impl::Client::IsTooMuch() {
    const auto now = std::chrono::steady_clock::now();
    if (now - m_second > std::chrono::seconds(1)) {
        m_second = now;
        m_messages = 0;
    }
    return ++m_messages > kMostMessages;
}

void LiveServer::Impl::Client::Queue(const Message& message) {
    if (!m_isOpen) return;
    if (message.kind == Kind::Signal && m_bytes > kMostDisplayBytes) return;
    if (m_bytes > kMostBytes) return End();
    if (message.kind == Kind::State || message.kind == Kind::Beats) {
        for (std::size_t i = 1; i < m_queue.size(); ++i) {
            if (m_queue[i].kind != message.kind) continue;
            m_bytes += message.bytes->size() - m_queue[i].bytes->size();
            m_queue[i] = message;
            return;
        }
    }
    m_queue.push_back(message);
    m_bytes += message.bytes->size();
    if (m_queue.size() == 1) Write();
}

void LiveServer::Impl::Client::Write() {
    m_stream.binary(m_queue.front().isBinary);
    m_stream.async_write(net::buffer(*m_queue.front().bytes),
                         [self = shared_from_this()](beast::error_code error, std::size_t) {
                             if (error) return self->End();
                             self->m_bytes -= self->m_queue.front().bytes->size();
                             self->m_queue.pop_front();
                             if (!self->m_queue.empty()) self->Write();
                         });
}

/// Closes the socket under whatever is under way; nothing is waited for.
void LiveServer::Impl::Client::End() {
    m_isOpen = false;
    beast::error_code ignored;
    m_stream.next_layer().socket().close(ignored);
    m_server.m_clientsByNumber.erase(m_number);
    m_server.m_owner.m_clients = static_cast<int>(m_server.m_clientsByNumber.size());
}

LiveServer::LiveServer(const ServerOptions& options, Listener listener)
    : m_impl(std::make_unique<Impl>(*this, options, std::move(listener))) {}
LiveServer::~LiveServer() = default;
std::string LiveServer::Url() const { return m_impl->Url(); }
int LiveServer::Port() const { return m_impl->Port(); }
void LiveServer::Send(Message message, int client) { m_impl->Send(std::move(message), client); }
void LiveServer::Offer(const std::string& name, const std::string& type, const std::string& path) {
    m_impl->Offer(name, type, path);
}
