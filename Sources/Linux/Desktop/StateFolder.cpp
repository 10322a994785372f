#include "Linux/Desktop/StateFolder.h"

#include <QDir>
#include <QString>

namespace lumicrate::desktop {

std::filesystem::path stateFolder() {
    const QString named = qEnvironmentVariable("XDG_STATE_HOME");
    // A relative path is to be ignored.
    const QString base =
        QDir::isAbsolutePath(named) ? named : QDir::homePath() + QStringLiteral("/.local/state");
    return std::filesystem::path(base.toStdString()) / "lumicrate";
}

}  // namespace lumicrate::desktop
