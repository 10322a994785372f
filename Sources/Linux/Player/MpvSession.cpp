// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Player/MpvSession.h"

#include "Support/DispatchQueue.h"
#include "Support/Error.h"
#include "Support/Log.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace lumicrate::player {

namespace {

constexpr std::uint64_t seekId = 1;

/// Above this height in pixels, pictures are scaled less exactly, but in time.
constexpr double maxExactHeight = 1440;

/// The last of all filters: says that no picture has to be turned any more. The software renderer would abort
/// the process on one that has to be turned by 90 degrees.
constexpr const char* upright = "format=rotate=0";

struct Option {
    const char* name;
    const char* value;
};

constexpr Option options[] = {
    // From 0.38 on the library would otherwise open a window of its own.
    {"vo", "libmpv"},
    {"config", "no"},
    {"load-scripts", "no"},
    {"ytdl", "no"},
    {"input-default-bindings", "no"},
    {"osd-level", "0"},
    {"hwdec", "no"},
    {"pause", "yes"},
    {"hr-seek", "yes"},
    // Otherwise the end closes the file, and seeking back from there fails.
    {"keep-open", "yes"},
    // Hides the lead-in that a fast cut keeps before its first picture.
    {"demuxer-lavf-o", "advanced_editlist=1"},
    {"audio-display", "no"},
    {"vf", upright},
    // A file that only lists others, or addresses in the network, is no recording.
    {"access-references", "no"},
    // Not ALSA, which writes to standard error where there is no device.
    {"ao", "pipewire,pulse,null"},
    {"audio-client-name", "Lumicrate"},
};

constexpr std::array observed = {
    std::pair{"time-pos", MPV_FORMAT_DOUBLE}, std::pair{"duration", MPV_FORMAT_DOUBLE},
    std::pair{"height", MPV_FORMAT_DOUBLE}, std::pair{"eof-reached", MPV_FORMAT_FLAG},
    std::pair{"video-params/rotate", MPV_FORMAT_DOUBLE}};

/// Turns pictures by the angle, clockwise, that the file asks for; only quarter turns.
std::string turningFilter(int degrees) {
    switch (degrees) {
        case 90:
            return "lavfi=[transpose=clock],";
        case 180:
            return "lavfi=[hflip,vflip],";
        case 270:
            return "lavfi=[transpose=cclock],";
        default:
            return "";
    }
}

std::string reasonFor(int error) {
    switch (error) {
        case MPV_ERROR_LOADING_FAILED:
            return localized("the file can't be opened.");
        case MPV_ERROR_UNKNOWN_FORMAT:
            return localized("it isn't a movie.");
        case MPV_ERROR_NOTHING_TO_PLAY:
            return localized("it has no picture or sound that can be decoded.");
        default:
            return localized("it may be damaged.");
    }
}

/// Its destructor, when the program ends, waits for the sessions that are being ended.
DispatchQueue& endingQueue() {
    static SerialQueue queue("Lumicrate.player.ending");
    return queue;
}

}  // namespace

MpvSession::MpvSession(const std::filesystem::path& url, std::function<void()> reported)
    : mpv_(MpvLibrary::shared()), reported_(std::move(reported)), handle_(mpv_.create()) {
    if (!handle_) throw PlatformError(localized("The player couldn't be started."));
    for (const Option& each : options) {
        if (mpv_.setOptionString(handle_, each.name, each.value) < 0)
            log(LogArea::movie, "player: no option ", each.name);
    }
    const auto failed = [this](int status) {
        if (status >= 0) return;
        const std::string why = mpv_.errorString(status);
        mpv_.terminateDestroy(handle_);
        throw PlatformError(localized("The player couldn't be started: {}.", {why}));
    };
    failed(mpv_.initialize(handle_));
    for (const auto& [name, format] : observed)
        mpv_.observeProperty(handle_, 0, name, format);
    char software[] = MPV_RENDER_API_TYPE_SW;
    mpv_render_param parameters[] = {{MPV_RENDER_PARAM_API_TYPE, software}, {}};
    // Before the file is loaded, which would otherwise play without pictures.
    failed(mpv_.renderContextCreate(&renderer_, handle_, parameters));
    mpv_.setWakeupCallback(
        handle_,
        [](void* self) {
            auto* session = static_cast<MpvSession*>(self);
            session->signal(session->hasEvents_);
        },
        this);
    mpv_.renderContextSetUpdateCallback(
        renderer_,
        [](void* self) {
            auto* session = static_cast<MpvSession*>(self);
            session->signal(session->hasFrame_);
        },
        this);
    thread_ = std::thread([this] { run(); });
    command(0, {"loadfile", url.c_str()});
}

