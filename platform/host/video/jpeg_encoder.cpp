#include "video/jpeg_encoder.h"

#include <algorithm>
#include <cerrno>
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <new>

#include <jpeglib.h>
// After jpeglib.h, which it needs.
#include <jerror.h>

namespace host::video {
namespace {

// Luma rows and columns per MCU of 4:2:0 data; chroma has half of each.
constexpr uint32_t kMcuSide = 2 * DCTSIZE;
constexpr std::size_t kFirstOutputBytes = 64 * 1024;

// libjpeg reports a fatal error by calling error_exit, which must not return: it jumps
// back into encode(), which then fails the call instead of the process exiting.
struct ErrorManager {
    jpeg_error_mgr manager;  // first, so libjpeg's pointer is also ours
    std::jmp_buf jump;
};

[[noreturn]] void jumpBack(j_common_ptr info) {
    std::longjmp(reinterpret_cast<ErrorManager*>(info->err)->jump, 1);
}

void ignoreMessage(j_common_ptr) {}

// Writes the compressed bytes straight into the caller's vector: sized up to its capacity
// at the start, doubled when full, cut to what was written at the end.
struct VectorDestination {
    jpeg_destination_mgr manager;  // first, so libjpeg's pointer is also ours
    std::vector<uint8_t>* out;
};

VectorDestination& destinationOf(j_compress_ptr info) {
    return *reinterpret_cast<VectorDestination*>(info->dest);
}

// Gives libjpeg the room past the first `used` bytes; fails the compression when memory
// runs out (outside the handler: a jump must not cross it).
void offerRoom(j_compress_ptr info, std::size_t used, std::size_t size) {
    std::vector<uint8_t>& out = *destinationOf(info).out;
    bool grown = true;
    try {
        out.resize(size);
    } catch (const std::bad_alloc&) {
        grown = false;
    }
    if (!grown) {
        info->err->msg_code = JERR_OUT_OF_MEMORY;
        info->err->error_exit(reinterpret_cast<j_common_ptr>(info));
    }
    info->dest->next_output_byte = out.data() + used;
    info->dest->free_in_buffer = size - used;
}

void initDestination(j_compress_ptr info) {
    offerRoom(info, 0, std::max(destinationOf(info).out->capacity(), kFirstOutputBytes));
}

boolean emptyOutputBuffer(j_compress_ptr info) {
    // Called only with the whole block filled.
    std::size_t used = destinationOf(info).out->size();
    offerRoom(info, used, 2 * used);
    return TRUE;
}

void termDestination(j_compress_ptr info) {
    std::vector<uint8_t>& out = *destinationOf(info).out;
    out.resize(out.size() - info->dest->free_in_buffer);
}

}  // namespace

// One libjpeg compressor, set up once and reused for every picture.
class JpegEncoder::Compressor {
public:
    Compressor() {
        mInfo.err = jpeg_std_error(&mError.manager);
        mError.manager.error_exit = jumpBack;
        mError.manager.output_message = ignoreMessage;
        mDestination.manager.init_destination = initDestination;
        mDestination.manager.empty_output_buffer = emptyOutputBuffer;
        mDestination.manager.term_destination = termDestination;
        if (setjmp(mError.jump) != 0) return;  // out of memory: mCreated stays false
        jpeg_create_compress(&mInfo);
        mCreated = true;
    }

    ~Compressor() {
        if (mCreated) jpeg_destroy_compress(&mInfo);
    }

    Compressor(const Compressor&) = delete;
    Compressor& operator=(const Compressor&) = delete;

