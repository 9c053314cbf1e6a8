// kq-live as a process, served to real RTSP clients: ffprobe and ffmpeg read and decode
// both URLs, a raw client stalls beside another viewer, and the safety rules refuse what
// they must.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "e2e/e2e_fixture.h"
#include "live/live_process.h"
#include "live/loopback_socket.h"

namespace {

using live_test::LiveProcess;

using e2e::haveTool;
using e2e::runCommand;

// A bare RTSP client over one TCP connection, which reads only the answers it asks for.
class RawRtspClient {
public:
    RawRtspClient(uint16_t port, int receiveBuffer = 0)
        : mSocket(live_test::connectLoopback(port, receiveBuffer, {5, 0})) {}
    ~RawRtspClient() { close(mSocket); }

    // The answer's head, its body read past.
    std::string request(const std::string& method, const std::string& url,
                        const std::string& headers = "") {
        std::string text = method + " " + url + " RTSP/1.0\r\nCSeq: " + std::to_string(++mSeq) +
                           "\r\n" + headers + "\r\n";
        send(mSocket, text.data(), text.size(), MSG_NOSIGNAL);
        std::string head;
        for (char c; head.find("\r\n\r\n") == std::string::npos && recv(mSocket, &c, 1, 0) == 1;)
            head += c;
        std::size_t length = head.find("Content-Length: ");
        for (int n = length == std::string::npos ? 0 : std::stoi(head.substr(length + 16));
             n > 0;) {
            char body[1024];
            ssize_t got = recv(mSocket, body, std::min<int>(n, sizeof body), 0);
            if (got <= 0) break;
            n -= static_cast<int>(got);
        }
        return head;
    }
    // DESCRIBE, SETUP of the first stream over this connection, PLAY: the PLAY's answer.
    std::string play(const std::string& url) {
        request("DESCRIBE", url, "Accept: application/sdp\r\n");
        std::string setup = request("SETUP", url + "/stream=0",
                                    "Transport: RTP/AVP/TCP;unicast;interleaved=0-1\r\n");
        std::size_t session = setup.find("Session: ");
        if (session == std::string::npos) return setup;
        std::string id =
            setup.substr(session + 9, setup.find_first_of(";\r", session) - session - 9);
        return request("PLAY", url, "Session: " + id + "\r\n");
    }

private:
    int mSocket = -1;
    int mSeq = 0;
};

std::string probe(const std::string& url) {
    return runCommand(
               "ffprobe -v error -rtsp_transport tcp -show_entries "
               "stream=codec_name,width,height,r_frame_rate,sample_rate -of compact '" +
               url + "'")
        .output;
}

// What ffmpeg made of `seconds` of a stream: the frames decoded, how long it took and
// what it said on stderr.
struct Decoded {
    int frames = 0;
    double wallSeconds = 0;
    std::string errors;
};

Decoded decode(const std::string& url, int seconds) {
    const std::string errors = "/tmp/kq-live-test-ffmpeg-" + std::to_string(getpid()) + "-" +
                               url.substr(url.rfind('/') + 1);
    const auto start = std::chrono::steady_clock::now();
    e2e::CommandResult run =
        runCommand("ffmpeg -nostdin -v error -rtsp_transport tcp -i '" + url + "' -t " +
                   std::to_string(seconds) + " -f rawvideo -progress pipe:1 -y /dev/null 2>'" +
                   errors + "' | sed -n 's/^frame=//p' | tail -1");
    Decoded decoded;
    decoded.wallSeconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    decoded.frames = std::atoi(run.output.c_str());
    std::ifstream in(errors);
    decoded.errors.assign(std::istreambuf_iterator<char>(in), {});
    std::remove(errors.c_str());
    return decoded;
}

TEST(LiveRtsp, BothUrlsCarryTheirStreams) {
    REQUIRE_TOOL("ffprobe");
    LiveProcess live({"--seconds", "30"});
    ASSERT_FALSE(live.url("").empty()) << live.errors();
    EXPECT_EQ(probe(live.url("ch0")),
              "stream|codec_name=h264|width=1920|height=1080|r_frame_rate=25/1\n"
              "stream|codec_name=aac|sample_rate=48000|r_frame_rate=0/0\n");
    EXPECT_EQ(probe(live.url("ch1")),
              "stream|codec_name=mjpeg|width=640|height=360|r_frame_rate=25/1\n");
    EXPECT_EQ(live.stop(), 0) << live.errors();
}

TEST(LiveRtsp, ClientsDecodeBothStreamsCleanly) {
    REQUIRE_TOOL("ffmpeg");
    LiveProcess live({"--seconds", "30", "--ch0", "640x360@25"});
    for (const char* path : {"ch0", "ch1"}) {
        Decoded decoded = decode(live.url(path), 2);
        EXPECT_GE(decoded.frames, 45) << path;
        EXPECT_EQ(decoded.errors, "") << path;
    }
    EXPECT_EQ(live.stop(), 0) << live.errors();
}

// A viewer that stops reading fills its own connection and queues; the other one keeps
// its frame rate (a generous bound: a slowed server would take twice as long), and the
// stop still ends every pipeline.
TEST(LiveRtsp, AStalledViewerDoesNotSlowAnother) {
    REQUIRE_TOOL("ffmpeg");
    LiveProcess live({"--seconds", "30", "--ch0", "640x360@25"});
    RawRtspClient stalled(live.port(), 4096);
    ASSERT_EQ(stalled.play(live.url("ch0")).rfind("RTSP/1.0 200", 0), 0u);
    constexpr int kSeconds = 4;
    Decoded decoded = decode(live.url("ch0"), kSeconds);
    EXPECT_GE(decoded.frames, kSeconds * 25 * 9 / 10);
    EXPECT_LT(decoded.wallSeconds, 2 * kSeconds + 2);
    EXPECT_EQ(decoded.errors, "");
    EXPECT_EQ(live.stop(), 0) << live.errors();
}

TEST(LiveRtsp, CredentialsAreDemanded) {
    REQUIRE_TOOL("ffprobe");
    LiveProcess live({"--seconds", "30", "--user", "ann:s3cret"});
    const std::string url = live.url("ch1");
    ASSERT_FALSE(url.empty()) << live.errors();
    RawRtspClient anonymous(live.port());
    EXPECT_EQ(anonymous.request("DESCRIBE", url).rfind("RTSP/1.0 401", 0), 0u);
    EXPECT_EQ(probe("rtsp://ann:s3cret@" + url.substr(7)),
              "stream|codec_name=mjpeg|width=640|height=360|r_frame_rate=25/1\n");
    EXPECT_EQ(probe("rtsp://ann:wrong@" + url.substr(7)), "");
    EXPECT_NE(live.errors().find("refused the credentials of user \"ann\""), std::string::npos);
    EXPECT_EQ(live.stop(), 0) << live.errors();
}

TEST(LiveRtsp, ViewersBeyondTheLimitAreTurnedAway) {
    LiveProcess live({"--seconds", "30", "--max-viewers", "1", "--ch0", "640x360@25"});
    RawRtspClient first(live.port()), second(live.port());
    EXPECT_EQ(first.play(live.url("ch1")).rfind("RTSP/1.0 200", 0), 0u);
    EXPECT_EQ(second.play(live.url("ch1")).rfind("RTSP/1.0 503", 0), 0u);
    EXPECT_EQ(live.stop(), 0) << live.errors();
}

// Each refused before anything starts, with a message naming what was wrong.
TEST(LiveRtsp, UnsafeOrBadOptionsAreRefused) {
    const struct {
        const char* args;
        const char* says;
    } kCases[] = {
        {"--listen 0.0.0.0", "without --user"},
        {"--listen localhost", "numeric IPv4 or IPv6"},
        {"--rtsp-port 70000", "port of 0 to 65535"},
        {"--user ann", "NAME:PASSWORD"},
        {"--ch1 644x360@25", "multiples of 8"},
        {"--max-viewers 0", "from 1 to 64"},
        {"--mic", "needs a value"},
        {"--camera rtsp://cam", "is none of pattern, file:PATH and v4l2:DEVICE"},
    };
    for (const auto& c : kCases) {
        e2e::CommandResult run =
            runCommand(std::string(KQ_LIVE_PATH) + " " + c.args + " 2>&1 >/dev/null");
        EXPECT_EQ(WEXITSTATUS(run.status), 2) << c.args;
        EXPECT_NE(run.output.find(c.says), std::string::npos) << c.args << ": " << run.output;
    }
}

}  // namespace
