// SPDX-License-Identifier: GPL-3.0-or-later
// Runs a fuzz target without libFuzzer: first on the files of a corpus, then on random mutations of them.
//
//     PROGRAM [-runs=N] [-seed=N] FILE-OR-FOLDER…
//
// Run n with seed s is the same as run 0 with seed s + n, so a fault can be reproduced by itself.
#include "Tests/Fuzz/Mutations.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <span>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
/// Defined in sanitizer builds, where a fault ends the process without a signal.
extern "C" void __sanitizer_set_death_callback(  // NOLINT(bugprone-reserved-identifier)
    void (*callback)()) __attribute__((weak));

namespace {

using lumicrate::fuzz::Bytes;
namespace fs = std::filesystem;

constexpr std::size_t maxInput = 64U << 10;

/// The input being run, printed when the process ends by a fault.
std::string current;

void printCurrent() {
    std::fprintf(stderr, "The fault is in %s.\n", current.c_str());
}

void run(const Bytes& input, const std::string& name) {
    current = name;
    LLVMFuzzerTestOneInput(input.data(), input.size());
}

}  // namespace

int main(int count, char** values) {
    std::signal(SIGABRT, [](int) {
        printCurrent();
        std::_Exit(EXIT_FAILURE);
    });
    if (__sanitizer_set_death_callback != nullptr) __sanitizer_set_death_callback(printCurrent);
    std::uint32_t runs = 0;
    std::uint32_t firstSeed = 1;
    std::vector<fs::path> files;
    for (const std::string argument : std::span(values, static_cast<std::size_t>(count)).subspan(1)) {
        if (argument.starts_with("-runs=")) {
            runs = static_cast<std::uint32_t>(std::stoul(argument.substr(6)));
        } else if (argument.starts_with("-seed=")) {
            firstSeed = static_cast<std::uint32_t>(std::stoul(argument.substr(6)));
        } else if (fs::is_directory(argument)) {
            std::copy(fs::directory_iterator(argument), {}, std::back_inserter(files));
        } else {
            files.emplace_back(argument);
        }
    }
    std::sort(files.begin(), files.end());  // so that a seed means the same everywhere
    std::vector<Bytes> corpus;
    for (const fs::path& file : files) {
        std::ifstream stream(file, std::ios::binary);
        corpus.emplace_back(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
        run(corpus.back(), file.string());
    }
    if (corpus.empty()) {
        std::fprintf(stderr, "There is no corpus.\n");
        return EXIT_FAILURE;
    }
    for (std::uint32_t seed = firstSeed; seed < firstSeed + runs; ++seed) {
        std::mt19937 random(seed);
        Bytes input = corpus[random() % corpus.size()];
        const Bytes& other = corpus[random() % corpus.size()];
        lumicrate::fuzz::Mutations(static_cast<std::uint32_t>(random())).apply(input, other, maxInput);
        run(input, "-runs=1 -seed=" + std::to_string(seed));
    }
    std::printf("%zu files and %u mutations passed.\n", corpus.size(), runs);
    return EXIT_SUCCESS;
}
