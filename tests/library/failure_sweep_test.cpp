// Every exported operation that reaches the platform, failed at each of its platform
// calls in turn: the operation is run once to learn its calls, then once per call on a
// fresh platform with exactly that call failing. Each run must give the documented
// result and record, and leave no channel, pack, queue, image, handle, platform init,
// thread or open file behind once it is torn down.
#include <unistd.h>

#include <atomic>
#include <cctype>
#include <climits>
#include <cstring>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <thread>

#include "aac_dump_lock.h"
#include "bitmap_files.h"
#include "kq_board.h"
#include "library/library_fixture.h"
#include "log_entry.h"
#include "module/aac_source.h"
#include "module/buf.h"
#include "module/multi_audio_source.h"
#include "module/pcm_sink.h"
#include "module/pcm_source.h"
#include "platform/task_count.h"

namespace {

using namespace std::chrono_literals;

constexpr int kInjected = -5;   // -EIO
constexpr int kCode = INT_MIN;  // expected result: the injected code itself
constexpr int kLost = -1000;    // a snapshot result: the picture never came
const char* const kQuiet = "";  // expected record: no warning or error at all

constexpr unsigned int kInfo = 2, kWarning = 3, kError = 4;

// A library record as the log call made it: its level and its format.
struct Record {
    unsigned int level;
    const char* format;
};

// What the library must do when a call fails. `function` ends in '*' to match a prefix,
// or is "*"; `nth` 0 matches any occurrence; `sign` '-' or '+' picks the injected code's
// sign, '*' both. `log` is the printf format of the failed step's record, kQuiet, or
// null when the operation's own records are not looked at. `records`, when given, are
// all the library's records in order; `cleanup`, when given, the calls the operation
// makes after the failed one, in order.
struct Rule {
    const char* function;
    unsigned int nth;
    char sign;
    int result;
    const char* log;
    std::vector<Record> records = {};
    std::optional<std::vector<std::string>> cleanup = std::nullopt;

