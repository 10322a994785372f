#include "Lumicrate/Settings/LoginItem.h"

#include "Support/Error.h"
#include "Support/Text.h"

namespace lumicrate {

LoginItem::LoginItem(SMAppService& service) : enabled(service.isEnabled()), service_(service) {}

std::string LoginItem::label() const {
    return localized("Start Lumicrate when I log in");
}

void LoginItem::set(bool wanted) {
    std::string refusal;
    try {
        if (wanted) {
            service_.registerLoginItem();
        } else {
            service_.unregisterLoginItem();
        }
    } catch (const PlatformError& error) {
        refusal = error.what();
    }
    refresh();
    complaint = refusal;
}

}  // namespace lumicrate
