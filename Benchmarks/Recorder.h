// Recorder: a program that records the screen, how it is told to, and how to end.
#pragma once

#include "Benchmarks/Assignment.h"
#include "Tests/Stage/ChildProcess.h"

#include <string>
#include <vector>

namespace lumicrate::bench {

struct Recorder {
    std::string name;
    std::string program;
    std::string extension;  // of its files
    // May write settings beside the recording.
    std::vector<std::string> (*command)(const Assignment& assignment, const std::string& program);
    void (*stop)(stage::ChildProcess& process, const Assignment& assignment);
    int statusWhenStopped = 0;  // its exit status after all went well
    bool recordsWindows = true;
};

// Those known, the one under test first. `lumicrate` is the path of its program.
std::vector<Recorder> allRecorders(const std::string& lumicrate);

}  // namespace lumicrate::bench
