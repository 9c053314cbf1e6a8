// Log library: records with a level (1 debug, 2 info, 3 warning, 4 error), a module
// number and an optional source location.
#pragma once

#include <cstdarg>

class LogEntry {
public:
    // Whether records of this level bit (1 << level) and module bit (1 << module)
    // are shown.
    static bool IsShow(unsigned int levelBit, unsigned int moduleBit);

    LogEntry(unsigned int level, unsigned int module, const char* file, unsigned int line);
    LogEntry(const LogEntry&) = delete;
    LogEntry& operator=(const LogEntry&) = delete;

    // Formats and shows the record.
    void Msg(const char* format, ...) __attribute__((format(printf, 2, 3)));

private:
    unsigned int mLevel;
    unsigned int mModule;
    const char* mFile;
    unsigned int mLine;
};

// Stores a record in the log database.
void Log2MyDB(unsigned int level, unsigned int module, const char* file, unsigned int line,
              const char* format, ...) __attribute__((format(printf, 5, 6)));

// A text for a status code of the platform (negative codes) or of the system.
const char* errno2str(int code);
