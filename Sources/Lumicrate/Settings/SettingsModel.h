// SettingsModel: what the settings window offers, page by page, and what it says about it.
#pragma once

#include "Lumicrate/Settings/LoginItem.h"
#include "Lumicrate/Settings/ShortcutField.h"
#include "Platform/AVCaptureDevice.h"
#include "Platform/NSUserDefaults.h"
#include "Platform/SMAppService.h"
#include "Support/Published.h"

#include <array>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace lumicrate {

/// A Boolean preference as a switch. `caption` is empty where the label says it all.
struct SwitchSetting {
    std::string key, label, caption;
};

/// A preference with a menu of values.
struct ChoiceSetting {
    using Choices = std::vector<std::pair<DefaultsValue, std::string>>;

    std::string key, label, caption;
    Choices choices;
    DefaultsValue fallback;  ///< what a stored value that is none of the choices means
};

/// Main thread only. The values themselves are read from and written to the preferences by the controls.
class SettingsModel {
 public:
    enum class Page { general, video, audio, shortcuts };
    static constexpr std::array pages = {Page::general, Page::video, Page::audio, Page::shortcuts};

    /// What is referred to must outlive the view.
    struct Services {
        ShortcutField::Services shortcuts;
        SMAppService& loginService;
        const Published<std::vector<CaptureDevice>>& microphones;
        const Published<std::vector<std::string>>& unavailableHotKeys;
        std::filesystem::path recordingsFolder, home;
        std::function<void()> openRecordingsFolder;  ///< may throw PlatformError
    };

    explicit SettingsModel(Services services);
    SettingsModel(const SettingsModel&) = delete;
    SettingsModel& operator=(const SettingsModel&) = delete;

    static std::string title(Page page);
    static std::string_view symbolName(Page page);

    NSUserDefaults& defaults() const { return services_.shortcuts.defaults; }

    // General
    LoginItem loginItem;
    std::string recordingsFolder() const;
    /// Why the folder could not be opened; empty when it could.
    std::string openRecordingsFolder() const;
    static SwitchSetting countdown();
    static SwitchSetting hideSelf();

    // Video
    static ChoiceSetting quality();
    static ChoiceSetting framesPerSecond();
    static ChoiceSetting format();
    static ChoiceSetting encodingQuality();
    static SwitchSetting showCursor();
    static SwitchSetting highlightClicks();

    // Audio
    static SwitchSetting captureSystemAudio();
    static SwitchSetting captureMicrophone();
    static SwitchSetting mixAudio();
    /// Its choices follow the microphones that are connected; a chosen one that is not stays among them.
    Published<ChoiceSetting::Choices> microphones;
    ChoiceSetting microphone() const;

    // Shortcuts
    ShortcutFields shortcutFields;
    static std::string shortcutLegend();
    /// That other programs have some of the combinations; empty when none has.
    Published<std::string> unavailableText;

 private:
    ChoiceSetting::Choices microphoneChoices(const std::vector<CaptureDevice>& connected) const;
    void showMicrophones(const std::vector<CaptureDevice>& connected);

    Services services_;
    Subscription microphoneChanges_;
    Subscription storeChanges_;
    Subscription hotKeyChanges_;
};

}  // namespace lumicrate
