// SPDX-License-Identifier: GPL-3.0-or-later
// WebcamStudio: the camera of a webcam recording, and the window in which the user frames the picture.
#pragma once

#include "Lumicrate/Recording/RecordingOptions.h"
#include "Lumicrate/Shell/MenuItem.h"
#include "Platform/AVCaptureDevice.h"
#include "Platform/AVCaptureSession.h"
#include "Platform/NSUserDefaults.h"
#include "Platform/NSWindow.h"
#include "Support/Error.h"
#include "Support/Executor.h"
#include "Support/Published.h"
#include "Support/Task.h"

#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lumicrate {

class ScreenRecorder;

class WebcamStudioError final : public LocalizedError {
 public:
    enum Case {
        couldNotBeRecorded,  ///< the camera did not start, or was unplugged
        noCamera,            ///< none is connected
        accessDenied,        ///< this program may not use cameras
    };

    explicit WebcamStudioError(Case which) : LocalizedError(description(which)) {}

 private:
    static std::string description(Case which);
};

/// Call order: constructor, prepare, close. Between prepare and close the camera runs, so that it can be
/// recorded. The stored preferences follow what the user chooses in the window. Main thread only.
class WebcamStudio {
 public:
    using WindowFactory = std::function<std::unique_ptr<NSWindow>(WebcamStudio&)>;

    /// All but the factories must outlive the studio.
    struct Services {
        Executor& executor;
        NSUserDefaults& defaults;
        AVCaptureDevices& devices;
        AVCaptureSessionFactory makeSession;
        /// Without it, the camera is recorded without framing.
        WindowFactory makeWindow;
    };

    enum class Phase { framing, countingDown, recording };

    /// Everything that the window shows besides the picture; always changed as a whole.
    struct Content {
        Phase phase = Phase::framing;
        std::vector<CaptureDevice> cameras;
        std::string cameraID;  ///< of the camera in use; empty if none is
        std::vector<CaptureDevice> microphones;
        std::string microphoneID;  ///< of the chosen microphone; empty for the default one
        bool microphoneOn = false;
        bool canRecord = false;        ///< the camera runs, and recording has not begun
        std::optional<int> countdown;  ///< seconds
        std::string message;           ///< why there is no picture; empty otherwise
        bool operator==(const Content&) const = default;

        /// The names of the devices in use, for the buttons of their menus.
        std::string cameraName() const;
        std::string microphoneName() const;
    };

    WebcamStudio(ScreenRecorder& recorder, Services services);
    ~WebcamStudio();
    WebcamStudio(const WebcamStudio&) = delete;
    WebcamStudio& operator=(const WebcamStudio&) = delete;

    Published<Content> content;

    /// Starts the camera, shows the window, and waits. True when the user wants to record, false when the
    /// window was dismissed. Throws WebcamStudioError if there is no camera or no access to it; without a
    /// window, also if the camera does not start. Once.
    Task<bool> prepare(RecordingOptions options);
    /// Ends prepare() with true. No effect before the camera runs, or if prepare() has already ended.
    void confirm();
    /// Ends prepare() with false, if it is still waiting, and closes the studio.
    void cancel();
    /// Releases the camera and removes the window.
    void close();

    /// These three have an effect only during framing. An unknown or empty id chooses the default device.
    void switchCamera(const std::string& id);
    void addMicrophone(const std::string& id);
    void setMicrophone(bool on, const std::string& id);

    std::vector<MenuItem> cameraMenu();
    std::vector<MenuItem> microphoneMenu();

    /// Called when the camera is lost after framing.
    std::function<void(const std::exception_ptr&)> onUnexpectedStop;

    /// Whether picture and movie are flipped horizontally.
    bool mirrored() const { return options_.webcamMirror; }
    /// Those given to prepare(), with what the user has chosen since; only what applies to a camera is on.
    const RecordingOptions& options() const { return options_; }
    /// Exists from prepare() on.
    AVCaptureSession& session() const { return *session_; }

 private:
    struct Answer {
        bool records = false;
        std::exception_ptr error;
    };

    void begin(bool mayUseCameras);
    void fail(WebcamStudioError::Case reason);
    void startCamera();
    void started(AVCaptureSession::Outcome outcome);
    void connectionChanged(bool isConnected);
    void openWindow();
    void follow();
    void rebuild();
    void store(std::string_view key, const DefaultsValue& value);
    bool isFraming() const { return content->phase == Phase::framing; }

    ScreenRecorder& recorder_;
    Services services_;
    RecordingOptions options_;
    Content next_;  ///< what content becomes; observers of other values are notified before these change
    bool running_ = false;
    std::string message_;
    std::optional<Completion<Answer>> ready_;  ///< while prepare() waits
    std::shared_ptr<WebcamStudio*> self_;      ///< posted work holds it weakly
    std::unique_ptr<AVCaptureSession> session_;
    std::vector<Subscription> subscriptions_;
    // Destroyed first: it shows all of the above.
    std::unique_ptr<NSWindow> window_;
};

}  // namespace lumicrate