    int compress(const Frame& frame, int quality, std::vector<uint8_t>& out) {
        if (!mCreated) return -ENOMEM;
        // Sized before libjpeg runs: nothing may allocate between the setjmp and a jump.
        prepareScratch(frame);
        mDestination.out = &out;
        mInfo.dest = &mDestination.manager;
        if (setjmp(mError.jump) != 0) {
            jpeg_abort_compress(&mInfo);
            out.clear();
            return -EIO;
        }
        configure(frame, quality);
        jpeg_start_compress(&mInfo, TRUE);
        for (uint32_t top = 0; top < frame.height; top += kMcuSide) writeMcuRow(frame, top);
        jpeg_finish_compress(&mInfo);
        return 0;
    }

private:
    void configure(const Frame& frame, int quality) {
        mInfo.image_width = frame.width;
        mInfo.image_height = frame.height;
        mInfo.input_components = 3;
        mInfo.in_color_space = JCS_YCbCr;
        jpeg_set_defaults(&mInfo);
        // The planes go in as they are: no colour conversion, no downsampling.
        mInfo.raw_data_in = TRUE;
        mInfo.comp_info[0].h_samp_factor = 2;
        mInfo.comp_info[0].v_samp_factor = 2;
        for (int c = 1; c < 3; ++c) {
            mInfo.comp_info[c].h_samp_factor = 1;
            mInfo.comp_info[c].v_samp_factor = 1;
        }
        jpeg_set_quality(&mInfo, quality, TRUE);
    }

    // libjpeg reads whole blocks, so rows of a width that is not a whole number of MCUs
    // are copied into padded rows first.
    static uint32_t paddedWidth(const Frame& frame) {
        return (frame.width + kMcuSide - 1) / kMcuSide * kMcuSide;
    }

    void prepareScratch(const Frame& frame) {
        uint32_t width = paddedWidth(frame);
        if (width != frame.width) mScratch.resize(std::size_t{kMcuSide + DCTSIZE} * width);
    }

    // Rows past the bottom repeat the last row; the decoder crops them.
    static const uint8_t* planeRow(const uint8_t* plane, uint32_t stride, uint32_t rows,
                                   uint32_t row) {
        return plane + std::size_t{stride} * std::min(row, rows - 1);
    }

    // Row `row` of a plane, padded to `padded` columns by repeating its last pixel when
    // the frame's rows are too short for libjpeg; `slot` picks the scratch row.
    JSAMPROW rowFor(const uint8_t* plane, uint32_t width, uint32_t rows, uint32_t row,
                    uint32_t padded, std::size_t slot) {
        const uint8_t* source = planeRow(plane, width, rows, row);
        if (padded == width) return const_cast<JSAMPROW>(source);
        uint8_t* copy = mScratch.data() + slot * padded;
        std::memcpy(copy, source, width);
        std::memset(copy + width, source[width - 1], padded - width);
        return copy;
    }

    void writeMcuRow(const Frame& frame, uint32_t top) {
        const uint32_t padded = paddedWidth(frame);
        JSAMPROW lumaRows[kMcuSide];
        JSAMPROW cbRows[DCTSIZE];
        JSAMPROW crRows[DCTSIZE];
        for (uint32_t i = 0; i < kMcuSide; ++i)
            lumaRows[i] = rowFor(frame.y(), frame.width, frame.height, top + i, padded, i);
        // Chroma rows are half as wide: two of them fit each scratch slot past the luma.
        for (uint32_t i = 0; i < DCTSIZE; ++i) {
            uint32_t row = top / 2 + i;
            cbRows[i] = rowFor(frame.u(), frame.chromaWidth(), frame.chromaHeight(), row,
                               padded / 2, 2 * (kMcuSide + i));
            crRows[i] = rowFor(frame.v(), frame.chromaWidth(), frame.chromaHeight(), row,
                               padded / 2, 2 * (kMcuSide + i) + 1);
        }
        JSAMPARRAY planes[] = {lumaRows, cbRows, crRows};
        jpeg_write_raw_data(&mInfo, planes, kMcuSide);
    }

    jpeg_compress_struct mInfo{};
    ErrorManager mError{};
    VectorDestination mDestination{};
    std::vector<uint8_t> mScratch;  // padded rows for widths libjpeg cannot read in place
    bool mCreated = false;
};

JpegEncoder::JpegEncoder() : mCompressor(std::make_unique<Compressor>()) {}

JpegEncoder::~JpegEncoder() = default;

int JpegEncoder::encode(const Frame& frame, int quality, std::vector<uint8_t>& out) {
    if (!frame.valid() || quality < kMinJpegQuality || quality > kMaxJpegQuality) return -EINVAL;
    return mCompressor->compress(frame, quality, out);
}

}  // namespace host::video
