// What strangers send to a live test. The first byte chooses: the line of a device (0), a journal (1), a
// text of a page (2), bytes to the port (3), or bytes behind a handshake that is right (4), as frames are.
#include <arpa/inet.h>
#include <sys/socket.h>

#include "host/live/LiveJson.h"
#include "host/live/LiveServer.h"
#include "host/support/FileHandle.h"
#include "host/support/HostError.h"
#include "tests/fuzz/FuzzFile.h"

namespace {

/// Texts of pages are read as by the monitor, within the server's thread.
LiveServer& Server() {
    static LiveServer server({"127.0.0.1", 0, {}},
                             [](int, const std::string& text) { ParsePageRequest(text); });
    return server;
}

/// Sends the bytes and waits until the server has closed the connection.
void SendToPort(const std::string& bytes) {
    const FileHandle handle(socket(AF_INET, SOCK_STREAM, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(Server().Port()));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(handle.Value(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) return;
    const timeval patience{0, 200000};
    setsockopt(handle.Value(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    send(handle.Value(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
    shutdown(handle.Value(), SHUT_WR);
    char answer[4096];
    while (recv(handle.Value(), answer, sizeof answer, 0) > 0) continue;
}

std::string Handshake() {
    const std::string host = "127.0.0.1:" + std::to_string(Server().Port());
    return "GET /live HTTP/1.1\r\nHost: " + host + "\r\nOrigin: http://" + host +
           "\r\nUpgrade: websocket\r\nConnection: Upgrade\r\nSec-WebSocket-Version: 13\r\n"
           "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n\r\n";
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const std::string text(AsText(data + 1, size - 1));
    try {
        switch (data[0] % 5) {
            case 0: ParseDeviceLine(text); break;
            case 1: ParseJournalHead("folder", text); break;
            case 2: ParsePageRequest(text); break;
            case 3: SendToPort(text); break;
            case 4: SendToPort(Handshake() + text); break;
        }
    } catch (const HostError&) {
    }
    return 0;
}
