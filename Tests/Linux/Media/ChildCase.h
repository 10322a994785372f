// A test case in a process of its own, in which system calls can be made to fail.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>

namespace lumicrate::media::test {

/// Runs `body` in a fork of this process and returns its result, or the text of the exception that it throws.
std::string inChild(const std::function<std::string()>& body);

/// A system call that fails with `error` if its argument number `argument` has all bits of `bits`.
struct Refusal {
    long call = 0;
    unsigned argument = 0;
    std::uint32_t bits = 0;
    int error = 0;
};

/// What some file systems lack.
extern const Refusal noUnnamedFiles;
extern const Refusal noLinks;
extern const Refusal noLocks;
extern const Refusal noCopying;
extern const Refusal noHoles;
extern const Refusal noAllocation;

/// From now on, for this process. Throws std::runtime_error if the kernel does not accept the filter.
void refuse(const Refusal& refusal);

/// Mounts a file system of `bytes` at `folder`, visible to this process only; false if it may not mount.
bool mountSmallFileSystem(const std::filesystem::path& folder, std::uint64_t bytes);

}  // namespace lumicrate::media::test