MpvSession::~MpvSession() {
    signal(isStopping_);
    thread_.join();
    mpv_.setWakeupCallback(handle_, nullptr, nullptr);
    mpv_.renderContextSetUpdateCallback(renderer_, nullptr, nullptr);
    endingQueue().async([&mpv = mpv_, renderer = renderer_, handle = handle_] {
        // In this order: the renderer belongs to the handle.
        mpv.renderContextFree(renderer);
        mpv.terminateDestroy(handle);
    });
}

MpvSession::Report MpvSession::takeReport() {
    const std::lock_guard lock(mutex_);
    isReportPending_ = false;
    return std::exchange(report_, {});
}

RenderedPicture MpvSession::picture() const {
    const std::lock_guard lock(mutex_);
    return picture_;
}

void MpvSession::command(std::uint64_t id, std::initializer_list<const char*> words) {
    std::vector<const char*> terminated(words);
    terminated.push_back(nullptr);
    mpv_.commandAsync(handle_, id, terminated.data());
}

void MpvSession::setPaused(bool paused) {
    int flag = paused ? 1 : 0;
    mpv_.setPropertyAsync(handle_, 0, "pause", MPV_FORMAT_FLAG, &flag);
}

void MpvSession::setNumber(const char* property, double value) {
    mpv_.setPropertyAsync(handle_, 0, property, MPV_FORMAT_DOUBLE, &value);
}

void MpvSession::setText(const char* property, const char* value) {
    mpv_.setPropertyAsync(handle_, 0, property, MPV_FORMAT_STRING, &value);
}

void MpvSession::setVideoFilter(const std::string& filter) {
    const std::lock_guard lock(filterMutex_);
    filter_ = filter;
    sendFilters();
}

/// filterMutex_ held, so that the latest filters are sent last.
void MpvSession::sendFilters() {
    const std::string separator = filter_.empty() ? "" : ",";
    command(0, {"vf", "set", (turningFilter_ + filter_ + separator + upright).c_str()});
}

void MpvSession::seek(double seconds, AVPlayer::Seek how) {
    const std::string time = fmt::format("{:.6f}", seconds);
    command(seekId,
            {"seek", time.c_str(), how == AVPlayer::Seek::exact ? "absolute+exact" : "absolute+keyframes"});
}

void MpvSession::setPictureSize(int width, int height) {
    {
        const std::lock_guard lock(mutex_);
        width_ = width;
        height_ = height;
    }
    signal(isResized_);
}

void MpvSession::signal(bool& flag) {
    const std::lock_guard lock(mutex_);
    flag = true;
    changed_.notify_one();
}

void MpvSession::run() {
    std::unique_lock lock(mutex_);
    for (;;) {
        changed_.wait(lock, [this] { return hasEvents_ || hasFrame_ || isResized_ || isStopping_; });
        if (isStopping_) return;
        const bool events = std::exchange(hasEvents_, false);
        const bool frame = std::exchange(hasFrame_, false);
        const bool resized = std::exchange(isResized_, false);
        const int width = width_;
        const int height = height_;
        lock.unlock();
        if (events) readEvents();
        const bool isNew = frame && (mpv_.renderContextUpdate(renderer_) & MPV_RENDER_UPDATE_FRAME) != 0;
        if (isNew || resized) render(width, height);
        lock.lock();
    }
}

void MpvSession::readEvents() {
    for (;;) {
        const mpv_event* event = mpv_.waitEvent(handle_, 0);
        if (event->event_id == MPV_EVENT_NONE) return;
        handle(*event);
    }
}

