// The rows of the recordings list, how one list becomes another, and the pictures in it.
#include "Lumicrate/Library/Thumbnails.h"
#include "Lumicrate/MainWindow/RecordingRows.h"
#include "Lumicrate/MainWindow/RowChanges.h"
#include "Tests/Lumicrate/FakePlatform.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

namespace lumicrate::test {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using Path = std::filesystem::path;
using Instant = std::chrono::system_clock::time_point;

const Path folderPath = "/home/me/Movies/Lumicrate";
const Instant launch{1000h};

class RowsWorkspace final : public NSWorkspace {
 public:
    void openURL(const Path& url) override { opened.push_back(url.filename()); }
    void activateFileViewerSelecting(const std::vector<Path>&) override {
        throw PlatformError("There is no file viewer.");
    }
    std::vector<Path> opened;
};

class MovedFiles final : public FakeFiles {
 public:
    void moveItem(const Path& from, const Path& to) override {
        FakeFiles::moveItem(from, to);
        for (NSFileEntry& each : entries)
            if (each.url == from) each.url = to;
    }
    void trashItem(const Path& url) override {
        FakeFiles::trashItem(url);
        std::erase_if(entries, [&url](const NSFileEntry& each) { return each.url == url; });
    }
};

class RecordingRowsTests : public testing::Test {
 protected:
    RecordingRowsTests() {
        files.folders = {folderPath};
        put("old.mp4", launch - 1h, 3'400'000);
        put("talk.m4a", launch + 1h, 812'000);
        RecordingLengths::Readers readers;
        readers.read = [](const Path& url) {
            if (url.extension() == ".m4a") throw PlatformError("It isn't a movie.");
            return 65.0;
        };
        readers.queues.push_back(std::make_unique<VirtualQueue>(executor));
        library.emplace(RecordingLibrary::Services{
                            executor, files, notifications, folder, workspace, std::move(readers), nullptr,
                            [this](const Path& url) { previewed.push_back(url.filename()); }, [] {}},
                        launch);
        rows.emplace(RecordingRows::Services{
            *library, RecordingFiles(files, notifications), workspace,
            [](Instant moment) { return std::to_string((moment - launch) / 1h) + " h"; },
            [this](const std::string& sentence) { complaints.push_back(sentence); }});
        library->reload();
        executor.advance(1s);
    }
    void put(const std::string& name, Instant created, std::uintmax_t size) {
        files.existing.insert(folderPath / name);
        files.entries.push_back({folderPath / name, created, size});
    }
    std::vector<std::string> names() const {
        std::vector<std::string> all;
        for (std::size_t i = 0; i < rows->count(); ++i)
            all.push_back(rows->row(i).name);
        return all;
    }

    VirtualExecutor executor;
    MovedFiles files;
    FakeCalendar calendar;
    RecordingFolder folder{files, calendar};
    NotificationCenter notifications;
    RowsWorkspace workspace;
    std::vector<Path> previewed;
    std::vector<std::string> complaints;
    std::optional<RecordingLibrary> library;
    std::optional<RecordingRows> rows;
};

TEST_F(RecordingRowsTests, TellTheFacts) {
    ASSERT_THAT(names(), ElementsAre("talk", "old"));
    EXPECT_EQ(rows->row(0).facts, "812 kB · 1 h");
    EXPECT_EQ(rows->row(1).facts, "01:05 · 3.4 MB · -1 h");
    EXPECT_TRUE(rows->row(0).isNew);
    EXPECT_TRUE(rows->row(0).isSound);
    EXPECT_FALSE(rows->row(1).isNew);
    EXPECT_FALSE(rows->row(1).isSound);
    int changes = 0;
    const Subscription watching = rows->observe([&] { ++changes; });
    rows->open(folderPath / "talk.m4a");
    EXPECT_THAT(previewed, ElementsAre("talk.m4a"));
    EXPECT_FALSE(rows->row(0).isNew);
    EXPECT_EQ(changes, 1);
}

TEST_F(RecordingRowsTests, DoWhatTheMenuSays) {
    const RecordingRows::Urls both = rows->urls();
    const auto enabled = [this](const RecordingRows::Urls& urls) {
        std::string titles;
        for (const MenuItem& each : rows->menu(urls, {}))
            if (!each.separator && each.enabled) titles += each.title + "|";
        return titles;
    };
    EXPECT_EQ(enabled({both[0]}),
              "Open|Play in Default Player|Rename|Copy File|Show in File Viewer|Move to Trash|");
    EXPECT_EQ(enabled(both), "Copy Files|Show in File Viewer|Move to Trash|");
    rows->play(both[1]);
    EXPECT_THAT(workspace.opened, ElementsAre("old.mp4"));
    rows->reveal(both);
    EXPECT_THAT(complaints, ElementsAre("There is no file viewer."));

    files.existing.erase(both[0]);
    rows->moveToTrash(both);
    EXPECT_THAT(names(), ElementsAre("talk")) << "one is gone behind our back";
    EXPECT_THAT(complaints, SizeIs(2));
    // What is not listed any more does nothing.
    rows->open(both[1]);
    EXPECT_THAT(previewed, IsEmpty());
}

TEST_F(RecordingRowsTests, AreRenamed) {
    rows->open(folderPath / "talk.m4a");
    EXPECT_EQ(rows->rename(folderPath / "talk.m4a", " a/b "), folderPath / "a-b.m4a");
    EXPECT_THAT(names(), ElementsAre("a-b", "old"));
    EXPECT_FALSE(rows->row(0).isNew) << "it was looked at under its old name";
    EXPECT_EQ(rows->rename(folderPath / "old.mp4", "old"), std::nullopt);
    EXPECT_THAT(complaints, IsEmpty());
    files.existing.insert(folderPath / "taken.mp4");
    EXPECT_EQ(rows->rename(folderPath / "old.mp4", "taken"), std::nullopt);
    EXPECT_THAT(complaints, ElementsAre("There's already a recording called “taken”."));
}

TEST(RowChangesTests, TurnOneListIntoAnother) {
    std::mt19937 random(7);
    for (int round = 0; round < 300; ++round) {
        std::vector<Path> before;
        std::vector<Path> after;
        for (int i = 0; i < 12; ++i) {
            const unsigned fate = random() % 4;
            if (fate != 0) before.push_back(std::to_string(i));
            if (fate != 1) after.push_back(std::to_string(i));
        }
        std::vector<Path> list = before;
        const auto changes = rowChanges(before, after);
        ASSERT_TRUE(changes);
        for (const auto& [first, count] : changes->removed)
            list.erase(list.begin() + long(first), list.begin() + long(first + count));
        for (const auto& [first, count] : changes->inserted)
            list.insert(list.begin() + long(first), after.begin() + long(first),
                        after.begin() + long(first + count));
        ASSERT_EQ(list, after);
    }
    EXPECT_FALSE(rowChanges({"a", "b", "c"}, {"b", "a", "d"}));
}

/// Pictures as wide as the file's name is long; none of files called "broken".
class NamedImages final : public ImageIO {
 public:
    class Generator final : public AVAssetImageGenerator {
     public:
        explicit Generator(int width) { image_.width = width; }
        const CGImage* image(CMTime, CMTime) override { return image_.width == 0 ? nullptr : &image_; }

