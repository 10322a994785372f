// SegmentedPicker: a choice among a few, which stand side by side.
#pragma once

#include <QWidget>
#include <functional>
#include <string>
#include <vector>

namespace lumicrate::views {

/// The Tab key comes to the chosen segment, the arrows choose another.
class SegmentedPicker final : public QWidget {
 public:
    SegmentedPicker(const QString& name, QWidget* parent);

    void addSegment(const QString& label);
    void setHelp(int index, const std::string& help);
    /// Shows a choice; nobody is told.
    void setChosen(int index);
    /// Called with what the user has chosen.
    void setOnChosen(std::function<void(int)> chosen) { onChosen_ = std::move(chosen); }

 protected:
    void paintEvent(QPaintEvent* event) override;

 private:
    class Segment;

    std::vector<Segment*> segments_;
    std::function<void(int)> onChosen_;
};

}  // namespace lumicrate::views
