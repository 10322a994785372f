// RecordOptionsBar: the choices for the next recording that a selection's toolbar offers.
#pragma once

#include "Lumicrate/Recording/RecordingOptions.h"
#include "Lumicrate/Shell/MenuItem.h"
#include "Platform/AVCaptureDevice.h"
#include "Platform/NSUserDefaults.h"
#include "Support/Published.h"

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace lumicrate {

/// Reads the preferences, also when they are changed elsewhere, and stores what is chosen at once. Main
/// thread.
class RecordOptionsBar {
 public:
    /// A preference that is on or off, as it is now.
    struct Toggle {
        std::string_view key;
        std::string_view symbol;
        std::string name;
        std::string help;  ///< says whether it is on
        bool isOn = false;
        bool operator==(const Toggle&) const = default;
    };
    struct Content {
        std::string summary;  ///< of resolution and frame rate: "1080p · 30 fps"
        /// Always the same ones, in the same order.
        std::vector<Toggle> toggles;
        bool operator==(const Content&) const = default;
    };
    using ComplaintSink = std::function<void(const std::string&)>;

    /// `defaults` must outlive it. `complain` is given a sentence when a choice cannot be stored. The webcam
    /// is offered only where there is one to show.
    RecordOptionsBar(NSUserDefaults& defaults, std::vector<CaptureDevice> microphones, bool offersWebcam,
                     ComplaintSink complain);
    RecordOptionsBar(const RecordOptionsBar&) = delete;
    RecordOptionsBar& operator=(const RecordOptionsBar&) = delete;

    Published<Content> content;

    /// Turns one of the content's toggles.
    void toggle(std::string_view key);

    static std::string videoHelp();
    /// All summaries that there can be, for who keeps room for them.
    static std::vector<std::string> summaries();
    std::vector<MenuItem> videoMenu();

    static std::string microphoneMenuHelp();
    /// A stored microphone that is not connected counts as the default, which is what would be recorded.
    std::vector<MenuItem> microphoneMenu();

 private:
    Content describe() const;
    void store(std::string_view key, const DefaultsValue& value);
    MenuItem choice(std::string title, std::string_view key, DefaultsValue value, bool checked);

    NSUserDefaults& defaults_;
    std::vector<CaptureDevice> microphones_;
    bool offersWebcam_;
    ComplaintSink complain_;
    Subscription changes_;
};

}  // namespace lumicrate
