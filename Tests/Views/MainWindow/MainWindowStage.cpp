#include "Tests/Views/MainWindow/MainWindowStage.h"

#include "Tests/Stage/ChildProcess.h"
#include "Views/Widgets/QtText.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>
#include <stdexcept>
#include <utility>

namespace lumicrate::test {

namespace {

/// Runs its work on the loop, so that all of the script stays on one thread.
class LoopQueue final : public DispatchQueue {
 public:
    explicit LoopQueue(Executor& executor) : executor_(executor) {}
    void async(Work work) override { executor_.post(std::move(work)); }

 private:
    Executor& executor_;
};

void mustReach(const std::function<bool()>& reached) {
    if (!awaitOnLoop(reached)) throw std::runtime_error("the stage waited in vain");
}

}  // namespace

bool awaitOnLoop(const std::function<bool()>& reached) {
    QTimer patience;
    patience.setSingleShot(true);
    patience.start(60'000);
    while (!reached() && patience.isActive()) {
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    return reached();
}

std::optional<CGImage> StageScreenshots::captureImage(std::uint32_t windowID, Size maximumSize) {
    ++taken;
    CGImage image;
    image.width = static_cast<int>(maximumSize.width);
    image.height = static_cast<int>(maximumSize.height);
    const auto shade = static_cast<std::uint8_t>(60 + windowID * 41 % 160);
    for (int i = 0; i < image.width * image.height; ++i)
        image.pixels.insert(image.pixels.end(), {shade, 120, static_cast<std::uint8_t>(255 - shade)});
    return image;
}

MainWindowStage::MainWindowStage() {
    RecordingOptions::registerDefaults(defaults);
    defaults.stored["countdown"] = false;
    devices.heard = {{"usb", "USB Microphone"}, {"built-in", "Built-in Audio"}};
    files.createDirectory(folder.folder());
    const MovieWriter::Services writing{
        [this](const std::filesystem::path& url, AVFileType fileType) {
            FakeMovie& next = movies.emplace_back();
            next.url = url;
            next.fileType = fileType;
            return std::make_unique<FakeAssetWriter>(next);
        },
        clock, [this](const std::string&) { return std::make_unique<LoopQueue>(executor); }, files};
    recorder.emplace(ScreenRecorder::Services{executor,
                                              defaults,
                                              process,
                                              screens,
                                              notifications,
                                              capture,
                                              devices,
                                              hotKeys,
                                              folder,
                                              writing,
                                              nullptr,
                                              {}});
    recorder->followSources();
    recorder->followDevices();
    setDisplays(1);
    setWindows({"notes", "Inbox (3)", "main.cpp"});
    library.emplace(RecordingLibrary::Services{
        executor, files, notifications, folder, workspace, app::lengthReaders(), nullptr,
        [this](const std::filesystem::path& url) { previewed.push_back(url.filename()); },
        [this] { commands.emplace_back("beep"); }});
    const auto note = [this](std::string name) { return [this, name] { commands.push_back(name); }; };
    MainWindowModel::Commands given{note("settings"), note("folder"), note("about"), note("quit"), [] {
                                        return std::vector{MenuItem::command("Check for Updates…", [] {})};
                                    }};
    content.emplace(MainWindowModel::Services{executor, defaults, *recorder, *library,
                                              RecordingFiles(files, notifications), workspace, images,
                                              std::make_unique<SerialQueue>("thumbnails"), &screenshots,
                                              &mixing, views::formatDate, std::move(given)});
    window = std::make_unique<views::MainWindow>(*content);
}

MainWindowStage::~MainWindowStage() {
    window.reset();
    std::error_code ignored;
    std::filesystem::remove_all(folder.folder(), ignored);
}

std::filesystem::path MainWindowStage::addMovie(const std::string& name) {
    const std::filesystem::path url = folder.folder() / name;
    std::vector<std::string> command = {"ffmpeg", "-nostdin", "-loglevel", "error", "-f", "lavfi", "-i"};
    if (url.extension() == ".m4a") {
        command.insert(command.end(), {"sine=duration=2", "-c:a", "aac"});
    } else {
        command.insert(command.end(), {"testsrc2=size=640x360:rate=5:duration=3", "-pix_fmt", "yuv420p"});
    }
    command.push_back(url.string());
    stage::ChildProcess ffmpeg(std::move(command));
    if (ffmpeg.mustEnd(60).exitStatus != 0) throw std::runtime_error("no movie");
    return url;
}

void MainWindowStage::addCopies(const std::filesystem::path& original, int count) {
    for (int i = 0; i < count; ++i) {
        const std::string name = "Recording-Screen_copy_" + std::to_string(i) + ".mp4";
        std::filesystem::create_hard_link(original, folder.folder() / name);
    }
}

void MainWindowStage::setWindows(const std::vector<std::string>& titles) {
    capture.content.windows.clear();
    for (const std::string& title : titles) {
        SCWindow next;
        next.windowID = static_cast<std::uint32_t>(capture.content.windows.size()) + 7;
        next.frame = {40, 40, 640, 480};
        next.title = title;
        next.owningApplication = SCRunningApplication{9, "Editor " + std::to_string(next.windowID)};
        capture.content.windows.push_back(next);
    }
    if (capture.contentChanged) capture.contentChanged();
    mustReach([this, &titles] { return recorder->windows->size() == titles.size(); });
}

void MainWindowStage::setDisplays(int count) {
    capture.content.displays = {{1, {0, 0, 1920, 1080}, 1, "DP-1"}};
    if (count > 1) capture.content.displays.push_back({2, {1920, 0, 1280, 720}, 2, "HDMI-1"});
    screens.all.clear();
    for (const SCDisplay& each : capture.content.displays)
        screens.all.push_back(
            {each.displayID, each.frame, each.frame, each.pointPixelScale, each.localizedName});
    if (capture.contentChanged) capture.contentChanged();
    mustReach([this] { return *recorder->displays == capture.content.displays; });
}

void MainWindowStage::record() {
    recorder->setSource(CaptureSource::display(1));
    recorder->start(false);
    mustReach([this] { return *recorder->state == ScreenRecorder::State::recording; });
    deliverFrame();
}

void MainWindowStage::deliverFrame() {
    CMSampleBuffer frame;
    frame.timing.presentationTimeStamp = clock.time();
    frame.imageBuffer = std::make_shared<CVPixelBuffer>();
    frame.frameInfo.emplace();
    capture.stream->deliver(frame, SCStreamOutputType::screen);
}

void MainWindowStage::completeMovie() {
    mustReach([this] { return static_cast<bool>(movies.back().completion); });
    movies.back().complete(AVAssetWriterStatus::completed);
    mustReach([this] { return *recorder->state == ScreenRecorder::State::idle; });
}

}  // namespace lumicrate::test
