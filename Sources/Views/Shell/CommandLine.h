// CommandLine: a command for a terminal, which can be copied.
#pragma once

#include <QString>
#include <QWidget>

namespace lumicrate::views {

class CommandLine final : public QWidget {
 public:
    explicit CommandLine(const QString& command);
};

}  // namespace lumicrate::views
