// SPDX-License-Identifier: GPL-3.0-or-later
// The command "diagnose": what this machine offers a recorder, as lines to paste into a bug report.
//
// The adapters log what they find while they are created and while the screen is captured for a moment;
// nothing is recorded. Added are facts that no adapter needs. Private data stays out: no window titles, no
// names of users, hosts or files, and the home folder as "~".
#include "App/CommandLine/CommandLine.h"
#include "App/CommandLine/Printing.h"
#include "App/RecorderInterface.h"
#include "App/RecorderServices.h"
#include "Linux/Desktop/SessionBus.h"
#include "Linux/Media/Encoding/H264Encoder.h"
#include "Linux/Media/Encoding/HevcEncoder.h"
#include "Linux/Media/Sound/AacEncoder.h"
#include "Linux/X11/Input/HotKeys.h"
#include "Lumicrate/Capture/StreamConfiguration.h"
#include "Lumicrate/Library/DerivedFiles.h"
#include "Lumicrate/Shell/AppInfo.h"
#include "Lumicrate/Shortcuts/RecorderShortcuts.h"
#include "Support/DispatchQueue.h"
#include "Support/Log.h"
#include "Support/Text.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <sys/vfs.h>
#include <unistd.h>

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QEventLoop>
#include <QStandardPaths>
#include <QSysInfo>
#include <QThread>
#include <array>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <system_error>

namespace lumicrate::app {

namespace {

using namespace std::chrono_literals;

/// The lines of the report: printed at once, or collected for JSON. Any thread.
struct Report {
    std::mutex mutex;
    bool isJson = false;
    nlohmann::ordered_json lines = nlohmann::ordered_json::array();
};

Report& report() {
    static Report one;
    return one;
}

std::filesystem::path homeFolder() {
    return QStandardPaths::writableLocation(QStandardPaths::HomeLocation).toStdString();
}

/// Some lines come from libraries, which may name files.
std::string withoutHome(std::string text) {
    const std::string home = homeFolder().string();
    if (home.size() < 2) return text;
    for (std::size_t at = 0; (at = text.find(home, at)) != std::string::npos; ++at)
        text.replace(at, home.size(), "~");
    return text;
}

/// Prints one line: "capture   extension MIT-SHM 1.2". Any thread.
void printLine(std::string_view topic, std::string_view text) {
    const std::string shown = withoutHome(std::string(text));
    const std::lock_guard lock(report().mutex);
    if (report().isJson) {
        report().lines.push_back({{"topic", topic}, {"text", shown}});
    } else if (topic.empty()) {
        fmt::print("{}\n", shown);
    } else {
        fmt::print("{:<9} {}\n", topic, shown);
    }
}

/// Runs a probe. What is missing is a line of the report and not an error.
void probe(std::string_view topic, const std::function<void()>& look) {
    try {
        look();
    } catch (const std::exception& error) {
        printLine(topic, error.what());
    }
}

std::string variable(const char* name) {
    const char* const value = std::getenv(name);
    return value == nullptr || *value == 0 ? "not set" : value;
}

void probeSystem() {
    printLine("", fmt::format("Lumicrate {}, {} build, compiler {}, Qt {} (built with {})", LUMICRATE_VERSION,
                              LUMICRATE_BUILD_TYPE, __VERSION__, qVersion(), QT_VERSION_STR));
    printLine("system",
              fmt::format("{}, {} {}, {}, {} processors", QSysInfo::prettyProductName().toStdString(),
                          QSysInfo::kernelType().toStdString(), QSysInfo::kernelVersion().toStdString(),
                          QSysInfo::currentCpuArchitecture().toStdString(), QThread::idealThreadCount()));
    printLine("system", fmt::format("XDG_CURRENT_DESKTOP {}, XDG_SESSION_TYPE {}, Wayland {}",
                                    variable("XDG_CURRENT_DESKTOP"), variable("XDG_SESSION_TYPE"),
                                    std::getenv("WAYLAND_DISPLAY") == nullptr ? "no" : "yes"));
    printLine("system", fmt::format("QT_SCALE_FACTOR {}, QT_QPA_PLATFORM {}", variable("QT_SCALE_FACTOR"),
                                    variable("QT_QPA_PLATFORM")));
}

/// Captures the main display until its first picture has come.
class FirstPicture final : public SCStreamOutput, public SCStreamDelegate {
 public:
    explicit FirstPicture(SystemServices& system) : system_(system) {}

