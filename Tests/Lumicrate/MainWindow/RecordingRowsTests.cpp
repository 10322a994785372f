// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/MainWindow/RecordingRows.h"
#include "Tests/Lumicrate/Library/LibraryFixture.h"

#include <random>

namespace lumicrate::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class RecordingRowsTests : public LibraryFixture {
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
    EXPECT_THAT(errors, SizeIs(2));
    rows->open(both[1]);
    EXPECT_THAT(previewed, IsEmpty()) << "it is no longer listed";
}

TEST_F(RecordingRowsTests, ARenamedRecordingStaysOpened) {
    rows->open(folderPath / "talk.m4a");
    EXPECT_EQ(rows->rename(folderPath / "talk.m4a", " a/b "), folderPath / "a-b.m4a");
    EXPECT_THAT(names(), ElementsAre("a-b", "old"));
    EXPECT_FALSE(rows->row(0).isNew);
    EXPECT_THAT(errors, IsEmpty());
    EXPECT_EQ(rows->rename(folderPath / "gone.mp4", "x"), std::nullopt);
    EXPECT_THAT(errors, SizeIs(1));
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
