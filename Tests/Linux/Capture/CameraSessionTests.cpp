// SPDX-License-Identifier: GPL-3.0-or-later
// Sessions of virtual cameras on a private PipeWire server.
#include "Linux/Capture/CameraSession.h"
#include "Lumicrate/Capture/CameraFormats.h"
#include "Support/MediaTime.h"
#include "Tests/Linux/LoopExecutor.h"
#include "Tests/Linux/PipeWire/VirtualCamera.h"
#include "Tests/Stage/Await.h"
#include "Tests/Stage/Picture.h"
#include "Tests/Stage/Scene/FrameNumber.h"
#include "Tests/Stage/SoundServer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lumicrate::capture {
namespace {

using stage::FrameNumber;
using stage::Rgb;
using stage::VirtualCamera;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using Fault = VirtualCamera::Options::Fault;
using Outcome = AVCaptureSession::Outcome;

Rgb previewPixel(const RenderedPicture& picture, int x, int y) {
    const std::uint8_t* at = picture.pixels.get() + static_cast<std::size_t>(y) * picture.bytesPerRow +
                             4 * static_cast<std::size_t>(x);
    return {at[2], at[1], at[0]};
}

Rgb framePixel(const CVPixelBuffer& frame, int x, int y) {
    const std::uint8_t* chroma = frame.chroma + y / 2 * frame.chromaStride + x / 2 * 2;
    return stage::rgbFromBt709(frame.luma[y * frame.lumaStride + x], chroma[0], chroma[1]);
}

/// The colours in the middle of the squares: top right, bottom left, bottom right.
template <class Pixel>
std::array<Rgb, 3> squares(int width, int height, const Pixel& pixelAt) {
    const int inset = VirtualCamera::squareSide(height) / 2;
    return {pixelAt(width - inset, inset), pixelAt(inset, height - inset),
            pixelAt(width - inset, height - inset)};
}

void expectColors(const std::array<Rgb, 3>& found, const std::array<Rgb, 3>& expected) {
    for (std::size_t i = 0; i < found.size(); ++i)
        EXPECT_LE(found[i].distanceTo(expected[i]), 7)
            << i << ": " << found[i].red << " " << found[i].green << " " << found[i].blue;
}

std::optional<int> numberOf(const CVPixelBuffer& frame) {
    return FrameNumber::read({frame.luma, frame.lumaStride, frame.width, frame.height});
}

constexpr std::array colors{VirtualCamera::topRight, VirtualCamera::bottomLeft, VirtualCamera::bottomRight};

/// A session, and what it delivers.
class Viewer {
 public:
    Viewer(test::LoopExecutor& loop, const AVCaptureSessionFactory& make) : loop_(loop), session(make()) {
        session->setOnConnectionChange([this](bool isConnected) { connections.push_back(isConnected); });
    }
    std::optional<Outcome> start(const std::string& id = "", PixelSize wanted = {640, 480}) {
        std::optional<Outcome> outcome;
        session->startRunning({id, wanted, 30}, [&](Outcome reported) { outcome = reported; });
        EXPECT_TRUE(loop_.await([&] { return outcome.has_value(); }));
        return outcome;
    }
    /// Collects the next frames.
    std::vector<CMSampleBuffer> frames(std::size_t count, bool isMirrored = false) {
        std::vector<CMSampleBuffer> all;
        session->setOnFrame(
            [&, count](const CMSampleBuffer& sample) {
                if (all.size() >= count) return;
                all.push_back(sample);
                if (all.size() == count) loop_.post([&] { arrived = true; });
            },
            isMirrored);
        EXPECT_TRUE(loop_.await([&] { return std::exchange(arrived, false); }));
        session->setOnFrame({}, false);
        return all;
    }
    RenderedPicture nextPreview() {
        bool changed = false;
        session->setOnPreview([&] { changed = true; });
        EXPECT_TRUE(loop_.await([&] { return changed; }));
        session->setOnPreview({});
        return session->preview();
    }

 private:
    test::LoopExecutor& loop_;
    bool arrived = false;

 public:
    std::vector<bool> connections;
    std::unique_ptr<AVCaptureSession> session;
};

class CameraSessionTests : public testing::Test {
 protected:
    static void SetUpTestSuite() { server = std::make_unique<stage::SoundServer>(); }
    static void TearDownTestSuite() { server.reset(); }

    static VirtualCamera::Options options(const VirtualCamera::Format& format, Fault fault = Fault::none) {
        VirtualCamera::Options result;
        result.formats = {format};
        result.fault = fault;
        return result;
    }

