#include "Lumicrate/Preview/RecordingFiles.h"
#include "Tests/Lumicrate/FakePlatform.h"

#include <gtest/gtest.h>

namespace lumicrate::test {
namespace {

using Path = std::filesystem::path;

TEST(RecordingFactsTests, AreOneLine) {
    const AVAssetSummary screen{65.9, Size{1920.9, 1080}, "avc1", 2};
    const AVAssetSummary sound{3725, std::nullopt, "", 1};
    EXPECT_EQ(describeRecording("/a/b.MP4", screen, 3'449'000), "1920 × 1080 · 01:05 · 3.4 MB · mp4");
    EXPECT_EQ(describeRecording("/a/b.m4a", sound, std::nullopt), "1:02:05 · m4a");
}

TEST(RecordingNameTests, AreCleaned) {
    const std::pair<std::string, std::string> names[] = {
        {"a/b:c", "a-b-c"},
        {" \t\r\n", ""},
        {"\n a  b \v", "a  b"},
        {"\u3000会議\u2028\u00A0", "会議"},
        {"..", ".."},
        {"/", "-"},
        {"", ""},
        {std::string("a\0b", 3), "a-b"},
    };
    for (const auto& [typed, cleaned] : names)
        EXPECT_EQ(cleanedName(typed), cleaned) << typed;
}

class RecordingFilesTests : public testing::Test {
 protected:
    /// The sentence for the preview, or where the file is now.
    std::string rename(const Path& url, std::string_view typed) {
        try {
            const auto renamed = operations.rename(url, typed);
            return renamed ? renamed->string() : "nothing";
        } catch (const LocalizedError& error) {
            return error.what();
        }
    }

    FakeFiles files;
    NotificationCenter notifications;
    int announced = 0;
    Subscription announcement = notifications.observe(recordingsChangedNotification,
                                                      [this](const NotificationCenter::Object& object) {
                                                          EXPECT_FALSE(object);
                                                          ++announced;
                                                      });
    RecordingFiles operations{files, notifications};
};

TEST_F(RecordingFilesTests, AreRenamed) {
    files.existing = {"/v/a.b.MOV", "/v/taken.MOV"};
    for (const char* nothing : {"a.b", " a.b\n", "", "  "})
        EXPECT_EQ(rename("/v/a.b.MOV", nothing), "nothing");
    EXPECT_EQ(rename("/v/a.b.MOV", " taken "), "There's already a recording called “taken”.");
    EXPECT_EQ(rename("/v/gone.mp4", "x"), "Couldn't rename the recording: There is no such file.");
    EXPECT_EQ(announced, 0);
    EXPECT_EQ(rename("/v/a.b.MOV", "x/y.z "), "/v/x-y.z.MOV");
    EXPECT_EQ(announced, 1);
    EXPECT_EQ(files.existing, (std::set<Path>{"/v/x-y.z.MOV", "/v/taken.MOV"}));
}

TEST_F(RecordingFilesTests, AreMovedToTheTrash) {
    files.existing = {"/v/a.mp4"};
    operations.moveToTrash("/v/a.mp4");
    EXPECT_TRUE(files.existing.empty());
    EXPECT_EQ(announced, 1);
    try {
        operations.moveToTrash("/v/a.mp4");
        FAIL() << "it is gone";
    } catch (const LocalizedError& error) {
        EXPECT_STREQ(error.what(), "Couldn't move the recording to the Trash: There is no such file.");
    }
    EXPECT_EQ(announced, 1);
}

}  // namespace
}  // namespace lumicrate::test
