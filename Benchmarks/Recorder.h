// SPDX-License-Identifier: GPL-3.0-or-later
// Recorder: a program that records the screen, and how to start and stop it.
#pragma once

#include "Benchmarks/Assignment.h"
#include "Tests/Stage/ChildProcess.h"

#include <string>
#include <vector>

namespace lumicrate::bench {

enum class Desktops { X11, Wayland, Both };

struct Recorder {
    std::string name;
    std::string program;
    std::string extension;  // of its files
    // May write files next to the recording.
    std::vector<std::string> (*command)(const Assignment& assignment, const std::string& program);
    void (*stop)(stage::ChildProcess& process, const Assignment& assignment);
    int statusWhenStopped = 0;  // its exit status on success
    bool recordsWindows = true;
    Desktops desktops = Desktops::X11;
};

// All known recorders, the one under test first. `lumicrate` is the path of the program.
std::vector<Recorder> allRecorders(const std::string& lumicrate);

}  // namespace lumicrate::bench