void MpvSession::handle(const mpv_event& event) {
    switch (event.event_id) {
        case MPV_EVENT_FILE_LOADED:
            report([](Report& report) { report.isLoaded = true; });
            break;
        case MPV_EVENT_COMMAND_REPLY:
            if (event.reply_userdata != seekId) break;
            seekStage_ = event.error < 0 ? SeekStage::none : SeekStage::accepted;
            if (event.error < 0) report([](Report& report) { report.reachedSeek = true; });
            break;
        case MPV_EVENT_SEEK:
            if (seekStage_ == SeekStage::accepted) seekStage_ = SeekStage::begun;
            break;
        case MPV_EVENT_PLAYBACK_RESTART:
            if (seekStage_ != SeekStage::begun) break;
            seekStage_ = SeekStage::none;
            report([](Report& report) { report.reachedSeek = true; });
            break;
        case MPV_EVENT_END_FILE: {
            const auto& end = *static_cast<const mpv_event_end_file*>(event.data);
            if (end.reason != MPV_END_FILE_REASON_ERROR) break;
            log(LogArea::movie, "player: ", mpv_.errorString(end.error));
            const std::string sentence =
                localized("The recording can't be played: {}", {reasonFor(end.error)});
            report([&sentence](Report& report) { report.error = sentence; });
            break;
        }
        case MPV_EVENT_PROPERTY_CHANGE:
            takeProperty(*static_cast<const mpv_event_property*>(event.data));
            break;
        default:
            break;
    }
}

void MpvSession::takeProperty(const mpv_event_property& property) {
    const std::string_view name = property.name;
    if (property.format == MPV_FORMAT_FLAG) {
        const bool isAtEnd = *static_cast<const int*>(property.data) != 0;
        report([isAtEnd](Report& report) { report.isAtEnd = isAtEnd; });
    }
    if (property.format != MPV_FORMAT_DOUBLE) return;
    const double value = *static_cast<const double*>(property.data);
    if (name == "height") {
        if (value > maxExactHeight) command(0, {"apply-profile", "sw-fast"});
        return;
    }
    if (name == "video-params/rotate") {
        const std::lock_guard lock(filterMutex_);
        const std::string turning = turningFilter(static_cast<int>(value));
        if (std::exchange(turningFilter_, turning) != turning) sendFilters();
        return;
    }
    report([&](Report& report) { (name == "duration" ? report.duration : report.time) = value; });
}

/// Blocks until the picture is due. A hidden view has no size: then the picture is only taken, because a
/// picture that nobody takes would stop the player.
void MpvSession::render(int width, int height) {
    int skip = width <= 0 || height <= 0 ? 1 : 0;
    if (skip) {
        mpv_render_param parameters[] = {{MPV_RENDER_PARAM_SKIP_RENDERING, &skip}, {}};
        mpv_.renderContextRender(renderer_, parameters);
        return;
    }
    std::array size{width, height};
    constexpr auto alignment = static_cast<std::size_t>(RecycledMemory::alignment);
    std::size_t bytesPerRow = (static_cast<std::size_t>(width) * 4 + alignment - 1) / alignment * alignment;
    const auto pixels = memory_.take(bytesPerRow * static_cast<std::size_t>(height));
    char format[] = "bgr0";
    mpv_render_param parameters[] = {{MPV_RENDER_PARAM_SW_SIZE, size.data()},
                                     {MPV_RENDER_PARAM_SW_FORMAT, format},
                                     {MPV_RENDER_PARAM_SW_STRIDE, &bytesPerRow},
                                     {MPV_RENDER_PARAM_SW_POINTER, pixels.get()},
                                     {}};
    if (mpv_.renderContextRender(renderer_, parameters) < 0) return;
    {
        const std::lock_guard lock(mutex_);
        picture_ = {width, height, bytesPerRow, pixels};
    }
    report([](Report& report) { report.hasPicture = true; });
}

void MpvSession::report(const std::function<void(Report&)>& change) {
    {
        const std::lock_guard lock(mutex_);
        change(report_);
        if (std::exchange(isReportPending_, true)) return;
    }
    reported_();
}

}  // namespace lumicrate::player
