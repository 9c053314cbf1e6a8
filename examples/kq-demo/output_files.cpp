#include "output_files.h"

namespace demo {

StreamFile::~StreamFile() { close(); }

bool StreamFile::open(const std::string& path) {
    mPath = path;
    mFile = std::fopen(path.c_str(), "wb");
    if (!mFile) std::perror(path.c_str());
    return mFile != nullptr;
}

void StreamFile::close() {
    if (mFile) std::fclose(mFile);
    mFile = nullptr;
}

int StreamFile::onFrame(const uint8_t* data, uint32_t length, uint32_t timestampMs,
                        uint32_t keyFrame, uint32_t, uint32_t, void* self) {
    // The data is the platform's buffer, valid during this call only: written out now.
    auto* file = static_cast<StreamFile*>(self);
    if (file->mFile && std::fwrite(data, 1, length, file->mFile) != length)
        std::perror(file->mPath.c_str());
    if (file->mFrames == 0) file->mFirstMs = timestampMs;
    file->mLastMs = timestampMs;
    ++file->mFrames;
    file->mKeyFrames += keyFrame;
    file->mBytes += length;
    return 0;
}

SnapshotFiles& SnapshotFiles::instance() {
    static SnapshotFiles files;
    return files;
}

void SnapshotFiles::setFolder(const std::string& folder) {
    std::lock_guard<std::mutex> lock(mMutex);
    mFolder = folder;
}

void SnapshotFiles::expect(int channel, bool underPrivacy) {
    std::lock_guard<std::mutex> lock(mMutex);
    if (channel == 0 || channel == 1) mExpected[channel].push_back(underPrivacy);
}

int SnapshotFiles::onSnapshot(int channel, const uint8_t* jpeg, uint32_t length) {
    return instance().write(channel, jpeg, length);
}

int SnapshotFiles::write(int channel, const uint8_t* jpeg, uint32_t length) {
    std::lock_guard<std::mutex> lock(mMutex);
    int number = 1;
    for (const SnapshotFile& f : mFiles) number += f.channel == channel;
    char name[64];
    std::snprintf(name, sizeof name, "/ch%d-snapshot-%02d.jpg", channel, number);
    std::string path = mFolder + name;
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (!file || std::fwrite(jpeg, 1, length, file) != length) std::perror(path.c_str());
    if (file) std::fclose(file);
    bool underPrivacy = false;
    if ((channel == 0 || channel == 1) && !mExpected[channel].empty()) {
        underPrivacy = mExpected[channel].front();
        mExpected[channel].pop_front();
    }
    mFiles.push_back({channel, path, length, underPrivacy});
    return 0;
}

std::vector<SnapshotFile> SnapshotFiles::files() {
    std::lock_guard<std::mutex> lock(mMutex);
    return mFiles;
}

}  // namespace demo
