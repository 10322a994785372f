// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Files/WriteBehind.h"
#include "Support/Error.h"

#include <gmock/gmock.h>

#include <atomic>
#include <future>
#include <optional>

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

    void release() {
        held = false;
        held.notify_all();
    }
    void awaitStall() const { stalled_.wait(false); }

    std::atomic<bool> held = false;  ///< stalls at its next operation
    std::string failing;             ///< an operation; to be set before the writing begins
    std::vector<std::string> done;   ///< to be read after drain() or the writer's destruction

 private:
    void act(const std::string& operation) {
        if (held) {
            stalled_ = true;
            stalled_.notify_all();
            held.wait(true);
        }
        if (operation == failing) throw PlatformError("The disk is gone.", EIO);
        done.push_back(operation);
    }

    std::atomic<bool> stalled_ = false;
};

Bytes bytes(const std::string& text) {
    return {text.begin(), text.end()};
}

class WriteBehindTests : public testing::Test {
 protected:
    FakeDisk disk;
    std::optional<WriteBehind> writer{std::in_place, disk, 100, [](const std::exception_ptr& error) {
                                          ADD_FAILURE() << localizedDescription(error);
                                      }};
};

TEST_F(WriteBehindTests, AStalledDiskFillsTheQueueAndBlocksNobody) {
    disk.held = true;
    writer->append(0, Bytes(60));
    disk.awaitStall();
    EXPECT_EQ(writer->backlog(), 60U) << "what is being written counts";
    auto drained = std::async(std::launch::async, [this] { return writer->drain(); });
    EXPECT_EQ(drained.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    writer->append(60, Bytes(39));
    EXPECT_LT(writer->fill(), 1);
    writer->append(99, Bytes(50));
    EXPECT_GE(writer->fill(), 1);
    EXPECT_EQ(writer->backlog(), 149U);
    disk.release();
    EXPECT_TRUE(drained.get());
    EXPECT_EQ(writer->backlog(), 0U);
    EXPECT_EQ(writer->reached(), 149U);
}

TEST_F(WriteBehindTests, WritesInOrderSyncsAppendsAndJoinsPatches) {
    std::vector<std::string> written;
    disk.held = true;
    writer->append(0, bytes("first"), [&] { written.emplace_back("first"); });
    disk.awaitStall();
    writer->patch(1, bytes("aa"));
    writer->patch(3, bytes("bb"));
    writer->patch(1, bytes("AA"));
    writer->patch(1, bytes("cccc"));  // another length: another place
    writer->append(5, bytes("second"), [&] { written.emplace_back("second"); });
    writer->patch(1, bytes("dd"));  // must stay behind the second append
    for (int i = 0; i < 1000; ++i)
        writer->patch(3, bytes("B" + std::to_string(i % 10)));
    writer->append(11, bytes("third"), [&] { written.emplace_back("third"); });
    EXPECT_EQ(writer->backlog(), 5U + 2 + 2 + 4 + 6 + 2 + 2 + 5);
    disk.release();
    EXPECT_TRUE(writer->drain());
    EXPECT_THAT(disk.done, ElementsAre("0:first", "sync", "1:AA", "3:bb", "1:cccc", "5:second", "1:dd",
                                       "3:B9", "11:third", "sync"))
        << "what has piled up is synchronized together";
    EXPECT_THAT(written, ElementsAre("first", "second", "third"));
    EXPECT_EQ(writer->reached(), 16U);
}

TEST(WriteBehindFailureTests, AFailureEndsTheWritingAndIsReportedOnce) {
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
        disk.held = true;
        disk.failing = each.failing;
        std::vector<std::string> failures;
        std::atomic<bool> lateWritten = false;
        WriteBehind writer(disk, 100, [&](const std::exception_ptr& error) {
            failures.push_back(localizedDescription(error) + " " + std::to_string(writer.reached()));
        });
        writer.append(0, bytes("first"));
        disk.awaitStall();
        writer.patch(1, bytes("p"));
        writer.append(5, bytes("second"), [&] { lateWritten = true; });
        writer.append(11, bytes("third"), [&] { lateWritten = true; });
        disk.release();
        EXPECT_FALSE(writer.drain());
        writer.append(16, bytes("late"), [&] { lateWritten = true; });
        EXPECT_FALSE(writer.drain());
        EXPECT_THAT(failures, ElementsAre("The disk is gone. " + std::to_string(each.reached)));
        EXPECT_EQ(disk.done, each.done);
        EXPECT_EQ(writer.backlog(), 0U);
        EXPECT_FALSE(lateWritten);
    }
}

TEST_F(WriteBehindTests, DestructionDropsTheQueue) {
    disk.held = true;
    // The queue is never empty, so a destructor that waited for that would never return.
    const std::function<void()> again = [&again, to = &*writer] { to->append(0, bytes("more"), again); };
    again();
    again();
    disk.awaitStall();
    disk.release();
    writer.reset();
    EXPECT_EQ(disk.done.back(), "sync") << "the write in progress is completed and synced";
}

TEST(WriteBehindFailureTests, ManyThreadsAndDestructionAtAnyTime) {
    for (int round = 0; round < 50; ++round) {
        FakeDisk disk;
        if (round % 5 == 0) disk.failing = "7:seven";
        std::atomic<int> failures = 0;
        {
            WriteBehind writer(disk, 50, [&](const std::exception_ptr&) { ++failures; });
            const auto write = [&writer, count = 7 * round % 40] {
                for (int i = 0; i < count; ++i) {
                    writer.append(static_cast<std::uint64_t>(i), bytes("data"));
                    writer.patch(7, bytes("seven"));
                    if (writer.fill() >= 1 && i % 8 == 0) writer.drain();
                }
            };
            const std::jthread one(write);
            const std::jthread other(write);
        }
        EXPECT_LE(failures, round % 5 == 0 ? 1 : 0);
    }
}

}  // namespace
}  // namespace lumicrate::media
