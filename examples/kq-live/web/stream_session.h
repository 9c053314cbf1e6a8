// A response that never ends: channel 1's JPEG frames as multipart/x-mixed-replace, or
// the log records as server-sent events. A thread of its own takes the values from the
// camera's subscription and hands them to the connection's strand; a viewer that does
// not keep up loses the oldest parts still waiting, and one that stalls past the write
// timeout is dropped: neither the camera nor another viewer waits for it.
#pragma once

#include <atomic>
#include <boost/beast/core/tcp_stream.hpp>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "server_context.h"

namespace live {

enum class StreamKind { Mjpeg, Events };

class StreamSession : public Stoppable, public std::enable_shared_from_this<StreamSession> {
public:
    StreamSession(boost::beast::tcp_stream stream, ServerContext& context, ConnectionSlot slot,
                  StreamKind kind, std::string peer);
    ~StreamSession() override;
    void start();
    // Ends the subscription and joins the thread that reads it; the connection closes
    // when its strand next runs. Any thread but that one.
    void stop() override;

private:
    // What one write sends: a part's head, its shared bytes, its tail.
    struct Chunk {
        std::string head;
        SharedBytes body;
        std::string tail;
    };

    void pumpFrames();
    void pumpLog();
    void deliver(Chunk chunk);  // from the pump thread
    void enqueue(Chunk chunk);  // on the strand
    void writeNext();
    void watchForClose();
    void finish(const std::string& why);

    boost::beast::tcp_stream mStream;
    ServerContext& mContext;
    ConnectionSlot mSlot;
    const StreamKind mKind;
    const std::string mPeer;
    const std::size_t mCapacity;
    std::unique_ptr<Subscription<SharedBytes>> mFrames;
    std::unique_ptr<Subscription<LogRecord>> mRecords;
    std::thread mPump;
    std::mutex mStopMutex;
    std::atomic<bool> mStopping{false};
    // On the strand only:
    std::deque<Chunk> mPending;
    bool mWriting = false;
    bool mFinished = false;
    uint64_t mSent = 0;
    uint64_t mDropped = 0;
    char mDiscard[256];
};

}  // namespace live
