// What the end-to-end tests share: shell commands and the tools they run, decoded
// pictures, and a fixture that streams channels into files and takes snapshots.
#pragma once

#include <sys/stat.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <mutex>
#include <string>
#include <vector>

#include "library/library_fixture.h"

namespace e2e {

// What a shell command printed on its standard output, and how it ended.
struct CommandResult {
    int status;
    std::string output;
};

inline CommandResult runCommand(const std::string& command) {
    CommandResult result{-1, {}};
    std::FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) return result;
    char chunk[4096];
    for (std::size_t n; (n = std::fread(chunk, 1, sizeof chunk, pipe)) > 0;)
        result.output.append(chunk, n);
    result.status = pclose(pipe);
    return result;
}

inline bool haveTool(const char* tool) {
    return runCommand(std::string("command -v ") + tool + " >/dev/null 2>&1").status == 0;
}

#define REQUIRE_TOOL(tool) \
    if (!haveTool(tool)) GTEST_SKIP() << tool " is not installed (./dev installs it)"

// A decoded picture, 8-bit RGB, row after row.
struct Rgb {
    int width = 0, height = 0;
    std::vector<uint8_t> pixels;
    const uint8_t* at(int x, int y) const { return &pixels[(std::size_t(y) * width + x) * 3]; }
};

inline Rgb decode(const std::string& jpeg, int width, int height) {
    Rgb picture{width, height, {}};
    std::string raw =
        runCommand("ffmpeg -v error -i '" + jpeg + "' -f rawvideo -pix_fmt rgb24 -").output;
    picture.pixels.assign(raw.begin(), raw.end());
    if (picture.pixels.size() != std::size_t(width) * height * 3) picture.pixels.clear();
    return picture;
}

// Mean luminance of a column band, over the rows of the colour bars.
inline double bandLuma(const Rgb& p, int x0, int x1) {
    double sum = 0;
    int n = 0;
    for (int y = p.height * 3 / 10; y < p.height * 4 / 10; ++y)
        for (int x = x0; x < x1; ++x, ++n) {
            const uint8_t* c = p.at(x, y);
            sum += 0.299 * c[0] + 0.587 * c[1] + 0.114 * c[2];
        }
    return sum / n;
}

// What tesseract reads in a rectangle of a picture, one line of text, trimmed.
inline std::string readText(const std::string& jpeg, int x, int y, int width, int height) {
    std::string crop = jpeg + ".png";
    char filter[64];
    std::snprintf(filter, sizeof filter, "crop=%d:%d:%d:%d", width, height, x, y);
    runCommand("ffmpeg -v error -y -i '" + jpeg + "' -vf " + filter + " '" + crop + "'");
    std::string text = runCommand("tesseract '" + crop + "' - --psm 7 2>/dev/null").output;
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back()))) text.pop_back();
    return text;
}

class PipelineTest : public LibraryTest {
protected:
    void SetUp() override {
        LibraryTest::SetUp();
        char folder[] = "/tmp/kq-e2e-XXXXXX";
        ASSERT_NE(mkdtemp(folder), nullptr);
        mFolder = folder;
        gTest = this;
        startLibrary();
    }

    void TearDown() override {
        kq_close_encoder(0);
        kq_close_encoder(1);
        LibraryTest::TearDown();
        gTest = nullptr;
        runCommand("rm -rf '" + mFolder + "'");
    }

    std::string path(const std::string& name) const { return mFolder + "/" + name; }

    // Opens and starts `channel`, its frames appended to the stream file and counted.
    void startStream(int channel, const kq_encoder_param& param) {
        mStreams[channel].path = path(channel == 0 ? "ch0.stream" : "ch1.stream");
        mStreams[channel].file.open(mStreams[channel].path, std::ios::binary);
        mStreams[channel].ids = openPipe(channel, param, onFrame, &mStreams[channel]);
        kq_register_snapshot_callback(channel, onSnapshot);
        ASSERT_EQ(kq_start_encoder(channel), KQ_OK);
    }

    // Takes a snapshot of `channel` into a file; its path, empty when none came.
    std::string snapshot(int channel, const std::string& name, int quality = 80) {
        std::size_t before = snapshots().size();
        EXPECT_EQ(kq_trigger_snapshot(channel, quality), 0);
        if (!pollUntil([&] { return snapshots().size() > before; }, 60000)) return "";
        const std::vector<uint8_t> jpeg = snapshots().back().jpeg;
        std::ofstream(path(name), std::ios::binary)
            .write(reinterpret_cast<const char*>(jpeg.data()), std::streamsize(jpeg.size()));
        return path(name);
    }

    // Polls until `channel` has made two more JPEG pictures: one drawn before an overlay
    // changed may still be on its way through the encoder.
    void waitForFreshPictures(int channel) {
        const int jpg = mStreams[channel].ids.jpg;
        const uint64_t made = hostctl::channelStats(jpg).produced;
        pollUntil([&] { return hostctl::channelStats(jpg).produced >= made + 2; }, 30000);
    }

    struct Stream {
        PipeChannels ids;
        std::string path;
        std::ofstream file;
        std::vector<uint32_t> keyFrames;  // the key bit of every frame
    };

    struct Snapshot {
        int channel;
        std::vector<uint8_t> jpeg;
        time_t taken;
    };

    std::vector<Snapshot> snapshots() {
        std::lock_guard<std::mutex> lock(mMutex);
        return mSnapshots;
    }

    static int onFrame(const uint8_t* data, uint32_t length, uint32_t, uint32_t keyFrame, uint32_t,
                       uint32_t, void* user) {
        auto* stream = static_cast<Stream*>(user);
        stream->file.write(reinterpret_cast<const char*>(data), length);
        stream->keyFrames.push_back(keyFrame);
        return 0;
    }

    static int onSnapshot(int channel, const uint8_t* jpeg, uint32_t length) {
        std::lock_guard<std::mutex> lock(gTest->mMutex);
        gTest->mSnapshots.push_back({channel, {jpeg, jpeg + length}, time(nullptr)});
        return 0;
    }

    static inline PipelineTest* gTest = nullptr;
    std::string mFolder;
    Stream mStreams[2];
    std::mutex mMutex;
    std::vector<Snapshot> mSnapshots;
};

}  // namespace e2e
