// SPDX-License-Identifier: GPL-3.0-or-later
// The preview window's model: playing, trimming, renaming, GIFs, the Trash, and the windows themselves.
#include "Lumicrate/Preview/PreviewWindows.h"
#include "Tests/Lumicrate/Movie/FakeAssets.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace lumicrate::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

CMTime ms(std::int64_t value) {
    return {value, 1000};
}

TEST(TrimRangeTests, EndsSnapToPicturesAndKeepOne) {
    const PictureTable pictures({ms(0), ms(100), ms(400), ms(900)}, ms(1000));
    const struct {
        CMTime time, shown, end, next, before, nearest;
    } cases[] = {
        {ms(0), ms(0), ms(100), ms(100), ms(0), ms(0)},
        {ms(99), ms(0), ms(100), ms(100), ms(0), ms(100)},
        {ms(399), ms(100), ms(400), ms(400), ms(0), ms(400)},
        {ms(900), ms(900), ms(1000), ms(900), ms(400), ms(900)},
        {ms(1000), ms(900), ms(1000), ms(900), ms(400), ms(1000)},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.time.seconds());
        EXPECT_EQ(pictures.pictureAt(each.time), each.shown);
        EXPECT_EQ(pictures.pictureEnd(each.time), each.end);
        EXPECT_EQ(pictures.stepped(each.time, 1), each.next);
        EXPECT_EQ(pictures.stepped(each.time, -1), each.before);
        EXPECT_EQ(pictures.nearestCut(each.time), each.nearest);
    }
    TrimRange trim(pictures);
    EXPECT_TRUE(trim.isEverything());
    const auto expectRange = [&trim](CMTime start, CMTime end) {
        EXPECT_EQ(trim.range().start, start);
        EXPECT_EQ(trim.range().end, end);
    };
    trim.setEnd(ms(420));
    expectRange(ms(0), ms(400));
    trim.setStart(ms(950));
    expectRange(ms(100), ms(400));
    trim.setEnd(ms(0));
    expectRange(ms(100), ms(400));
    trim.setEnd(ms(990));
    expectRange(ms(100), ms(1000));
    EXPECT_FALSE(trim.isEverything());

    TrimRange sound(PictureTable({}, ms(1000)));
    sound.setStart(ms(333));
    sound.setEnd(ms(200));
    EXPECT_EQ(sound.range().start, ms(333));
    EXPECT_EQ(sound.range().end, ms(433));
}

/// Notes what it is told, and carries it out at once.
class FakePlayer final : public AVPlayer {
 public:
    explicit FakePlayer(Path file) : url(std::move(file)) {
        change([](State& s) { s.status = Status::ready; });
    }
    void setPictureTimes(const std::vector<CMTime>& known) override { times = known; }
    void play() override {
        change([](State& s) { s.isPlaying = true; });
    }
    void pause() override {
        change([](State& s) { s.isPlaying = false; });
    }
    void seek(CMTime time, Seek) override {
        change([&](State& s) { s.time = time.seconds(); });
    }
    void setRate(double now) override { rate = now; }
    void setVolume(double now) override { volume = now; }
    void setMuted(bool now) override { muted = now; }
    void setPlaybackRange(std::optional<CMTimeRange> now) override { range = now; }
    void setPictureSize(int, int) override {}
    RenderedPicture picture() const override { return {}; }

    template <class Change>
    void change(const Change& make) {
        State next = *state;
        make(next);
        state = next;
    }

    Path url;
    std::vector<CMTime> times;
    double rate = 1;
    double volume = -1;
    bool muted = false;
    std::optional<CMTimeRange> range;
};

class FakeWindow final : public NSWindow {
 public:
    explicit FakeWindow(std::vector<std::string>& log) : log_(log) {}
    ~FakeWindow() override { log_.emplace_back("gone"); }
    void setContentMinSize(Size now) override { minSize = now; }
    void setContentSize(Size now) override { size = now; }
    Size visibleFrameSize() const override { return visible; }
    void center() override { log_.emplace_back("centred"); }
    void makeKeyAndOrderFront() override { log_.emplace_back("front"); }
    void setOnClose(std::function<void()> handler) override { closed = std::move(handler); }

    Size minSize, size;
    Size visible{1920, 1080};
    std::function<void()> closed;

 private:
    std::vector<std::string>& log_;
};

class NoImages final : public ImageIO {
    struct Nowhere final : public CGImageDestination {
        void addImage(const CGImage&, CMTime) override {}
        std::uint64_t size() const override { return 0; }
        void finalize() override {}
    };

