// SPDX-License-Identifier: GPL-3.0-or-later
// SettingsModel: the settings of each page of the settings window, with labels and captions.
#pragma once

#include "Lumicrate/Library/RecordingFolder.h"
#include "Lumicrate/Settings/LoginItem.h"
#include "Lumicrate/Settings/NeverRecordedList.h"
#include "Lumicrate/Settings/ShortcutField.h"
#include "Lumicrate/Shell/DesktopAbilities.h"
#include "Platform/AVCaptureDevice.h"
#include "Platform/NSUserDefaults.h"
#include "Platform/SMAppService.h"
#include "Support/Published.h"

#include <array>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace lumicrate {

/// A Boolean preference. `caption` may be empty.
struct SwitchSetting {
    std::string key, label, caption;
    bool available = true;  ///< false: it has no effect on this desktop, and is shown switched off
};

/// A preference with a list of values to choose from.
struct ChoiceSetting {
    using Choices = std::vector<std::pair<DefaultsValue, std::string>>;

    std::string key, label, caption;
    Choices choices;
    DefaultsValue fallback;  ///< selected if the stored value is not among the choices
    bool available = true;   ///< false: it has no effect on this desktop
};

/// A preference that is typed. `placeholder` is shown while it is empty.
struct TextSetting {
    std::string key, label, caption, placeholder;
    /// Returns why a text is not valid; empty if it is.
    std::function<std::string(const std::string& text)> refusal;
};

/// Describes the settings; the controls read and write their values in the preferences. Main thread only.
class SettingsModel {
 public:
    enum class Page { general, video, webcam, audio, shortcuts };
    static constexpr std::array pages = {Page::general, Page::video, Page::webcam, Page::audio,
                                         Page::shortcuts};

    /// All references must outlive the model.
    struct Services {
        ShortcutField::Services shortcuts;
        SMAppService& loginService;
        const Published<std::vector<CaptureDevice>>& microphones;
        const Published<std::vector<CaptureDevice>>& cameras;
        const Published<std::vector<std::string>>& unavailableHotKeys;
        const Published<std::vector<std::string>>& missingHotKeys;
        RecordingFolder& recordings;
        std::filesystem::path home;
        std::function<void()> openRecordingsFolder;  ///< may throw PlatformError
        bool checksForUpdates = true;                ///< whether this copy can look for updates
        DesktopAbilities desktop = {};
        NeverRecordedList::Pick pickApplication = {};  ///< empty where windows cannot be left out
    };

    explicit SettingsModel(Services services);
    SettingsModel(const SettingsModel&) = delete;
    SettingsModel& operator=(const SettingsModel&) = delete;

    static std::string title(Page page);
    static std::string_view symbolName(Page page);

    NSUserDefaults& defaults() const { return services_.shortcuts.defaults; }

    // General
    LoginItem loginItem;
    /// As the user would write it: "~/Videos/Lumicrate".
    Published<std::string> recordingsFolder;
    const std::filesystem::path& recordingsURL() const { return services_.recordings.folder(); }
    /// Returns why recordings cannot be kept there; empty on success.
    std::string chooseRecordingsFolder(const std::filesystem::path& folder);
    /// Returns why the folder could not be opened; empty on success.
    std::string openRecordingsFolder() const;
    static SwitchSetting countdown();
    static SwitchSetting hideSelf();
    static SwitchSetting holdNotifications();
    static SwitchSetting openPreview();
    static SwitchSetting notifyWhenSaved();
    NeverRecordedList neverRecorded;
    static TextSetting afterSave();
    ChoiceSetting replay() const;
    /// Absent if this copy cannot look for updates.
    std::optional<SwitchSetting> checkForUpdates() const;

    // Video
    static ChoiceSetting quality();
    static ChoiceSetting framesPerSecond();
    static SwitchSetting constantFrameRate();
    static ChoiceSetting format();
    static ChoiceSetting encodingQuality();
    static SwitchSetting showCursor();
    SwitchSetting highlightClicks() const;
    SwitchSetting recordsInputData() const;
    SwitchSetting showKeys() const;
    static ChoiceSetting keysPlace();
    static ChoiceSetting keysSize();
    static SwitchSetting showTypedText();

    // Webcam
    static SwitchSetting webcamEnabled();
    /// The connected cameras, and the chosen one even if it is not connected.
    Published<ChoiceSetting::Choices> cameras;
    ChoiceSetting camera() const;
    static ChoiceSetting webcamShape();
    /// The usual widths, and the present one if it is another.
    Published<ChoiceSetting::Choices> webcamWidths;
    ChoiceSetting webcamWidth() const;
    static ChoiceSetting webcamBorder();
    /// The usual colours, and the present one if it is another.
    Published<ChoiceSetting::Choices> webcamBorderColors;
    ChoiceSetting webcamBorderColor() const;
    static SwitchSetting webcamMirror();
    static SwitchSetting webcamMicLevel();

    // Audio
    static SwitchSetting captureSystemAudio();
    static SwitchSetting onlyApplicationAudio();
    static SwitchSetting captureMicrophone();
    static SwitchSetting cleanVoice();
    static SwitchSetting normalizeVoice();
    static SwitchSetting mixAudio();
    /// The connected microphones, and the chosen one even if it is not connected.
    Published<ChoiceSetting::Choices> microphones;
    ChoiceSetting microphone() const;

    // Shortcuts
    ShortcutFields shortcutFields;
    /// How shortcuts are set up on this desktop.
    struct ShortcutGuide {
        /// The program cannot have shortcuts: commands for the desktop's own keyboard settings take the place
        /// of the fields.
        bool usesCommands = false;
        std::string text;  ///< above the commands, or below the fields
        bool operator==(const ShortcutGuide&) const = default;
    };
    Published<ShortcutGuide> shortcutGuide;
    /// Why shortcuts are not in force: other programs use them, the keyboard lacks the key, or the desktop
    /// declined. Empty if all are.
    Published<std::string> unavailableText;

 private:
    /// `isDefault`, `isMissing`: labels of the default device, and of a chosen one that is not connected.
    ChoiceSetting::Choices deviceChoices(const std::vector<CaptureDevice>& connected, std::string_view key,
                                         std::string_view isDefault, std::string_view isMissing) const;
    void showMicrophones(const std::vector<CaptureDevice>& connected);
    void showCameras(const std::vector<CaptureDevice>& connected);
    void showBubbleChoices();
    void showAssignment(const HotKeyAssignment& assignment);

    Services services_;
    Subscription folderChanges_;
    Subscription microphoneChanges_;
    Subscription cameraChanges_;
    Subscription storeChanges_;
    Subscription hotKeyChanges_;
};

}  // namespace lumicrate