    static std::unique_ptr<stage::SoundServer> server;
    test::LoopExecutor loop;
    AVCaptureSessionFactory make = makeCameraSessionFactory(loop, chooseCameraFormat);
};

std::unique_ptr<stage::SoundServer> CameraSessionTests::server;

TEST_F(CameraSessionTests, FramesAndPreviewsHaveTheCamerasColorsNumbersAndTimes) {
    for (const VirtualCamera::Format& format :
         {VirtualCamera::Format{"NV12", 640, 480}, VirtualCamera::Format{"YUY2", 640, 480},
          VirtualCamera::Format{"I420", 640, 480}, VirtualCamera::Format{"BGRx", 640, 480},
          VirtualCamera::Format{"MJPG", 640, 480}, VirtualCamera::Format{"NV12", 1280, 720},
          VirtualCamera::Format{"MJPG", 1280, 720}, VirtualCamera::Format{"MJPG", 1920, 1080}}) {
        SCOPED_TRACE(format.pixels + std::to_string(format.height));
        auto description = options(format);
        description.hasHuffmanTables = format.height != 720;
        const VirtualCamera camera(description);
        Viewer viewer(loop, make);
        viewer.session->setPreviewSize({320, 200});
        ASSERT_EQ(viewer.start(), Outcome::running);
        EXPECT_EQ(viewer.session->deviceID(), "camera");
        EXPECT_EQ(viewer.session->pictureSize(), (PixelSize{format.width, format.height}));

        const RenderedPicture preview = viewer.nextPreview();
        EXPECT_EQ(preview.width, format.height == 480 ? 320 : 356);
        EXPECT_EQ(preview.height, format.height == 480 ? 240 : 200);
        expectColors(
            squares(preview.width, preview.height, [&](int x, int y) { return previewPixel(preview, x, y); }),
            colors);

        const auto frames = viewer.frames(10);
        int last = -1;
        for (const CMSampleBuffer& sample : frames) {
            const CVPixelBuffer& frame = *sample.imageBuffer;
            ASSERT_EQ(frame.width, format.width);
            const auto number = numberOf(frame);
            ASSERT_TRUE(number.has_value());
            EXPECT_GT(*number, last);
            last = *number;
            const auto truth = camera.timeOf(*number);
            ASSERT_TRUE(truth.has_value());
            EXPECT_NEAR(sample.presentationTimeStamp().seconds(),
                        std::chrono::duration<double>(*truth).count(), 1e-6);
        }
        const CVPixelBuffer& frame = *frames.back().imageBuffer;
        expectColors(
            squares(frame.width, frame.height, [&](int x, int y) { return framePixel(frame, x, y); }),
            colors);
        const auto mirroredFrames = viewer.frames(1, true);
        const CVPixelBuffer& mirrored = *mirroredFrames.at(0).imageBuffer;
        const auto mirroredAt = [&](int x, int y) { return framePixel(mirrored, mirrored.width - 1 - x, y); };
        expectColors(squares(mirrored.width, mirrored.height, mirroredAt), colors);
    }
}

TEST_F(CameraSessionTests, TwoCamerasRunAtOnceAndOneServesTwoSessions) {
    auto front = options({"NV12", 640, 480});
    front.name = "front";
    auto back = options({"MJPG", 1280, 720});
    back.name = "back";
    const VirtualCamera first(front);
    const VirtualCamera second(back);
    std::vector<std::unique_ptr<Viewer>> viewers;
    for (const std::string id : {"front", "back", "front"}) {
        viewers.push_back(std::make_unique<Viewer>(loop, make));
        EXPECT_EQ(viewers.back()->start(id), Outcome::running);
        EXPECT_EQ(viewers.back()->session->deviceID(), id);
    }
    for (const auto& [viewer, width] : {std::pair(0, 640), std::pair(1, 1280), std::pair(2, 640)})
        EXPECT_EQ(viewers[static_cast<std::size_t>(viewer)]->frames(5).back().imageBuffer->width, width);
    Viewer other(loop, make);
    EXPECT_EQ(other.start("unknown"), Outcome::running) << "the default camera";
}

TEST_F(CameraSessionTests, OneOfTheOfferedFormatsIsOpened) {
    VirtualCamera::Options description;
    description.formats = {{"YUY2", 640, 480, 30}, {"YUY2", 1280, 720, 10}, {"MJPG", 1280, 720, 30}};
    const VirtualCamera camera(description);
    for (const auto& [wanted, pixels] : {std::pair(PixelSize{400, 300}, "YUY2"), {{1280, 720}, "MJPG"}}) {
        Viewer viewer(loop, make);
        EXPECT_EQ(viewer.start("", wanted), Outcome::running);
        EXPECT_EQ(camera.negotiated()->pixels, pixels);
        EXPECT_EQ(camera.negotiated()->rate, 30);
    }
    Viewer first(loop, make);
    Viewer second(loop, make);
    EXPECT_EQ(first.start("", {400, 300}), Outcome::running);
    EXPECT_EQ(second.start("", {1280, 720}), Outcome::running) << "in the format that is used already";
    EXPECT_EQ(second.session->pictureSize(), (PixelSize{640, 480}));
}

TEST_F(CameraSessionTests, AnUnpluggedCameraIsAwaitedAndNotReplaced) {
    auto spare = options({"NV12", 320, 240});
    spare.name = "another";
    const VirtualCamera other(spare);
    std::optional<VirtualCamera> camera{options({"MJPG", 640, 480})};
    Viewer viewer(loop, make);
    ASSERT_EQ(viewer.start("camera"), Outcome::running);
    camera.reset();
    EXPECT_TRUE(loop.await([&] { return viewer.connections.size() == 1; }));
    EXPECT_EQ(viewer.session->deviceID(), "camera");
    camera.emplace(options({"NV12", 640, 480}));
    EXPECT_TRUE(loop.await([&] { return viewer.connections.size() == 2; }));
    EXPECT_EQ(viewer.frames(3).back().imageBuffer->width, 640);

    server->kill();
    EXPECT_TRUE(loop.await([&] { return viewer.connections.size() == 3; }));
    camera.reset();
    Viewer without(loop, make);
    EXPECT_EQ(without.start(), Outcome::noCamera) << "no server";
    server->revive();
    camera.emplace(options({"NV12", 640, 480}));
    EXPECT_TRUE(loop.await([&] { return viewer.connections.size() == 4; }));
    EXPECT_THAT(viewer.connections, ElementsAre(false, true, false, true));
}

TEST_F(CameraSessionTests, CamerasWithoutUsablePicturesCannotBeStarted) {
    Viewer none(loop, make);
    EXPECT_EQ(none.start(), Outcome::noCamera);
    EXPECT_EQ(none.session->deviceID(), "");
    const auto begin = std::chrono::steady_clock::now();
    std::vector<std::unique_ptr<VirtualCamera>> cameras;
    std::vector<std::unique_ptr<Viewer>> viewers;
    std::vector<Outcome> outcomes;
    for (const auto& [pixels, fault] : {std::pair("MJPG", Fault::garbage),
                                        {"MJPG", Fault::halves},
                                        {"MJPG", Fault::otherSize},
                                        {"NV12", Fault::otherSize},
                                        {"YUY2", Fault::halves},
                                        {"NV12", Fault::corruptedFlag},
                                        {"NV12", Fault::nothing}}) {
        auto description = options({pixels, 640, 480}, fault);
        description.name = "camera " + std::to_string(cameras.size());
        cameras.push_back(std::make_unique<VirtualCamera>(description));
        viewers.push_back(std::make_unique<Viewer>(loop, make));
        viewers.back()->session->startRunning({description.name, {640, 480}, 30},
                                              [&](Outcome outcome) { outcomes.push_back(outcome); });
    }
    EXPECT_TRUE(loop.await([&] { return outcomes.size() == viewers.size(); }));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::seconds(6)) << "two attempts";
    EXPECT_THAT(outcomes, Each(Outcome::couldNotBeStarted));
    for (const auto& viewer : viewers) {
        EXPECT_THAT(viewer->connections, IsEmpty());
        EXPECT_EQ(viewer->session->deviceID(), "");
    }
    for (std::size_t i = 0; i + 1 < cameras.size(); ++i)
        EXPECT_GT(cameras[i]->framesSent(), 20) << i;
}

