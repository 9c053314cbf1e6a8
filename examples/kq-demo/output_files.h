// What kq-demo writes: each channel's encoded stream into one file, and every snapshot
// into a JPEG file of its own.
#pragma once

#include <cstdint>
#include <cstdio>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

namespace demo {

// One channel's stream file. Its frame callback runs on the polling thread.
class StreamFile {
public:
    StreamFile() = default;
    ~StreamFile();
    StreamFile(const StreamFile&) = delete;
    StreamFile& operator=(const StreamFile&) = delete;

    bool open(const std::string& path);
    void close();

    // A kq_frame_callback; `self` is the StreamFile.
    static int onFrame(const uint8_t* data, uint32_t length, uint32_t timestampMs,
                       uint32_t keyFrame, uint32_t reserved1, uint32_t reserved2, void* self);

    const std::string& path() const { return mPath; }
    uint64_t frames() const { return mFrames; }
    uint64_t keyFrames() const { return mKeyFrames; }
    uint64_t bytes() const { return mBytes; }
    // From the first frame's timestamp to the last one's.
    uint32_t spanMs() const { return mFrames ? mLastMs - mFirstMs : 0; }

private:
    std::FILE* mFile = nullptr;
    std::string mPath;
    uint64_t mFrames = 0, mKeyFrames = 0, mBytes = 0;
    uint32_t mFirstMs = 0, mLastMs = 0;
};

struct SnapshotFile {
    int channel;
    std::string path;
    uint32_t bytes;
    bool underPrivacy;  // requested while the channel's privacy mode was on
};

// Every snapshot of both channels. The snapshot callback runs on a platform thread and
// carries no user data, so the files are kept by one process-wide object.
class SnapshotFiles {
public:
    static SnapshotFiles& instance();
    void setFolder(const std::string& folder);
    // Notes a placed request of `channel`'s next snapshot; snapshots arrive in the order
    // of their requests.
    void expect(int channel, bool underPrivacy);
    // A kq_snapshot_callback.
    static int onSnapshot(int channel, const uint8_t* jpeg, uint32_t length);
    std::vector<SnapshotFile> files();

private:
    int write(int channel, const uint8_t* jpeg, uint32_t length);

    std::mutex mMutex;
    std::string mFolder;
    std::deque<bool> mExpected[2];  // per channel: whether under privacy
    std::vector<SnapshotFile> mFiles;
};

}  // namespace demo
