#include "fake_camera.h"

#include <functional>

namespace {

std::string args(std::initializer_list<int> values) {
    std::string text;
    for (const int v : values) text += " " + std::to_string(v);
    return text;
}

}  // namespace

int FakeCamera::record(const std::string& call) {
    std::lock_guard<std::mutex> lock(mMutex);
    mCalls.push_back(call);
    return code;
}

std::vector<std::string> FakeCamera::calls() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mCalls;
}

std::string FakeCamera::talk() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mTalkFormat + " " + std::to_string(mTalkBytes);
}

live::Bytes FakeCamera::picture(int channel) {
    return {0xff, 0xd8, uint8_t(channel), 0x42, 0xff, 0xd9};
}

int FakeCamera::enableTimestamp(int ch, bool on) {
    return record("enableTimestamp" + args({ch, on}));
}
int FakeCamera::setTimestampPosition(int ch, int p) {
    return record("setTimestampPosition" + args({ch, p}));
}
int FakeCamera::setTimestampFormat(int ch, const std::string& f) {
    return record("setTimestampFormat" + args({ch}) + " " + f);
}
int FakeCamera::setTimestampColour(int ch, const live::TimestampColour& c) {
    return record("setTimestampColour" + args({ch, c[0], c[1], c[2], c[3], c[4], c[5]}));
}
int FakeCamera::enableWatermark(int ch, bool on) {
    return record("enableWatermark" + args({ch, on}));
}
int FakeCamera::setWatermarkPosition(int ch, int p) {
    return record("setWatermarkPosition" + args({ch, p}));
}
int FakeCamera::setWatermarkOpacity(int ch, int o) {
    return record("setWatermarkOpacity" + args({ch, o}));
}
int FakeCamera::enablePrivacy(int ch, bool on) { return record("enablePrivacy" + args({ch, on})); }
int FakeCamera::setFlip(int flip) { return record("setFlip" + args({flip})); }
int FakeCamera::setImage(int type, int value) { return record("setImage" + args({type, value})); }

live::Snapshot FakeCamera::snapshot(int channel, int quality) {
    const int answer = record("snapshot" + args({channel, quality}));
    return answer ? live::Snapshot{answer, {}} : live::Snapshot{0, picture(channel)};
}

std::unique_ptr<live::Subscription<live::SharedBytes>> FakeCamera::subscribeJpegFrames() {
    return frames.subscribe();
}

std::unique_ptr<live::Subscription<live::LogRecord>> FakeCamera::subscribeLog() {
    return records.subscribe();
}

namespace {

class Writer : public live::TalkbackWriter {
public:
    explicit Writer(std::function<void(std::size_t)> count) : mCount(std::move(count)) {}
    int write(const uint8_t*, std::size_t bytes) override {
        mCount(bytes);
        return 0;
    }
    void close() override {}

private:
    std::function<void(std::size_t)> mCount;
};

}  // namespace

std::unique_ptr<live::TalkbackWriter> FakeCamera::openTalkback(int rate, int channels) {
    if (record("openTalkback" + args({rate, channels})) != 0) return nullptr;
    std::lock_guard<std::mutex> lock(mMutex);
    mTalkFormat = std::to_string(rate) + "/" + std::to_string(channels);
    mTalkBytes = 0;
    return std::make_unique<Writer>([this](std::size_t bytes) {
        std::lock_guard<std::mutex> lock(mMutex);
        mTalkBytes += bytes;
    });
}
