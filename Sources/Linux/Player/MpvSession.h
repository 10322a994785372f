// SPDX-License-Identifier: GPL-3.0-or-later
// MpvSession: one instance of libmpv that plays a file, with the thread that renders its pictures.
#pragma once

#include "Linux/Player/MpvLibrary.h"
#include "Platform/AVPlayer.h"
#include "Support/RecycledMemory.h"

#include <condition_variable>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

namespace lumicrate::player {

/// The session's own thread renders pictures (libmpv makes it wait there until each is due) and reads
/// events. Commands are asynchronous. All operations: one thread, which is not the session's.
class MpvSession {
 public:
    /// What has happened since the last report.
    struct Report {
        bool isLoaded = false;           ///< the file has been opened
        bool reachedSeek = false;        ///< a seek has shown its picture, or has failed
        bool hasPicture = false;         ///< picture() has changed
        std::optional<double> time;      ///< seconds
        std::optional<double> duration;  ///< seconds
        std::optional<bool> isAtEnd;
        std::string error;  ///< why the file cannot be played; playing has ended
    };

    /// Opens the file, paused. `reported` is called on the session's thread when there is something to take.
    /// Throws PlatformError.
    MpvSession(const std::filesystem::path& url, std::function<void()> reported);
    /// libmpv closes the file and the sound device later, in the background, because that takes up to 0.3 s.
    ~MpvSession();
    MpvSession(const MpvSession&) = delete;
    MpvSession& operator=(const MpvSession&) = delete;

    Report takeReport();
    RenderedPicture picture() const;

    void setPaused(bool paused);
    void setNumber(const char* property, double value);
    void setText(const char* property, const char* value);
    /// Replaces the video filter. A filter that turns the pictures upright comes before it.
    void setVideoFilter(const std::string& filter);
    void seek(double seconds, AVPlayer::Seek how);
    void setPictureSize(int width, int height);

 private:
    void command(std::uint64_t id, std::initializer_list<const char*> words);
    void signal(bool& flag);
    void run();
    void readEvents();
    void handle(const mpv_event& event);
    void takeProperty(const mpv_event_property& property);
    void sendFilters();
    void render(int width, int height);
    void report(const std::function<void(Report&)>& change);

    /// libmpv also seeks by itself, when a filter or a size changes; the end of such a seek is not that of
    /// ours.
    enum class SeekStage { none, accepted, begun };

    const MpvLibrary& mpv_;
    std::function<void()> reported_;
    mpv_handle* handle_ = nullptr;
    mpv_render_context* renderer_ = nullptr;
    SeekStage seekStage_ = SeekStage::begun;  ///< opening counts as a seek; the session's thread only
    RecycledMemory memory_;

    std::mutex filterMutex_;  ///< guards the filters
    std::string filter_;
    std::string turningFilter_;
    /// Guards the rest. Must not be held during a command: libmpv calls signal() while it holds its own lock,
    /// which a command waits for.
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    bool hasEvents_ = false;
    bool hasFrame_ = false;
    bool isResized_ = false;
    bool isStopping_ = false;
    int width_ = 0;
    int height_ = 0;
    RenderedPicture picture_;
    Report report_;
    bool isReportPending_ = false;

    std::thread thread_;
};

}  // namespace lumicrate::player
