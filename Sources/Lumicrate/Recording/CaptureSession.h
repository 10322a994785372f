// CaptureSession: the capture stream and the movie writer of one recording.
#pragma once

#include "Lumicrate/Movie/MovieWriter.h"
#include "Platform/ScreenCaptureKit.h"
#include "Support/Executor.h"
#include "Support/Task.h"

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <string>

namespace lumicrate {

/// Made, started, stopped and finished once, in this order. Destroying it ends capture at any point; nothing
/// that arrives later reaches anybody. Main thread only.
class CaptureSession final : private SCStreamDelegate {
 public:
    /// All are called on the main thread and only while the session lives.
    struct Handlers {
        /// The stream ended by itself.
        std::function<void(const std::exception_ptr& error)> onStopped;
        /// Capture goes on, but the user is to be told something at the end.
        std::function<void(const std::string& sentence)> onNotice;
        /// The movie cannot go on; it is to be finished.
        std::function<void(const std::exception_ptr& reason)> onInterruption;
        /// 0 … 1; empty when nobody wants to know.
        std::function<void(float level)> onMicrophoneLevel;
    };

    /// Opens the movie's file. Throws what MovieWriter throws. All references must outlive the session.
    CaptureSession(const MovieWriter::Settings& settings, const SCContentFilter& filter,
                   const SCStreamConfiguration& configuration, const MovieWriter::Services& services,
                   ScreenCaptureKit& capture, Executor& executor, Handlers handlers);
    ~CaptureSession() override;
    CaptureSession(const CaptureSession&) = delete;
    CaptureSession& operator=(const CaptureSession&) = delete;

    /// Throws the platform's error.
    Task<void> start();
    /// Shows another part of the content, points, in pictures of the same size. What the stream has against
    /// it changes nothing.
    Task<void> setSourceRect(Rect sourceRect);
    /// Capture has ended afterwards, also when the stream says that it could not be stopped.
    Task<void> stop();
    /// Completes the movie. Throws the error that spoilt it.
    Task<void> finish();

    void pause() { writer_.pause(); }
    void resume() { writer_.resume(); }
    /// The movie lasts until now at least, also when nothing moves.
    void keepUp() { writer_.keepUp(); }
    void setMicrophoneMuted(bool muted) { writer_.setMicrophoneMuted(muted); }
    /// Pictures that came while the encoder was busy and are missing from the movie.
    std::uint64_t refusedFrames() const { return writer_.refusedFrames(); }

 private:
    void didStopWithError(std::exception_ptr error) override;
    void didNotice(std::string sentence) override;
    using Report = std::function<void(const Handlers& handlers)>;
    std::function<void(Report)> reporter() const;

    SCStreamConfiguration configuration_;
    Executor& executor_;
    Handlers handlers_;
    // What other threads post finds the session through this, or finds it gone.
    std::shared_ptr<CaptureSession*> self_;
    MovieWriter writer_;
    // After the writer, to which it delivers.
    std::unique_ptr<SCStream> stream_;
};

}  // namespace lumicrate
