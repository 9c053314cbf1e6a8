// A seeded model of a careless camera application: several threads call the library at
// random, with null pointers, values out of range and calls out of order, while audio
// objects are made and dropped under readers and writers. After every call the
// model checks what an application relies on: the code is one the call documents, the
// channel states follow the codes, no frame reaches a channel after its close returned,
// and once everything is closed and dropped the platform holds nothing.
//
//   kq_model_test [--seed S] [--steps N] [--seconds S]
//
// Each thread draws its calls from its own generator, seeded from S and its index, so a
// seed replays the same calls per thread; how the threads interleave may differ. The
// run ends after N calls in all or S seconds, whichever comes first.
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "host_control.h"
#include "kq_api.h"
#include "kq_board.h"
#include "module/aac_source.h"
#include "module/buf.h"
#include "module/multi_audio_source.h"
#include "module/pcm_sink.h"
#include "module/pcm_source.h"
#include "platform/task_count.h"

namespace {

using Clock = std::chrono::steady_clock;

// ---- Run options and failures ---------------------------------------------------------------

struct Options {
    uint64_t seed = 0;
    long steps = 20000;
    long seconds = 0;  // 0: no time limit
};

uint64_t gSeed = 0;
std::atomic<bool> gFailed{false};

// What a run did, printed at its end so that a run that did nothing shows.
struct Coverage {
    std::atomic<long> opens{0}, starts{0}, frames{0}, snapshots{0}, audioObjects{0}, framesRead{0},
        buffersWritten{0};
} gCoverage;

void fail(const char* format, ...) {
    char text[512];
    va_list args;
    va_start(args, format);
    std::vsnprintf(text, sizeof text, format, args);
    va_end(args);
    std::fprintf(stderr, "model: FAILED (seed %llu): %s\n", static_cast<unsigned long long>(gSeed),
                 text);
    gFailed = true;
}

// Fails unless `code` is one of `allowed`.
void expectCode(const char* call, int code, std::initializer_list<int> allowed) {
    for (int a : allowed)
        if (code == a) return;
    fail("%s returned %d, not a code it documents", call, code);
}

class Random {
public:
    Random(uint64_t seed, unsigned int index) : mEngine(seed * 1000003u + index) {}

    int below(int n) { return static_cast<int>(mEngine() % static_cast<uint64_t>(n)); }
    bool chance(int percent) { return below(100) < percent; }
    template <typename T>
    T pick(std::initializer_list<T> values) {
        return values.begin()[below(static_cast<int>(values.size()))];
    }

private:
    std::mt19937_64 mEngine;
};

// ---- Video channels -------------------------------------------------------------------------

// What the model knows of one channel. `lock` is held by whoever calls on the channel;
// `closed` is read by the frame callback, on the polling thread.
struct ChannelModel {
    explicit ChannelModel(int n) : number(n) {}

