// A case in a process of its own, in which the system may be made to refuse things.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>

namespace lumicrate::media::test {

/// Runs `body` in a fork of this process and gives what it returns; for what it throws, the sentence.
std::string inChild(const std::function<std::string()>& body);

/// A system call that is refused when its argument number `argument` has all bits of `bits`.
struct Refusal {
    long call = 0;
    unsigned argument = 0;
    std::uint32_t bits = 0;
    int error = 0;
};

/// File systems without what not all of them have.
extern const Refusal noUnnamedFiles;
extern const Refusal noLinks;
extern const Refusal noLocks;
extern const Refusal noCopying;
extern const Refusal noHoles;
extern const Refusal noAllocation;

/// From here on, for this process. Throws std::runtime_error when the kernel does not take the filter.
void refuse(const Refusal& refusal);

/// Gives this process a file system of `bytes` at `folder`, which nobody else sees; false when it may not.
bool mountSmallFileSystem(const std::filesystem::path& folder, std::uint64_t bytes);

/// From here on this process is nobody in particular, whom a folder may refuse.
void dropPrivileges();

}  // namespace lumicrate::media::test
