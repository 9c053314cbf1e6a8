// kq-consumer: a camera application on the installed libkq_api. It streams channel 1
// as MJPEG, takes one snapshot while polling, and says what arrived; it succeeds only
// if both frames and the snapshot came.
#include <atomic>
#include <chrono>
#include <cstdio>

#include "kq_api.h"

namespace {

constexpr int kChannel = 1;
constexpr unsigned int kFramesBeforeSnapshot = 10;
constexpr auto kDeadline = std::chrono::seconds(10);

std::atomic<unsigned int> frames{0};
std::atomic<uint32_t> snapshotBytes{0};

int onFrame(const uint8_t*, uint32_t, uint32_t, uint32_t, uint32_t, uint32_t, void*) {
    ++frames;
    return 0;
}

// Runs on a platform thread.
int onSnapshot(int, const uint8_t*, uint32_t length) {
    snapshotBytes = length;
    return 0;
}

// Polls until the snapshot came or the deadline passed, asking for the snapshot once
// some frames have arrived.
void stream() {
    const auto deadline = std::chrono::steady_clock::now() + kDeadline;
    bool requested = false;
    while (snapshotBytes == 0 && std::chrono::steady_clock::now() < deadline) {
        kq_poll_frame(100);
        if (!requested && frames >= kFramesBeforeSnapshot) {
            requested = kq_trigger_snapshot(kChannel, 80) == 0;
        }
    }
}

}  // namespace

int main() {
    if (kq_init_kq() != KQ_OK) {
        std::fprintf(stderr, "kq-consumer: the library did not start\n");
        return 1;
    }
    const kq_encoder_param param = {KQ_ENC_MJPEG, 640, 360, 25, 0, 0};
    kq_register_snapshot_callback(kChannel, onSnapshot);
    int status = kq_open_encoder(kChannel, &param, onFrame, nullptr);
    if (status == KQ_OK) status = kq_start_encoder(kChannel);
    if (status == KQ_OK) stream();
    kq_close_encoder(kChannel);
    kq_register_snapshot_callback(kChannel, nullptr);
    kq_uninit();

    const bool ok = status == KQ_OK && frames > 0 && snapshotBytes > 0;
    std::printf("kq-consumer: channel %d MJPEG: %u frames, snapshot of %u bytes: %s\n", kChannel,
                frames.load(), snapshotBytes.load(), ok ? "ok" : "FAILED");
    return ok ? 0 : 1;
}
