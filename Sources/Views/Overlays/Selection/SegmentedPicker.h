// SPDX-License-Identifier: GPL-3.0-or-later
// SegmentedPicker: a choice between a few alternatives, shown side by side.
#pragma once

#include <QWidget>
#include <functional>
#include <string>
#include <vector>

namespace lumicrate::views {

/// The Tab key focuses the chosen segment; the arrow keys choose another one.
class SegmentedPicker final : public QWidget {
 public:
    SegmentedPicker(const QString& name, QWidget* parent);

    void addSegment(const QString& label);
    void setHelp(int index, const std::string& help);
    /// Shows a choice without calling back.
    void setChosen(int index);
    /// Called with the index of the segment that the user has chosen.
    void setOnChosen(std::function<void(int)> chosen) { onChosen_ = std::move(chosen); }

 protected:
    void paintEvent(QPaintEvent* event) override;

 private:
    class Segment;

    std::vector<Segment*> segments_;
    std::function<void(int)> onChosen_;
};

}  // namespace lumicrate::views
