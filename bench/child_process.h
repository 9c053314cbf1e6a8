// Runs the tools a benchmark compares with or measures through, as child processes.
#pragma once

#include <string>
#include <vector>

namespace bench {

// Whether `program` is an executable file in one of PATH's folders.
bool onPath(const std::string& program);

// Starts `argv` (argv[0] looked up on PATH) without waiting for it. Its standard output
// and error go to `outputFile` when one is named, to ours otherwise. The child's process
// id, or -1 when no child could be started; the caller waits for it.
int startChild(const std::vector<std::string>& argv, const std::string& outputFile = {});

// Runs `argv` (argv[0] looked up on PATH) and waits for it. Its standard output and
// error go to `outputFile` when one is named, to ours otherwise. The exit code, 128 plus
// the signal for a child killed by one, or -1 when no child could be started.
int runChild(const std::vector<std::string>& argv, const std::string& outputFile = {});

// The whole of a text file; empty when it cannot be read.
std::string readFile(const std::string& path);

}  // namespace bench
