#include "host_platform.h"

#include <cstdio>
#include <map>

#include "host_control.h"

namespace demo {

void quietHostPlatform() {
    hostctl::setJournalEnabled(false);
    hostctl::setLogEcho(nullptr);
}

bool useCamera(const std::string& source) { return hostctl::setCameraSource(source) == 0; }

std::string cameraSource() { return hostctl::cameraSource(); }

int newestPlaybackChannel() { return hostctl::newestPlaybackChannel(); }

uint64_t speakerUnderruns(int channel) { return hostctl::playbackStats(channel).underruns; }

void printLogRecords(unsigned int lowestLevel) {
    static const char* const kLevels[] = {"", "debug", "info", "warning", "error"};
    std::map<unsigned int, int> counts;
    for (const hostctl::LogRecord& record : hostctl::logRecords()) ++counts[record.level];
    std::printf("\nlog records:");
    for (const auto& [level, count] : counts)
        std::printf(" %s %d", level < 5 ? kLevels[level] : "?", count);
    std::printf("\n");
    for (const hostctl::LogRecord& record : hostctl::logRecords())
        if (record.level >= lowestLevel) std::printf("  %s\n", record.readable().c_str());
}

}  // namespace demo