    const int number;
    std::mutex lock;
    bool open = false;
    bool snapshotCallback = false;
    std::atomic<bool> closed{true};
};

ChannelModel gChannels[2] = {ChannelModel(0), ChannelModel(1)};
// Open, start and close must not overlap the polling: they hold this, as does the poller.
std::mutex gGraphLock;

int onFrame(const uint8_t*, uint32_t length, uint32_t, uint32_t, uint32_t, uint32_t, void* user) {
    auto* channel = static_cast<ChannelModel*>(user);
    if (channel->closed)
        fail("a frame of %u bytes reached channel %d after its close", length, channel->number);
    ++gCoverage.frames;
    return 0;
}

int onSnapshot(int channel, const uint8_t*, uint32_t length) {
    if (channel != 0 && channel != 1)
        fail("a snapshot of %u bytes came for channel %d", length, channel);
    else if (gChannels[channel].closed)
        fail("a snapshot of %u bytes reached channel %d after its close", length, channel);
    ++gCoverage.snapshots;
    return 0;
}

kq_encoder_param randomParam(Random& r) {
    if (r.chance(15))  // refused by the platform, or by the library as an unknown codec
        return {r.pick<uint32_t>({0, 1, 2, 7}),   r.pick<uint32_t>({0, 15, 320, 5000}),
                r.pick<uint32_t>({0, 240, 9999}), r.pick<uint32_t>({0, 25, 1000}),
                r.pick<uint32_t>({0, 262144}),    r.pick<uint32_t>({0, 25})};
    return {r.pick<uint32_t>({KQ_ENC_H264, KQ_ENC_MJPEG}),
            r.pick<uint32_t>({160, 320}),
            r.pick<uint32_t>({120, 240}),
            r.pick<uint32_t>({5, 15, 30}),
            r.pick<uint32_t>({131072, 524288}),
            r.pick<uint32_t>({10, 30})};
}

// The graph calls, under the channel's lock and the graph lock.
void openChannel(ChannelModel& c, Random& r) {
    const kq_encoder_param param = randomParam(r);
    const bool nullParam = r.chance(5);
    std::lock_guard<std::mutex> graph(gGraphLock);
    const int code = kq_open_encoder(c.number, nullParam ? nullptr : &param,
                                     r.chance(80) ? onFrame : nullptr, &c);
    expectCode("kq_open_encoder", code, {KQ_OK, KQ_FAIL});
    if (code == KQ_OK && (c.open || nullParam))
        fail("kq_open_encoder(%d) accepted %s", c.number,
             c.open ? "an open channel" : "no parameters");
    if (code == KQ_OK) {
        ++gCoverage.opens;
        c.open = true;
        c.closed = false;
    }
}

void startChannel(ChannelModel& c) {
    std::lock_guard<std::mutex> graph(gGraphLock);
    const int code = kq_start_encoder(c.number);
    expectCode("kq_start_encoder", code, {KQ_OK, KQ_FAIL});
    if (code == KQ_OK && !c.open) fail("kq_start_encoder(%d) started a closed channel", c.number);
    if (code == KQ_OK) ++gCoverage.starts;
}

void closeChannel(ChannelModel& c) {
    std::lock_guard<std::mutex> graph(gGraphLock);
    kq_close_encoder(c.number);
    c.open = false;
    c.closed = true;
}

// The snapshot callback is set once per phase, before any request: it may not change
// while a snapshot is pending, which the model cannot tell.
void snapshot(ChannelModel& c, Random& r) {
    const int code = kq_trigger_snapshot(c.number, r.pick({80, 50, 0, 101}));
    expectCode("kq_trigger_snapshot", code, {0, -16, -74, -22});
    if (!c.snapshotCallback && code != -16) fail("a snapshot without callback gave %d", code);
}

void overlay(ChannelModel& c, Random& r) {
    static const std::string logo = std::string(KQ_SAMPLE_BITMAP_DIR) + "/logo.bmp";
    static const std::string icon = std::string(KQ_SAMPLE_BITMAP_DIR) + "/icon.bmp";
    const int n = c.number;
    switch (r.below(8)) {
        case 0: kq_enable_osd(n, r.below(2)); break;
        case 1: kq_osd_set_position(n, r.below(9) - 1); break;
        case 2: kq_osd_set_color(n, 255, 255, 0, 0, 0, static_cast<uint8_t>(r.below(256))); break;
        case 3:
            kq_osd_set_format(n,
                              r.pick<const char*>({"%Y-%m-%d %H:%M:%S", "%c %c %c", "", nullptr}));
            break;
        case 4:
            kq_watermark_setup_logo(n,
                                    r.pick<const char*>({logo.c_str(), "/no/such.bmp", nullptr}));
            break;
        case 5: {
            const int code =
                kq_privacy_setup_icon(n, r.pick<const char*>({icon.c_str(), "/no/such.bmp"}));
            expectCode("kq_privacy_setup_icon", code, {0, -1});
            break;
        }
        case 6:
            if (kq_watermark_enable(n, r.below(2)) > 0)
                fail("kq_watermark_enable gave a positive code");
            break;
        default:
            if (kq_enable_privacy_mode(n, r.below(2)) > 0)
                fail("kq_enable_privacy_mode gave a positive code");
            break;
    }
}

void channelStep(Random& r, unsigned int worker) {
    ChannelModel& c = gChannels[r.chance(80) ? worker % 2 : 1 - worker % 2];
    std::lock_guard<std::mutex> lock(c.lock);
    switch (r.below(10)) {
        case 0:
        case 1: return openChannel(c, r);
        case 2:
        case 3: return startChannel(c);
        case 4: return closeChannel(c);
        case 5:
        case 6: return snapshot(c, r);
        default: return overlay(c, r);
    }
}

void pollStep(Random& r) {
    std::lock_guard<std::mutex> graph(gGraphLock);
    const int frames = kq_poll_frame(r.below(10));
    if (frames < 0 || frames > 2) fail("kq_poll_frame returned %d", frames);
}

// ---- Image settings and board -----------------------------------------------------------------

void imageOrBoardStep(Random& r, unsigned int) {
    int code = 0;
    switch (r.below(8)) {
        case 0: {
            const uint32_t type = static_cast<uint32_t>(r.below(30));
            code = kq_isp_set(type, r.pick({-300, 0, 1, 50, 128, 255, 70000}));
            if (type > KQ_ISP_AE_APPLY && code != -1) fail("kq_isp_set(%u) gave %d", type, code);
            if (type >= KQ_ISP_AE_1 && type < KQ_ISP_AE_APPLY && code != 0 && code != 21)
                fail("staging auto exposure %u gave %d", type, code);
            if (type < KQ_ISP_AE_1 && code > 0) fail("kq_isp_set(%u) gave %d", type, code);
            break;
        }
        case 1: kq_set_image_flip(r.below(6) - 1); break;
        case 2: {
            uint32_t g[5];
            code = r.chance(10) ? rts_get_gain(nullptr, g, g, g, g)
                                : rts_get_gain(g, g + 1, g + 2, g + 3, g + 4);
            if (code > 0) fail("rts_get_gain gave %d", code);
            break;
        }
        case 3:
            rts_save_isp_setting();
            rts_apply_isp_saved_setting();
            break;
        case 4:
            code = gpio_init(r.below(40) - 2, r.below(3), r.below(2));
            gpio_get_value(r.below(34));
            gpio_deinit(r.below(34));
            break;
        case 5: {
            unsigned char buffer[8] = {};
            code = i2c_act_register(static_cast<i2c_action_type>(r.below(5)), r.pick({0x36, 0x50}),
                                    r.below(300), 0, r.below(10) - 1,
                                    r.chance(10) ? nullptr : buffer, 8);
            if (code > 0) fail("i2c_act_register gave %d", code);
            break;
        }
        case 6: {
            const int volume = r.pick({0, 40, 100, 101, -5});
            code = set_aud_out_volume(volume);
            if (code >= 0 && code != volume) fail("set_aud_out_volume(%d) gave %d", volume, code);
            code = get_aud_in_volume();
            if (code > 100) fail("get_aud_in_volume gave %d", code);
            break;
        }
        default:  // the overlays' refresh and a call not implemented: harmless any time
            kq_osd_update();
            kq_force_keyframe(r.below(3));
    }
}

// ---- Audio objects ----------------------------------------------------------------------------

// The audio objects in play, shared by every audio thread; each slot holds one object
// of any kind. Threads copy a slot's pointers under the lock and call outside it, so an
// object may lose its last reference on whichever thread drops it.
struct AudioSlot {
    std::shared_ptr<module::PcmSink> sink;
    std::shared_ptr<module::I_Source> source;
    std::shared_ptr<module::MultiAudioSourceAacPcm> multi;
};

constexpr int kAudioSlots = 4;
std::mutex gAudioLock;
AudioSlot gAudio[kAudioSlots];

module::AudioParam randomAudioParam(Random& r) {
    if (r.chance(10))
        return {r.pick<uint32_t>({0, 48000}), r.pick<uint8_t>({0, 1}), 16,
                r.pick<uint16_t>({0, 20})};
    return {r.pick<uint32_t>({16000, 48000}), r.pick<uint8_t>({1, 2}), 16, 20};
}

AudioSlot makeAudio(Random& r) {
    const module::AudioParam param = randomAudioParam(r);
    AudioSlot made;
    switch (r.below(5)) {
        case 0:
            made.sink =
                module::PcmSink::Create(r.chance(90) ? "speaker" : "/no/such/dir/out.wav", param);
            break;
        case 1:
            made.source = module::PcmSource::Create(r.chance(90) ? "mic" : "/no/such.wav", param);
            break;
        case 2: made.source = module::AacSource::Create("mic", param); break;
        default: {
            made.multi = module::MultiAudioSourceAacPcm::Create("mic", param);
            if (made.multi && r.chance(70))
                made.source = made.multi->CreateSharedSource(
                    r.chance(50) ? module::I_SourceFactory::CODEC_AAC
                                 : module::I_SourceFactory::CODEC_PCM);
        }
    }
    if (!made.sink && !made.source && !made.multi) fail("an audio Create returned no object");
    ++gCoverage.audioObjects;
    return made;
}

void writeToSink(module::PcmSink& sink, Random& r) {
    const unsigned int length = r.pick<unsigned int>({0, 640, 1920, 3840, 100000});
    auto buffer = std::make_shared<module::Buf>();
    buffer->Malloc(length);
    buffer->size = length;
    if (buffer->Data()) std::memset(buffer->Data(), r.below(256), length);
    sink.Write(r.chance(5) ? nullptr : buffer, length);
    ++gCoverage.buffersWritten;
    if (sink.JitterMs() < 0) fail("PcmSink::JitterMs gave a negative time");
    if (r.chance(10)) sink.Flush();
    if (r.chance(5)) {
        const int volume = r.pick({0, 70, 100});
        const int code = sink.setVolume(volume);
        if (code >= 0 && code != volume) fail("PcmSink::setVolume(%d) gave %d", volume, code);
    }
}

void readFrom(module::I_Source& source, Random& r) {
    if (r.chance(3)) {  // no place for the frame: refused at once, not waited on
        if (source.Read(nullptr, 0, 0) != 0) fail("a capture Read into nothing gave a count");
        return;
    }
    std::shared_ptr<module::Buf> frame;
    const int bytes = source.Read(&frame, static_cast<unsigned int>(r.below(30)), 0);
    if (bytes < 0) fail("a capture Read gave %d", bytes);
    if (bytes > 0) ++gCoverage.framesRead;
    if (bytes > 0 && (!frame || frame->size != static_cast<uint32_t>(bytes)))
        fail("a capture Read of %d bytes left a frame of %u", bytes, frame ? frame->size : 0u);
}

void audioStep(Random& r, unsigned int) {
    const int slot = r.below(kAudioSlots);
    AudioSlot used;
    {
        std::lock_guard<std::mutex> lock(gAudioLock);
        used = gAudio[slot];
    }
    const int action = r.below(10);
    if (action == 0) {
        AudioSlot made = makeAudio(r);
        std::lock_guard<std::mutex> lock(gAudioLock);
        std::swap(gAudio[slot], made);  // the old object goes with `made`, outside the lock
    } else if (action == 1) {
        std::lock_guard<std::mutex> lock(gAudioLock);
        gAudio[slot] = AudioSlot{};
    } else if (used.sink) {
        writeToSink(*used.sink, r);
    } else if (used.source) {
        readFrom(*used.source, r);
    } else if (used.multi) {
        std::shared_ptr<module::Buf> frame;
        const auto codec = static_cast<module::I_SourceFactory::Codec>(r.below(3));
        if (used.multi->ReadCodec(&frame, 0, 0, codec) < 0) fail("ReadCodec gave a negative count");
    }
    // `used` may hold the last reference: the object goes here, on this thread.
}

// ---- Phases ---------------------------------------------------------------------------------

constexpr long kStepsPerWorkerAndPhase = 150;

struct Budget {
    std::atomic<long> left;
    Clock::time_point until;
    bool spent() { return left.fetch_sub(1) <= 0 || Clock::now() >= until || gFailed; }
};

// Runs the workers for `stepsEach` steps each (fewer once the run's budget is spent),
// with the poller polling until they are done.
void runPhase(uint64_t phase, Budget& budget, long stepsEach) {
    std::atomic<int> working{0};
    auto worker = [&](unsigned int index, void (*step)(Random&, unsigned int)) {
        Random r(gSeed + phase * 7919u, index);
        for (long i = 0; i < stepsEach && !budget.spent(); ++i) step(r, index);
        --working;
    };
    auto poller = [&] {
        Random r(gSeed + phase * 7919u, 0);
        while (working > 0 && !gFailed) pollStep(r);
    };
    std::vector<std::thread> threads;
    for (auto step : {channelStep, channelStep, imageOrBoardStep, audioStep, audioStep}) {
        ++working;
        threads.emplace_back(worker, static_cast<unsigned int>(threads.size() + 1), step);
    }
    threads.emplace_back(poller);
    for (std::thread& t : threads) t.join();
}

void closeEverything() {
    for (ChannelModel& c : gChannels) {
        std::lock_guard<std::mutex> lock(c.lock);
        closeChannel(c);
        c.snapshotCallback = false;  // the callbacks go with the library
    }
    kq_uninit();
}

// The names of the process's threads, for a report of those left.
std::string threadNames() {
    std::string names;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream comm(task.path() / "comm");
        std::string name;
        std::getline(comm, name);
        names += (names.empty() ? "" : ", ") + name;
    }
    return names;
}