    Rule withRecords(std::vector<Record> all) const {
        Rule rule = *this;
        rule.records = std::move(all);
        return rule;
    }
    Rule withCleanup(std::vector<std::string> calls) const {
        Rule rule = *this;
        rule.cleanup = std::move(calls);
        return rule;
    }
};

struct Operation {
    std::string name;
    std::function<void()> setup;
    std::function<int()> run;
    std::function<void()> teardown;
    int ok;  // the result when nothing fails
    std::vector<Rule> rules;
    // Calls made again and again by workers and polling loops, not by the operation.
    std::set<std::string> background = {};
    // The library's records when nothing fails, in order; not looked at when empty.
    std::vector<Record> records = {};
    // The file the library's error records name; any when null.
    const char* file = nullptr;
    // Whether the operation, run again after a failure, must then succeed.
    bool again = false;
};

struct PlatformCall {
    std::string function;
    unsigned int nth;
};

// The positive code a call is also failed with, where a positive result means
// something; 0 for calls that answer 0 or a negative errno only.
int positiveCode(const std::string& f) {
    if (f.rfind("rts_av_create_", 0) == 0) return 90;   // an id that names no channel
    if (f == "rts_av_get_chn_status") return 1;         // active
    if (f == "rts_av_poll") return 1;                   // nothing to receive yet
    if (f.find("gpio") != std::string::npos) return 1;  // a level; only negative fails
    if (f.find("i2c") != std::string::npos) return 3;   // any non-zero fails
    if (f.find("volume") != std::string::npos || f.find("_mute") != std::string::npos)
        return 7;  // only negative fails
    return 0;
}

// The releasing calls, and what stays behind when one of them does nothing.
const std::map<std::string, std::string> kReleasedBy = {
    {"rts_av_release", "platform inits"},
    {"rts_av_destroy_chn", "channels"},
    {"destroy_audio_queue", "audio queues"},
    {"rts_av_release_h264_ctrl", "control handles"},
    {"rts_av_release_mjpeg_ctrl", "control handles"},
    {"deinit_osd_pack", "OSD packs"},
    {"deinit_mask_pack", "mask packs"},
    {"destroy_osd_image", "OSD images"},
    {"destroy_aac_encoder_pack", "AAC encoder packs"},
};

std::map<std::string, int> leftovers() {
    return {{"channels", hostctl::liveChannelCount()},
            {"platform inits", hostctl::platformInitCount()},
            {"audio queues", hostctl::liveAudioQueues()},
            {"control handles", hostctl::liveControlHandles()},
            {"OSD packs", hostctl::liveOsdPacks()},
            {"mask packs", hostctl::liveMaskPacks()},
            {"OSD images", hostctl::liveOsdImages()},
            {"AAC encoder packs", hostctl::aacEncoderPacks()}};
}

bool ruleMatches(const Rule& r, const PlatformCall& call, int code) {
    std::string f = r.function;
    bool name = f == "*" || f == call.function ||
                (f.back() == '*' && call.function.rfind(f.substr(0, f.size() - 1), 0) == 0);
    return name && (r.nth == 0 || r.nth == call.nth) &&
           (r.sign == '*' || (r.sign == '-') == (code < 0));
}

// Whether `text` is `format` printed: %d stands for a number, %s for any text on one
// line.
bool fits(const char* format, const char* text) {
    if (*format == '\0') return *text == '\0';
    if (format[0] == '%' && format[1] == 's') {
        for (const char* t = text;; ++t) {
            if (fits(format + 2, t)) return true;
            if (*t == '\0' || *t == '\n') return false;
        }
    }
    if (format[0] == '%' && format[1] == 'd') {
        const char* t = text + (*text == '-');
        if (!std::isdigit(static_cast<unsigned char>(*t))) return false;
        while (std::isdigit(static_cast<unsigned char>(*t))) ++t;
        return fits(format + 2, t);
    }
    return *format == *text && fits(format + 1, text + 1);
}

// Whether a stored record was logged with `format` as the log call's format and fits it;
// a negative code that the format shows as "%d, %s" must be shown as itself and its text.
bool logged(const std::vector<hostctl::LogRecord>& records, const char* format, int code) {
    const bool showsCode = code < 0 && std::strstr(format, "%d, %s");
    const std::string codeText = std::to_string(code) + ", " + errno2str(code);
    for (const hostctl::LogRecord& r : records)
        if (r.format == format && fits(format, r.text.c_str()) &&
            (!showsCode || r.text.find(codeText) != std::string::npos))
            return true;
    return false;
}

// The library's own records, without the host platform's.
std::vector<hostctl::LogRecord> libraryOnly(const std::vector<hostctl::LogRecord>& records) {
    std::vector<hostctl::LogRecord> own;
    for (const hostctl::LogRecord& r : records)
        if (r.module != hostctl::kHostLogModule) own.push_back(r);
    return own;
}

// The library's records are exactly `expected`, each by its level and format, and each
// error names the file it came from (`file` when given).
void expectRecords(const std::vector<hostctl::LogRecord>& all, const std::vector<Record>& expected,
                   const char* file) {
    const std::vector<hostctl::LogRecord> records = libraryOnly(all);
    std::vector<std::string> got, want;
    for (const hostctl::LogRecord& r : records) {
        got.push_back(std::to_string(r.level) + " " + r.format);
        if (r.level >= kError) {
            EXPECT_FALSE(r.file.empty()) << r.text;
            if (file) {
                EXPECT_EQ(r.file, file) << r.text;
            }
        }
    }
    for (const Record& r : expected) want.push_back(std::to_string(r.level) + " " + r.format);
    EXPECT_EQ(got, want) << "records (level format)";
    for (std::size_t i = 0; i < records.size() && i < expected.size(); ++i)
        EXPECT_TRUE(fits(expected[i].format, records[i].text.c_str())) << records[i].text;
}

// ---- What the operations act on ---------------------------------------------------------

constexpr module::AudioParam kParam{16000, 1, 16, 20};
constexpr int kDevice = 0x50;

struct Held {
    std::shared_ptr<module::PcmSink> sink;
    std::shared_ptr<module::I_Source> source;
    std::shared_ptr<module::MultiAudioSharedSource> shared;
    int jpg = -1;  // the open pipe's JPEG channel
    std::string logo, icon;
} held;

std::atomic<int> snapshots{0}, frames{0};

int onSnapshot(int, const uint8_t*, uint32_t) { return ++snapshots, 0; }
int onFrame(const uint8_t*, uint32_t, uint32_t, uint32_t, uint32_t, uint32_t, void*) {
    return ++frames, 0;
}

// Whether a capture worker has ended: its encoder buffer or its start of receiving was
// refused. A refused clear is logged once the call returns: the worker has ended when
// that record is there too.
bool captureWorkerEnded() {
    for (const hostctl::JournalEntry& e : hostctl::journal()) {
        if (e.function == "rts_av_start_recv" && e.result != 0) return true;
        if (e.function == "clear_aac_encoder_buffer" && e.result != 0) {
            for (const hostctl::LogRecord& r : hostctl::logRecords())
                if (r.format == std::string("start recv fail, ret = %d, %s")) return true;
        }
    }
    return false;
}

// 1 once the source has delivered a PCM frame, 0 once its worker has ended first.
template <typename Source>
int firstFrame(Source& source) {
    std::shared_ptr<module::Buf> frame;
    return source.Read(&frame, 0, 0) > 0 ? 1 : 0;
}

template <>
int firstFrame(module::MultiAudioSourceAacPcm& source) {
    std::shared_ptr<module::Buf> frame;
    for (int i = 0; i < 600; ++i) {
        if (source.ReadCodec(&frame, 0, 0, module::I_SourceFactory::CODEC_PCM) > 0) return 1;
        if (captureWorkerEnded()) return 0;
        std::this_thread::sleep_for(5ms);
    }
    return -1;
}

template <typename Source>
int createSource() {
    auto source = Source::Create("mic", kParam);
    held.source = source;
    return source ? firstFrame(*source) : -1;
}

const std::set<std::string> kCaptureWork = {"rts_av_poll", "rts_av_recv", "rts_av_put_buffer",
                                            "do_pcm_to_aac_encode"};

// ---- Expectations shared by several operations ------------------------------------------

std::vector<Rule> imageRules(int setResult, int aeResult) {
    return {{"set_ae_auto", 0, '-', aeResult, "set ae auto fail, ret = %d, %s"},
            {"get_ae_auto", 0, '-', 0, "get ae auto fail, ret = %d, %s\n"},
            {"get_ae_all_gain", 0, '-', kCode, "get ae all gain fail, ret = %d, %s\n"},
            {"set_flip", 0, '-', 0, "set flip:%d fail, ret = %d, %s\n"},
            {"set_*", 0, '-', setResult, "set isp type:%d = %d fail, ret = %d, %s\n"},
            {"get_*", 0, '-', 0, "get isp type:%d fail, ret = %d, %s\n"}};
}

std::vector<Rule> openRules() {
    std::vector<Rule> rules = {
        {"rts_av_create_isp_chn", 0, '-', KQ_FAIL, "create isp chn fail, ret = %d, %s\n"},
        {"rts_av_create_isp_chn", 0, '+', KQ_FAIL, "set isp profile fail, ret = %d, %s\n"},
        {"rts_av_create_osd_chn", 0, '-', KQ_FAIL, "create osd chn fail, ret = %d, %s\n"},
        {"rts_av_create_osd_chn", 0, '+', KQ_FAIL, "bind isp and osd chn fail, ret = %d, %s\n"},
        {"rts_av_set_profile", 0, '-', KQ_FAIL, "set isp profile fail, ret = %d, %s\n"},
        {"rts_av_create_h264_chn", 0, '-', KQ_FAIL, "create enc chn fail, ret = %d, %s\n"},
        {"rts_av_create_h264_chn", 0, '+', KQ_FAIL, "bind osd and enc chn fail, ret = %d, %s\n"},
        {"rts_av_create_mjpeg_chn", 0, '-', KQ_FAIL, "create jpg chn fail, ret = %d, %s\n"},
        {"rts_av_create_mjpeg_chn", 0, '+', KQ_FAIL, "bind osd and jpg chn fail, ret = %d, %s\n"},
        {"rts_av_bind", 1, '-', KQ_FAIL, "bind isp and osd chn fail, ret = %d, %s\n"},
        {"rts_av_bind", 2, '-', KQ_FAIL, "bind osd and enc chn fail, ret = %d, %s\n"},
        {"rts_av_bind", 3, '-', KQ_FAIL, "bind osd and jpg chn fail, ret = %d, %s\n"},
        {"init_osd_pack", 0, '-', KQ_OK, "init osd pack fail, ret = %d, %s\n"},
        {"init_mask_pack", 0, '-', KQ_OK, "init mask pack fail, ret = %d, %s\n"},
        {"rts_av_enable_chn", 1, '-', KQ_FAIL, "enable isp chn fail, ret = %d, %s\n"},
        {"rts_av_enable_chn", 2, '-', KQ_FAIL, "enable osd chn fail, ret = %d, %s\n"},
        {"rts_av_enable_chn", 3, '-', KQ_FAIL, "enable enc chn fail, ret = %d, %s\n"},
        {"rts_av_enable_chn", 4, '-', KQ_FAIL, "enable jpg chn fail, ret = %d, %s\n"},
        {"rts_av_query_*", 0, '-', KQ_FAIL, "set chennels control fail, ret = %d, %s\n"},
        {"set_h264_video_profile", 0, '-', KQ_FAIL, "set chennels control fail, ret = %d, %s\n"},
        {"set_mjpeg_quality", 0, '-', KQ_FAIL, "set chennels control fail, ret = %d, %s\n"},
    };
    // A failed step is followed by its stage's record and the channel's.
    for (Rule& r : rules) {
        if (r.result != KQ_FAIL) continue;
        const bool enabling =
            std::strncmp(r.log, "enable", 6) == 0 || std::strncmp(r.log, "set chennels", 12) == 0;
        r.records = {
            {kError, r.log},
            {kError, enabling ? "enable video channel fail\n" : "create video channel fail\n"},
            {kError, enabling ? "enable mVidPipes[%d] fail!" : "build mVidPipes[%d] fail!"}};
    }
    rules.push_back(Rule{"set_default_osd_attr", 0, '-', KQ_OK, nullptr}.withRecords(
        {{kWarning, "set default osd attr fail, ret = %d, %s\n"}, {kInfo, "%s ch[%d] success"}}));
    for (const Rule& r : imageRules(KQ_OK, KQ_OK)) rules.push_back(r);
    return rules;
}

// What a capture source logs when opening it or starting its worker fails: it is
// returned all the same and reads nothing (0).
std::vector<Rule> captureOpenRules(bool multi, bool aac) {
    std::vector<Rule> rules = {
        {"rts_av_init", 0, '-', 0, "rts av init fail %d, %s\n"},
        {"rts_av_create_audio_capture_chn", 0, '-', 0, "create capture chn fail, ret = %d, %s\n"},
        {"rts_av_create_audio_capture_chn", 0, '+', 0,
         "bind capture and resample chn fail, ret = %d, %s\n"},
        {"rts_av_create_audio_resample_chn", 0, '-', 0, "create resample chn fail, ret = %d, %s\n"},
        {"rts_av_create_audio_resample_chn", 0, '+', 0,
         "bind capture and resample chn fail, ret = %d, %s\n"},
        {"rts_av_create_audio_encode_chn", 0, '-', 0,
         multi ? "create aac encode chn fail, ret = %d, %s\n"
               : "create encode chn fail, ret = %d, %s\n"},
        {"rts_av_create_audio_encode_chn", 0, '+', 0,
         "set audio encode profile fail, ret = %d, %s\n"},
        {"rts_av_set_profile", 0, '-', 0, "set audio encode profile fail, ret = %d, %s\n"},
        {"create_aac_encoder_pack", 0, '-', 0, "create aac encoder pack fail %d, %s\n"},
        {"rts_av_bind", 1, '-', 0, "bind capture and resample chn fail, ret = %d, %s\n"},
        {"rts_av_bind", 2, '-', 0,
         multi ? "bind resample and aac encode chn fail, ret = %d, %s\n"
               : "bind resample and encode chn fail, ret = %d, %s\n"},
        {"rts_av_enable_chn", 1, '-', 0, "enable capture chn fail, ret = %d, %s\n"},
        {"rts_av_enable_chn", 2, '-', 0, "enable resample chn fail, ret = %d, %s\n"},
        {"rts_av_enable_chn", 3, '-', 0,
         multi ? "enable aac encode chn fail, ret = %d, %s\n"
               : "enable encode chn fail, ret = %d, %s\n"},
        {"clear_aac_encoder_buffer", 0, '-', 0, "start recv fail, ret = %d, %s"},
        // The PCM and combined sources print this failure instead of logging it.
        {"rts_av_start_recv", 0, '-', 0, aac ? "start recv fail, ret = %d, %s" : nullptr},
    };
    // A failed step of building the chain is followed by its stage's record; the worker
    // then cannot start, which the AAC sources log (their encoder pack is gone) and the
    // PCM source prints.
    for (Rule& r : rules) {
        const std::string f = r.function;
        if (f == "rts_av_start_recv" || f == "clear_aac_encoder_buffer") continue;
        r.records = {{kError, r.log}};
        if (f != "rts_av_init")
            r.records.push_back({kError, std::strncmp(r.log, "bind", 4) == 0 ||
                                                 std::strncmp(r.log, "enable", 6) == 0
                                             ? "enable channel fail\n"
                                             : "create channel fail\n"});
        if (multi || aac) r.records.push_back({kError, "start recv fail, ret = %d, %s"});
        // The AAC source's read of nothing is a warning.
        if (aac) r.records.push_back({kWarning, "RTS390X AacSource::Read R%d"});
    }
    return rules;
}

class FailureSweep : public LibraryTest {
protected:
    void SetUp() override {
        LibraryTest::SetUp();
        char folder[] = "/tmp/kq-sweep-XXXXXX";
        ASSERT_NE(mkdtemp(folder), nullptr);
        mFolder = folder;
        bitmap_files::writeBitmapFile(held.logo = mFolder + "/logo.bmp", 200, 100, 32);
        bitmap_files::writeBitmapFile(held.icon = mFolder + "/icon.bmp", 64, 48, 24);
    }

