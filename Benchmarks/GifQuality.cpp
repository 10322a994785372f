// SPDX-License-Identifier: GPL-3.0-or-later
#include "Benchmarks/GifQuality.h"

#include "Tests/Stage/ChildProcess.h"
#include "Tests/Stage/Measure.h"
#include "Tests/Stage/MovieProbe.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <limits>
#include <stdexcept>
#include <vector>

namespace lumicrate::bench {

namespace {

using stage::Plane;

/// In dB; infinite when the planes, of one size, are equal.
double peakSignalToNoise(const Plane& one, const Plane& other) {
    double sum = 0;
    for (int y = 0; y < one.height; ++y) {
        for (int x = 0; x < one.width; ++x) {
            const double difference = one.at(x, y) - other.at(x, y);
            sum += difference * difference;
        }
    }
    if (sum == 0) return std::numeric_limits<double>::infinity();
    return 10 * std::log10(255.0 * 255.0 * one.width * one.height / sum);
}

double meanNoise(const std::array<Plane, 3>& one, const std::array<Plane, 3>& other) {
    constexpr double equal = 100;  // instead of infinity, for the mean
    double sum = 0;
    for (std::size_t i = 0; i < 3; ++i)
        sum += std::min(peakSignalToNoise(one[i], other[i]), equal);
    return sum / 3;
}

// Each pixel is the mean of the 4 × 4 pixels that begin there.
struct Mixed {
    explicit Mixed(const std::array<Plane, 3>& from) {
        constexpr int side = 4;
        const int width = from[0].width - side + 1;
        const int height = from[0].height - side + 1;
        for (std::size_t i = 0; i < 3; ++i) {
            memory[i].reserve(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
            for (int y = 0; y < height; ++y) {
                for (int x = 0; x < width; ++x) {
                    int sum = side * side / 2;
                    for (int at = 0; at < side * side; ++at)
                        sum += from[i].at(x + at % side, y + at / side);
                    memory[i].push_back(static_cast<std::uint8_t>(sum / (side * side)));
                }
            }
            planes[i] = {memory[i].data(), width, width, height, 1};
        }
    }

    std::array<std::vector<std::uint8_t>, 3> memory;
    std::array<Plane, 3> planes;
};

}  // namespace

GifQuality judgeGif(const std::filesystem::path& gif, const std::filesystem::path& movie,
                    const std::string& scaling, const std::filesystem::path& folder) {
    const std::filesystem::path pictures = folder / "pictures.rgb";
    stage::runProgram({"ffmpeg", "-v", "error", "-y", "-i", movie.string(), "-vf",
                       scaling + "+accurate_rnd+full_chroma_int+full_chroma_inp,format=rgb24", "-f",
                       "rawvideo", pictures.string()},
                      {}, 600);
    std::ifstream stream(pictures, std::ios::binary);
    std::vector<std::uint8_t> wanted;
    GifQuality sum;
    stage::MovieProbe(gif).visitPictures([&](const stage::Picture& picture) {
        const int width = picture.width, height = picture.height;
        wanted.resize(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 3);
        if (!stream.read(reinterpret_cast<char*>(wanted.data()), static_cast<std::streamsize>(wanted.size())))
            throw std::runtime_error("The GIF has too many frames");
        std::array<Plane, 3> planes;
        for (std::size_t i = 0; i < 3; ++i)
            planes[i] = {wanted.data() + i, width * 3, width, height, 3};
        const Mixed mixedPlanes(planes), mixedPicture(picture.planes);
        sum.noise += meanNoise(planes, picture.planes);
        sum.similarity += stage::structuralSimilarity(planes[1], picture.planes[1]);
        sum.seenNoise += meanNoise(mixedPlanes.planes, mixedPicture.planes);
        sum.seenSimilarity += stage::structuralSimilarity(mixedPlanes.planes[1], mixedPicture.planes[1]);
        ++sum.frames;
        return true;
    });
    if (stream.peek() != std::ifstream::traits_type::eof())
        throw std::runtime_error(fmt::format("The GIF has too few frames: {}", sum.frames));
    std::filesystem::remove(pictures);
    const double count = sum.frames;
    return {sum.frames, sum.noise / count, sum.similarity / count, sum.seenNoise / count,
            sum.seenSimilarity / count};
}

}  // namespace lumicrate::bench
