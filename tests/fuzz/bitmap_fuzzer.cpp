// libFuzzer target: module::GetPureBitmap over arbitrary file contents. The loader takes
// a path, so each input is written to one memory-backed file opened through /proc.
// Beyond the sanitizers' checks, a loaded bitmap must describe exactly the pixels
// returned, and a refusal must say why in one record.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <string>

#include "host_control.h"
#include "module/bitmap.h"

namespace {

class MemoryFile {
public:
    MemoryFile() : mFd(memfd_create("bitmap-fuzz-input", 0)) {
        if (mFd < 0) std::abort();
        mPath = "/proc/self/fd/" + std::to_string(mFd);
    }

    const char* path() const { return mPath.c_str(); }

    // Makes the file hold exactly these bytes.
    void fill(const uint8_t* data, size_t size) {
        if (ftruncate(mFd, 0) != 0) std::abort();
        size_t done = 0;
        while (done < size) {
            ssize_t n = pwrite(mFd, data + done, size - done, static_cast<off_t>(done));
            if (n <= 0) std::abort();
            done += static_cast<size_t>(n);
        }
    }

private:
    int mFd;
    std::string mPath;
};

void checkLoaded(const module::Buf& pixels, const module::BmpInfo& info) {
    bool described = info.width >= 1 && info.width <= module::kMaxBitmapSide && info.height >= 1 &&
                     info.height <= module::kMaxBitmapSide &&
                     info.format == module::kBitmapFormatBgra8888 &&
                     (info.bits == 24 || info.bits == 32) &&
                     pixels.size == uint64_t{info.width} * info.height * 4 && pixels.Data();
    if (!described) std::abort();
    // Every byte is read, so AddressSanitizer sees a buffer shorter than its size.
    volatile uint8_t sum = 0;
    for (uint32_t i = 0; i < pixels.size; ++i) sum = sum + pixels.Data()[i];
    // A 24-bit file is opaque.
    if (info.bits == 24)
        for (uint32_t i = 3; i < pixels.size; i += 4)
            if (pixels.Data()[i] != 0xff) std::abort();
}

}  // namespace

// The refusals' records are read, not echoed.
extern "C" int LLVMFuzzerInitialize(int*, char***) {
    hostctl::setLogEcho(nullptr);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static MemoryFile file;
    file.fill(data, size);
    module::BmpInfo info;
    std::shared_ptr<module::Buf> pixels = module::GetPureBitmap(file.path(), &info);
    if (pixels) {
        checkLoaded(*pixels, info);
    } else if (info.width || info.height || info.format || info.bits ||
               hostctl::logRecords().size() != 1) {
        std::abort();  // a refusal leaves the record zeroed and gives one record
    }
    hostctl::clearLogRecords();
    return 0;
}
