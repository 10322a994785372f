// SPDX-License-Identifier: GPL-3.0-or-later
// A test case in a process of its own, in which system calls can be made to fail.
#pragma once

#include "Tests/Linux/TemporaryFolder.h"

#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>

namespace lumicrate::test {

inline std::string outcome(const std::function<std::string()>& body) {
    try {
        return body();
    } catch (const std::exception& error) {
        return error.what();
    }
}

/// Without root, a user namespace of its own allows mounting.
inline bool leaveNamespaces() {
    if (unshare(CLONE_NEWNS) == 0) return true;
    const std::string user = std::to_string(geteuid());
    const std::string group = std::to_string(getegid());
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return false;
    writeText("/proc/self/setgroups", "deny");
    writeText("/proc/self/uid_map", "0 " + user + " 1");
    writeText("/proc/self/gid_map", "0 " + group + " 1");
    return true;
}

/// A system call that fails with `error` if its argument number `argument` has all bits of `bits`.
struct Refusal {
    long call = 0;
    unsigned argument = 0;
    std::uint32_t bits = 0;
    int error = 0;
};

/// What some file systems lack.
constexpr Refusal noUnnamedFiles{SYS_openat, 2, O_TMPFILE, EOPNOTSUPP};
constexpr Refusal noLinks{SYS_linkat, 0, 0, EPERM};
constexpr Refusal noLocks{SYS_fcntl, 1, F_OFD_SETLK, ENOLCK};
constexpr Refusal noCopying{SYS_copy_file_range, 0, 0, EXDEV};
constexpr Refusal noHoles{SYS_lseek, 2, SEEK_DATA, EINVAL};
constexpr Refusal noAllocation{SYS_fallocate, 0, 0, EOPNOTSUPP};

/// Runs `body` in a fork of this process and returns its result, or the text of the exception that it throws.
inline std::string inChild(const std::function<std::string()>& body) {
    const TemporaryFolder folder;
    const pid_t child = fork();
    if (child == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        writeText(folder / "result", outcome(body));
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return status == 0 ? readText(folder / "result")
                       : "the child ended with status " + std::to_string(status);
}

/// From now on, for this process. Throws std::runtime_error if the kernel does not accept the filter.
inline void refuse(const Refusal& refusal) {
    const auto argument = static_cast<std::uint32_t>(offsetof(seccomp_data, args) +
                                                     sizeof(seccomp_data::args[0]) * refusal.argument);
    std::array<sock_filter, 7> filter{{
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<std::uint32_t>(refusal.call), 0, 4),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, argument),
        BPF_STMT(BPF_ALU | BPF_AND | BPF_K, refusal.bits),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, refusal.bits, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | static_cast<std::uint32_t>(refusal.error)),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    }};
    const sock_fprog program{static_cast<unsigned short>(filter.size()), filter.data()};
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
        prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0)
        throw std::runtime_error("the kernel takes no filter of system calls");
}

/// Mounts a file system of `bytes` at `folder`, visible to this process only; false if it may not mount.
inline bool mountSmallFileSystem(const std::filesystem::path& folder, std::uint64_t bytes) {
    const std::string options = "size=" + std::to_string(bytes);
    return leaveNamespaces() && mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           mount("small", folder.c_str(), "tmpfs", 0, options.c_str()) == 0;
}

}  // namespace lumicrate::test
