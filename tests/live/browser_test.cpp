// kq-live's page in a real browser: headless Chromium driven through chromedriver's
// WebDriver interface, its microphone a tone file. The live picture moves, privacy makes
// it the mask's grey, the snapshot buttons give pictures of each channel's size, and
// talkback ends in the speaker's WAV file as the tone.
#include <sndfile.h>
#include <sys/socket.h>

#include <chrono>
#include <cmath>
#include <memory>
#include <nlohmann/json.hpp>
#include <thread>

#include <gtest/gtest.h>

#include "live/live_process.h"
#include "live/loopback_socket.h"

namespace {

using nlohmann::json;
using namespace std::chrono_literals;

constexpr double kToneHz = 700;
// Chromium takes a fake microphone file of 44.1 kHz stereo; it plays 48 kHz mono ones as
// silence.
constexpr int kToneRate = 44100;

// A WebDriver session of headless Chromium, through a chromedriver of its own.
class Browser {
public:
    explicit Browser(const std::string& microphone) {
        mDriver = fork();
        if (mDriver == 0) {
            std::freopen("/dev/null", "w", stdout);
            std::freopen("/dev/null", "w", stderr);
            const std::string port = "--port=" + std::to_string(kPort);
            execlp("chromedriver", "chromedriver", port.c_str(), static_cast<char*>(nullptr));
            _exit(127);
        }
        json options = {{"binary", "/usr/bin/chromium"},
                        {"args",
                         {"--headless=new", "--no-sandbox", "--window-size=1200,900",
                          "--use-fake-ui-for-media-stream", "--use-fake-device-for-media-stream",
                          "--autoplay-policy=no-user-gesture-required",
                          "--use-file-for-fake-audio-capture=" + microphone}}};
        json made;
        for (int i = 0; i < 100 && !made.contains("value"); ++i, std::this_thread::sleep_for(100ms))
            made = call("POST", "/session",
                        {{"capabilities", {{"alwaysMatch", {{"goog:chromeOptions", options}}}}}});
        mSession = "/session/" + made["value"].value("sessionId", "");
    }
    ~Browser() {
        call("DELETE", mSession, nullptr);
        kill(mDriver, SIGTERM);
        waitpid(mDriver, nullptr, 0);
    }
    bool ready() const { return mSession != "/session/"; }

    void open(const std::string& url) { call("POST", mSession + "/url", {{"url", url}}); }
    // The value of `script`, a function body, run in the page.
    json run(const std::string& script) {
        return call("POST", mSession + "/execute/sync",
                    {{"script", script}, {"args", json::array()}})["value"];
    }
    // A user's click of the element of that id.
    void click(const std::string& id) { call("POST", element(id) + "/click", json::object()); }
    // A PNG of the element of that id, base64-encoded.
    std::string screenshot(const std::string& id) {
        return call("GET", element(id) + "/screenshot", nullptr)["value"].get<std::string>();
    }
    // Waits until `condition`, a function body, is true in the page.
    bool waitFor(const std::string& condition, std::chrono::seconds limit = 10s) {
        for (auto end = std::chrono::steady_clock::now() + limit;
             std::chrono::steady_clock::now() < end; std::this_thread::sleep_for(100ms))
            if (run(condition) == true) return true;
        return false;
    }

private:
    static constexpr int kPort = 19515;

    // The WebDriver path of the element of that id.
    std::string element(const std::string& id) {
        json found = call("POST", mSession + "/element",
                          {{"using", "css selector"}, {"value", "#" + id}})["value"];
        return mSession + "/element/" + found.begin().value().get<std::string>();
    }

    // One WebDriver command on a connection of its own; the answer's JSON, or an empty
    // object when there is none.
    static json call(const char* method, const std::string& path, const json& body) {
        const int fd = live_test::connectLoopback(kPort, 0, {30, 0});
        const std::string content = body.is_null() ? "" : body.dump();
        const std::string request = std::string(method) + " " + path +
                                    " HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Type: "
                                    "application/json\r\nContent-Length: " +
                                    std::to_string(content.size()) + "\r\n\r\n" + content;
        send(fd, request.data(), request.size(), MSG_NOSIGNAL);
        // The head, then as many bytes as its Content-Length says.
        std::string answer;
        std::size_t bodyAt = std::string::npos, length = 0;
        char chunk[65536];
        for (ssize_t n; (bodyAt == std::string::npos || answer.size() < bodyAt + length) &&
                        (n = recv(fd, chunk, sizeof chunk, 0)) > 0;) {
            answer.append(chunk, n);
            if (bodyAt != std::string::npos ||
                (bodyAt = answer.find("\r\n\r\n")) == std::string::npos)
                continue;
            bodyAt += 4;
            const std::size_t field = answer.find("Content-Length:");
            length = field < bodyAt ? std::stoul(answer.substr(field + 15)) : 0;
        }
        close(fd);
        if (bodyAt == std::string::npos) return json::object();
        json parsed = json::parse(answer.substr(bodyAt), nullptr, false);
        return parsed.is_discarded() ? json::object() : parsed;
    }

