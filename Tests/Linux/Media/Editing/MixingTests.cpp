#include "Linux/Media/Editing/Assets.h"
#include "Tests/Linux/Media/ChildCase.h"
#include "Tests/Linux/Media/MovieMaker.h"
#include "Tests/Stage/ChildProcess.h"
#include "Tests/Stage/MovieProbe.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cmath>
#include <csignal>
#include <fstream>
#include <random>

namespace lumicrate::media {
namespace {

using lumicrate::test::audioSettings;
using lumicrate::test::frame;
using lumicrate::test::MovieMaker;
using lumicrate::test::TemporaryFolder;
using lumicrate::test::TestPicture;
using lumicrate::test::videoSettings;
using stage::MovieProbe;
using testing::HasSubstr;
using testing::IsEmpty;

using Samples = std::vector<float>;

constexpr CMTime start{1000, 1};

/// Noise below 4 kHz, which no two seeds have alike, so that a shift by one sample shows.
Samples noise(unsigned seed, std::size_t frames, float amplitude) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> spread(-1, 1);
    Samples samples(frames);
    float low = 0;
    float lower = 0;
    for (float& sample : samples) {
        low += 0.3F * (spread(random) - low);
        lower += 0.3F * (low - lower);
        sample = amplitude * 3 * lower;
    }
    return samples;
}

/// A channel of a track as a player presents it, from time zero on.
Samples presented(const std::filesystem::path& movie, std::size_t track, std::size_t channel = 0) {
    MovieProbe probe(movie);
    const stage::Sound sound = probe.sound(track);
    const Samples& from = sound.samples[std::min(channel, sound.samples.size() - 1)];
    const long offset = std::lround(sound.startTime * 48000);
    Samples samples;
    for (long i = 0; i < static_cast<long>(from.size()) + offset; ++i)
        samples.push_back(i < offset ? 0 : from[static_cast<std::size_t>(i - offset)]);
    return samples;
}

/// The sum of the products of `a` and of `b` that much later, over `count` samples around the middle.
double product(const Samples& a, const Samples& b, long lag, long count) {
    const auto length = static_cast<long>(std::min(a.size(), b.size()));
    const long middle = length / 2;
    const long half = std::min(count / 2, middle - 2000);
    double sum = 0;
    for (long i = middle - half; i < middle + half; ++i)
        sum += static_cast<double>(a[static_cast<std::size_t>(i)] * b[static_cast<std::size_t>(i + lag)]);
    return sum;
}

/// By how many samples `part` comes later in `whole` than by itself, and how much of it is in there.
std::pair<long, double> found(const Samples& part, const Samples& whole) {
    constexpr long some = 16384;
    constexpr long all = 1'000'000;
    long best = 0;
    for (long lag = -1200; lag <= 1200; ++lag) {
        if (product(part, whole, lag, some) > product(part, whole, best, some)) best = lag;
    }
    return {best, product(part, whole, best, all) / product(part, part, 0, all)};
}

std::string videoHash(const std::filesystem::path& movie) {
    return stage::runProgram(
        {"ffmpeg", "-v", "error", "-i", movie.string(), "-map", "0:v", "-c", "copy", "-f", "md5", "-"});
}

std::string bytesOf(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

class MixingTests : public testing::Test {
 protected:
    /// A recording of ours: pictures at uneven times, two tracks.
    static std::unique_ptr<MovieMaker> recording(AVFileType type = AVFileType::mpeg4, double seconds = 3) {
        const bool video = type != AVFileType::appleM4A;
        std::vector<AVOutputSettings> tracks;
        if (video) tracks.emplace_back(videoSettings(64, 64));
        tracks.emplace_back(audioSettings(2));
        tracks.emplace_back(audioSettings(1));
        auto maker = std::make_unique<MovieMaker>(tracks, type);
        if (video) {
            for (const int frameNumber : {0, 1, 2, 40, 41, 80})
                maker->append(0,
                              frame(start + CMTime(frameNumber, 30), std::make_shared<TestPicture>(64, 64)));
        }
        const std::size_t first = video ? 1 : 0;
        const auto frames = static_cast<std::size_t>(seconds * 48000);
        maker->append(first, lumicrate::test::sound(start, noise(1, frames, 0.3F), 2));
        maker->append(first + 1, lumicrate::test::sound(start, noise(2, frames, 0.3F), 1));
        maker->writer().endSessionAtSourceTime(start +
                                               CMTime(static_cast<std::int64_t>(frames) - 700, 48000));
        EXPECT_EQ(maker->finish(), AVAssetWriterStatus::completed);
        return maker;
    }
    /// Every track at full gain and to the sample in the only one of the mix.
    void expectSum(const std::filesystem::path& source, long tolerance = 0) {
        const std::size_t tracks = MovieProbe(source).count(stage::Track::Kind::Audio);
        const MovieProbe probe(mixed);
        ASSERT_EQ(probe.count(stage::Track::Kind::Audio), 1U);
        EXPECT_EQ(probe.audioTrack().codec, "aac");
        EXPECT_EQ(probe.audioTrack().sampleRate, 48000);
        EXPECT_EQ(probe.audioTrack().channels, 2);
        for (std::size_t track = 0; track < tracks; ++track) {
            for (const std::size_t channel : {0U, 1U}) {
                const auto [lag, gain] =
                    found(presented(source, track, channel), presented(mixed, 0, channel));
                EXPECT_LE(std::abs(lag), tolerance) << track;
                EXPECT_NEAR(gain, 1, 0.03) << track;
            }
        }
    }
    void mix(const std::filesystem::path& source, AVFileType type = AVFileType::mpeg4) const {
        assets.mixAudio(source, mixed, type, {});
    }

    TemporaryFolder folder;
    std::filesystem::path mixed = folder / "mixed";
    Assets assets;
};

TEST_F(MixingTests, TheTracksOfARecordingSoundTogether) {
    for (const AVFileType type : {AVFileType::mpeg4, AVFileType::quickTimeMovie, AVFileType::appleM4A}) {
        SCOPED_TRACE(static_cast<int>(type));
        const auto source = recording(type);
        mix(source->path(), type);
        expectSum(source->path());
        const MovieProbe before(source->path());
        const MovieProbe after(mixed);
        EXPECT_TRUE(after.indexInFront());
        EXPECT_NEAR(after.duration(), before.duration(), 1e-3);
        EXPECT_NEAR(after.audioTrack().duration, before.audioTrack().duration, 1.0 / 48000);
        EXPECT_EQ(after.tag("creation_time"), before.tag("creation_time"));
        if (type != AVFileType::appleM4A) {
            EXPECT_EQ(videoHash(mixed), videoHash(source->path()));
            EXPECT_EQ(after.videoTrack().codecTag, "avc1");
            EXPECT_EQ(MovieProbe(mixed).pictureTimes(), MovieProbe(source->path()).pictureTimes());
            EXPECT_NEAR(after.videoTrack().duration, before.videoTrack().duration, 1e-4);
        }
        std::filesystem::remove(mixed);
    }
}

TEST_F(MixingTests, NothingIsShiftedWhereTracksBeginAndHowTheyAreKept) {
    const auto source = recording();
    const auto other = folder / "other.mp4";
    const std::string input = source->path().string();
    struct Case {
        const char* what;
        std::vector<std::string> arguments;
        bool asInSource;  ///< what was coded anew is to be heard where it was before
        long tolerance;
    };
    for (const Case& each : std::vector<Case>{
             {"one begins late",
              {"-itsoffset", "0.7313125", "-i", input, "-map", "0", "-map", "-0:2", "-map", "1:2", "-c",
               "copy"},
              false,
              0},
             {"cut in the middle of a packet",
              {"-ss", "0.5031", "-i", input, "-map", "1", "-c", "copy"},
              false,
              0},
             {"three tracks",
              {"-f", "lavfi", "-i", "anoisesrc=r=48000:d=3:a=0.1:seed=3", "-map", "0", "-map", "1", "-c:v",
               "copy", "-c:a:0", "copy", "-c:a:1", "copy"},
              false,
              0},
             {"another rate",
              {"-map", "0", "-c:v", "copy", "-c:a:0", "copy", "-c:a:1", "aac", "-ar:a:1", "44100"},
              true,
              1},
             {"another codec", {"-map", "0", "-c:v", "copy", "-c:a", "alac"}, true, 0}}) {
        SCOPED_TRACE(each.what);
        std::vector<std::string> command{"ffmpeg", "-v", "error", "-y", "-i", input};
        command.insert(command.end(), each.arguments.begin(), each.arguments.end());
        command.push_back(other.string());
        stage::runProgram(command);
        mix(other);
        expectSum(each.asInSource ? source->path() : other, each.tolerance);
        std::filesystem::remove(mixed);
    }
}

TEST_F(MixingTests, WhatCannotBeMixedIsOneSentenceAndLeavesNothing) {
    const auto source = recording();
    const std::string whole = bytesOf(source->path());
    const auto file = [this](const std::string& name, const std::string& bytes) {
        std::ofstream(folder / name, std::ios::binary) << bytes;
        return folder / name;
    };
    const auto cutIndex = file("index.mp4", whole.substr(0, whole.size() / 3));
    const auto cutMedia = file("media.mp4", whole.substr(0, whole.size() - whole.size() / 4));
    for (const auto& [path, reason] : std::vector<std::pair<std::filesystem::path, std::string>>{
             {file("empty.mp4", ""), "“empty.mp4” couldn't be read: it is empty."},
             {file("text.mp4", std::string(5000, 'x')), "it isn't a movie, or it is damaged."},
             {folder / "gone.mp4", "No such file or directory."},
             {folder.path(), "it is a folder."},
             {cutIndex, "couldn't be read:"},
             {cutMedia, "it is cut off."}}) {
        try {
            mix(path);
            ADD_FAILURE() << path << " was mixed";
        } catch (const PlatformError& error) {
            EXPECT_THAT(error.what(), HasSubstr(reason));
        }
        EXPECT_FALSE(std::filesystem::exists(mixed)) << path;
    }
    EXPECT_EQ(bytesOf(source->path()), whole);
}

TEST_F(MixingTests, AFullDiskLeavesNothing) {
    const auto source = recording();
    // At the beginning, among the media and while the index is written.
    for (const rlim_t limit : {rlim_t{100}, rlim_t{30'000}, rlim_t{60'000}}) {
        const std::string sentence = test::inChild([&]() -> std::string {
            std::signal(SIGXFSZ, SIG_IGN);
            const rlimit most{limit, limit};
            setrlimit(RLIMIT_FSIZE, &most);
            mix(source->path());
            return "mixed";
        });
        EXPECT_EQ(sentence, "The new file couldn't be written: File too large.") << limit;
        EXPECT_FALSE(std::filesystem::exists(mixed));
    }
}

TEST_F(MixingTests, WhatThisUserMayNotReadOrWriteIsOneSentence) {
    const auto source = recording();
    const auto asNobody = [&] {
        return test::inChild([&]() -> std::string {
            test::dropPrivileges();
            mix(source->path());
            return "mixed";
        });
    };
    EXPECT_THAT(asNobody(), testing::EndsWith("couldn't be read: Permission denied."));
    for (const auto& each : {source->path().parent_path(), folder.path()})
        std::filesystem::permissions(each, std::filesystem::perms(0755));
    EXPECT_EQ(asNobody(), "The new file couldn't be written: Permission denied.");
    EXPECT_FALSE(std::filesystem::exists(mixed));
}

TEST_F(MixingTests, ItCanBeGivenUpAnywhere) {
    const auto source = recording();
    for (int steps = 0;; ++steps) {
        std::stop_source stop;
        int told = 0;
        double last = 0;
        const LongWork work{[&](double part) {
                                EXPECT_GE(part, last);
                                EXPECT_LE(part, 1);
                                last = part;
                                if (told++ == steps) stop.request_stop();
                            },
                            stop.get_token()};
        try {
            assets.mixAudio(source->path(), mixed, AVFileType::mpeg4, work);
            EXPECT_GT(told, 20);
            EXPECT_EQ(last, 1);
            break;
        } catch (const CancelledError&) {
            EXPECT_FALSE(std::filesystem::exists(mixed)) << steps;
        }
    }
}

TEST_F(MixingTests, AFileIsNeverOverwritten) {
    const auto source = recording();
    std::ofstream(mixed) << "mine";
    EXPECT_THROW(mix(source->path()), PlatformError);
    EXPECT_EQ(bytesOf(mixed), "mine");
}

}  // namespace
}  // namespace lumicrate::media
