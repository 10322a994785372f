// SPDX-License-Identifier: GPL-3.0-or-later
// What would make other tests lie without failing: wrong results of programs, measurements, pictures or
// numbers.

#include "Tests/Stage/ChildProcess.h"
#include "Tests/Stage/Measure.h"
#include "Tests/Stage/Picture.h"
#include "Tests/Stage/Scene/FrameNumber.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <csignal>
#include <functional>
#include <numbers>
#include <stdexcept>

namespace lumicrate::stage {

namespace {

/// Whether a process, whoever its parent is, ends within ten seconds.
bool ends(pid_t pid) {
    const Descriptor process(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
    pollfd watched{process.get(), POLLIN, 0};
    return process.get() < 0 || poll(&watched, 1, 10'000) == 1;
}

TEST(ChildProcess, ReportsHowItEndedAndWhatItWrote) {
    for (const auto& [script, status] :
         {std::pair{"exit 0", 0}, {"exit 42", 42}, {"kill -TERM $$", 128 + SIGTERM}})
        EXPECT_EQ(runToEnd({"sh", "-c", script}).status, status) << script;
    EXPECT_THROW(runProgram({"false"}), std::runtime_error);
    EXPECT_THROW(runProgram({"there-is-no-such-program"}), std::runtime_error);
    ChildProcess child({"sh", "-c", "echo one; echo wrong >&2; printf two; head -c 5000000 /dev/zero"});
    EXPECT_EQ(child.readLine(), "one");
    EXPECT_THROW(child.readLine(), std::runtime_error);
    EXPECT_EQ(child.standardOutput().size(), 5'000'007U);
    EXPECT_EQ(child.standardError(), "wrong\n");
}

TEST(ChildProcess, NothingOutlivesATest) {
    ChildProcess child({"sh", "-c", "trap '' TERM; sleep 1000 & echo $!; wait"});
    const pid_t grandchild = std::stoi(child.readLine());
    child.signal(SIGKILL);
    EXPECT_TRUE(ends(grandchild));

    int pipeEnds[2];
    ASSERT_EQ(pipe(pipeEnds), 0);
    const pid_t killedTest = fork();
    if (killedTest == 0) {
        const ChildProcess orphan({"sleep", "1000"});
        const pid_t pid = orphan.processId();
        [[maybe_unused]] const auto written = write(pipeEnds[1], &pid, sizeof pid);
        kill(getpid(), SIGKILL);
    }
    pid_t orphan = 0;
    ASSERT_EQ(read(pipeEnds[0], &orphan, sizeof orphan), static_cast<ssize_t>(sizeof orphan));
    waitpid(killedTest, nullptr, 0);
    EXPECT_TRUE(ends(orphan));
}

TEST(Measure, FindsBurstsAndMeasuresTones) {
    std::vector<float> samples(48000);
    for (std::size_t i = 10000; i < 48000; ++i) {
        const double angle = 2 * std::numbers::pi * 997.3 * static_cast<double>(i - 10000) / 48000;
        samples[i] = i < 20000 || i >= 30000 ? 0.4F * static_cast<float>(std::sin(angle)) : 0;
    }
    const auto bursts = onsets(samples, 0.1F, 4800);
    ASSERT_EQ(bursts.size(), 2U);
    EXPECT_NEAR(static_cast<double>(bursts[0]), 10000, 5);
    EXPECT_NEAR(static_cast<double>(bursts[1]), 30000, 48);
    EXPECT_EQ(onset(samples, 0.1F), bursts[0]);
    EXPECT_EQ(onset(samples, 0.1F, 20000), bursts[1]);
    EXPECT_EQ(onset(samples, 0.95F), std::nullopt);

    const auto tone = std::span<const float>(samples).last(14400);
    EXPECT_NEAR(toneFrequency(tone, 48000), 997.3, 0.05);
    EXPECT_NEAR(toneAmplitude(tone, 48000, 997.3), 0.4, 0.002);
    EXPECT_NEAR(toneAmplitude(tone, 48000, 1500), 0, 0.002);
    EXPECT_NEAR(loudness(tone), 0.4 / std::numbers::sqrt2, 0.001);
}

TEST(Measure, ComparesStructure) {
    using Value = std::function<int(int, int)>;
    const auto similarity = [](const Value& one, const Value& other) {
        std::vector<std::uint8_t> a;
        std::vector<std::uint8_t> b;
        for (int i = 0; i < 64 * 48; ++i) {
            a.push_back(static_cast<std::uint8_t>(one(i % 64, i / 64)));
            b.push_back(static_cast<std::uint8_t>(other(i % 64, i / 64)));
        }
        return structuralSimilarity({a.data(), 64, 64, 48, 1}, {b.data(), 64, 64, 48, 1});
    };
    const auto pattern = [](int x, int y) { return (x * 7 + y * 13) % 200; };
    EXPECT_DOUBLE_EQ(similarity(pattern, pattern), 1);
    const double noisy = similarity(pattern, [&](int x, int y) { return pattern(x, y) + (x * y) % 9; });
    EXPECT_GT(noisy, 0.95);
    EXPECT_LT(noisy, 0.9999);
    // Without structure only the term for brightness is left.
    constexpr double c1 = 6.5025;
    EXPECT_NEAR(similarity([](int, int) { return 50; }, [](int, int) { return 100; }),
                (2 * 50 * 100 + c1) / (2500 + 10000 + c1), 1e-12);
}

TEST(Picture, ConvertsTheColorsOfBt709) {
    struct Case {
        int y, cb, cr;
        Rgb color;
    };
    // The values of the standard's matrix for the corners of the colour cube.
    for (const auto& [y, cb, cr, color] :
         {Case{16, 128, 128, {0, 0, 0}}, Case{235, 128, 128, {255, 255, 255}},
          Case{126, 128, 128, {128, 128, 128}}, Case{63, 102, 240, {255, 0, 0}},
          Case{173, 42, 26, {0, 255, 0}}, Case{32, 240, 118, {0, 0, 255}},
          Case{219, 16, 138, {255, 255, 0}}}) {
        EXPECT_LE(rgbFromBt709(y, cb, cr).distanceTo(color), 2) << y << " " << cb << " " << cr;
        EXPECT_EQ(lumaOfBt709(color), y);
    }
}

TEST(Picture, FindsEachPixelAlsoInACopy) {
    // 5 × 3 pixels, so that the chroma planes are 3 × 2, in rows with padding. The last pixel is red.
    std::vector<std::uint8_t> luma(3 * 8, 235);
    std::vector<std::uint8_t> chroma(2 * 8, 128);  // Cb and Cr interleaved
    luma[2 * 8 + 4] = 63;
    chroma[8 + 4] = 102;
    chroma[8 + 5] = 240;
    Picture picture;
    picture.width = 5;
    picture.height = 3;
    picture.planes = {Plane{luma.data(), 8, 5, 3, 1}, Plane{chroma.data(), 8, 3, 2, 2},
                      Plane{chroma.data() + 1, 8, 3, 2, 2}};
    OwnedPicture moved;
    {
        OwnedPicture copy(picture);
        std::fill(luma.begin(), luma.end(), std::uint8_t{16});
        moved = std::move(copy);
    }
    EXPECT_EQ(picture.rgbAt(0, 0), (Rgb{0, 0, 0}));
    EXPECT_EQ(moved->rgbAt(3, 2), (Rgb{255, 255, 255}));
    EXPECT_LE(moved->rgbAt(4, 2).distanceTo({255, 0, 0}), 2);
}

std::optional<int> numberIn(const Image& image) {
    std::vector<std::uint8_t> luma;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const auto pixel = static_cast<int>(image.at(x, y));
            luma.push_back(
                static_cast<std::uint8_t>(lumaOfBt709({pixel >> 16, pixel >> 8 & 255, pixel & 255})));
        }
    }
    return FrameNumber::read({luma.data(), image.width(), image.width(), image.height(), 1});
}

TEST(FrameNumber, IsReadWholeOrNotAtAll) {
    Image image(FrameNumber::barWidth, FrameNumber::blockSize);
    for (const Color plain : {0x000000U, 0xffffffU, 0x808080U}) {
        image.fill({0, 0, image.width(), image.height()}, plain);
        EXPECT_EQ(numberIn(image), std::nullopt);
    }
    for (const int number : {0, 1, 2, 15, 16, 255, 256, 1023, 2730, 4095}) {
        FrameNumber::draw(image, number);
        EXPECT_EQ(numberIn(image), number);
        // One block of another number, as in a picture captured while it changes.
        const Color corner = image.at(FrameNumber::barWidth - 1, 0);
        image.fill({FrameNumber::barWidth - FrameNumber::blockSize, 0, FrameNumber::blockSize,
                    FrameNumber::blockSize},
                   corner ^ 0xffffff);
        EXPECT_EQ(numberIn(image), std::nullopt);
    }
}

}  // namespace

}  // namespace lumicrate::stage
