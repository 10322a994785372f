#include "Linux/PipeWire/AudioSource.h"
#include "Linux/PipeWire/Devices.h"
#include "Tests/Linux/PipeWire/Recorded.h"
#include "Tests/Stage/Session.h"
#include "Tests/Stage/SoundServer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cstring>
#include <string>

namespace lumicrate::test {

namespace {

using pipewire::AudioSource;
using pipewire::Devices;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* unreachable = "No sound server can be reached.";

void expectNothing(const Devices& devices) {
    EXPECT_THAT(devices.microphones(), IsEmpty());
    EXPECT_THAT(devices.cameras(), IsEmpty());
    EXPECT_FALSE(devices.snapshot());
}

/// Takes connections, as a server that hangs does, and never answers.
class SilentServer {
 public:
    explicit SilentServer(const std::string& path)
        : socket_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
        listening_ =
            ::bind(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
            ::listen(socket_.get(), 8) == 0;
    }
    bool isListening() const { return listening_; }

 private:
    stage::Descriptor socket_;
    bool listening_ = false;
};

}  // namespace

TEST(Devices, areListedWithTheDefaultOneFirst) {
    stage::SoundServer server;
    const Devices devices;
    const CaptureDevice first{"mic", "Microphone"};
    const CaptureDevice second{"headset", "A headset"};
    const auto graph = devices.snapshot();
    ASSERT_TRUE(graph);
    EXPECT_FALSE(graph->outputs.empty());
    EXPECT_EQ(graph->defaultMicrophone, "mic");
    EXPECT_THAT(devices.microphones(), ElementsAre(first));
    EXPECT_THAT(devices.cameras(), IsEmpty());

    const auto headset = server.addMicrophone("headset", "A headset");
    server.setDefaultSource("mic");
    EXPECT_THAT(devices.microphones(), ElementsAre(first, second));
    server.setDefaultSource("headset");
    EXPECT_THAT(devices.microphones(), ElementsAre(second, first));
    server.unloadModule(headset.source);
    EXPECT_THAT(devices.microphones(), ElementsAre(first));

    server.kill();
    expectNothing(devices);
}

TEST(Devices, areNoneWithoutAServer) {
    const stage::Session session;
    expectNothing(Devices());
    EXPECT_EQ(sentenceOfStarting(AudioSource::systemSound()), unreachable);
    EXPECT_EQ(sentenceOfStarting(AudioSource::microphone("mic")), unreachable);
}

TEST(Devices, areNoneWithAServerThatDoesNotAnswer) {
    const stage::Session session;
    const SilentServer server((session.runtimeFolder() / "pipewire-0").string());
    ASSERT_TRUE(server.isListening());
    EXPECT_THAT(Devices().microphones(), IsEmpty());
    EXPECT_EQ(sentenceOfStarting(AudioSource::systemSound()), unreachable);
}

}  // namespace lumicrate::test
