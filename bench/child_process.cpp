#include "child_process.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <sstream>

namespace bench {
namespace {

constexpr int kExecFailed = 127;

// In the child, between fork and exec: only async-signal-safe calls.
[[noreturn]] void execChild(char* const argv[], const char* outputFile) {
    if (outputFile) {
        int fd = open(outputFile, O_WRONLY | O_CREAT | O_TRUNC, 0644);
        if (fd < 0) _exit(kExecFailed);
        dup2(fd, STDOUT_FILENO);
        dup2(fd, STDERR_FILENO);
        close(fd);
    }
    execvp(argv[0], argv);
    _exit(kExecFailed);
}

}  // namespace

bool onPath(const std::string& program) {
    const char* path = std::getenv("PATH");
    std::istringstream folders(path ? path : "");
    for (std::string folder; std::getline(folders, folder, ':');) {
        std::string candidate = (folder.empty() ? "." : folder) + "/" + program;
        if (access(candidate.c_str(), X_OK) == 0) return true;
    }
    return false;
}

int startChild(const std::vector<std::string>& argv, const std::string& outputFile) {
    // Built before the fork: the child may not allocate.
    std::vector<char*> args;
    for (const std::string& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
    args.push_back(nullptr);
    const char* output = outputFile.empty() ? nullptr : outputFile.c_str();

    pid_t pid = fork();
    if (pid == 0) execChild(args.data(), output);
    return pid < 0 ? -1 : pid;
}

int runChild(const std::vector<std::string>& argv, const std::string& outputFile) {
    const pid_t pid = startChild(argv, outputFile);
    if (pid < 0) return -1;
    int status = 0;
    while (waitpid(pid, &status, 0) < 0) {
        if (errno != EINTR) return -1;
    }
    if (WIFSIGNALED(status)) return 128 + WTERMSIG(status);
    return WEXITSTATUS(status);
}

std::string readFile(const std::string& path) {
    std::ifstream file(path);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

}  // namespace bench