    void TearDown() override {
        LibraryTest::TearDown();
        std::remove(held.logo.c_str());
        std::remove(held.icon.c_str());
        rmdir(mFolder.c_str());
    }

    static void freshPlatform() {
        hostctl::reset();
        hostctl::setLogEcho(nullptr);
        snapshots = 0;
        frames = 0;
    }

    // The platform's callback thread starts with the first callback and stays: start it
    // before any thread is counted.
    static void startCallbackThread() {
        freshPlatform();
        ASSERT_EQ(kq_init_kq(), KQ_OK);
        openedSnapshotPipe(0, h264());
        kq_trigger_snapshot(0, 80);
        kq_poll_frame(0);
        ASSERT_EQ(hostctl::pushBuffer(held.jpg, {0xFF, 0xD8, 0xFF, 0xD9}, 1000, 1), 0);
        hostctl::waitCallbacksIdle();
        closeAll();
    }

    static void openedSnapshotPipe(int channel, const kq_encoder_param& param) {
        kq_register_snapshot_callback(channel, onSnapshot);
        held.jpg = startScriptedPipe(channel, param, onFrame).jpg;
    }

    static void closeAll() {
        kq_close_encoder(0);
        kq_close_encoder(1);
        kq_uninit();
    }

    // The calls an operation makes itself, with their occurrence index.
    static std::vector<PlatformCall> ownCalls(const Operation& op,
                                              const std::vector<hostctl::JournalEntry>& journal) {
        std::vector<PlatformCall> calls;
        std::map<std::string, unsigned int> seen;
        for (const hostctl::JournalEntry& e : journal)
            if (!op.background.count(e.function)) calls.push_back({e.function, ++seen[e.function]});
        return calls;
    }

