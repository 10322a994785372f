// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Portal/LoginItemPortal.h"

#include "Linux/Portal/PortalRequest.h"
#include "Support/Error.h"
#include "Support/Log.h"
#include "Support/Text.h"

#include <QStringList>
#include <QVariantMap>

namespace lumicrate::portal {

namespace {

constexpr const char* key = "startsAtLogin";
const QString autostart = QStringLiteral("autostart");

}  // namespace

LoginItemPortal::LoginItemPortal(NSUserDefaults& defaults) : defaults_(defaults) {}

LoginItemPortal::~LoginItemPortal() = default;

bool LoginItemPortal::isEnabled() const {
    return defaults_.boolForKey(key);
}

void LoginItemPortal::registerLoginItem() {
    request(true);
}

void LoginItemPortal::unregisterLoginItem() {
    request(false);
}

void LoginItemPortal::request(bool enabled) {
    defaults_.set(key, enabled);
    const QVariantMap options{
        {QStringLiteral("reason"), QString::fromStdString(localized("Start Lumicrate when I log in"))},
        {autostart, enabled},
        {QStringLiteral("commandline"),
         QStringList{QStringLiteral("lumicrate"), QStringLiteral("--background")}}};
    // Without a parent window.
    request_ = std::make_unique<PortalRequest>(
        Question{QStringLiteral("Background"),
                 QStringLiteral("RequestBackground"),
                 {QString()},
                 options,
                 noTimeout},
        [this](const Answer& answer) {
            const bool isSet = answer.isGranted() && answer.results.value(autostart).toBool();
            log(LogArea::desktop, "portal: starts at login: ", isSet);
            try {
                if (isSet != isEnabled()) defaults_.set(key, isSet);
            } catch (const PlatformError&) {
                log(LogArea::desktop, "portal: the preference can't be written");
            }
        });
}

}  // namespace lumicrate::portal
