#include "host_platform.h"

#include "host_control.h"

namespace live {

void quietHostPlatform() {
    hostctl::setJournalEnabled(false);
    hostctl::setShownLevels(hostctl::logLevelsFrom(3));
}

bool setSyncMarks(bool on) {
    hostctl::setSyncMarks(on);
    return true;
}

bool useCamera(const std::string& source) { return hostctl::setCameraSource(source) == 0; }

void followLibraryLog(std::function<void(int level, const std::string& text)> listener) {
    if (!listener) return hostctl::setLogListener(nullptr);
    hostctl::setLogListener([listener = std::move(listener)](const hostctl::LogRecord& record) {
        std::string text = record.text;
        while (!text.empty() && text.back() == '\n') text.pop_back();
        listener(static_cast<int>(record.level), text);
    });
}

}  // namespace live
