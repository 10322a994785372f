// SPDX-License-Identifier: GPL-3.0-or-later
// The recording folder, the list of recordings with durations and thumbnails, and its rows in the main
// window.
#include "Lumicrate/Library/Thumbnails.h"
#include "Lumicrate/MainWindow/RecordingRows.h"
#include "Tests/Lumicrate/FakePlatform.h"

#include <random>

namespace lumicrate::test {
namespace {

using namespace std::chrono_literals;
using Path = std::filesystem::path;

const Path folderPath = "/home/me/Movies/Lumicrate";
const RecordingLibrary::Instant launch{1000h};

class LibraryTests : public testing::Test {
 protected:
    struct Watch final : public FolderWatch {
        explicit Watch(Handler& place) : handler(place) {}
        void setOnChange(Handler changed) override { handler = std::move(changed); }
        Handler& handler;
    };
    LibraryTests() {
        files.folders = {folderPath};
        workspace.hasFileViewer = false;
        makeLibrary(1);
    }
    void makeLibrary(int queues) {
        DurationReader::Readers readers;
        readers.read = [this](const Path& url) {
            read.push_back(url.filename());
            const auto found = durations.find(url.filename());
            if (onRead) onRead();
            if (found == durations.end()) throw PlatformError("It isn't a movie.");
            return found->second;
        };
        for (int i = 0; i < queues; ++i)
            readers.queues.push_back(std::make_unique<VirtualQueue>(executor));
        library.emplace(
            RecordingLibrary::Services{executor, files, notifications, folder, workspace, std::move(readers),
                                       [this](const Path& url) {
                                           watched = url;
                                           return std::make_unique<Watch>(changed);
                                       },
                                       [this](const Path& url) { previewed.push_back(url.filename()); },
                                       [this] { ++beeps; }},
            launch);
    }

    /// Creates or replaces a file that is `age` older than the launch.
    void put(const std::string& name, std::chrono::hours age, std::uintmax_t size = 100) {
        remove(name);
        files.existing.insert(folderPath / name);
        files.entries.push_back({folderPath / name, launch - age, size});
    }
    void remove(const std::string& name) {
        files.existing.erase(folderPath / name);
        std::erase_if(files.entries, [&](const NSFileEntry& each) { return each.url == folderPath / name; });
    }
    void reload() {
        library->reload();
        executor.drain();
    }

    void report(const std::vector<std::string>& names) {
        FolderChanges changes;
        for (const std::string& each : names)
            changes.urls.push_back(folderPath / each);
        changed(changes);
    }
    template <class List, class UrlOf>
    static std::vector<Path> namesIn(const List& list, UrlOf urlOf) {
        std::vector<Path> names;
        std::ranges::transform(list, std::back_inserter(names), &Path::filename, urlOf);
        return names;
    }
    std::vector<Path> listed() const { return namesIn(*library->recordings, &Recording::url); }
    std::vector<Path> marked() const { return namesIn(*library->unopened, std::identity()); }
    const Recording& find(const Path& name) const {
        return *std::ranges::find(*library->recordings, folderPath / name, &Recording::url);
    }

