// RecorderControlsView: the record button, what is recorded along, and how loud the microphone is.
#pragma once

#include "Lumicrate/MainWindow/RecorderControls.h"
#include "Platform/NSUserDefaults.h"
#include "Support/Published.h"
#include "Views/Widgets/DefaultsBinding.h"
#include "Views/Widgets/FlatButton.h"

#include <QWidget>
#include <string_view>
#include <vector>

class QLabel;
class QMenu;
class QVBoxLayout;

namespace lumicrate::views {

class LevelMeter;

class RecorderControlsView final : public QWidget {
 public:
    /// Both must outlive it.
    RecorderControlsView(RecorderControls& controls, NSUserDefaults& defaults, const ComplaintSink& complain,
                         QWidget* parent = nullptr);

 private:
    struct Chip {
        RecorderControls::Toggle toggle;
        QWidget* cell;
        FlatButton* button;
    };

    void addToggles(QVBoxLayout& column, NSUserDefaults& defaults, const ComplaintSink& complain);
    QWidget* withMicrophoneMenu(FlatButton& chip);
    void addButtons(QVBoxLayout& column);
    void addLevel(QVBoxLayout& column);
    void show(const RecorderControls::Content& content);

    RecorderControls& controls_;
    std::vector<Chip> chips_;
    FlatButton* record_;
    FlatButton* pause_;
    QLabel* hint_;
    QWidget* levelRow_;
    LevelMeter* level_;
    std::vector<Subscription> subscriptions_;
};

}  // namespace lumicrate::views