    pid_t mDriver = -1;
    std::string mSession;
};

// A 44.1 kHz stereo WAV of the tone.
void writeTone(const std::string& path) {
    SF_INFO info{0, kToneRate, 2, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 0, 0};
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    std::vector<short> samples(kToneRate * 2 * 10);
    for (std::size_t i = 0; i < samples.size(); ++i)
        samples[i] = static_cast<short>(8000 * std::sin(2 * M_PI * kToneHz * (i / 2) / kToneRate));
    sf_writef_short(file, samples.data(), kToneRate * 10);
    sf_close(file);
}

// The frequency of the loud part of a mono WAV file, by its rising zero crossings; 0
// when it holds nothing loud.
double toneOf(const std::string& path) {
    SF_INFO info{};
    SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
    if (!file) return 0;
    std::vector<short> samples(info.frames * info.channels);
    sf_readf_short(file, samples.data(), info.frames);
    sf_close(file);
    std::size_t first = samples.size(), last = 0, crossings = 0;
    for (std::size_t i = 1; i < samples.size(); ++i) {
        if (std::abs(samples[i]) < 2000) continue;
        first = std::min(first, i);
        last = i;
    }
    for (std::size_t i = first + 1; i <= last && last > first; ++i)
        crossings += samples[i - 1] < 0 && samples[i] >= 0;
    return last > first ? crossings * double(info.samplerate) / (last - first) : 0;
}

TEST(LiveBrowser, ThePageShowsStreamsControlsTheCameraAndTalksBack) {
    if (!e2e::haveTool("chromium") || !e2e::haveTool("chromedriver"))
        GTEST_SKIP() << "Debian's chromium and chromium-driver are not installed";
    live_test::LiveProcess live({"--seconds", "60"});  // the speaker: talkback.wav in its folder
    const std::string page = live.webUrl();
    ASSERT_FALSE(page.empty()) << live.errors();
    const std::string tone = live.folder() + "/tone.wav";
    writeTone(tone);
    Browser browser(tone);
    ASSERT_TRUE(browser.ready()) << "chromedriver gave no session";
    browser.open(page);
    ASSERT_TRUE(browser.waitFor("return document.getElementById('live').naturalWidth === 640;"));

    // The picture moves: two screenshots a second apart differ.
    const std::string before = browser.screenshot("live");
    std::this_thread::sleep_for(1s);
    EXPECT_NE(browser.screenshot("live"), before);

    // Privacy: most of channel 1's picture becomes the mask's grey (the icon and the
    // timestamp stay on it).
    const std::string greyShare = R"(
        const img = document.getElementById('live'), c = document.createElement('canvas');
        c.width = img.naturalWidth; c.height = img.naturalHeight;
        const g = c.getContext('2d'); g.drawImage(img, 0, 0);
        const p = g.getImageData(0, 0, c.width, c.height).data;
        let grey = 0;
        for (let i = 0; i < p.length; i += 4)
          grey += Math.abs(p[i] - 128) < 10 && Math.abs(p[i + 1] - 128) < 10 && Math.abs(p[i + 2] - 128) < 10;
        return grey / (p.length / 4);)";
    EXPECT_LT(browser.run(greyShare).get<double>(), 0.5);
    browser.click("privacy");
    EXPECT_TRUE(browser.waitFor("return (() => {" + greyShare + "})() > 0.8;"))
        << browser.run(greyShare);

    // Each snapshot button shows a picture of its channel's size.
    for (const auto& [button, width] : {std::pair{"snapshot-0", 1920}, {"snapshot-1", 640}}) {
        browser.run("document.getElementById('snapshot-view').removeAttribute('src');");
        browser.click(button);
        EXPECT_TRUE(
            browser.waitFor("return document.getElementById('snapshot-view').naturalWidth === " +
                            std::to_string(width) + ";"))
            << button;
    }

    // Talkback: the fake microphone's tone goes to the speaker for two seconds.
    browser.click("talkback");
    ASSERT_TRUE(
        browser.waitFor("return document.getElementById('talkback-state').textContent === 'on';"));
    std::this_thread::sleep_for(2s);
    browser.click("talkback");
    std::this_thread::sleep_for(500ms);  // the sink plays what is left
    EXPECT_EQ(live.stop(), 0);
    EXPECT_NEAR(toneOf(live.folder() + "/talkback.wav"), kToneHz, 10);
}

}  // namespace