void checkNothingLeft(std::size_t threadsBefore) {
    {
        std::lock_guard<std::mutex> lock(gAudioLock);
        for (AudioSlot& slot : gAudio) slot = AudioSlot{};
    }
    hostctl::waitCallbacksIdle();
    if (hostctl::liveChannelCount() != 0)
        fail("%d platform channels left", hostctl::liveChannelCount());
    if (hostctl::platformInitCount() != 0)
        fail("%d platform inits left", hostctl::platformInitCount());
    if (hostctl::aacEncoderPacks() != 0)
        fail("%d AAC encoder packs left", hostctl::aacEncoderPacks());
    const std::size_t threads = settledTaskCount(threadsBefore);
    if (threads != threadsBefore)
        fail("%zu threads at the end (%s), %zu at the start", threads, threadNames().c_str(),
             threadsBefore);
}

// One snapshot before the run, so that the platform's callback thread, which lives as
// long as the process, is there before the threads are counted.
void takeFirstSnapshot() {
    const kq_encoder_param param = {KQ_ENC_MJPEG, 160, 120, 30, 0, 0};
    std::atomic<bool>& closed = gChannels[1].closed;
    closed = false;
    if (kq_init_kq() != KQ_OK || kq_open_encoder(1, &param, nullptr, nullptr) != KQ_OK ||
        kq_start_encoder(1) != KQ_OK)
        fail("channel 1 did not start for the first snapshot");
    kq_register_snapshot_callback(1, onSnapshot);
    kq_trigger_snapshot(1, 80);
    const auto until = Clock::now() + std::chrono::seconds(10);
    while (gCoverage.snapshots == 0 && Clock::now() < until) kq_poll_frame(20);
    if (gCoverage.snapshots == 0) fail("the first snapshot did not come");
    kq_close_encoder(1);
    closed = true;
    kq_uninit();
    hostctl::waitCallbacksIdle();
}

