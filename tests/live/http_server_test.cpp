// The server end to end on a free loopback port, against the fake camera, with plain
// sockets and Beast's WebSocket client.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/websocket.hpp>
#include <chrono>
#include <thread>

#include "fake_camera.h"
#include "http_server.h"
#include "loopback_socket.h"

namespace {

using namespace std::chrono_literals;

// A connected socket that reads with a timeout.
class Client {
public:
    explicit Client(uint16_t port, int receiveBuffer = 0)
        : mFd(live_test::connectLoopback(port, receiveBuffer, {0, 200000})) {}
    ~Client() { close(mFd); }
    void send(const std::string& bytes) { ::send(mFd, bytes.data(), bytes.size(), MSG_NOSIGNAL); }
    // What arrives until `until` is in it, the peer closes or `limit` passes.
    std::string read(const std::string& until = "", std::chrono::milliseconds limit = 5s) {
        const auto end = std::chrono::steady_clock::now() + limit;
        char chunk[65536];
        while (std::chrono::steady_clock::now() < end &&
               (until.empty() || mReceived.find(until) == std::string::npos)) {
            const ssize_t n = recv(mFd, chunk, sizeof chunk, 0);
            if (n == 0) break;
            if (n > 0) mReceived.append(chunk, std::size_t(n));
        }
        return mReceived;
    }
    // How often `marker` came, forgetting what was counted.
    std::size_t count(const std::string& marker) {
        std::size_t n = 0;
        for (auto at = mReceived.find(marker); at != std::string::npos;
             at = mReceived.find(marker, at + 1))
            ++n;
        mReceived.erase(0, mReceived.size() - std::min(mReceived.size(), marker.size() - 1));
        return n;
    }

private:
    int mFd;
    std::string mReceived;
};

std::string get(const std::string& target, const std::string& extra = "") {
    return "GET " + target + " HTTP/1.1\r\nConnection: close\r\n" + extra + "\r\n";
}

class HttpServerTest : public testing::Test {
protected:
    void start(live::ServerOptions options = {}) {
        options.port = 0;
        options.log = [this](int, const std::string& text) {
            std::lock_guard<std::mutex> lock(mMutex);
            mLog += text + "\n";
        };
        mServer = std::make_unique<live::HttpServer>(mCamera, options);
        ASSERT_EQ(mServer->start(), "");
    }
    std::string ask(const std::string& request) {
        Client client(mServer->port());
        client.send(request);
        return client.read();
    }
    std::string log() {
        std::lock_guard<std::mutex> lock(mMutex);
        return mLog;
    }

    // The server logs until it is destroyed, first of these.
    FakeCamera mCamera;
    std::mutex mMutex;
    std::string mLog;
    std::unique_ptr<live::HttpServer> mServer;
};

TEST_F(HttpServerTest, AnswersSnapshotsControlsAndState) {
    start();
    const std::string jpeg = ask(get("/snapshot/1?quality=50"));
    EXPECT_NE(jpeg.find("Content-Type: image/jpeg"), std::string::npos);
    const live::Bytes picture = FakeCamera::picture(1);
    EXPECT_EQ(jpeg.substr(jpeg.size() - picture.size()),
              std::string(picture.begin(), picture.end()));
    const std::string body = R"({"channel":1,"enabled":true})";
    EXPECT_EQ(ask("POST /api/privacy HTTP/1.1\r\nConnection: close\r\nContent-Length: " +
                  std::to_string(body.size()) + "\r\n\r\n" + body)
                  .rfind("HTTP/1.1 200", 0),
              0u);
    EXPECT_NE(ask(get("/api/state")).find(R"("privacy":{"enabled":true})"), std::string::npos);
    EXPECT_EQ((std::vector<std::string>{"snapshot 1 50", "enablePrivacy 1 1"}), mCamera.calls());
    EXPECT_NE(ask(get("/", "Host: localhost:8080\r\n")).find(R"(<img id="live" src="/mjpeg/1")"),
              std::string::npos);
    // Without credentials, only loopback names are served.
    EXPECT_EQ(ask(get("/", "Host: rebound.example:8080\r\n")).rfind("HTTP/1.1 403", 0), 0u);
    EXPECT_EQ(ask(get("/", "Host: [::1]:8080\r\n")).rfind("HTTP/1.1 200", 0), 0u);
}

TEST_F(HttpServerTest, LogRecordsArriveAsServerSentEvents) {
    start();
    Client viewer(mServer->port());
    viewer.send(get("/events"));
    EXPECT_NE(viewer.read("text/event-stream").find("text/event-stream"), std::string::npos);
    while (mCamera.records.subscribers() == 0) std::this_thread::sleep_for(1ms);
    mCamera.records.publish({3, "disk \"full\"", 1700000000000});
    EXPECT_NE(viewer.read("\n\n", 5s)
                  .find(R"(data: {"level":3,"text":"disk \"full\"","time":1700000000000})"),
              std::string::npos);
}

