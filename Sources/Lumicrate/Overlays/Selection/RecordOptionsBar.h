// SPDX-License-Identifier: GPL-3.0-or-later
// RecordOptionsBar: the options for the next recording that a selection's toolbar offers.
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

/// Shows the stored preferences, follows changes made elsewhere, and stores each choice at once. Main thread.
class RecordOptionsBar {
 public:
    /// The present state of a preference that is on or off.
    struct Toggle {
        std::string_view key;
        std::string_view symbol;
        std::string name;
        std::string help;  ///< "Microphone on"
        bool isOn = false;
        bool operator==(const Toggle&) const = default;
    };
    struct Content {
        std::string summary;  ///< resolution and frame rate: "1080p · 30 fps"
        /// Always the same toggles in the same order.
        std::vector<Toggle> toggles;
        bool operator==(const Content&) const = default;
    };
    using ComplaintSink = std::function<void(const std::string&)>;

    /// `defaults` must outlive this. `complain` gets a message for the user when a choice cannot be stored.
    RecordOptionsBar(NSUserDefaults& defaults, std::vector<CaptureDevice> microphones,
                     ComplaintSink complain);
    RecordOptionsBar(const RecordOptionsBar&) = delete;
    RecordOptionsBar& operator=(const RecordOptionsBar&) = delete;

    Published<Content> content;

    /// Flips the toggle with that key.
    void toggle(std::string_view key);

    static std::string videoHelp();
    /// All possible summaries, so that a button can reserve room for the longest one.
    static std::vector<std::string> summaries();
    std::vector<MenuItem> videoMenu();

    static std::string microphoneMenuHelp();
    /// If the stored microphone is not connected, the system default is checked, because that would be
    /// recorded.
    std::vector<MenuItem> microphoneMenu();

 private:
    Content describe() const;
    void store(std::string_view key, const DefaultsValue& value);
    MenuItem choice(std::string title, std::string_view key, DefaultsValue value, bool checked);

    NSUserDefaults& defaults_;
    std::vector<CaptureDevice> microphones_;
    ComplaintSink complain_;
    Subscription changes_;
};

}  // namespace lumicrate