TEST_F(CameraSessionTests, AStalledCameraIsOpenedAgainAndAWrongTimeIsReplacedByTheArrival) {
    auto description = options({"NV12", 640, 480}, Fault::noTime);
    description.stopAfter = 10;
    const VirtualCamera camera(description);
    Viewer viewer(loop, make);
    ASSERT_EQ(viewer.start(), Outcome::running);
    const auto frames = viewer.frames(12);
    for (const CMSampleBuffer& sample : frames) {
        const auto number = numberOf(*sample.imageBuffer);
        ASSERT_TRUE(number.has_value());
        const double truth = std::chrono::duration<double>(camera.timeOf(*number).value()).count();
        EXPECT_NEAR(sample.presentationTimeStamp().seconds(), truth, 1.0 / 30);
    }
    EXPECT_THAT(viewer.connections, IsEmpty()) << "it was not unplugged";
}

TEST_F(CameraSessionTests, NothingIsDeliveredAfterTheEnd) {
    const VirtualCamera camera(options({"NV12", 640, 480}));
    Viewer viewer(loop, make);
    int outcomes = 0;
    viewer.session->startRunning({}, [&](Outcome) { ++outcomes; });
    viewer.session->stopRunning();
    std::atomic<int> frames = 0;
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(viewer.start(), Outcome::running);
        frames = 0;
        viewer.session->setOnFrame([&](const CMSampleBuffer&) { ++frames; }, false);
        EXPECT_TRUE(stage::eventually([&] { return frames > 0; }));
        viewer.session->stopRunning();
        const int last = frames;
        const int sent = camera.framesSent();
        stage::eventually([&] { return camera.framesSent() > sent + 2; }, std::chrono::milliseconds(200));
        EXPECT_EQ(frames, last);
        EXPECT_EQ(viewer.session->pictureSize(), PixelSize());
    }
    EXPECT_EQ(outcomes, 0);
}

}  // namespace
}  // namespace lumicrate::capture
