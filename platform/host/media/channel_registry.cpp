#include "media/channel_registry.h"

#include <cerrno>
#include <climits>
#include <utility>

namespace host::media {

int ChannelRegistry::add(ChannelKind kind, ChannelConfig config) {
    if (mChannels.size() >= kMaxChannels || mNextId == INT_MAX) return -ENOSPC;
    int id = mNextId++;
    mChannels.emplace(id, std::make_unique<Channel>(id, kind, std::move(config)));
    return id;
}

Channel* ChannelRegistry::find(int id) {
    auto it = mChannels.find(id);
    return it == mChannels.end() ? nullptr : it->second.get();
}

int ChannelRegistry::bind(int src, int dst) {
    Channel* from = find(src);
    Channel* to = find(dst);
    if (!from || !to) return -ENOENT;
    if (src == dst || !canFeed(from->kind(), to->kind())) return -EINVAL;
    if (to->source() == src) return 0;
    if (to->source() != kNoChannel) return -EBUSY;
    to->setSource(src);
    return 0;
}

int ChannelRegistry::destroy(int id) {
    auto it = mChannels.find(id);
    if (it == mChannels.end()) return -ENOENT;
    mChannels.erase(it);
    forEach([id](int, Channel& channel) {
        if (channel.source() == id) channel.setSource(kNoChannel);
    });
    return 0;
}

void ChannelRegistry::clear() { mChannels.clear(); }

void ChannelRegistry::reset() {
    clear();
    mNextId = 0;
}

}  // namespace host::media