    // Runs `op` on a fresh platform, with `failed` failing when given; the calls it made.
    static std::vector<PlatformCall> runCase(const Operation& op, const PlatformCall* failed,
                                             int code) {
        freshPlatform();
        const std::size_t tasks = taskCount(), files = fdCount();
        op.setup();
        forgetHistory();
        if (failed) hostctl::failCall(failed->function, failed->nth, code);
        const int result = op.run();
        const std::vector<hostctl::JournalEntry> journal = hostctl::journal();
        const std::vector<hostctl::LogRecord> records = hostctl::logRecords();
        if (failed && op.again && result != op.ok) {
            held.sink.reset(), held.source.reset(), held.shared.reset();
            forgetHistory();
            EXPECT_EQ(op.run(), op.ok) << "run again after the failure";
        }
        op.teardown();
        held.sink.reset();
        held.source.reset();
        held.shared.reset();
        const std::vector<PlatformCall> calls = ownCalls(op, journal);

        std::string released;
        if (!failed) {
            EXPECT_EQ(result, op.ok);
            for (const hostctl::LogRecord& r : records) EXPECT_LT(r.level, kError) << r.text;
            if (!op.records.empty()) expectRecords(records, op.records, op.file);
        } else {
            released = kReleasedBy.count(failed->function) ? kReleasedBy.at(failed->function) : "";
            checkFailure(op, *failed, code, result, journal, records);
        }
        for (const auto& [what, count] : leftovers()) {
            EXPECT_TRUE(what == released || count == 0) << count << " " << what << " left";
        }
        EXPECT_EQ(settledTaskCount(tasks), tasks) << "threads left";
        EXPECT_EQ(fdCount(), files) << "files left open";
        return calls;
    }

