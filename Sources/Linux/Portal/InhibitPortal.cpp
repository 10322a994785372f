// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Portal/InhibitPortal.h"

#include "Linux/Portal/PortalRequest.h"

#include <utility>

namespace lumicrate::portal {

namespace {

constexpr uint suspending = 4;
constexpr uint idling = 8;

}  // namespace

InhibitPortal::InhibitPortal(Executor& executor, Registry& registry, std::string reason,
                             std::function<void()> refused)
    : registry_(registry), running_(executor, inhibit(std::move(reason), std::move(refused))) {}

InhibitPortal::~InhibitPortal() = default;

Task<> InhibitPortal::inhibit(std::string reason, std::function<void()> refused) {
    Task<> enrolling = registry_.enroll();
    co_await enrolling;
    // Without a parent window.
    const QVariantList arguments{QString(), suspending | idling};
    const QVariantMap options{{QStringLiteral("reason"), QString::fromStdString(reason)}};
    request_ = std::make_unique<PortalRequest>(
        Question{QStringLiteral("Inhibit"), QStringLiteral("Inhibit"), arguments, options, {}},
        [refused](const Answer& answer) {
            if (!answer.isGranted() && refused) refused();
        });
    request_->setLasting();
}

}  // namespace lumicrate::portal