    VirtualExecutor executor;
    FakeFiles files;
    FakeCalendar calendar;
    NotificationCenter notifications;
    FakeDefaults defaults;
    RecordingFolder folder{files, calendar, defaults};
    FakeWorkspace workspace;
    Path watched;
    FolderWatch::Handler changed;
    std::map<Path, double> durations;
    std::vector<Path> read;
    std::function<void()> onRead;  ///< called while a duration is read
    std::vector<Path> previewed;
    int beeps = 0;
    std::optional<RecordingLibrary> library;
};

TEST_F(LibraryTests, AnotherFolderIsReadAndWatched) {
    EXPECT_EQ(watched, folderPath);
    folder.choose("/mnt/clips");
    files.entries = {{"/mnt/clips/a.mp4", launch, 100}};
    executor.drain();
    EXPECT_EQ(watched, "/mnt/clips");
    EXPECT_EQ(library->recordings->at(0).url, "/mnt/clips/a.mp4");
}

TEST_F(LibraryTests, NewRecordingsGetUnusedNamesWithKindAndTime) {
    using Kind = RecordingFolder::Kind;
    files.folders.clear();
    const auto expect = [this](Kind kind, const char* extension, const std::string& name) {
        EXPECT_EQ(folder.newRecordingURL(kind, extension), folderPath / name);
        files.existing.insert(folderPath / name);
    };
    expect(Kind::screen, "mp4", "Recording-Screen_2024-05-01_14.03.22.mp4");
    EXPECT_TRUE(files.folders.contains(folderPath));
    expect(Kind::screen, "mp4", "Recording-Screen_2024-05-01_14.03.22_2.mp4");
    expect(Kind::screen, "mov", "Recording-Screen_2024-05-01_14.03.22.mov");
    calendar.date = {987, 12, 31, 0, 0, 9};
    expect(Kind::audio, "m4a", "Recording-Audio_0987-12-31_00.00.09.m4a");
    expect(Kind::webcam, "mov", "Recording-Webcam_0987-12-31_00.00.09.mov");
    files.folderRefused = true;
    EXPECT_THROW(folder.newRecordingURL(Kind::screen, "mp4"), PlatformError);
}

TEST_F(LibraryTests, AFileIsInProgressWhileItsMarkLives) {
    std::optional first = folder.markInProgress("/a.mp4");
    std::optional moved = std::move(*first);
    first.reset();
    EXPECT_TRUE(folder.isInProgress("/a.mp4"));
    *moved = folder.markInProgress("/b.mp4");
    EXPECT_FALSE(folder.isInProgress("/a.mp4"));
    EXPECT_TRUE(folder.isInProgress("/b.mp4"));
    moved.reset();
    EXPECT_FALSE(folder.isInProgress("/b.mp4"));
}

TEST_F(LibraryTests, ListsMoviesNewestFirst) {
    put("b.mp4", 5h);
    put("a.MOV", 3h);
    put("c.b.M4a", 5h);
    for (const char* other : {"a.gif", "mp4", "a.mp4.part", ".mp4"})
        put(other, 1h);
    put("being written.mp4", 1h);
    files.entries.push_back({folderPath / "dateless.m4v", {}, 7});
    files.entries.push_back({folderPath / "folder.mp4", launch, {}});
    std::optional writing = folder.markInProgress(folderPath / "being written.mp4");
    EXPECT_THAT(listed(), IsEmpty()) << "before the first reload";
    reload();
    EXPECT_THAT(listed(), ElementsAre("a.MOV", "b.mp4", "c.b.M4a", "dateless.m4v"));
    EXPECT_EQ(find("dateless.m4v").created, RecordingLibrary::Instant::min());

    writing.reset();
    EXPECT_THAT(listed(), SizeIs(4)) << "before the notification";
    notifications.post(recordingSavedNotification, folderPath / "any.mp4");
    EXPECT_THAT(listed(), SizeIs(5));
    remove("a.MOV");
    notifications.post(recordingsChangedNotification);
    EXPECT_THAT(listed(), ElementsAre("being written.mp4", "b.mp4", "c.b.M4a", "dateless.m4v"));
    files.folders.clear();
    reload();
    EXPECT_THAT(listed(), IsEmpty());
}

TEST_F(LibraryTests, DurationsAreReadOnceUntilTheSizeChanges) {
    put("a.mp4", 1h);
    put("b.mp4", 2h);
    durations = {{"a.mp4", 10}};
    reload();
    EXPECT_EQ(find("a.mp4").duration, 10);
    EXPECT_EQ(find("b.mp4").duration, std::nullopt);
    EXPECT_THAT(read, ElementsAre("a.mp4", "b.mp4"));

    durations = {{"a.mp4", 9}, {"b.mp4", 20}};
    reload();
    EXPECT_EQ(find("a.mp4").duration, 10) << "known already";
    EXPECT_EQ(find("b.mp4").duration, 20) << "a failure is retried";
    put("a.mp4", 1h, 50);
    reload();
    EXPECT_EQ(find("a.mp4").duration, 9);
    EXPECT_THAT(read, SizeIs(4));
}

TEST_F(LibraryTests, ALateDurationIsMatchedWithItsFile) {
    for (const char* name : {"gone.mp4", "grown.mp4", "moved.mp4"})
        put(name, 1h);
    durations = {{"gone.mp4", 1}, {"grown.mp4", 2}, {"moved.mp4", 3}};
    onRead = [this] {
        if (read.size() != 3) return;
        remove("gone.mp4");
        put("grown.mp4", 1h, 200);
        put("newer.mp4", 0h);
        durations["grown.mp4"] = 5;
        durations["newer.mp4"] = 6;
        library->reload();
    };
    reload();
    EXPECT_THAT(listed(), ElementsAre("newer.mp4", "moved.mp4", "grown.mp4"));
    EXPECT_EQ(find("moved.mp4").duration, 3);
    EXPECT_EQ(find("grown.mp4").duration, 5);
    EXPECT_EQ(find("newer.mp4").duration, 6);
}

TEST_F(LibraryTests, TenThousandDurationsAreReadInBatchesOnAllQueues) {
    constexpr int count = 10'000;
    makeLibrary(3);
    for (int i = 0; i < count; ++i) {
        const std::string name = std::to_string(i) + ".mp4";
        files.entries.push_back({folderPath / name, launch - std::chrono::hours(i), 100});
        durations[name] = i;
    }
    std::vector<bool> busy;
    int changes = 0;
    const Subscription reading = library->readsDurations().observe([&](bool now) { busy.push_back(now); });
    library->reload();
    const Subscription list = library->recordings.observe([&](const auto&) {
        ++changes;
        EXPECT_THAT(read, testing::Contains("4096.mp4")) << "the third queue works as well";
    });
    executor.drain();
    EXPECT_EQ(read.front(), "0.mp4") << "the newest first";
    EXPECT_THAT(busy, ElementsAre(true, false));
    EXPECT_THAT(read, SizeIs(count));
    for (const Recording& each : *library->recordings)
        ASSERT_EQ(each.duration, std::stoi(each.url.stem().string()));
    EXPECT_LT(changes, count / 10);
}

TEST_F(LibraryTests, MayBeDestroyedWhileDurationsAreRead) {
    put("a.mp4", 1h);
    onRead = [this] { executor.post([this] { library.reset(); }); };
    reload();
    EXPECT_FALSE(library);
    EXPECT_THAT(read, ElementsAre("a.mp4"));
    changed = nullptr;
    notifications.post(recordingsChangedNotification);
}

TEST_F(LibraryTests, RecordingsSinceTheLaunchAreNewUntilOpened) {
    put("old.mp4", 1h);
    put("launch.mp4", 0h);
    for (const char* name : {"1.mp4", "2.mp4", "3.mp4", "4.mp4", "5.mp4"})
        put(name, -1h);
    reload();
    EXPECT_THAT(marked(), ElementsAre("1.mp4", "2.mp4", "3.mp4", "4.mp4", "5.mp4"));

    library->open(find("1.mp4"));
    library->openInQuickTime(find("2.mp4"));
    library->markOpened(folderPath / "3.mp4");
    library->moveToTrash(find("4.mp4"));
    EXPECT_FALSE(files.existing.contains(folderPath / "4.mp4"));
    EXPECT_THAT(previewed, ElementsAre("1.mp4"));
    EXPECT_THAT(workspace.opened, ElementsAre("2.mp4"));
    EXPECT_THAT(marked(), ElementsAre("5.mp4"));
    reload();
    EXPECT_EQ(beeps, 0);
    files.existing.clear();
    library->moveToTrash(find("5.mp4"));
    EXPECT_EQ(beeps, 1);
    EXPECT_THAT(marked(), ElementsAre("5.mp4")) << "it could not be moved";
}

TEST_F(LibraryTests, FollowsTheFolderByLookingUpOnlyTheReportedFiles) {
    put("a.mp4", 1h);
    put("b.mp4", 2h);
    put("c.mp4", 3h);
    durations = {{"a.mp4", 1}, {"b.mp4", 2}, {"c.mp4", 3}, {"new.mp4", 4}, {"renamed.mp4", 5}};
    reload();
    const int listings = files.listings;

    remove("a.mp4");
    put("renamed.mp4", 1h);
    put("b.mp4", 2h, 200);
    durations["b.mp4"] = 20;
    put("new.mp4", -1h);
    put("noise.txt", 1h);
    report({"a.mp4", "renamed.mp4", "b.mp4", "new.mp4", "noise.txt", "never.mp4"});
    executor.drain();
    EXPECT_THAT(listed(), ElementsAre("new.mp4", "renamed.mp4", "b.mp4", "c.mp4"));
    EXPECT_THAT(marked(), ElementsAre("new.mp4"));
    EXPECT_EQ(find("b.mp4").duration, 20);
    EXPECT_EQ(find("renamed.mp4").duration, 5);
    EXPECT_EQ(files.looks, 5);
    EXPECT_EQ(files.listings, listings);

    // A duration that could not be read is retried when the file has been written.
    put("late.mp4", 4h);
    report({"late.mp4"});
    executor.drain();
    EXPECT_EQ(find("late.mp4").duration, std::nullopt);
    durations["late.mp4"] = 6;
    report({"late.mp4"});
    executor.drain();
    EXPECT_EQ(find("late.mp4").duration, 6);

    const auto writing = folder.markInProgress(folderPath / "c.mp4");
    report({"c.mp4"});
    EXPECT_THAT(listed(), ElementsAre("new.mp4", "renamed.mp4", "b.mp4", "late.mp4"));
    changed({.everything = true, .urls = {}});
    EXPECT_EQ(files.listings, listings + 1);
}

/// Pictures whose width is the length of the file's name; none for the file "broken".
class NamedImages final : public ImageIO {
 public:
    struct Generator final : public AVAssetImageGenerator {
        const CGImage* image(CMTime, CMTime) override { return &picture; }
        const CGImage* keyImage(CMTime) override { return &picture; }
        CGImage picture;
    };
    std::unique_ptr<AVAssetImageGenerator> makeImageGenerator(const Path& url, Size) const override {
        read.push_back(url);
        if (url == "broken") throw PlatformError("It isn't a movie.");
        auto generator = std::make_unique<Generator>();
        generator->picture.width = static_cast<int>(url.string().size());
        return generator;
    }
    std::unique_ptr<CGImageDestination> makeAnimation(const Path&, const AnimationEncoding&) const override {
        return nullptr;
    }
    mutable std::vector<Path> read;
};

TEST(ThumbnailsTests, AreReadOnRequest) {
    VirtualExecutor executor;
    const NamedImages images;
    Thumbnails thumbnails(executor, images, std::make_unique<VirtualQueue>(executor), {96, 54});
    std::vector<Path> arrived;
    const Subscription watching = thumbnails.observe([&](const Path& url) { arrived.push_back(url); });
    const auto picture = [&](const std::string& name, std::uintmax_t size = 1) {
        return thumbnails.picture({name, launch, size, {}});
    };
    for (const char* name : {"abc", "broken", "abc"})
        EXPECT_EQ(picture(name), nullptr);
    EXPECT_THAT(images.read, IsEmpty());
    executor.drain();
    EXPECT_THAT(arrived, ElementsAre("abc", "broken")) << "the last request first, and each once";
    EXPECT_EQ(picture("abc")->width, 3);
    EXPECT_EQ(picture("broken"), nullptr);
    executor.drain();
    EXPECT_THAT(images.read, SizeIs(2));

    // The old picture of a changed file is returned until the new one has been read.
    EXPECT_NE(picture("abc", 2), nullptr);
    executor.drain();
    EXPECT_THAT(images.read, SizeIs(3));

    // Old requests and the least recently used pictures are dropped.
    images.read.clear();
    for (std::size_t i = 0; i < 100; ++i)
        picture(std::to_string(i));
    executor.drain();
    EXPECT_THAT(images.read, SizeIs(Thumbnails::maxWaiting));
    EXPECT_EQ(images.read.front(), "99");
    for (std::size_t i = 0; i < Thumbnails::capacity; ++i) {
        picture("x" + std::to_string(i));
        executor.drain();
    }
    EXPECT_EQ(picture("abc", 2), nullptr);
    EXPECT_NE(picture("x0"), nullptr);
}

class RecordingRowsTests : public LibraryTests {
 protected:
    RecordingRowsTests() {
        put("old.mp4", 1h, 3'400'000);
        put("talk.m4a", -1h, 812'000);
        durations["old.mp4"] = 65;
        rows.emplace(RecordingRows::Services{
            *library, RecordingFiles(files, notifications), workspace,
            [](RecordingLibrary::Instant created) { return std::to_string((created - launch) / 1h) + " h"; },
            [this](const std::string& sentence) { errors.push_back(sentence); }});
        reload();
    }
    std::vector<std::string> names() const {
        std::vector<std::string> all;
        for (std::size_t i = 0; i < rows->count(); ++i)
            all.push_back(rows->row(i).name);
        return all;
    }

    std::vector<std::string> errors;
    std::optional<RecordingRows> rows;
};

TEST_F(RecordingRowsTests, ShowNameFactsAndMarks) {
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

TEST_F(RecordingRowsTests, MenuActionsApplyToTheSelection) {
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
    EXPECT_THAT(errors, ElementsAre("There is no file viewer."));

    files.existing.erase(both[0]);
    rows->moveToTrash(both);
    EXPECT_THAT(names(), ElementsAre("talk")) << "it cannot be moved to the Trash";
    EXPECT_EQ(errors.back(), "Couldn't move the recording to the Trash: There is no such file.");
    rows->open(both[1]);
    EXPECT_THAT(previewed, IsEmpty()) << "it is no longer listed";
}

TEST_F(RecordingRowsTests, ARenamedRecordingStaysOpened) {
    const Path talk = folderPath / "talk.m4a";
    rows->open(talk);
    put("taken.m4a", 2h);
    for (const char* unchanged : {"talk", " talk\n", "", "  "})
        EXPECT_EQ(rows->rename(talk, unchanged), std::nullopt);
    EXPECT_THAT(errors, IsEmpty());
    EXPECT_EQ(rows->rename(talk, " taken "), std::nullopt);
    EXPECT_EQ(rows->rename(folderPath / "gone.mp4", "x"), std::nullopt);
    EXPECT_THAT(errors, ElementsAre("There's already a recording called “taken”.",
                                    "Couldn't rename the recording: There is no such file."));
    EXPECT_THAT(names(), ElementsAre("talk", "old")) << "nothing has changed";
    EXPECT_EQ(rows->rename(talk, " a/b.c "), folderPath / "a-b.c.m4a");
    EXPECT_THAT(names(), ElementsAre("a-b.c", "old", "taken"));
    EXPECT_FALSE(rows->row(0).isNew);
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

}  // namespace
}  // namespace lumicrate::test