    std::unique_ptr<AVAssetImageGenerator> makeImageGenerator(const Path&, Size) const override {
        throw PlatformError("There are no pictures.");
    }
    std::unique_ptr<CGImageDestination> makeAnimation(const Path&, const AnimationEncoding&) const override {
        return std::make_unique<Nowhere>();
    }
};

class PreviewWindowTests : public testing::Test {
 protected:
    struct Watch final : public FolderWatch {
        explicit Watch(Handler& place) : handler(place) {}
        void setOnChange(Handler changed) override { handler = std::move(changed); }
        Handler& handler;
    };

    PreviewWindowTests() {
        files.existing = {url, other};
        for (const Path& each : {url, other}) {
            assets.summaries[each] = {10, Size{1280, 720}, "avc1", 1};
            files.entries.push_back({each, {}, 5000});
        }
        assets.times = {ms(0), ms(100), ms(400)};
    }

    PreviewModel::Services services() {
        return {executor,
                assets,
                images,
                compact,
                composition,
                files,
                defaults,
                notifications,
                workspace,
                [this](const Path& opened) {
                    auto made = std::make_unique<FakePlayer>(opened);
                    player = made.get();
                    return made;
                },
                [this](const std::string&) { return std::make_unique<VirtualQueue>(executor); },
                [this](const Path&) { return std::make_unique<Watch>(folderChanged); }};
    }

    /// A model whose file has been read.
    PreviewModel& load() {
        model.emplace(services(), url);
        model->showSheet = [this](const NSAlert& shown, std::function<void(NSAlertResponse)> handler) {
            alert = shown;
            answer = std::move(handler);
        };
        model->closeWindow = [this] { isClosed = true; };
        model->load();
        executor.drain();
        return *model;
    }
    /// Keeps 0.1 s to 0.4 s and answers the sheet.
    void trim(std::size_t button, bool checked) {
        model->trim();
        model->playerView.setTrimStart(ms(100));
        model->playerView.setTrimEnd(ms(400));
        model->playerView.endTrimming(true);
        answer({button, checked});
        executor.drain();
    }

    const Path url = "/movies/talk.mp4";
    const Path other = "/movies/other.mp4";
    VirtualExecutor executor;
    FakeFiles files;
    FakeAssets assets{files};
    NoImages images;
    FakeCompactExport compact{files};
    FakeComposition composition{files};
    FakeDefaults defaults;
    NotificationCenter notifications;
    FakeWorkspace workspace;
    FolderWatch::Handler folderChanged;
    FakePlayer* player = nullptr;  ///< the newest
    NSAlert alert;
    std::function<void(NSAlertResponse)> answer;
    bool isClosed = false;
    std::optional<PreviewModel> model;
};

TEST_F(PreviewWindowTests, LoadsFactsAndKeepsTheVolumeForTheNextWindow) {
    PreviewModel& shown = load();
    EXPECT_EQ(*shown.info, "1280 × 720 · 00:10 · 5 kB · mp4");
    EXPECT_EQ(player->times.size(), 3U);
    EXPECT_EQ(player->volume, 1);
    shown.playerView.setVolume(0.25);
    shown.playerView.setMuted(true);
    load();
    EXPECT_EQ(player->volume, 0.25);
    EXPECT_TRUE(player->muted);
    // A louder volume is wanted only by somebody who wants to hear something.
    model->playerView.setVolume(0.5);
    EXPECT_FALSE(player->muted);
}

