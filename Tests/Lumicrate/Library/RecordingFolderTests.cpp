#include "Lumicrate/Library/RecordingFolder.h"
#include "Tests/Lumicrate/FakePlatform.h"

#include <gtest/gtest.h>

namespace lumicrate::test {
namespace {

class RecordingFolderTests : public testing::Test {
 protected:
    FakeFiles files;
    FakeCalendar calendar;
    RecordingFolder folder{files, calendar};
    const std::filesystem::path path = "/home/me/Movies/Lumicrate";
};

TEST_F(RecordingFolderTests, NamesAreFreeAndTellKindAndTime) {
    using Kind = RecordingFolder::Kind;
    EXPECT_TRUE(files.folders.empty()) << "the folder is made when it is needed";
    const auto first = folder.newRecordingURL(Kind::screen, "mp4");
    EXPECT_EQ(first, path / "Recording-Screen_2024-05-01_14.03.22.mp4");
    EXPECT_TRUE(files.folders.contains(path));
    files.existing = {first};
    const auto second = folder.newRecordingURL(Kind::screen, "mp4");
    EXPECT_EQ(second, path / "Recording-Screen_2024-05-01_14.03.22_2.mp4");
    files.existing.insert(second);
    EXPECT_EQ(folder.newRecordingURL(Kind::screen, "mp4"),
              path / "Recording-Screen_2024-05-01_14.03.22_3.mp4");
    EXPECT_EQ(folder.newRecordingURL(Kind::screen, "mov"), path / "Recording-Screen_2024-05-01_14.03.22.mov");

    calendar.date = {987, 12, 31, 0, 0, 9};
    EXPECT_EQ(folder.newRecordingURL(Kind::audio, "m4a"), path / "Recording-Audio_0987-12-31_00.00.09.m4a");
    EXPECT_EQ(folder.newRecordingURL(Kind::webcam, "mov"), path / "Recording-Webcam_0987-12-31_00.00.09.mov");
    files.folderRefused = true;
    EXPECT_THROW(folder.newRecordingURL(Kind::screen, "mp4"), PlatformError);
}

TEST_F(RecordingFolderTests, AFileIsInProgressForAsLongAsItsMarkLives) {
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

TEST(MovieFileTests, AreKnownByTheirExtension) {
    for (const char* movie : {"a.mp4", "a.MOV", "a.b.m4v", ".hidden.M4a"})
        EXPECT_TRUE(RecordingFolder::isMovie(movie)) << movie;
    for (const char* other : {"a.gif", "mp4", "a.mp4.part", ".mp4", ""})
        EXPECT_FALSE(RecordingFolder::isMovie(other)) << other;
}

}  // namespace
}  // namespace lumicrate::test