bool parse(int argc, char** argv, Options* options) {
    for (int i = 1; i + 1 < argc; i += 2) {
        const std::string flag = argv[i];
        const long long value = std::atoll(argv[i + 1]);
        if (flag == "--seed")
            options->seed = static_cast<uint64_t>(value);
        else if (flag == "--steps")
            options->steps = static_cast<long>(value);
        else if (flag == "--seconds")
            options->seconds = static_cast<long>(value);
        else
            return false;
    }
    return argc % 2 == 1;
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    options.seed = static_cast<uint64_t>(Clock::now().time_since_epoch().count()) % 1000000007u;
    if (!parse(argc, argv, &options)) {
        std::fprintf(stderr, "usage: kq_model_test [--seed S] [--steps N] [--seconds S]\n");
        return 2;
    }
    gSeed = options.seed;
    std::printf("model: seed %llu, 6 threads, up to %ld steps%s\n",
                static_cast<unsigned long long>(gSeed), options.steps,
                options.seconds ? (", " + std::to_string(options.seconds) + " s").c_str() : "");
    std::fflush(stdout);

    hostctl::reset();
    hostctl::setLogEcho(nullptr);
    hostctl::setJournalEnabled(false);
    hostctl::addI2cDevice(0, 0x36, 256);
    takeFirstSnapshot();
    const std::size_t threadsBefore = settledTaskCount(2);
    const auto start = Clock::now();
    Budget budget{
        {options.steps},
        options.seconds ? start + std::chrono::seconds(options.seconds) : Clock::time_point::max()};
    Random coordinator(gSeed, 99);
    uint64_t phase = 0;
    for (; budget.left > 0 && Clock::now() < budget.until && !gFailed; ++phase) {
        expectCode("kq_init_kq", kq_init_kq(), {KQ_OK});
        expectCode("kq_init_kq again", kq_init_kq(), {KQ_FAIL});
        for (ChannelModel& c : gChannels) {
            c.snapshotCallback = coordinator.chance(85);
            kq_register_snapshot_callback(c.number, c.snapshotCallback ? onSnapshot : nullptr);
        }
        runPhase(phase, budget, kStepsPerWorkerAndPhase);
        closeEverything();
    }
    checkNothingLeft(threadsBefore);
    const long done = options.steps - std::max(0L, budget.left.load());
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    std::printf(
        "model: %s, seed %llu: %ld steps in %llu phases, %.1f s; %ld opens, %ld starts, "
        "%ld frames, %ld snapshots, %ld audio objects, %ld frames read, %ld buffers "
        "written\n",
        gFailed ? "FAILED" : "passed", static_cast<unsigned long long>(gSeed), done,
        static_cast<unsigned long long>(phase), seconds, gCoverage.opens.load(),
        gCoverage.starts.load(), gCoverage.frames.load(), gCoverage.snapshots.load(),
        gCoverage.audioObjects.load(), gCoverage.framesRead.load(),
        gCoverage.buffersWritten.load());
    return gFailed ? 1 : 0;
}
