// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Files/WriteBehind.h"
#include "Support/Error.h"

#include <gmock/gmock.h>

#include <atomic>
#include <cerrno>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace lumicrate::media {
namespace {

using testing::ElementsAre;

using Bytes = std::vector<std::uint8_t>;

/// Records its operations as text; can be held, and can fail.
class FakeDisk final : public ByteSink {
 public:
    void write(std::uint64_t offset, std::span<const std::uint8_t> bytes) override {
        act(std::to_string(offset) + ":" + std::string(bytes.begin(), bytes.end()));
    }
    void synchronize() override { act("sync"); }

    /// The disk stalls at its next operation.
    void hold() { held_ = true; }
    void release() {
        held_ = false;
        held_.notify_all();
    }
    void awaitStall() const { stalled_.wait(false); }
    /// To be set before the writing begins.
    void failAt(std::string operation) { failing_ = std::move(operation); }
    /// To be read after drain() or the writer's destruction.
    const std::vector<std::string>& done() const { return done_; }

 private:
    void act(const std::string& operation) {
        if (held_) {
            stalled_ = true;
            stalled_.notify_all();
            held_.wait(true);
        }
        if (operation == failing_) throw PlatformError("The disk is gone.", EIO);
        done_.push_back(operation);
    }

    std::atomic<bool> held_ = false;
    std::atomic<bool> stalled_ = false;
    std::string failing_;
    std::vector<std::string> done_;
};

Bytes bytes(const std::string& text) {
    return {text.begin(), text.end()};
}

void unexpected(const std::exception_ptr& error) {
    ADD_FAILURE() << localizedDescription(error);
}

TEST(WriteBehindTests, WritesInOrderAndSyncsEveryAppend) {
    FakeDisk disk;
    WriteBehind writer(disk, 100, unexpected);
    std::vector<std::string> written;
    writer.append(0, bytes("head"), [&] { written.emplace_back("head"); });
    writer.patch(2, bytes("x"));
    writer.append(4, bytes("media"), [&] { written.emplace_back("media"); });
    writer.append(9, bytes("more"));
    EXPECT_TRUE(writer.drain());
    EXPECT_THAT(disk.done(), ElementsAre("0:head", "sync", "2:x", "4:media", "sync", "9:more", "sync"));
    EXPECT_THAT(written, ElementsAre("head", "media"));
    EXPECT_EQ(writer.reached(), 13U);
}

TEST(WriteBehindTests, AStalledDiskFillsTheQueueAndBlocksNobody) {
    FakeDisk disk;
    disk.hold();
    WriteBehind writer(disk, 10, unexpected);
    writer.append(0, Bytes(6));
    EXPECT_LT(writer.fill(), 1);
    disk.awaitStall();
    EXPECT_EQ(writer.backlog(), 6U) << "what is being written counts";
    writer.append(6, Bytes(3));
    EXPECT_LT(writer.fill(), 1);
    writer.append(9, Bytes(5));
    EXPECT_GE(writer.fill(), 1);
    EXPECT_EQ(writer.backlog(), 14U);
    disk.release();
    EXPECT_TRUE(writer.drain());
    EXPECT_LT(writer.fill(), 1);
    EXPECT_EQ(writer.backlog(), 0U);
    EXPECT_EQ(writer.reached(), 14U);
}

TEST(WriteBehindTests, PatchesDoNotPileUp) {
    FakeDisk disk;
    disk.hold();
    WriteBehind writer(disk, 100, unexpected);
    writer.append(0, bytes("first"));
    disk.awaitStall();
    writer.patch(1, bytes("aa"));
    writer.patch(3, bytes("bb"));
    writer.patch(1, bytes("AA"));
    writer.patch(1, bytes("cccc"));  // another length: another place
    writer.append(5, bytes("second"));
    writer.patch(1, bytes("dd"));  // must stay behind the second append
    for (int i = 0; i < 1000; ++i)
        writer.patch(3, bytes("B" + std::to_string(i % 10)));
    EXPECT_EQ(writer.backlog(), 5U + 2 + 2 + 4 + 6 + 2 + 2);
    disk.release();
    EXPECT_TRUE(writer.drain());
    EXPECT_THAT(disk.done(),
                ElementsAre("0:first", "sync", "1:AA", "3:bb", "1:cccc", "5:second", "sync", "1:dd", "3:B9"));
}

TEST(WriteBehindTests, AFailureEndsTheWritingAndIsReportedOnce) {
    const struct {
        const char* failing;
        std::uint64_t reached;
        std::vector<std::string> done;
    } cases[] = {
        {"5:second", 5, {"0:first", "sync", "1:p"}},
        {"1:p", 5, {"0:first", "sync"}},
        {"sync", 0, {"0:first"}},
    };
    for (const auto& each : cases) {
        FakeDisk disk;
        disk.hold();
        disk.failAt(each.failing);
        std::vector<std::string> failures;
        std::atomic<bool> lateWritten = false;
        WriteBehind writer(disk, 100, [&](const std::exception_ptr& error) {
            failures.push_back(localizedDescription(error) + " " + std::to_string(writer.reached()));
        });
        writer.append(0, bytes("first"));
        writer.patch(1, bytes("p"));
        writer.append(5, bytes("second"), [&] { lateWritten = true; });
        writer.append(11, bytes("third"), [&] { lateWritten = true; });
        disk.release();
        EXPECT_FALSE(writer.drain());
        writer.append(16, bytes("late"), [&] { lateWritten = true; });
        EXPECT_FALSE(writer.drain());
        EXPECT_THAT(failures, ElementsAre("The disk is gone. " + std::to_string(each.reached)));
        EXPECT_EQ(disk.done(), each.done);
        EXPECT_EQ(writer.backlog(), 0U);
        EXPECT_FALSE(lateWritten);
    }
}

TEST(WriteBehindTests, DestructionDropsTheQueue) {
    FakeDisk disk;
    disk.hold();
    auto writer = std::make_unique<WriteBehind>(disk, 100, unexpected);
    // The queue is never empty, so a destructor that waited for that would never return.
    const std::function<void()> again = [&again, writer = writer.get()] {
        writer->append(0, bytes("more"), again);
    };
    again();
    again();
    disk.awaitStall();
    disk.release();
    writer.reset();
    EXPECT_EQ(disk.done().size() % 2, 0U) << "the write in progress is completed and synced";
}

TEST(WriteBehindTests, ManyThreadsAndDestructionAtAnyTime) {
    for (int round = 0; round < 50; ++round) {
        FakeDisk disk;
        if (round % 5 == 0) disk.failAt("7:seven");
        std::atomic<int> failures = 0;
        std::optional<WriteBehind> writer(std::in_place, disk, 50,
                                          [&](const std::exception_ptr&) { ++failures; });
        const auto write = [&writer, count = 7 * round % 40] {
            for (int i = 0; i < count; ++i) {
                writer->append(static_cast<std::uint64_t>(i), bytes("data"));
                writer->patch(7, bytes("seven"));
                if (writer->fill() >= 1 && i % 8 == 0) writer->drain();
            }
        };
        std::thread one(write);
        std::thread other(write);
        one.join();
        other.join();
        writer.reset();
        EXPECT_LE(failures, round % 5 == 0 ? 1 : 0);
    }
}

}  // namespace
}  // namespace lumicrate::media
