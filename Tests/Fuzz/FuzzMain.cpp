// Drives a fuzz target where the compiler has no libFuzzer: first the files of a corpus as they are, then so
// many random mutations of them.
//
//     PROGRAM [-runs=N] [-seed=N] FILE-OR-FOLDER…
//
// Run number n of seed s does what run 0 of seed s + n does, so that a fault can be had again by itself.
#include "Tests/Fuzz/Mutations.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
/// There with a sanitizer, which ends the process without a signal.
extern "C" void __sanitizer_set_death_callback(  // NOLINT(bugprone-reserved-identifier)
    void (*callback)()) __attribute__((weak));

namespace {

using lumicrate::fuzz::Bytes;
namespace fs = std::filesystem;

constexpr std::size_t greatestInput = 64U << 10;

struct Arguments {
    std::uint32_t runs = 0;
    std::uint32_t seed = 1;
    std::vector<fs::path> files;  ///< in the same order everywhere
};

void addFiles(const fs::path& place, std::vector<fs::path>& files) {
    if (!fs::is_directory(place)) return files.push_back(place);
    for (const auto& entry : fs::directory_iterator(place))
        files.push_back(entry.path());
}

Arguments parse(int count, char** values) {
    Arguments arguments;
    const auto number = [](const std::string& argument) {
        return static_cast<std::uint32_t>(std::stoul(argument.substr(argument.find('=') + 1)));
    };
    for (int i = 1; i < count; ++i) {
        const std::string argument = values[i];
        if (argument.starts_with("-runs=")) {
            arguments.runs = number(argument);
        } else if (argument.starts_with("-seed=")) {
            arguments.seed = number(argument);
        } else {
            addFiles(argument, arguments.files);
        }
    }
    std::sort(arguments.files.begin(), arguments.files.end());
    return arguments;
}

Bytes contentOf(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

/// A fault ends the process at once; what it was about is said before.
std::string current;

void tellCurrent() {
    std::fprintf(stderr, "The fault is in %s.\n", current.c_str());
}

extern "C" void endAborted(int) {
    tellCurrent();
    std::_Exit(EXIT_FAILURE);
}

}  // namespace

int main(int count, char** values) {
    const Arguments arguments = parse(count, values);
    if (arguments.files.empty()) {
        std::fprintf(stderr, "There is no corpus.\n");
        return EXIT_FAILURE;
    }
    std::signal(SIGABRT, endAborted);
    if (__sanitizer_set_death_callback != nullptr) __sanitizer_set_death_callback(tellCurrent);
    std::vector<Bytes> corpus;
    for (const fs::path& file : arguments.files) {
        current = file.string();
        corpus.push_back(contentOf(file));
        LLVMFuzzerTestOneInput(corpus.back().data(), corpus.back().size());
    }
    for (std::uint32_t run = 0; run < arguments.runs; ++run) {
        const std::uint32_t seed = arguments.seed + run;
        current = "-runs=1 -seed=" + std::to_string(seed);
        std::mt19937 random(seed);
        Bytes input = corpus[random() % corpus.size()];
        const Bytes& other = corpus[random() % corpus.size()];
        lumicrate::fuzz::Mutations(static_cast<std::uint32_t>(random())).apply(input, other, greatestInput);
        LLVMFuzzerTestOneInput(input.data(), input.size());
    }
    std::printf("%zu files and %u mutations held.\n", corpus.size(), arguments.runs);
    return EXIT_SUCCESS;
}