TEST_F(HttpServerTest, AStalledMjpegViewerDoesNotHoldUpAnother) {
    live::ServerOptions options;
    options.writeTimeout = 1s;
    start(options);
    Client stalled(mServer->port(), 4096);  // reads nothing after its request
    stalled.send(get("/mjpeg/1"));
    Client viewer(mServer->port());
    viewer.send(get("/mjpeg/1"));
    while (mCamera.frames.subscribers() < 2) std::this_thread::sleep_for(1ms);
    // Frames far larger than the stalled viewer's socket takes, published without pause
    // for the camera: publishing never waits for a viewer.
    const auto frame = std::make_shared<const live::Bytes>(64 * 1024, 0x5a);
    std::atomic<bool> done{false};
    std::thread camera([&] {
        while (!done) mCamera.frames.publish(frame), std::this_thread::sleep_for(5ms);
    });
    std::size_t parts = 0;
    const auto end = std::chrono::steady_clock::now() + 20s;
    while (std::chrono::steady_clock::now() < end &&
           (parts < 40 || log().find("MJPEG viewer stalled") == std::string::npos)) {
        viewer.read("", 50ms);
        parts += viewer.count("--kqframe\r\nContent-Type: image/jpeg\r\nContent-Length: 65536\r\n");
    }
    done = true;
    camera.join();
    EXPECT_GE(parts, 40u) << log();
    EXPECT_NE(log().find("MJPEG viewer stalled past the write timeout"), std::string::npos)
        << log();
}

TEST_F(HttpServerTest, BasicAuthenticationGuardsEveryRoute) {
    live::ServerOptions options;
    options.credentials = "ann:s3cret";
    start(options);
    const std::string refused = ask(get("/api/state"));
    EXPECT_EQ(refused.rfind("HTTP/1.1 401", 0), 0u);
    EXPECT_NE(refused.find("WWW-Authenticate: Basic realm=\"kq-live\""), std::string::npos);
    EXPECT_EQ(ask(get("/api/state", "Authorization: Basic YW5uOnMzY3JldA==\r\n"))
                  .rfind("HTTP/1.1 200", 0),
              0u);
    EXPECT_EQ(ask(get("/api/state", "Authorization: Basic YW5uOnMzY3JldB==\r\n"))
                  .rfind("HTTP/1.1 401", 0),
              0u);
    EXPECT_NE(log().find("failed authentication for GET /api/state"), std::string::npos);
    // Off loopback, credentials are a must.
    live::ServerOptions open;
    open.address = "0.0.0.0";
    EXPECT_NE(live::HttpServer(mCamera, open).start().find("without credentials"),
              std::string::npos);
}

TEST_F(HttpServerTest, RefusesOversizedAndMalformedRequests) {
    live::ServerOptions options;
    options.maxConnections = 2;
    // Long enough that a loaded machine still sees both idle connections counted.
    options.requestTimeout = 3s;
    start(options);
    const std::string big(5000, '1');
    EXPECT_NE(ask("POST /api/flip HTTP/1.1\r\nContent-Length: 5000\r\n\r\n" + big)
                  .find(R"("field":"body")"),
              std::string::npos);
    EXPECT_NE(
        ask(get("/", "X-Big: " + std::string(9000, 'x') + "\r\n")).find(R"("field":"header")"),
        std::string::npos);
    EXPECT_NE(ask("GARBAGE\r\n\r\n").find("HTTP/1.1 400"), std::string::npos);
    // Two connections that send nothing take both places: a third gets 503 until the
    // request timeout closes them.
    Client idle1(mServer->port()), idle2(mServer->port());
    std::string busy;
    for (int i = 0; i < 50 && busy.rfind("HTTP/1.1 503", 0) != 0; ++i) busy = ask(get("/"));
    EXPECT_EQ(busy.rfind("HTTP/1.1 503", 0), 0u) << busy;
    EXPECT_EQ(idle1.read(), "");  // closed by the timeout
    EXPECT_EQ(ask(get("/api/state")).rfind("HTTP/1.1 200", 0), 0u);
    EXPECT_NE(log().find("400 too large: body = 5000 bytes (accepted: 4096 bytes)"),
              std::string::npos);
    EXPECT_NE(log().find("sent no whole request within 3000 ms"), std::string::npos);
}

TEST_F(HttpServerTest, TalkbackPcmReachesTheSpeaker) {
    namespace websocket = boost::beast::websocket;
    start();
    boost::asio::io_context io;
    // Talks and says why the server closed, or "" when the client ended the talk.
    const auto talk = [&](const std::string& format, const std::string& pcm, bool refused) {
        websocket::stream<boost::asio::ip::tcp::socket> socket(io);
        socket.next_layer().connect({boost::asio::ip::make_address("127.0.0.1"), mServer->port()});
        socket.handshake("127.0.0.1", "/talkback");
        socket.text(true);
        socket.write(boost::asio::buffer(format));
        socket.binary(true);
        boost::beast::error_code error;
        socket.write(boost::asio::buffer(pcm), error);
        if (!refused) return socket.close(websocket::close_code::normal), std::string();
        boost::beast::flat_buffer reply;
        socket.read(reply, error);
        return std::string(socket.reason().reason.c_str());
    };
    EXPECT_EQ(talk(R"({"rate":16000,"channels":2})", std::string(960, '\0'), false), "");
    // The last talker's format and what it sent, once its session ended.
    for (int i = 0; i < 100 && mCamera.talk() != "16000/2 960"; ++i)
        std::this_thread::sleep_for(10ms);
    EXPECT_EQ(mCamera.talk(), "16000/2 960");
    EXPECT_NE(talk(R"({"rate":16000,"channels":2})", std::string(6, '\0'), true)
                  .find("not a whole number"),
              std::string::npos);
    EXPECT_NE(talk(R"({"rate":4000,"channels":1})", "", true).find("rate"), std::string::npos);
}

}  // namespace