TEST_F(PreviewWindowTests, StepsFromPictureToPicture) {
    PlayerModel& transport = load().playerView;
    transport.play();
    transport.step(1);
    EXPECT_FALSE(transport.isPlaying());
    EXPECT_EQ(transport.time(), ms(100));
    transport.step(5);
    EXPECT_EQ(transport.time(), ms(400));
    transport.jump(1);
    EXPECT_EQ(transport.time(), ms(1400));
    transport.step(-1);
    EXPECT_EQ(transport.time(), ms(100));
    transport.jump(60);
    EXPECT_EQ(transport.time(), ms(10'000));
}

TEST_F(PreviewWindowTests, AsksHowToSaveAndRemembersTheAnswer) {
    int posted = 0;
    const Subscription observing =
        notifications.observe(recordingsChangedNotification, [&](const auto&) { ++posted; });
    load();
    model->trim();
    model->playerView.endTrimming(true);
    EXPECT_FALSE(answer) << "everything is kept";

    trim(0, true);
    EXPECT_EQ(alert.messageText, "Save the trimmed recording?");
    EXPECT_EQ(alert.informativeText, "Keeps 00:00 to 00:00.");
    EXPECT_THAT(alert.buttons, ElementsAre("Save as New Copy", "Replace Original", "Cancel"));
    EXPECT_FALSE(alert.accessory->isOn);
    EXPECT_EQ(*model->url, "/movies/talk_trimmed.mp4");
    EXPECT_EQ(player->url, *model->url);
    EXPECT_EQ(assets.made.back().preset, AVAssetExportPreset::highestQuality);
    EXPECT_TRUE(defaults.boolForKey("preciseTrim"));

    model.reset();
    load();
    trim(1, false);
    EXPECT_TRUE(alert.accessory->isOn);
    EXPECT_EQ(*model->url, url);
    EXPECT_EQ(assets.made.back().preset, AVAssetExportPreset::passthrough);
    EXPECT_FALSE(defaults.boolForKey("preciseTrim"));
    EXPECT_EQ(posted, 2);

    model->trim();
    model->playerView.setTrimStart(ms(100));
    EXPECT_TRUE(player->range.has_value());
    trim(2, true);
    EXPECT_FALSE(player->range.has_value());
    EXPECT_EQ(assets.made.size(), 2U);
    EXPECT_FALSE(defaults.boolForKey("preciseTrim"));
}

TEST_F(PreviewWindowTests, AFailedOrCancelledTrimLeavesTheRecording) {
    load();
    assets.refusal = "The disk is full.";
    std::vector<std::optional<std::string>> labels;
    const Subscription observing = model->busy.observe([&](const auto& label) { labels.push_back(label); });
    trim(1, true);
    EXPECT_EQ(model->errorMessage->value_or(""), "Couldn't save the trimmed recording: The disk is full.");
    EXPECT_THAT(labels, ElementsAre("Trimming precisely…", std::nullopt));
    EXPECT_THAT(files.existing, ElementsAre(other, url));

    assets.refusal.clear();
    const Subscription cancelling = model->progress.observe([&](double share) {
        if (share == 0) model->cancel();
    });
    trim(0, false);
    EXPECT_THAT(files.existing, ElementsAre(other, url));
    EXPECT_FALSE(*model->busy);
}

TEST_F(PreviewWindowTests, ZoomsToClicksInACopyAndGoesOnEditing) {
    assets.input = {{RecordedInput::Kind::press, ms(3000), {0.5, 0.5}, 1, ""}};
    load();
    model->trim();
    model->beginZoom();
    executor.drain();
    EXPECT_FALSE(model->zoom.isEditing()) << "while trimming";
    model->playerView.endTrimming(false);
    model->beginZoom();
    executor.drain();
    ASSERT_TRUE(model->zoom.isEditing());
    model->trim();
    EXPECT_FALSE(*model->playerView.trim) << "while zooms are edited";
    model->zoom.setScale(0, 4);
    model->saveZoomedCopy();
    executor.drain();
    EXPECT_THAT(files.existing, ElementsAre(other, url, "/movies/talk_zoom.mp4"));
    EXPECT_EQ(composition.made.back().first, (Rect{0.375, 0.375, 0.25, 0.25}));
    EXPECT_TRUE(model->zoom.isEditing());
    const Subscription cancelling = model->progress.observe([&](double) { model->cancel(); });
    model->saveZoomedCopy();
    executor.drain();
    EXPECT_EQ(files.existing.size(), 3U);
    model->load();
    EXPECT_FALSE(model->zoom.isEditing());
}

TEST_F(PreviewWindowTests, RenamesAtTheSamePosition) {
    load();
    model->playerView.seek(ms(300));
    model->beginRename();
    EXPECT_EQ(*model->newName, "talk");
    model->newName = " other ";
    model->commitRename();
    EXPECT_EQ(model->errorMessage->value_or(""), "There's already a recording called “other”.");
    model->newName = " .x";
    model->commitRename();
    EXPECT_EQ(model->errorMessage->value_or(""), "The name of a recording can't begin with a dot.");
    EXPECT_EQ(*model->url, url);
    assets.summaries["/movies/a-b.mp4"] = assets.summaries[url];
    model->newName = "a/b";
    model->commitRename();
    executor.drain();
    EXPECT_EQ(*model->url, "/movies/a-b.mp4");
    EXPECT_EQ(model->playerView.time(), ms(300));
    EXPECT_FALSE(*model->errorMessage);
}

TEST_F(PreviewWindowTests, ReportsWhatFailsAndClosesAfterTheTrash) {
    load();
    model->exportGIF(480);
    executor.drain();
    EXPECT_EQ(model->errorMessage->value_or(""), "Couldn't make the GIF: There are no pictures.");
    model->playerView.play();
    model->openInQuickTime();
    EXPECT_FALSE(model->playerView.isPlaying());
    EXPECT_THAT(workspace.opened, ElementsAre("talk.mp4"));
    files.existing.erase(url);
    model->moveToTrash();
    EXPECT_EQ(model->errorMessage->value_or(""),
              "Couldn't move the recording to the Trash: There is no such file.");
    EXPECT_FALSE(isClosed);
    files.existing.insert(url);
    model->moveToTrash();
    EXPECT_TRUE(isClosed);
    EXPECT_THAT(files.existing, Not(Contains(url)));
}

TEST_F(PreviewWindowTests, SmallCopiesAreShownInTheirFolder) {
    load();
    model->shareSmallCopy(8'000'000);
    executor.drain();
    EXPECT_TRUE(files.existing.contains("/movies/talk_small.mp4"));
    EXPECT_FALSE(*model->busy);
    compact.bytes = [](const CompactEncoding&) { return 1e12; };
    model->shareSmallCopy(8'000'000);
    executor.drain();
    EXPECT_THAT(model->errorMessage->value_or(""),
                testing::StartsWith("Couldn't make the small copy: The recording is too long"));
    model->exportAnimation({.format = AnimationEncoding::Format::webp, .maxBytes = 8'000'000});
    executor.drain();
    EXPECT_EQ(model->errorMessage->value_or(""), "Couldn't make the WebP: There are no pictures.");
}

TEST_F(PreviewWindowTests, RecordedInputCanBeRemoved) {
    load();
    EXPECT_FALSE(*model->hasData);
    assets.summaries[url].recordedInput = true;
    model->load();
    executor.drain();
    EXPECT_TRUE(*model->hasData);
    assets.refusal = "The disk is full.";
    model->removeData();
    executor.drain();
    EXPECT_EQ(model->errorMessage->value_or(""), "Couldn't remove the data: The disk is full.");
    assets.refusal.clear();
    model->removeData();
    executor.drain();
    EXPECT_EQ(assets.made.size(), 2U);
    EXPECT_EQ(*model->errorMessage, std::nullopt);
    EXPECT_THAT(files.existing, testing::ElementsAre(other, url)) << "in place";
}

TEST_F(PreviewWindowTests, NoticesWhatOtherProgramsDoToTheFile) {
    load();
    const FakePlayer* first = player;
    folderChanged({false, {url}});
    EXPECT_EQ(player, first) << "it is as before";
    files.entries.front().size = 7000;
    folderChanged({false, {url}});
    executor.drain();
    EXPECT_THAT(*model->info, testing::HasSubstr("7 kB"));
    files.existing.erase(url);
    folderChanged({false, {url}});
    EXPECT_EQ(model->errorMessage->value_or(""), "The recording was moved or deleted.");
    EXPECT_EQ(model->playerView.player(), nullptr);
    model->trim();
    model->playerView.togglePlay();
    files.existing.insert(url);
    folderChanged({false, {url}});
    EXPECT_NE(model->playerView.player(), nullptr) << "it is back";
    EXPECT_EQ(*model->errorMessage, std::nullopt);
}

TEST_F(PreviewWindowTests, EveryFileHasOneWindow) {
    std::vector<std::string> log;
    std::vector<FakeWindow*> made;
    PreviewWindows windows(services(), [&](PreviewModel&) {
        auto window = std::make_unique<FakeWindow>(log);
        made.push_back(window.get());
        return window;
    });
    windows.show(url);
    executor.drain();
    EXPECT_THAT(log, ElementsAre("centred", "front"));
    windows.show(url);
    EXPECT_EQ(made.size(), 1U);
    windows.show(other);
    executor.drain();
    EXPECT_EQ(made.size(), 2U);
    player->play();
    windows.pauseAll();
    EXPECT_FALSE(player->state->isPlaying);
    log.clear();
    made.front()->closed();
    made.back()->closed();
    executor.drain();
    EXPECT_THAT(log, ElementsAre("gone", "gone"));
    EXPECT_TRUE(windows.isEmpty());
}

TEST_F(PreviewWindowTests, WindowsFitTheScreen) {
    const struct {
        std::optional<Size> video;
        Size content;
    } cases[] = {
        {std::nullopt, {560, 132}},          {Size{1280, 720}, {1280, 772}},
        {Size{100, 80}, {520, 292}},         {Size{3840, 2160}, {892.0 * 16 / 9, 892 + 52}},
        {Size{1000, 4000}, {520, 892 + 52}},
    };
    for (const auto& [video, content] : cases) {
        std::vector<std::string> log;
        FakeWindow window(log);
        PreviewWindows::fit(window, video);
        EXPECT_NEAR(window.size.width, content.width, 1e-6);
        EXPECT_NEAR(window.size.height, content.height, 1e-6);
    }
}

}  // namespace
}  // namespace lumicrate::test