    void await(const SCDisplay& display) {
        const auto start = std::chrono::steady_clock::now();
        SCStreamConfiguration configuration;
        configuration.width = static_cast<int>(std::lround(display.frame.width * display.pointPixelScale));
        configuration.height = static_cast<int>(std::lround(display.frame.height * display.pointPixelScale));
        const auto stream =
            system_.capture.makeStream(SCContentFilter::excludingWindows(display, {}), configuration, *this);
        stream->addStreamOutput(*this, SCStreamOutputType::screen, queue_);
        stream->startCapture([this](std::exception_ptr error) {
            if (error) finish(localizedDescription(error));
        });
        const auto timeout = system_.executor.after(3s, [this] { loop_.quit(); });
        loop_.exec();
        system_.executor.cancel(timeout);
        stream->stopCapture([this](std::exception_ptr) { system_.executor.post([this] { loop_.quit(); }); });
        loop_.exec();
        const std::chrono::duration<double, std::milli> passed = std::chrono::steady_clock::now() - start;
        printLine("capture", fmt::format("{} × {} pixels: {} after {:.0f} ms", configuration.width,
                                         configuration.height, result_, passed.count()));
    }

 private:
    void didOutputSampleBuffer(const CMSampleBuffer& sample, SCStreamOutputType) override {
        if (sample.imageBuffer) finish("first picture");
    }
    void didStopWithError(std::exception_ptr error) override { finish(localizedDescription(error)); }
    void didNotice(std::string sentence) override { printLine("capture", sentence); }
    void finish(const std::string& result) {
        system_.executor.post([this, result] {
            if (result_ == noPicture) result_ = result;
            loop_.quit();
        });
    }