    static void checkFailure(const Operation& op, const PlatformCall& failed, int code, int result,
                             const std::vector<hostctl::JournalEntry>& journal,
                             const std::vector<hostctl::LogRecord>& records) {
        unsigned int made = 0;
        for (const hostctl::JournalEntry& e : journal)
            if (e.function == failed.function && ++made == failed.nth) {
                EXPECT_EQ(e.result, code) << "the failed call";
            }
        EXPECT_GE(made, failed.nth) << "the call to fail was not made";
        const Rule* rule = nullptr;
        for (const Rule& r : op.rules)
            if (!rule && ruleMatches(r, failed, code)) rule = &r;
        if (!rule) {
            ADD_FAILURE() << "no expectation";
            return;
        }
        EXPECT_EQ(result, rule->result == kCode ? code : rule->result);
        if (rule->log == kQuiet) {
            for (const hostctl::LogRecord& r : records) EXPECT_LT(r.level, 3u) << r.text;
        } else if (rule->log) {
            std::vector<std::string> logs;
            for (const hostctl::LogRecord& r : records) logs.push_back(r.format + " -> " + r.text);
            EXPECT_TRUE(logged(records, rule->log, code))
                << "expected the format \"" << rule->log << "\", logged (format -> text) "
                << ::testing::PrintToString(logs);
        }
        if (!rule->records.empty()) expectRecords(records, rule->records, op.file);
        if (rule->cleanup) {
            std::vector<std::string> after;
            unsigned int made = 0;
            for (const hostctl::JournalEntry& e : journal)
                if (made >= failed.nth && !op.background.count(e.function))
                    after.push_back(e.function);
                else if (e.function == failed.function)
                    ++made;
            EXPECT_EQ(after, *rule->cleanup) << "the calls after the failed one";
        }
    }

    static std::vector<Operation> operations();

