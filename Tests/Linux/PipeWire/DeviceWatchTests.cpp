// Lists of devices that keep up with what is plugged in.

#include "Linux/PipeWire/Devices.h"
#include "Linux/PipeWire/Session.h"
#include "Tests/Stage/SoundServer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <spa/param/video/format-utils.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <stdexcept>
#include <thread>

namespace lumicrate::test {
namespace {

using pipewire::Devices;
using testing::ElementsAre;
using namespace std::chrono_literals;

/// A program that offers pictures as a camera does.
class Camera {
 public:
    Camera() {
        const pipewire::Session::Lock lock(session_);
        stream_.reset(pw_stream_new(session_.core(), "camera",
                                    pw_properties_new(PW_KEY_MEDIA_CLASS, "Video/Source", PW_KEY_NODE_NAME,
                                                      "camera", PW_KEY_NODE_DESCRIPTION, "Camera", nullptr)));
        std::uint8_t memory[1024];
        spa_pod_builder builder = SPA_POD_BUILDER_INIT(memory, sizeof memory);
        spa_video_info_raw info{};
        info.format = SPA_VIDEO_FORMAT_BGRx;
        info.size = {640, 480};
        info.framerate = {30, 1};
        const spa_pod* parameters[] = {spa_format_video_raw_build(&builder, SPA_PARAM_EnumFormat, &info)};
        if (pw_stream_connect(stream_.get(), PW_DIRECTION_OUTPUT, PW_ID_ANY, PW_STREAM_FLAG_NONE, parameters,
                              1) < 0)
            throw std::runtime_error("There is no camera to be");
    }
    ~Camera() {
        const pipewire::Session::Lock lock(session_);
        stream_.reset();
    }
    Camera(const Camera&) = delete;
    Camera& operator=(const Camera&) = delete;

 private:
    struct Destroy {
        void operator()(pw_stream* stream) const { pw_stream_destroy(stream); }
    };

    pipewire::Session session_;
    std::unique_ptr<pw_stream, Destroy> stream_;
};

class DeviceWatchTests : public testing::Test {
 protected:
    using List = std::vector<CaptureDevice>;

    DeviceWatchTests() {
        devices.setOnChange([this] { ++changes; });
    }
    ~DeviceWatchTests() override { devices.setOnChange({}); }

    /// Looks only after having been told to.
    void awaitMicrophones(const List& expected) {
        await([&] { return devices.microphones() == expected; });
        EXPECT_EQ(devices.microphones(), expected);
    }
    void awaitCameras(const List& expected) {
        await([&] { return devices.cameras() == expected; });
        EXPECT_EQ(devices.cameras(), expected);
    }
    template <class Predicate>
    void await(const Predicate& holds, std::chrono::seconds patience = 20s) {
        const auto deadline = std::chrono::steady_clock::now() + patience;
        for (int seen = changes; !holds(); seen = changes) {
            while (changes == seen) {
                if (std::chrono::steady_clock::now() > deadline) return;
                std::this_thread::sleep_for(5ms);
            }
        }
    }

    const CaptureDevice microphone{"mic", "Microphone"};
    const CaptureDevice headset{"headset", "A headset"};
    stage::SoundServer server;
    std::atomic<int> changes = 0;
    Devices devices;
};

TEST_F(DeviceWatchTests, TellsOfMicrophonesCamerasAndDefaults) {
    awaitMicrophones({microphone});
    const auto added = server.addMicrophone("headset", "A headset");
    server.setDefaultSource("mic");
    awaitMicrophones({microphone, headset});
    // On a busy machine the session manager may fall back to the former default.
    for (int i = 0; i < 3 && devices.microphones().front() != headset; ++i) {
        server.setDefaultSource("headset");
        await([&] { return devices.microphones().front() == headset; }, 7s);
    }
    awaitMicrophones({headset, microphone});
    server.unloadModule(added.source);
    awaitMicrophones({microphone});
    {
        const Camera camera;
        awaitCameras({{"camera", "Camera"}});
    }
    awaitCameras({});
}

TEST_F(DeviceWatchTests, OutlivesTheServer) {
    awaitMicrophones({microphone});
    server.kill();
    awaitMicrophones({});
    server.revive();
    awaitMicrophones({microphone});
}

TEST_F(DeviceWatchTests, ManyChangesAreToldInFew) {
    awaitMicrophones({microphone});
    const auto begin = std::chrono::steady_clock::now();
    const int before = changes;
    for (int i = 0; i < 10; ++i)
        server.unloadModule(server.loadModule("module-null-sink", {"sink_name=brief"}));
    const auto added = server.addMicrophone("last", "Last");
    await([&] { return devices.microphones().size() == 2; });
    const double passed = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    EXPECT_LE(changes - before, 5 * passed + 1);

    devices.setOnChange({});
    const int told = changes;
    server.unloadModule(added.source);
    EXPECT_THAT(devices.microphones(), ElementsAre(microphone));
    EXPECT_EQ(changes, told);
}

}  // namespace
}  // namespace lumicrate::test
