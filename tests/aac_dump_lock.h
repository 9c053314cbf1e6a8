// The AAC sources dump to one path of the library's own, whichever process opens them:
// tests that open them hold this lock, so that test runs of other builds on the same
// machine take turns with them (ctest's resource lock covers only its own run).
#pragma once

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

class AacDumpLock {
public:
    AacDumpLock() : mFd(::open("/tmp/kq_aac_dump.lock", O_RDWR | O_CREAT | O_CLOEXEC, 0666)) {
        if (mFd >= 0) ::flock(mFd, LOCK_EX);
    }
    ~AacDumpLock() {
        if (mFd >= 0) ::close(mFd);
    }
    AacDumpLock(const AacDumpLock&) = delete;
    AacDumpLock& operator=(const AacDumpLock&) = delete;

private:
    int mFd;
};
