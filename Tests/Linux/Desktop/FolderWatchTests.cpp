// Following real folders.
#include "Linux/Desktop/FolderWatch.h"
#include "Tests/Linux/Desktop/EventLoop.h"
#include "Tests/Linux/TemporaryFolder.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <fstream>
#include <optional>

namespace lumicrate::desktop {
namespace {

using Path = std::filesystem::path;
using testing::UnorderedElementsAre;

class FolderWatchTests : public testing::Test {
 protected:
    void watchFolder() {
        watch.emplace(folder);
        watch->setOnChange([this](const FolderChanges& changes) {
            ++told;
            everything = everything || changes.everything;
            for (const Path& each : changes.urls)
                urls.insert(each);
        });
    }
    /// Whatever was told before counts no more.
    void forget() {
        urls.clear();
        everything = false;
        told = 0;
    }
    /// All of the folder is to be read, and what is done in it from then on is told.
    void expectFound() {
        ASSERT_TRUE(test::await([this] { return everything; }));
        forget();
        write("found.mp4");
        ASSERT_TRUE(test::await([this] { return urls.contains(folder / "found.mp4"); }));
        std::filesystem::remove(folder / "found.mp4");
    }
    void write(const std::string& name) const { std::ofstream(folder / name) << "x"; }

    test::TemporaryFolder home;
    Path folder = home / "Videos/Lumicrate";
    std::set<Path> urls;
    bool everything = false;
    int told = 0;
    std::optional<FolderWatch> watch;
};

TEST_F(FolderWatchTests, NamesWhatIsMadeWrittenRenamedAndDeleted) {
    std::filesystem::create_directories(folder);
    for (const char* name : {"old.mp4", "renamed.mp4", "deleted.mp4", "left alone.mp4"})
        write(name);
    watchFolder();
    std::ofstream(folder / "old.mp4", std::ios::app) << "more";
    std::filesystem::rename(folder / "renamed.mp4", folder / "new name.mp4");
    std::filesystem::remove(folder / "deleted.mp4");
    write("made.mp4");
    write(".hidden.mp4");
    ASSERT_TRUE(test::await([this] { return urls.size() >= 5; }));
    EXPECT_THAT(urls,
                UnorderedElementsAre(folder / "old.mp4", folder / "renamed.mp4", folder / "new name.mp4",
                                     folder / "deleted.mp4", folder / "made.mp4"));
    EXPECT_FALSE(everything);
}

TEST_F(FolderWatchTests, AFileThatWasMadeWithoutANameIsSeenToTheEnd) {
    std::filesystem::create_directories(folder);
    watchFolder();
    const int file = open(folder.c_str(), O_TMPFILE | O_RDWR, 0600);
    if (file < 0) GTEST_SKIP() << "this file system has no files without names";
    const std::string link = "/proc/self/fd/" + std::to_string(file);
    ASSERT_EQ(linkat(AT_FDCWD, link.c_str(), AT_FDCWD, (folder / "a.mp4").c_str(), AT_SYMLINK_FOLLOW), 0);
    ASSERT_TRUE(test::await([this] { return urls.contains(folder / "a.mp4"); }));
    forget();
    ASSERT_EQ(::write(file, "more", 4), 4);
    close(file);
    EXPECT_TRUE(test::await([this] { return everything || urls.contains(folder / "a.mp4"); }));
}

TEST_F(FolderWatchTests, FindsTheFolderWheneverItComesAndGoes) {
    watchFolder();
    std::filesystem::create_directories(folder);
    expectFound();
    std::filesystem::remove_all(home / "Videos");
    ASSERT_TRUE(test::await([this] { return everything; })) << "it is gone";
    forget();
    std::filesystem::create_directory(home / "Videos");
    std::filesystem::create_directory(home / "elsewhere");
    std::filesystem::rename(home / "elsewhere", folder);
    expectFound();
    // Moved away with the folder that it is in, and another one put there.
    std::filesystem::rename(home / "Videos", home / "Other");
    ASSERT_TRUE(test::await([this] { return everything; }));
    forget();
    std::ofstream(home / "Other/Lumicrate/not here.mp4") << "x";
    std::filesystem::create_directories(folder);
    expectFound();
    EXPECT_FALSE(urls.contains(folder / "not here.mp4"));
}

TEST_F(FolderWatchTests, ManyChangesAreToldAsOne) {
    std::filesystem::create_directories(folder);
    watchFolder();
    for (int i = 0; i < 2000; ++i)
        write(std::to_string(i) + ".mp4");
    ASSERT_TRUE(test::await([this] { return everything; }));
    EXPECT_LT(told, 100);
}

}  // namespace
}  // namespace lumicrate::desktop

int main(int argc, char** argv) {
    testing::InitGoogleMock(&argc, argv);
    const QCoreApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
