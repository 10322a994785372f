// Recorder: a program that records the screen, and how it is told to.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace lumicrate::bench {

struct Assignment {
    std::string display;  // ":N"
    int width = 0;
    int height = 0;
    double seconds = 0;
    std::filesystem::path file;
};

struct Recorder {
    std::string name;
    // May write settings beside the recording.
    std::vector<std::string> (*command)(const Assignment& assignment, const std::string& program);
    std::string program;
    std::string extension;  // of its files
};

// Those known, the one under test first. `lumicrate` is the path of its program.
std::vector<Recorder> allRecorders(const std::string& lumicrate);

}  // namespace lumicrate::bench
