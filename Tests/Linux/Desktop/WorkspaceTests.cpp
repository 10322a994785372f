// Handing files to other programs, which stand here as scripts and as a service on a real session bus.
#include "Linux/Desktop/Workspace.h"
#include "Support/Error.h"
#include "Tests/Linux/Desktop/EventLoop.h"
#include "Tests/Linux/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <QDBusConnection>
#include <QObject>
#include <QStringList>
#include <fstream>
#include <iterator>

namespace lumicrate::desktop {

/// The desktop's side of org.freedesktop.FileManager1.
class FileViewer : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.FileManager1")

 public:
    QStringList shown;

 public Q_SLOTS:
    void ShowItems(const QStringList& addresses, const QString&) {
        shown = addresses;
        Q_EMIT changed();
    }

 Q_SIGNALS:
    void changed();
};

namespace {

using Path = std::filesystem::path;

class WorkspaceTests : public testing::Test {
 protected:
    WorkspaceTests() {
        qputenv("PATH", folder.path().c_str());
        qputenv("OPENED", (folder / "opened").c_str());
    }
    ~WorkspaceTests() override { qputenv("PATH", path); }

    void installOpener() const {
        const Path opener = folder / "xdg-open";
        std::ofstream(opener) << "#!/bin/sh\nprintf '%s' \"$1\" > \"$OPENED.new\"\n"
                              << "PATH=/usr/bin:/bin mv \"$OPENED.new\" \"$OPENED\"\n";
        std::filesystem::permissions(opener, std::filesystem::perms::owner_all);
    }
    /// What the opener was given.
    std::string opened() const {
        const Path file = folder / "opened";
        // Another process tells nobody when it has written.
        QTimer again;
        again.start(5);
        test::await([&] { return std::filesystem::exists(file); });
        std::ifstream stream(file);
        return {std::istreambuf_iterator<char>(stream), {}};
    }

    test::TemporaryFolder folder;
    QByteArray path = qgetenv("PATH");
    Workspace workspace;
};

TEST_F(WorkspaceTests, OpensWithTheDesktopsOpener) {
    installOpener();
    workspace.openURL("/videos/a b's \"movie\".mp4");
    EXPECT_EQ(opened(), "/videos/a b's \"movie\".mp4");
}

TEST_F(WorkspaceTests, AMissingOpenerIsOneSentence) {
    try {
        workspace.openURL("/videos/a.mp4");
        FAIL() << "there is none";
    } catch (const PlatformError& error) {
        EXPECT_STREQ(error.what(), "“a.mp4” couldn't be opened: the program “xdg-open” can't be started.");
    }
}

TEST_F(WorkspaceTests, ShowsFilesInTheFileViewer) {
    FileViewer viewer;
    auto desktop = QDBusConnection::connectToBus(QDBusConnection::SessionBus, "viewer");
    desktop.registerObject("/org/freedesktop/FileManager1", &viewer, QDBusConnection::ExportAllSlots);
    ASSERT_TRUE(desktop.registerService("org.freedesktop.FileManager1"));
    workspace.activateFileViewerSelecting({"/videos/ä b#.gif", "/videos/c.gif"});
    EXPECT_TRUE(test::await([&] { return !viewer.shown.isEmpty(); }));
    EXPECT_EQ(viewer.shown, QStringList({"file:///videos/%C3%A4%20b%23.gif", "file:///videos/c.gif"}));
    desktop.unregisterService("org.freedesktop.FileManager1");
    QDBusConnection::disconnectFromBus("viewer");
}

TEST_F(WorkspaceTests, OpensTheFolderWithoutAFileViewer) {
    installOpener();
    workspace.activateFileViewerSelecting({"/videos/a.gif"});
    EXPECT_EQ(opened(), "/videos");
}

}  // namespace
}  // namespace lumicrate::desktop

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    const QCoreApplication application(argc, argv);
    return RUN_ALL_TESTS();
}

#include "WorkspaceTests.moc"
