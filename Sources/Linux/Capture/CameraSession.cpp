// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Capture/CameraSession.h"

#include "Linux/Capture/CameraWorker.h"
#include "Linux/PipeWire/CameraSource.h"
#include "Support/MediaTime.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <utility>

namespace lumicrate::capture {

/// The newest preview, so that a busy main thread skips pictures.
struct CameraSession::Latest {
    std::mutex mutex;
    RenderedPicture picture;
    bool isPosted = false;
};

/// The camera between startRunning() and stopRunning().
class CameraSession::Run {
 public:
    using Request = pipewire::CameraSource::Request;

    /// Callbacks on the main thread reach the session while its token exists.
    Run(CameraSession& session, const Request& request)
        : session_(session),
          token_(session.token_),
          executor_(session.executor_),
          source_(request, session.choose_, sourceHandlers()),
          worker_({[this](const RenderedPicture& picture) { showPicture(picture); },
                   [this](std::chrono::nanoseconds time, PixelSize size) { notePicture(time, size); }}) {}
    /// May take some seconds when the server does not answer.
    ~Run() { source_.stop(); }
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;

    void start() { source_.start(); }
    CameraWorker& worker() { return worker_; }

 private:
    pipewire::CameraSource::Handlers sourceHandlers() {
        pipewire::CameraSource::Handlers handlers;
        handlers.onFrame = [this](CameraFrame& frame) { worker_.put(frame); };
        handlers.onOpen = [this](std::string id) {
            post([id = std::move(id)](CameraSession& session) { session.deviceID_ = id; });
        };
        handlers.onNoCamera = [this] {
            post([](CameraSession& session) { session.fail(Outcome::noCamera); });
        };
        handlers.onNoPicture = [this] {
            post([](CameraSession& session) { session.fail(Outcome::couldNotBeStarted); });
        };
        handlers.onUnplugged = [this] {
            missingSince_ = HostClock::now().count();
            post([](CameraSession& session) { session.unplugged(); });
        };
        return handlers;
    }

    /// On the worker's thread.
    void showPicture(const RenderedPicture& picture) {
        {
            const std::lock_guard lock(latest_->mutex);
            latest_->picture = picture;
            if (std::exchange(latest_->isPosted, true)) return;
        }
        post([latest = latest_](CameraSession& session) { session.updatePreview(*latest); });
    }

    /// On the worker's thread.
    void notePicture(std::chrono::nanoseconds time, PixelSize size) {
        source_.notePicture();
        // A frame from before the camera was unplugged does not mean that it is back.
        std::int64_t since = missingSince_;
        const bool isBack =
            since != 0 && time.count() > since && missingSince_.compare_exchange_strong(since, 0);
        if (!isBack && size == size_) return;
        size_ = size;
        post([size, isBack](CameraSession& session) {
            session.pictureSize_ = size;
            if (isBack) session.pictureArrived();
        });
    }

    template <class Work>
    void post(Work work) {
        executor_.post([session = &session_, token = token_, work = std::move(work)] {
            if (!token.expired()) work(*session);
        });
    }

    CameraSession& session_;
    const std::weak_ptr<const bool> token_;
    Executor& executor_;
    const std::shared_ptr<Latest> latest_ = std::make_shared<Latest>();
    /// Host time since which there are no pictures; 0 when there are. 1: there were none yet.
    std::atomic<std::int64_t> missingSince_ = 1;
    PixelSize size_;  ///< the worker's thread's
    /// Outlives the worker, which reports pictures to it; stopped before, because it gives frames to the
    /// worker.
    pipewire::CameraSource source_;
    CameraWorker worker_;
};

CameraSession::CameraSession(Executor& executor, CameraFormatChooser choose,
                             std::shared_ptr<DispatchQueue> queue, pipewire::Remote remote)
    : executor_(executor), choose_(std::move(choose)), remote_(std::move(remote)), queue_(std::move(queue)) {}

CameraSession::~CameraSession() {
    stopRunning();
}

void CameraSession::startRunning(const Settings& settings, std::function<void(Outcome)> completion) {
    stopRunning();
    token_ = std::make_shared<const bool>(true);
    completion_ = std::move(completion);
    run_ = std::make_shared<Run>(
        *this, Run::Request{settings.deviceID, settings.wantedSize, settings.wantedRate, remote_});
    run_->worker().setPreviewSize(previewSize_);
    run_->worker().setSink(sink_, isMirrored_);
    queue_->async([run = run_] { run->start(); });
}

void CameraSession::stopRunning() {
    if (!run_) return;
    token_.reset();
    completion_ = nullptr;
    isConnected_ = false;
    deviceID_.clear();
    pictureSize_ = {};
    preview_ = {};
    run_->worker().setPreviewSize({});
    run_->worker().setSink({}, false);
    queue_->async([run = std::move(run_)]() mutable { run.reset(); });
    run_.reset();
}

void CameraSession::setPreviewSize(PixelSize size) {
    previewSize_ = size;
    if (run_) run_->worker().setPreviewSize(size);
}

void CameraSession::setOnFrame(std::function<void(const CMSampleBuffer&)> sink, bool mirrored) {
    sink_ = std::move(sink);
    isMirrored_ = mirrored;
    if (run_) run_->worker().setSink(sink_, isMirrored_);
}

void CameraSession::updatePreview(Latest& latest) {
    {
        const std::lock_guard lock(latest.mutex);
        latest.isPosted = false;
        preview_ = std::move(latest.picture);
    }
    // Copied: it may be replaced while it runs.
    if (const auto changed = previewChanged_) changed();
}

void CameraSession::pictureArrived() {
    const bool wasConnected = std::exchange(isConnected_, true);
    if (completion_) {
        std::exchange(completion_, nullptr)(Outcome::running);
    } else if (const auto changed = connectionChanged_; changed && !wasConnected) {
        changed(true);
    }
}

void CameraSession::unplugged() {
    isConnected_ = false;
    if (const auto changed = connectionChanged_) changed(false);
}

void CameraSession::fail(Outcome outcome) {
    const auto completion = std::move(completion_);
    stopRunning();
    if (completion) completion(outcome);
}

AVCaptureSessionFactory makeCameraSessionFactory(Executor& executor, CameraFormatChooser choose,
                                                 pipewire::Remote remote) {
    // The queue is made with the first session, because most runs of the program need no camera.
    // Shared by the factory's copies.
    const auto queue = std::make_shared<std::shared_ptr<SerialQueue>>();
    return [&executor, choose = std::move(choose), remote = std::move(remote), queue] {
        if (!*queue) *queue = std::make_shared<SerialQueue>("Lumicrate.cameras");
        return std::make_unique<CameraSession>(executor, choose, *queue, remote);
    };
}

}  // namespace lumicrate::capture