    std::string mFolder;
    AacDumpLock mDumpLock;
};

// ---- The operations ---------------------------------------------------------------------

std::vector<Operation> FailureSweep::operations() {
    const auto nothing = [] {};
    const auto started = [] { ASSERT_EQ(kq_init_kq(), KQ_OK); };
    const auto stop = [] { closeAll(); };
    std::vector<Operation> ops;
    const auto add = [&ops](std::string name, std::function<void()> setup, std::function<int()> run,
                            std::function<void()> teardown, int ok,
                            std::vector<Rule> rules) -> Operation& {
        ops.push_back({std::move(name), std::move(setup), std::move(run), std::move(teardown), ok,
                       std::move(rules)});
        return ops.back();
    };

    // Library start and stop.
    // A failed platform start is released twice, each refused, and leaves no context.
    const char* const initFailed = "rts av init fail %d, %s\n";
    const char* const releaseFailed = "rts av release fail %d, %s\n";
    std::vector<Rule> initRules = {
        Rule{"rts_av_init", 0, '-', KQ_FAIL, initFailed}
            .withRecords({{kError, initFailed}, {kError, releaseFailed}, {kError, releaseFailed}})
            .withCleanup({"rts_av_release", "rts_av_release"})};
    for (const Rule& r : imageRules(KQ_OK, KQ_OK)) initRules.push_back(r);
    add("kq_init_kq", nothing, kq_init_kq, stop, KQ_OK, initRules).again = true;
    add("kq_uninit", started, [] { return kq_uninit(), 0; }, nothing, 0,
        {{"rts_av_release", 0, '-', 0, releaseFailed}});

    // Each codec's channel: open, start, snapshot, close.
    struct Codec {
        int channel;
        kq_encoder_param param;
    };
    for (const Codec& c : {Codec{0, h264()}, Codec{1, mjpeg()}}) {
        const std::string tag = std::string(c.param.enc_type == KQ_ENC_H264 ? "H.264" : "MJPEG") +
                                " ch" + std::to_string(c.channel);
        const int ch = c.channel;
        const kq_encoder_param param = c.param;
        const auto opened = [ch, param] {
            ASSERT_EQ(kq_init_kq(), KQ_OK);
            ASSERT_EQ(kq_open_encoder(ch, &param, nullptr, nullptr), KQ_OK);
        };
        // Saved image settings go only to a complete graph: a failed open that applied
        // them answers 1.
        const auto open = [ch, param] {
            const int r = kq_open_encoder(ch, &param, nullptr, nullptr);
            return r != KQ_OK && !hostctl::calls("set_ae_auto").empty() ? 1 : r;
        };
        add("open " + tag, started, open, stop, KQ_OK, openRules()).again = true;

        const char* const startFailed = "start recv fail, ret = %d, %s\n";
        const Rule startRule = Rule{"rts_av_start_recv", 0, '-', KQ_FAIL, startFailed}.withRecords(
            {{kError, startFailed}, {kError, "start mVidPipes[%d] fail!"}});
        add("start " + tag, opened, [ch] { return kq_start_encoder(ch); }, stop, KQ_OK,
            {startRule});

        const char* const closed = "%s ch[%d] success";
        const auto running = [opened, ch] {
            opened();
            ASSERT_EQ(kq_start_encoder(ch), KQ_OK);
        };
        add("close " + tag, running, [ch] { return kq_close_encoder(ch), 0; }, stop, 0,
            {{"rts_av_stop_recv", 0, '-', 0, "stop recv fail, ret = %d, %s\n"},
             {"rts_av_disable_chn", 1, '-', 0, "disable jpg chn fail, ret = %d, %s\n"},
             {"rts_av_disable_chn", 2, '-', 0, "disable enc chn fail, ret = %d, %s\n"},
             {"rts_av_disable_chn", 3, '-', 0, "disable osd chn fail, ret = %d, %s\n"},
             {"rts_av_disable_chn", 4, '-', 0, "disable isp chn fail, ret = %d, %s\n"},
             {"*", 0, '-', 0, closed}});
        ops.back().records = {{kInfo, closed}};

        const auto snapshotPipe = [ch, param] {
            ASSERT_EQ(kq_init_kq(), KQ_OK);
            openedSnapshotPipe(ch, param);
        };
        const auto snapshot = [ch] {
            const int r = kq_trigger_snapshot(ch, 50);
            kq_poll_frame(0);
            hostctl::pushBuffer(held.jpg, {0xFF, 0xD8, 0xFF, 0xD9}, 1000, 1);
            hostctl::waitCallbacksIdle();
            return snapshots == 1 ? r : kLost;
        };
        // A status other than 0 means active; a poll that finds nothing comes after the
        // request is armed.
        add("snapshot " + tag, snapshotPipe, snapshot, stop, 0,
            {{"set_mjpeg_quality", 0, '-', kCode, "set snapshot quality fail, using default %d"},
             {"rts_av_set_callback", 0, '-', kLost, "set av callback fail, ret = %d, %s\n"},
             {"rts_av_get_chn_status", 0, '*', 0, kQuiet},
             {"rts_av_poll", 0, '*', 0, kQuiet}});

        const auto framePushed = [ch, param] {
            ASSERT_EQ(kq_init_kq(), KQ_OK);
            const PipeChannels ids = startScriptedPipe(ch, param, onFrame);
            const int delivery = ids.delivery(param.enc_type == KQ_ENC_MJPEG);
            ASSERT_EQ(hostctl::pushBuffer(delivery, {0, 0, 0, 1, 0x65}, 2000, 1), 0);
        };
        add("poll a frame " + tag, framePushed, [] { return kq_poll_frame(0) * 10 + frames; }, stop,
            11,
            {{"rts_av_get_chn_status", 0, '*', 11, kQuiet},
             {"rts_av_poll", 0, '*', 0, kQuiet},
             {"rts_av_recv", 0, '-', 0, kQuiet},
             {"rts_av_put_buffer", 0, '-', 11, kQuiet}});
    }

    // Overlays, on an open H.264 channel 0 with a logo and an icon set.
    const auto overlaid = [] {
        ASSERT_EQ(kq_init_kq(), KQ_OK);
        startScriptedPipe(0, h264());
        kq_watermark_setup_logo(0, held.logo.c_str());
        ASSERT_EQ(kq_privacy_setup_icon(0, held.icon.c_str()), 0);
    };
    const auto overlayOp = [&](const std::string& name, std::function<int()> run,
                               std::vector<Rule> rules) {
        add(name, overlaid, std::move(run), stop, 0, std::move(rules));
    };
    overlayOp("kq_watermark_enable on", [] { return kq_watermark_enable(0, 1); },
              {{"draw_osd_image", 0, '-', kCode, "draw osd image fail, ret = %d, %s"}});
    overlayOp("kq_watermark_enable off", [] { return kq_watermark_enable(0, 0); },
              {{"erase_osd_image", 0, '-', kCode, "erase osd image fail, ret = %d, %s"}});
    const char* const logoRefused = "set watermark image fail";
    overlayOp(
        "kq_watermark_setup_logo", [] { return kq_watermark_setup_logo(0, held.logo.c_str()), 0; },
        {{"destroy_osd_image", 0, '-', 0, kQuiet},
         Rule{"create_osd_image", 0, '-', 0, logoRefused}.withRecords({{kWarning, logoRefused}})});
    overlayOp("kq_privacy_setup_icon", [] { return kq_privacy_setup_icon(0, held.icon.c_str()); },
              {{"destroy_osd_image", 0, '-', 0, kQuiet},
               {"create_osd_image", 0, '-', -1, "set privacy icon fail"}});
    overlayOp(
        "kq_enable_privacy_mode on", [] { return kq_enable_privacy_mode(0, 1); },
        {Rule{"draw_osd_image", 0, '-', kCode, "draw privacy icon fail, ret = %d, %s"}.withCleanup(
             {"enable_rect_mask"}),
         Rule{"enable_rect_mask", 0, '-', kCode, "enable rect mask fail, ret = %d, %s"}.withCleanup(
             {})});
    overlayOp(
        "kq_enable_privacy_mode off", [] { return kq_enable_privacy_mode(0, 0); },
        {Rule{"erase_osd_image", 0, '-', kCode, "erase privacy icon fail, ret = %d, %s"}
             .withCleanup({"disable_mask"}),
         Rule{"disable_mask", 0, '-', kCode, "disable mask fail, ret = %d, %s"}.withCleanup({})});
    const auto redrawn = [] {
        kq_enable_osd(0, 1);
        return pollUntil([] { return !hostctl::calls("set_osd_text").empty(); }) ? 0 : -1;
    };
    overlayOp("timestamp redraw", redrawn,
              {{"set_osd_text", 0, '-', 0, "set osd text fail, ret = %d, %s"}});
    ops.back().background = {"rts_av_get_chn_status", "rts_av_poll", "rts_av_recv",
                             "rts_av_put_buffer"};

    // Image settings, without the library started.
    const auto imageOp = [&](const std::string& name, int setResult, int aeResult,
                             std::function<int()> run) {
        add(name, nothing, std::move(run), nothing, 0, imageRules(setResult, aeResult));
    };
    for (uint32_t type = 0; type <= KQ_ISP_AE_APPLY; ++type) {
        if (type == KQ_ISP_RESERVED_4 || type == KQ_ISP_RESERVED_7 || (type > 20 && type < 25))
            continue;
        imageOp("kq_isp_set(" + std::to_string(type) + ")", kCode,
                type == KQ_ISP_AE_APPLY ? kCode : 0, [type] { return kq_isp_set(type, 1); });
    }
    imageOp("rts_set_isp", kCode, 0, [] { return rts_set_isp(KQ_ISP_HUE, 1); });
    imageOp("kq_set_image_flip", 0, 0, [] { return kq_set_image_flip(1), 0; });
    imageOp("rts_save_isp_setting", 0, 0, [] { return rts_save_isp_setting(), 0; });
    imageOp("rts_apply_isp_saved_setting", 0, 0, [] { return rts_apply_isp_saved_setting(), 0; });
    imageOp("rts_show_isp_saved_setting", 0, 0, [] { return rts_show_isp_saved_setting(), 0; });
    imageOp("rts_save_ae_auto", 0, 0, [] { return rts_save_ae_auto(), 0; });
    imageOp("rts_apply_saved_ae_auto", 0, kCode, [] { return rts_apply_saved_ae_auto(); });
    const auto gain = [] {
        uint32_t g[5];
        return rts_get_gain(&g[0], &g[1], &g[2], &g[3], &g[4]);
    };
    imageOp("rts_get_gain", 0, 0, gain);

    // Audio objects: each Create, reading its first frame for the sources, and each
    // destruction.
    const auto dropped = [] { held.sink.reset(), held.source.reset(), held.shared.reset(); };
    const auto createSink = [] {
        held.sink = module::PcmSink::Create("speaker", kParam);
        return held.sink && held.sink->IsRunning() ? 1 : 0;
    };
    // A failed open is its step's error alone, followed by the calls that undo the steps
    // before it.
    const auto sinkRule = [](const char* function, char sign, const char* log,
                             std::vector<std::string> cleanup) {
        return Rule{function, 0, sign, 1, log}.withRecords({{kError, log}}).withCleanup(cleanup);
    };
    const char* const enableFailed = "enable playback chn fail, ret = %d, %s\n";
    add("PcmSink::Create", nothing, createSink, dropped, 1,
        {sinkRule("rts_av_init", '-', "rts av init fail %d, %s\n", {}),
         sinkRule("create_audio_queue", '-', "create audio queue fail, ret = %d, %s\n", {}),
         sinkRule("rts_av_create_audio_playback_chn", '-',
                  "create playback chn fail, ret = %d, %s\n", {}),
         sinkRule("rts_av_create_audio_playback_chn", '+', enableFailed,
                  {"rts_av_enable_chn", "rts_av_destroy_chn"}),
         sinkRule("rts_av_enable_chn", '-', enableFailed, {"rts_av_destroy_chn"}),
         sinkRule("rts_av_start_send", '-', "start send fail, ret = %d, %s\n",
                  {"rts_av_disable_chn", "rts_av_destroy_chn"})});
    ops.back().records = {{kInfo, "RTS PCM Sink opened."}};
    ops.back().file = "src/rts390x/kq_api_shell/rts_pcm_sink.cpp";
    ops.back().again = true;
    const auto sinkOpen = [] { held.sink = module::PcmSink::Create("speaker", kParam); };
    const auto sinkDropped = [] { return held.sink.reset(), 0; };
    add("PcmSink destruction", sinkOpen, sinkDropped, nothing, 0,
        {{"*", 0, '-', 0, "RTS PCM Sink closed"}})
        .records = {{kInfo, "RTS PCM Sink closed"}};

    struct SourceKind {
        const char* name;
        std::function<int()> create;
        bool multi, aac;
        const char* closed;
        const char* file;
    };
    const std::vector<SourceKind> sources = {
        {"PcmSource", createSource<module::PcmSource>, false, false, "RTS PCM Source closed.",
         "src/rts390x/kq_api_shell/rts_pcm_source.cpp"},
        {"AacSource", createSource<module::AacSource>, false, true, "RTS AAC Source closed.",
         "src/rts390x/kq_api_shell/rts_aac_source.cpp"},
        {"MultiAudioSourceAacPcm", createSource<module::MultiAudioSourceAacPcm>, true, false,
         "RTS Muti Audio Source AAC/PCM closed.",
         "src/rts390x/kq_api_shell/rts_aac_pcm_source.cpp"},
    };
    for (const SourceKind& s : sources) {
        if ((s.multi || s.aac) && !hostctl::aacEncoderAvailable()) continue;
        Operation& createOp = add(std::string(s.name) + "::Create", nothing, s.create, dropped, 1,
                                  captureOpenRules(s.multi, s.aac));
        createOp.background = kCaptureWork;
        createOp.file = s.file;
        createOp.again = true;
        const auto create = s.create;
        const std::vector<Rule> closeRules = {
            {"rts_av_stop_recv", 0, '-', 0, "stop recv fail, ret = %d, %s\n"},
            {"*", 0, '-', 0, s.closed}};
        const auto created = [create] { ASSERT_EQ(create(), 1); };
        const auto sourceDropped = [] { return held.source.reset(), 0; };
        Operation& closeOp = add(std::string(s.name) + " destruction", created, sourceDropped,
                                 nothing, 0, closeRules);
        closeOp.background = kCaptureWork;
        closeOp.records = {{kInfo, s.closed}};
        closeOp.file = s.file;
        if (!s.multi) continue;
        const auto sharedOnly = [create] {
            ASSERT_EQ(create(), 1);
            auto multi = std::static_pointer_cast<module::MultiAudioSourceAacPcm>(held.source);
            held.shared = multi->CreateSharedSource(module::I_SourceFactory::CODEC_PCM);
            held.source.reset();
        };
        const auto sharedDropped = [] { return held.shared.reset(), 0; };
        add("MultiAudioSharedSource, the last holder, destruction", sharedOnly, sharedDropped,
            nothing, 0, closeRules)
            .background = kCaptureWork;
    }

    // Board functions.
    const auto pin = [] { ASSERT_EQ(gpio_init(5, 1, 0), 0); };
    const auto device = [] { ASSERT_EQ(hostctl::addI2cDevice(0, kDevice, 256), 0); };
    const auto unmuted = [] {
        ASSERT_EQ(set_aud_out_volume(100), 100);
        ASSERT_EQ(set_aud_in_volume(100), 100);
    };
    // A negative result is an error; a positive one is the pin's level.
    const auto gpioOp = [&](const std::string& name, std::function<void()> setup, const char* text,
                            std::function<int()> run) {
        add(name, std::move(setup), std::move(run), nothing, 0,
            {Rule{"*", 0, '-', kCode, text}.withRecords({{kError, text}}),
             {"*", 0, '+', kCode, kQuiet}});
        ops.back().file = "src/rts390x/kq_api_shell/rts_api_gpio.cpp";
    };
    gpioOp("gpio_init", nothing, "init gpio fail!", [] { return gpio_init(5, 1, 0); });
    gpioOp("gpio_deinit", pin, "deinit gpio fail!", [] { return gpio_deinit(5); });
    gpioOp("gpio_get_value", pin, "get gpio value fail!", [] { return gpio_get_value(5); });
    gpioOp("gpio_set_value", pin, "set gpio value fail!", [] { return gpio_set_value(5, 1); });
    // Any non-zero result of the board's I2C call is a failure, and a warning.
    static unsigned char buffer[4];
    const auto i2cOp = [&](const std::string& name, const char* text, std::function<int()> run) {
        add(name, device, std::move(run), nothing, 0,
            {Rule{"*", 0, '*', kCode, text}.withRecords({{kWarning, text}})});
    };
    for (i2c_action_type a : {I2C_ACTION_READ, I2C_ACTION_WRITE}) {
        const std::string what = a == I2C_ACTION_READ ? " read" : " write";
        i2cOp("i2c_act_direct" + what, "i2c act direct fail!, ret = %d, %s",
              [a] { return i2c_act_direct(a, kDevice, 2, buffer, 4); });
        i2cOp("i2c_act_register" + what, "i2c act register fail!, ret = %d, %s",
              [a] { return i2c_act_register(a, kDevice, 3, 0, 2, buffer, 4); });
    }
    for (i2c_action_type a : {I2C_ACTION_SET_BITS, I2C_ACTION_CLEAR_BITS, I2C_ACTION_UPDATE_BITS})
        i2cOp("i2c_act_reg_bits " + std::to_string(a), "i2c act reg bits fail!, ret = %d, %s",
              [a] { return i2c_act_reg_bits(a, kDevice, 3, 0, 0x0F, 0x3C); });
    // A failed volume call is an error; a failed mute leaves the volume alone. A getter
    // whose call succeeds without storing a value returns what it preset.
    const auto volumeOp = [&](const std::string& name, int ok, std::vector<Rule> rules,
                              std::function<int()> run) {
        for (Rule& r : rules) {
            if (r.log != kQuiet) r.records = {{kError, r.log}};
            if (std::strstr(r.function, "_mute")) r.cleanup = std::vector<std::string>{};
        }
        add(name, unmuted, std::move(run), nothing, ok, rules);
        ops.back().file = "src/rts390x/kq_api_shell/rts_api_audio_ctrl.cpp";
    };
    volumeOp("get_aud_out_volume", 100,
             {{"*", 0, '-', kCode, "get playback volume fail!"}, {"*", 0, '+', -1, kQuiet}},
             [] { return get_aud_out_volume(); });
    volumeOp("get_aud_in_volume", 100,
             {{"*", 0, '-', kCode, "get capture volume fail!"}, {"*", 0, '+', -1, kQuiet}},
             [] { return get_aud_in_volume(); });
    volumeOp("set_aud_out_volume", 50,
             {{"enable_playback_mute", 0, '-', kCode, "enable playback mute fail!"},
              {"set_playback_volume", 0, '-', kCode, "set playback volume fail!"},
              {"*", 0, '+', 50, kQuiet}},
             [] { return set_aud_out_volume(50); });
    volumeOp("set_aud_in_volume", 50,
             {{"enable_capture_mute", 0, '-', kCode, "enable capture mute fail!"},
              {"set_capture_volume", 0, '-', kCode, "set capture volume fail!"},
              {"*", 0, '+', 50, kQuiet}},
             [] { return set_aud_in_volume(50); });
    return ops;
}

TEST_F(FailureSweep, EveryPlatformCallOfEveryOperationFailsCleanly) {
    startCallbackThread();
    int operations = 0, injections = 0;
    for (const Operation& op : FailureSweep::operations()) {
        SCOPED_TRACE(op.name);
        ++operations;
        for (const PlatformCall& call : runCase(op, nullptr, 0)) {
            SCOPED_TRACE(call.function + " #" + std::to_string(call.nth));
            for (int code : {kInjected, positiveCode(call.function)}) {
                if (code == 0) continue;
                SCOPED_TRACE("code " + std::to_string(code));
                runCase(op, &call, code);
                ++injections;
            }
        }
    }
    std::printf("failure sweep: %d operations, %d injected failures\n", operations, injections);
}

}  // namespace
