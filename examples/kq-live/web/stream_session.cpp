#include "stream_session.h"

#include <boost/asio/post.hpp>
#include <boost/asio/write.hpp>
#include <nlohmann/json.hpp>

namespace live {

namespace beast = boost::beast;
namespace net = boost::asio;

namespace {

constexpr std::chrono::milliseconds kPollPeriod{200};
// Parts waiting for a slow viewer: frames are superseded by the next one, records are not.
constexpr std::size_t kPendingFrames = 2;
constexpr std::size_t kPendingRecords = 256;
constexpr char kBoundary[] = "kqframe";

std::string responseHead(StreamKind kind) {
    const std::string type = kind == StreamKind::Mjpeg
                                 ? std::string("multipart/x-mixed-replace; boundary=") + kBoundary
                                 : "text/event-stream";
    return "HTTP/1.1 200 OK\r\nServer: kq-live\r\nContent-Type: " + type +
           "\r\nCache-Control: no-store\r\nConnection: close\r\n\r\n";
}

std::string recordEvent(const LogRecord& record) {
    const nlohmann::json data = {
        {"level", record.level}, {"text", record.text}, {"time", record.timeMs}};
    return "event: log\ndata: " +
           data.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n\n";
}

}  // namespace

StreamSession::StreamSession(beast::tcp_stream stream, ServerContext& context, ConnectionSlot slot,
                             StreamKind kind, std::string peer)
    : mStream(std::move(stream)),
      mContext(context),
      mSlot(std::move(slot)),
      mKind(kind),
      mPeer(std::move(peer)),
      mCapacity(kind == StreamKind::Mjpeg ? kPendingFrames : kPendingRecords) {}

StreamSession::~StreamSession() { stop(); }

void StreamSession::start() {
    if (mKind == StreamKind::Mjpeg)
        mFrames = mContext.camera.subscribeJpegFrames();
    else
        mRecords = mContext.camera.subscribeLog();
    net::post(mStream.get_executor(), [self = shared_from_this()] {
        self->enqueue({responseHead(self->mKind), nullptr, ""});
        self->watchForClose();
    });
    if (!mFrames && !mRecords) return;
    mPump = std::thread(
        mKind == StreamKind::Mjpeg ? &StreamSession::pumpFrames : &StreamSession::pumpLog, this);
}

void StreamSession::stop() {
    std::lock_guard<std::mutex> lock(mStopMutex);
    mStopping = true;
    if (mFrames) mFrames->close();
    if (mRecords) mRecords->close();
    if (mPump.joinable() && mPump.get_id() != std::this_thread::get_id()) mPump.join();
}

// The pumps run while the session lives: stop() ends them before it is destroyed, and
// they reach it only through posts that hold a weak pointer.
void StreamSession::pumpFrames() {
    while (!mStopping) {
        auto frame = mFrames->pop(kPollPeriod);
        if (!frame) continue;
        std::string head =
            std::string("--") + kBoundary +
            "\r\nContent-Type: image/jpeg\r\nContent-Length: " + std::to_string((*frame)->size()) +
            "\r\n\r\n";
        deliver({std::move(head), std::move(*frame), "\r\n"});
    }
}

void StreamSession::pumpLog() {
    auto quiet = std::chrono::steady_clock::now();
    while (!mStopping) {
        auto record = mRecords->pop(kPollPeriod);
        const auto now = std::chrono::steady_clock::now();
        if (record) {
            deliver({recordEvent(*record), nullptr, ""});
            quiet = now;
        } else if (now - quiet >= mContext.options.heartbeat) {
            deliver({": still here\n\n", nullptr, ""});  // finds viewers that went away
            quiet = now;
        }
    }
}

void StreamSession::deliver(Chunk chunk) {
    net::post(mStream.get_executor(),
              [weak = weak_from_this(), chunk = std::move(chunk)]() mutable {
                  if (auto self = weak.lock()) self->enqueue(std::move(chunk));
              });
}

void StreamSession::enqueue(Chunk chunk) {
    if (mFinished) return;
    if (mPending.size() >= mCapacity) {
        // The first chunk, the response's head, is never waiting here: it went at once.
        mPending.pop_front();
        ++mDropped;
    }
    mPending.push_back(std::move(chunk));
    writeNext();
}

void StreamSession::writeNext() {
    if (mWriting || mPending.empty() || mFinished) return;
    mWriting = true;
    auto chunk = std::make_shared<Chunk>(std::move(mPending.front()));
    mPending.pop_front();
    std::vector<net::const_buffer> buffers{net::buffer(chunk->head)};
    if (chunk->body) buffers.push_back(net::buffer(*chunk->body));
    buffers.push_back(net::buffer(chunk->tail));
    mStream.expires_after(mContext.options.writeTimeout);
    net::async_write(mStream, buffers,
                     [self = shared_from_this(), chunk](beast::error_code error, std::size_t) {
                         self->mWriting = false;
                         if (error == beast::error::timeout)
                             return self->finish("stalled past the write timeout");
                         if (error) return self->finish("left");
                         ++self->mSent;
                         self->writeNext();
                     });
}

// A viewer sends nothing after its request: a read that ends means it closed.
void StreamSession::watchForClose() {
    mStream.socket().async_read_some(
        net::buffer(mDiscard), [self = shared_from_this()](beast::error_code error, std::size_t) {
            // Aborted: a write timed out and closed the socket; the write says so.
            if (error == net::error::operation_aborted) return;
            if (error) return self->finish("left");
            self->watchForClose();
        });
}

void StreamSession::finish(const std::string& why) {
    if (mFinished) return;
    mFinished = true;
    mPending.clear();
    beast::error_code ignored;
    mStream.socket().shutdown(net::ip::tcp::socket::shutdown_both, ignored);
    mStream.close();
    mContext.log(
        mKind == StreamKind::Mjpeg && mDropped > 0 ? 3 : 2,
        "web: " + mPeer + (mKind == StreamKind::Mjpeg ? " MJPEG viewer " : " event viewer ") + why +
            " after " + std::to_string(mSent) + " parts, " + std::to_string(mDropped) + " dropped");
    // stop() joins the pump, which may be waiting in pop() for up to one poll period.
    stop();
}

}  // namespace live