    static constexpr const char* noPicture = "no picture";
    SystemServices& system_;
    SerialQueue queue_{"Lumicrate.diagnose"};
    QEventLoop loop_;
    std::string result_ = noPicture;
};

/// The adapters log server, extensions, compositing manager, scale and monitors.
void probeScreen(SystemServices& system) {
    const x11::Connection server;
    const std::string_view name = "XWAYLAND";
    const auto xwayland =
        server.await(xcb_query_extension_reply,
                     xcb_query_extension(server.get(), static_cast<std::uint16_t>(name.size()), name.data()));
    printLine("capture", fmt::format("depth {}, Xwayland: {}", server.screen().root_depth,
                                     xwayland->present != 0 ? "yes" : "no"));
    const std::uint32_t main = system.capture.CGMainDisplayID();
    for (const SCDisplay& display : system.capture.displays())
        if (display.displayID == main) FirstPicture(system).await(display);
}

void probeHotKeys(SystemServices& system) {
    if (const auto running = runningStatus())
        return printLine("input",
                         "the running application has the global shortcuts; it is " + running->state);
    x11::HotKeys keys(system.executor);
    HotKeyCenter center(keys);
    const RefusedShortcuts refused = bindShortcuts(center, system.defaults, [](ShortcutAction) {});
    printLine("input", refused.all.empty() ? "all global shortcuts are available"
                                           : fmt::format("global shortcuts that are not available: {}",
                                                         fmt::join(refused.all, ", ")));
    if (!refused.withoutKey.empty())
        printLine("input", fmt::format("of these, without a key on this keyboard: {}",
                                       fmt::join(refused.withoutKey, ", ")));
}

/// The encoders log their settings.
void probeEncoders(const NSUserDefaults& defaults) {
    const RecordingOptions options = RecordingOptions::current(defaults);
    media::VideoEncoder::Settings settings;
    settings.width = 1920;
    settings.height = 1080;
    settings.framesPerSecond = options.fps;
    settings.bitRate = static_cast<int>(bitRate(settings.width, settings.height, options));
    settings.keyFrameInterval = 2 * options.fps;
    probe("encoder", [&] { const media::H264Encoder encoder(settings); });
    probe("encoder", [&] { const media::HevcEncoder encoder(settings); });
    probe("encoder", [] { const media::AacEncoder encoder(48000, 2, 192'000); });
}

std::string fileSystemName(const std::filesystem::path& folder) {
    struct statfs facts {};
    if (statfs(folder.c_str(), &facts) != 0) return "unknown";
    const std::pair<unsigned long, const char*> names[] = {
        {0xEF53, "ext4"},      {0x9123683E, "btrfs"}, {0x58465342, "xfs"},     {0x01021994, "tmpfs"},
        {0x2FC12FC1, "zfs"},   {0xF2F52010, "f2fs"},  {0x794C7630, "overlay"}, {0x6969, "nfs"},
        {0xFF534D42, "cifs"},  {0xFE534D42, "smb2"},  {0x65735546, "fuse"},    {0x4D44, "fat"},
        {0x2011BAB0, "exfat"}, {0xF15F, "ecryptfs"},  {0x7366746E, "ntfs3"}};
    for (const auto& [magic, name] : names) {
        if (static_cast<unsigned long>(facts.f_type) == magic) return name;
    }
    return fmt::format("type {:#x}", static_cast<unsigned long>(facts.f_type));
}

std::string outcome(int result) {
    return result >= 0 ? "supported" : std::generic_category().message(errno);
}

/// Both calls that finished movies rely on, tried with an unnamed and an empty temporary file.
void probeFolder(SystemServices& system) {
    const std::filesystem::path folder =
        RecordingFolder(system.files, system.calendar, system.defaults).folder();
    std::filesystem::path existing = folder;
    std::error_code failure;
    while (!std::filesystem::exists(existing, failure) && existing.has_relative_path())
        existing = existing.parent_path();
    const std::string shown = displayPath(folder, homeFolder());
    printLine("library",
              fmt::format("recordings folder {} ({}), file system {}, {} free",
                          shown.starts_with('~') ? shown : "outside the home folder",
                          existing == folder ? "exists" : "does not exist yet", fileSystemName(existing),
                          formatByteCount(std::filesystem::space(existing, failure).available)));
    const int unnamed = open(existing.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
    printLine("library", "O_TMPFILE: " + outcome(unnamed));
    if (unnamed >= 0) close(unnamed);
    std::string from = (existing / ".lumicrate-diagnose-XXXXXX").string();
    const int file = mkstemp(from.data());
    if (file < 0) return printLine("library", "RENAME_NOREPLACE: " + outcome(file));
    const std::string to = from + "-renamed";
    printLine("library", "RENAME_NOREPLACE: " + outcome(renameat2(AT_FDCWD, from.c_str(), AT_FDCWD,
                                                                  to.c_str(), RENAME_NOREPLACE)));
    close(file);
    unlink(from.c_str());
    unlink(to.c_str());
}

void probeBus() {
    const QDBusConnection bus = QDBusConnection::sessionBus();
    if (!desktop::sessionBusExists() || !bus.isConnected())
        return printLine("desktop", "no session bus can be reached");
    const QStringList running = bus.interface()->registeredServiceNames();
    const QStringList startable = bus.interface()->activatableServiceNames();
    const std::pair<const char*, const char*> services[] = {
        {"org.kde.StatusNotifierWatcher", "tray icons"},
        {"org.freedesktop.ScreenSaver", "keeping the display awake"},
        {"org.freedesktop.portal.Desktop", "desktop portal"},
        {"org.freedesktop.FileManager1", "showing files in the file viewer"}};
    for (const auto& [name, purpose] : services) {
        const QString service = QString::fromLatin1(name);
        printLine("desktop", fmt::format("{} ({}): {}", name, purpose,
                                         running.contains(service)     ? "running"
                                         : startable.contains(service) ? "started on demand"
                                                                       : "missing"));
    }
}

int runDiagnose(const ParsedOptions& parsed) {
    refusePositional(parsed);
    report().isJson = parsed.has("json");
    const LogCapture lines(
        [](LogArea area, double, std::string_view text) { printLine(logAreaName(area), text); });
    probeSystem();
    if (!desktop::sessionBusExists()) qputenv("DBUS_SESSION_BUS_ADDRESS", "disabled:");
    SystemServices system;
    if (system.capture.CGPreflightScreenCaptureAccess()) {
        probe("capture", [&] { probeScreen(system); });
        probe("input", [&] { probeHotKeys(system); });
    } else {
        printLine("capture", "no display server can be reached");
    }
    system.devices.snapshot();  // logs the devices, or that there is no server
    probeEncoders(system.defaults);
    probe("library", [&] { probeFolder(system); });
    probe("desktop", probeBus);
    if (report().isJson) printJson(report().lines);
    return exitDone;
}

}  // namespace

constinit const Command diagnoseCommand{
    "diagnose",
    translatable("Print what this machine offers the recorder, for bug reports."),
    "[--json]",
    translatable(
        "Prints what the program finds on this machine, without recording anything. The report contains no\n"
        "window titles and no names of users or files."),
    jsonOption,
    runDiagnose};

}  // namespace lumicrate::app
