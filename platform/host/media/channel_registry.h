// The live channels by id and the bindings between them. Not locked: the media
// platform serialises every use.
#pragma once

#include <cstddef>
#include <map>
#include <memory>

#include "media/channel.h"

namespace host::media {

class ChannelRegistry {
public:
    static constexpr std::size_t kMaxChannels = 64;

    // The new channel's id, or -ENOSPC when no more channels may live.
    int add(ChannelKind kind, ChannelConfig config);
    // Null for an unknown, destroyed or negative id.
    Channel* find(int id);
    // 0, -ENOENT for an unknown channel, -EINVAL for kinds that cannot be linked,
    // -EBUSY when `dst` already has another source.
    int bind(int src, int dst);
    // Drops the channel and every binding it is part of; -ENOENT for an unknown id.
    int destroy(int id);
    // Destroys every channel; ids keep counting.
    void clear();
    // Destroys every channel and counts ids from 0 again.
    void reset();

    std::size_t size() const { return mChannels.size(); }

    template <typename F>
    void forEach(F f) {
        for (auto& [id, channel] : mChannels) f(id, *channel);
    }

private:
    // Owned through pointers so a channel keeps its address while others come and go.
    std::map<int, std::unique_ptr<Channel>> mChannels;
    int mNextId = 0;
};

}  // namespace host::media
