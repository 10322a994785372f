// What the bars of a selection are tested on: the window that they float on, and all that they are made with.
#pragma once

#include "Lumicrate/Overlays/Selection/RecordOptionsBar.h"
#include "Tests/Lumicrate/FakePlatform.h"
#include "Views/Overlays/Selection/AreaToolbarView.h"
#include "Views/Overlays/Selection/PickBarView.h"

#include <QKeyEvent>
#include <QPainter>
#include <QWidget>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace lumicrate::test {

/// Stands in for the overlay: it puts each bar where it wants to be, as large as the bar likes to be, and
/// notes what reaches it.
class Ground final : public QWidget {
 public:
    Ground() {
        setWindowFlags(Qt::FramelessWindowHint);
        setFocusPolicy(Qt::StrongFocus);
        setAttribute(Qt::WA_AlwaysShowToolTips);
        setMouseTracking(true);
        setGeometry(0, 0, 1024, 300);
    }

    std::vector<QWidget*> bars;
    std::vector<int> keys;
    int presses = 0;
    std::function<void(QPainter&)> picture;

    void place() {
        int top = 60;
        for (QWidget* bar : bars) {
            bar->setGeometry({QPoint((width() - bar->sizeHint().width()) / 2, top), bar->sizeHint()});
            top += 120;
        }
    }

 protected:
    bool event(QEvent* event) override {
        if (event->type() == QEvent::LayoutRequest) place();
        return QWidget::event(event);
    }
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.fillRect(rect(), QColor(200, 120, 60));
        if (picture) picture(painter);
    }
    void keyPressEvent(QKeyEvent* event) override { keys.push_back(event->key()); }
    void mousePressEvent(QMouseEvent*) override { ++presses; }
};

struct BarsStage {
    explicit BarsStage(std::vector<CaptureDevice> microphones = {{"usb", "USB Microphone"},
                                                                 {"card", "Built-in & more"}})
        : model("Record", std::move(microphones)) {
        RecordingOptions::registerDefaults(defaults);
        model.width = 1280;
        model.height = 720;
        options.emplace(defaults, model.microphones, true, [this](const std::string&) { ++complaints; });
        toolbar = new views::AreaToolbarView(model, *options, &ground);
        pickBar = new views::PickBarView(model, true, &ground);
        ground.bars = {toolbar, pickBar};
        ground.place();
    }

    FakeDefaults defaults;
    AreaToolbarModel model;
    int complaints = 0;
    std::optional<RecordOptionsBar> options;
    Ground ground;
    views::AreaToolbarView* toolbar;
    views::PickBarView* pickBar;
};

}  // namespace lumicrate::test