     private:
        CGImage image_;
    };
    std::unique_ptr<AVAssetImageGenerator> makeImageGenerator(const Path& url, Size) const override {
        read.push_back(url);
        if (url == "broken") throw PlatformError("It isn't a movie.");
        return std::make_unique<Generator>(static_cast<int>(url.string().size()));
    }
    std::unique_ptr<CGImageDestination> makeGIFDestination(const Path&) const override { return nullptr; }
    mutable std::vector<Path> read;
};

TEST(ThumbnailsTests, AreReadWhenTheyAreLookedAt) {
    VirtualExecutor executor;
    const NamedImages images;
    Thumbnails thumbnails(executor, images, std::make_unique<VirtualQueue>(executor), {96, 54});
    std::vector<Path> arrived;
    const Subscription watching = thumbnails.observe([&](const Path& url) { arrived.push_back(url); });
    const auto named = [](const std::string& name, std::uintmax_t size = 1) {
        return Recording{name, launch, size, {}};
    };
    EXPECT_EQ(thumbnails.picture(named("abc")), nullptr);
    EXPECT_EQ(thumbnails.picture(named("broken")), nullptr);
    EXPECT_EQ(thumbnails.picture(named("abc")), nullptr);
    EXPECT_THAT(images.read, IsEmpty());
    executor.drain();
    EXPECT_THAT(arrived, ElementsAre("abc", "broken")) << "the last wish first, and each once";
    EXPECT_EQ(thumbnails.picture(named("abc"))->width, 3);
    EXPECT_EQ(thumbnails.picture(named("broken")), nullptr);
    executor.drain();
    EXPECT_THAT(images.read, SizeIs(2));

    // Of a changed file the old picture is shown until the new one is there.
    EXPECT_NE(thumbnails.picture(named("abc", 2)), nullptr);
    executor.drain();
    EXPECT_THAT(images.read, SizeIs(3));

    // What was scrolled past is not read, and what was not looked at for long is forgotten.
    images.read.clear();
    for (std::size_t i = 0; i < 100; ++i)
        thumbnails.picture(named(std::to_string(i)));
    executor.drain();
    EXPECT_THAT(images.read, SizeIs(Thumbnails::mostWaiting));
    EXPECT_EQ(images.read.front(), "99");
    for (std::size_t i = 0; i < Thumbnails::capacity; ++i) {
        thumbnails.picture(named("x" + std::to_string(i)));
        executor.drain();
    }
    EXPECT_EQ(thumbnails.picture(named("abc", 2)), nullptr);
    EXPECT_NE(thumbnails.picture(named("x0")), nullptr);
}

}  // namespace
}  // namespace lumicrate::test
