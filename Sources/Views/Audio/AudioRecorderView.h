// SPDX-License-Identifier: GPL-3.0-or-later
// AudioRecorderView: the window of the audio recorder: clock, level meter, toggles and the main button.
#pragma once

#include "Lumicrate/Audio/AudioRecorderWindow.h"
#include "Support/Published.h"
#include "Views/Shell/DocumentWindow.h"

#include <vector>

class QLabel;
class QStackedLayout;
class QVBoxLayout;

namespace lumicrate::views {

class BarButton;
class BarToggle;
class LevelMeter;

/// Dark in every theme, and of fixed size. Keys: Return and Space press the main button, M toggles the
/// microphone, Esc cancels a countdown, Ctrl+W closes.
class AudioRecorderView final : public DocumentWindow {
 public:
    /// `owner`, with its model, must outlive the view.
    explicit AudioRecorderView(AudioRecorderWindow& owner);

    void setContentSize(Size size) override;

 protected:
    void closeEvent(QCloseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    bool event(QEvent* event) override;

 private:
    class MainButton;

    void addClock(QVBoxLayout& column);
    void addMeter(QVBoxLayout& column);
    void addChoices(QVBoxLayout& column);
    void showContent(const AudioRecorderModel::Content& content);
    void showMessage(const AudioRecorderModel::Content& content);

    AudioRecorderWindow& owner_;
    QLabel* clock_ = nullptr;
    BarButton* pause_ = nullptr;
    MainButton* main_ = nullptr;
    QStackedLayout* meterOrMessage_ = nullptr;
    LevelMeter* meter_ = nullptr;
    QLabel* message_ = nullptr;
    BarToggle* systemAudio_ = nullptr;
    BarToggle* microphone_ = nullptr;
    BarButton* microphones_ = nullptr;
    std::vector<Subscription> subscriptions_;
};

}  // namespace lumicrate::views
