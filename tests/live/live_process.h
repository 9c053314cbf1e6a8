// kq-live as a child process of a test, on free ports, and the URLs it prints.
#pragma once

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "e2e/e2e_fixture.h"

namespace live_test {

// kq-live started with `args` on free ports, stopped by SIGTERM.
class LiveProcess {
public:
    explicit LiveProcess(const std::vector<std::string>& args) {
        char folder[] = "/tmp/kq-live-test-XXXXXX";
        mFolder = mkdtemp(folder) ? folder : "/tmp";
        int out[2];
        if (pipe(out) != 0) return;
        mPid = fork();
        if (mPid == 0) {
            dup2(out[1], STDOUT_FILENO);
            std::freopen((mFolder + "/stderr").c_str(), "w", stderr);
            std::vector<std::string> all = {KQ_LIVE_PATH, "--rtsp-port", "0",    "--http-port",
                                            "0",          "--out",       mFolder};
            all.insert(all.end(), args.begin(), args.end());
            std::vector<char*> argv;
            for (std::string& arg : all) argv.push_back(arg.data());
            argv.push_back(nullptr);
            execv(argv[0], argv.data());
            _exit(127);
        }
        close(out[1]);
        mOut = fdopen(out[0], "r");
    }
    ~LiveProcess() {
        if (mPid > 0 && mStatus < 0) stop();
        if (mOut) std::fclose(mOut);
        e2e::runCommand("rm -rf '" + mFolder + "'");
    }

    // The RTSP URL of `path` once kq-live prints it; empty when it ended first.
    std::string url(const std::string& path) {
        readUrls();
        return mBase.empty() ? "" : mBase + path;
    }
    // The web page's URL ("http://127.0.0.1:PORT/"); empty when kq-live ended first.
    std::string webUrl() {
        readUrls();
        return mWeb;
    }
    uint16_t port() {
        std::string base = url("");
        return static_cast<uint16_t>(std::stoi(base.substr(base.rfind(':') + 1)));
    }
    // Its exit code after SIGTERM (or after it ended by itself).
    int stop() {
        kill(mPid, SIGTERM);
        int status = 0;
        waitpid(mPid, &status, 0);
        mStatus = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        return mStatus;
    }
    std::string errors() const {
        std::ifstream in(mFolder + "/stderr");
        return {std::istreambuf_iterator<char>(in), {}};
    }

    const std::string& folder() const { return mFolder; }

private:
    // The URLs kq-live prints once it serves them, the web page's last.
    void readUrls() {
        for (char line[512]; mWeb.empty() && mOut && std::fgets(line, sizeof line, mOut);) {
            if (std::strncmp(line, "rtsp://", 7) == 0 && mBase.empty())
                mBase = std::string(line, std::strchr(line, ' ') - 3);
            if (std::strncmp(line, "http://", 7) == 0)
                mWeb = std::string(line, std::strchr(line, ' '));
        }
    }

    std::string mFolder, mBase, mWeb;
    pid_t mPid = -1;
    int mStatus = -1;
    std::FILE* mOut = nullptr;
};

}  // namespace live_test
