#include "log_entry.h"

#include <cstdio>
#include <string>

#include "log/host_log.h"
#include "log/log_store.h"

namespace {

void store(hostctl::LogRecord::Path path, unsigned int level, unsigned int module, const char* file,
           unsigned int line, std::string text, const char* format) {
    host::log::storeRecord(
        {path, level, module, file ? file : "", line, std::move(text), format ? format : ""});
}

}  // namespace

bool LogEntry::IsShow(unsigned int levelBit, unsigned int /*moduleBit*/) {
    for (unsigned int level = 0; level < 32; ++level)
        if (levelBit == (1u << level)) return host::log::levelShown(level);
    return false;
}

LogEntry::LogEntry(unsigned int level, unsigned int module, const char* file, unsigned int line)
    : mLevel(level), mModule(module), mFile(file), mLine(line) {}

void LogEntry::Msg(const char* fmt, ...) {
    va_list args;
    va_start(args, fmt);
    std::string text = host::log::formatText(fmt, args);
    va_end(args);
    store(hostctl::LogRecord::Path::Shown, mLevel, mModule, mFile, mLine, std::move(text), fmt);
}

void Log2MyDB(unsigned int level, unsigned int module, const char* file, unsigned int line,
              const char* fmt, ...) {
    va_list args;
    va_start(args, fmt);
    std::string text = host::log::formatText(fmt, args);
    va_end(args);
    store(hostctl::LogRecord::Path::Stored, level, module, file, line, std::move(text), fmt);
}
