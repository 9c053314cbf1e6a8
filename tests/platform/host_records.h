// The host platform's own log records, for the tests that check what a refusal says.
#pragma once

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host_control.h"

// The texts of the host's records since the last call, oldest first; forgets every record.
inline std::vector<std::string> takeHostRecords() {
    std::vector<std::string> texts;
    for (const hostctl::LogRecord& r : hostctl::logRecords())
        if (r.module == hostctl::kHostLogModule) texts.push_back(r.text);
    hostctl::clearLogRecords();
    return texts;
}

// A call's result `rc` is `code`, and the host wrote exactly one record: "host: " `record`.
inline void expectRefusal(int rc, int code, const std::string& record) {
    EXPECT_EQ(rc, code) << record;
    EXPECT_THAT(takeHostRecords(), ::testing::ElementsAre("host: " + record));
}
