#include "Linux/Desktop/SessionBus.h"

#include <QFileInfo>
#include <QString>
#include <QtGlobal>

namespace lumicrate::desktop {

bool sessionBusExists() {
    return qEnvironmentVariableIsSet("DBUS_SESSION_BUS_ADDRESS") ||
           QFileInfo::exists(qEnvironmentVariable("XDG_RUNTIME_DIR") + QStringLiteral("/bus"));
}

}  // namespace lumicrate::desktop
