// SPDX-License-Identifier: GPL-3.0-or-later
// The lists of devices, queried once or followed.
#include "Linux/PipeWire/AudioSource.h"
#include "Linux/PipeWire/Devices.h"
#include "Tests/Linux/PipeWire/SoundStage.h"
#include "Tests/Linux/PipeWire/VirtualCamera.h"
#include "Tests/Stage/Await.h"
#include "Tests/Stage/Session.h"
#include "Tests/Stage/SoundServer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <atomic>

namespace lumicrate::test {
namespace {

using pipewire::AudioSource;
using pipewire::Devices;
using testing::IsEmpty;
using namespace std::chrono_literals;
using List = std::vector<CaptureDevice>;

class DevicesTests : public testing::Test {
 protected:
    DevicesTests() {
        followed.setOnChange([this] { ++changes; });
    }
    ~DevicesTests() override { followed.setOnChange({}); }

    /// Queries again only after a change was announced.
    template <class Predicate>
    void await(const Predicate& holds, std::chrono::seconds timeout = 20s) {
        stage::eventually(
            [&, seen = -1]() mutable { return std::exchange(seen, changes) != changes && holds(); }, timeout,
            5ms);
    }
    void awaitMicrophones(const List& expected) {
        await([&] { return followed.microphones() == expected; });
        EXPECT_EQ(followed.microphones(), expected);
        EXPECT_EQ(queried.microphones(), expected);
    }
    void awaitCameras(const List& expected) {
        await([&] { return followed.cameras() == expected; });
        EXPECT_EQ(queried.cameras(), expected);
    }

    const CaptureDevice microphone{"mic", "Microphone"};
    const CaptureDevice headset{"headset", "A headset"};
    stage::SoundServer server;
    std::atomic<int> changes = 0;
    Devices followed;
    const Devices queried;
};

TEST_F(DevicesTests, DevicesDefaultsAndTheServerAreFollowed) {
    awaitMicrophones({microphone});
    awaitCameras({});
    ASSERT_TRUE(queried.snapshot());
    EXPECT_FALSE(queried.snapshot()->outputs.empty());
    EXPECT_EQ(queried.snapshot()->defaultMicrophone, "mic");
    const auto added = server.addMicrophone("headset", "A headset");
    server.setDefaultSource("mic");
    awaitMicrophones({microphone, headset});
    // On a busy machine the session manager may return to the former default. Setting the same one again
    // would be no change to it.
    for (int i = 0; i < 3 && followed.microphones().front() != headset; ++i) {
        server.setDefaultSource("mic");
        server.setDefaultSource("headset");
        await([&] { return followed.microphones().front() == headset; }, 7s);
    }
    awaitMicrophones({headset, microphone});
    server.unloadModule(added.source);
    awaitMicrophones({microphone});
    stage::runProgram({"pw-cli", "create-node", "adapter",
                       "{ factory.name=support.null-audio-sink media.class=Video/Source node.name=camera "
                       "node.description=Camera object.linger=true }"});
    awaitCameras({{"camera", "Camera"}});
    stage::runProgram({"pw-cli", "destroy", "camera"});
    awaitCameras({});

    server.kill();
    awaitMicrophones({});
    EXPECT_FALSE(queried.snapshot());
    server.revive();
    awaitMicrophones({microphone});
}

TEST_F(DevicesTests, ACameraWithTwoDriversIsListedOnce) {
    const auto camera = [](const std::string& name, const std::string& description) {
        stage::VirtualCamera::Options options;
        options.name = name;
        options.description = description;
        return std::make_unique<stage::VirtualCamera>(options);
    };
    const auto first = camera("libcamera_input.a", "Webcam");
    const auto other = camera("libcamera_input.b", "Front camera");
    awaitCameras({{"libcamera_input.b", "Front camera"}, {"libcamera_input.a", "Webcam"}});
    const auto second = camera("v4l2_input.a", "Webcam (V4L2)");
    const auto twin = camera("v4l2_input.twin", "Webcam (V4L2)");
    awaitCameras(
        {{"libcamera_input.b", "Front camera"}, {"v4l2_input.a", "Webcam"}, {"v4l2_input.twin", "Webcam"}});
}

TEST_F(DevicesTests, ABurstOfChangesIsAnnouncedAFewTimes) {
    awaitMicrophones({microphone});
    const auto begin = std::chrono::steady_clock::now();
    const int before = changes;
    for (int i = 0; i < 10; ++i)
        server.unloadModule(server.loadModule("module-null-sink", {"sink_name=brief"}));
    const auto added = server.addMicrophone("last", "Last");
    await([&] { return followed.microphones().size() == 2; });
    const double passed = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    EXPECT_LE(changes - before, 5 * passed + 1);

    followed.setOnChange({});
    const int announced = changes;
    server.unloadModule(added.source);
    EXPECT_EQ(followed.microphones(), List{microphone});
    EXPECT_EQ(changes, announced);
}

TEST(DevicesWithoutServerTests, AServerThatIsMissingOrDoesNotAnswerHasNoDevices) {
    const stage::Session session;
    const auto expectUnreachable = [] {
        EXPECT_THAT(Devices().microphones(), IsEmpty());
        EXPECT_EQ(startError(AudioSource::systemSound()), "No sound server can be reached.");
    };
    expectUnreachable();

    // Accepts connections, as a hanging server does, and never answers.
    const stage::Descriptor silent(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = (session.runtimeFolder() / "pipewire-0").string();
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(::bind(silent.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(::listen(silent.get(), 8), 0);
    expectUnreachable();
}

}  // namespace
}  // namespace lumicrate::test
