// SPDX-License-Identifier: GPL-3.0-or-later
// RecorderControlsView: the record and pause buttons, the recording options, and the microphone level.
#pragma once

#include "Lumicrate/MainWindow/RecorderControls.h"
#include "Platform/NSUserDefaults.h"
#include "Support/Published.h"
#include "Views/Widgets/DefaultsBinding.h"
#include "Views/Widgets/FlatButton.h"

#include <QWidget>
#include <vector>

class QLabel;
class QVBoxLayout;

namespace lumicrate::views {

class LevelMeter;

class RecorderControlsView final : public QWidget {
 public:
    /// `controls` and `defaults` must outlive the view.
    RecorderControlsView(RecorderControls& controls, NSUserDefaults& defaults, const ErrorSink& showError,
                         QWidget* parent = nullptr);

 private:
    struct Chip {
        RecorderControls::Toggle toggle;
        QWidget* cell;
        FlatButton* button;
    };

    void addToggles(QVBoxLayout& column, NSUserDefaults& defaults, const ErrorSink& showError);
    QWidget* withMicrophoneMenu(FlatButton& chip);
    void addButtons(QVBoxLayout& column);
    void addLevel(QVBoxLayout& column);
    void show(const RecorderControls::Content& content);
    void enableToggles();

    RecorderControls& controls_;
    std::vector<Chip> chips_;
    bool togglesEnabled_ = true;
    FlatButton* record_;
    FlatButton* pause_;
    QLabel* hint_;
    QWidget* levelRow_;
    LevelMeter* level_;
    std::vector<Subscription> subscriptions_;
};

}  // namespace lumicrate::views
