// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Widgets/Menus.h"

#include "Views/Widgets/QtText.h"

#include <QAction>
#include <QActionGroup>
#include <QMenu>
#include <functional>

namespace lumicrate::views {

QKeySequence keySequence(const Shortcut& shortcut) {
    const std::optional<std::string> key = shortcut.keyEquivalent();
    if (!key) return {};
    QString text;
    const auto add = [&](std::int64_t modifier, const char* name) {
        if (shortcut.modifiers & modifier) text += QLatin1String(name) + QLatin1Char('+');
    };
    add(Shortcut::controlKey, "Ctrl");
    add(Shortcut::optionKey, "Alt");
    add(Shortcut::shiftKey, "Shift");
    add(Shortcut::cmdKey, "Meta");
    return QKeySequence(text + (*key == " " ? QStringLiteral("Space") : qtText(*key)),
                        QKeySequence::PortableText);
}

namespace {

/// With the widget context it acts only in the open menu. It must be set for tray menus on the bus to show
/// it.
void showShortcut(QAction& action, const Shortcut& shortcut) {
    action.setShortcut(keySequence(shortcut));
    action.setShortcutContext(Qt::WidgetShortcut);
    action.setShortcutVisibleInContextMenu(true);
}

}  // namespace

void fillMenu(QMenu& menu, const std::vector<MenuItem>& items) {
    menu.clear();
    QActionGroup* choices = nullptr;
    for (const MenuItem& item : items) {
        // A single ampersand would make the next letter a mnemonic.
        const QString title = qtText(item.title).replace(QLatin1Char('&'), QLatin1String("&&"));
        if (item.separator || item.isHeading) {
            if (item.isHeading) {
                menu.addSection(title);
            } else {
                menu.addSeparator();
            }
            choices = nullptr;
            continue;
        }
        QAction* action = menu.addAction(title);
        action->setEnabled(item.enabled);
        if (item.shortcut) showShortcut(*action, *item.shortcut);
        if (item.checked) {
            action->setCheckable(true);
            action->setChecked(*item.checked);
            // One group per section, deleted with its first action when the menu is refilled.
            if (choices == nullptr) choices = new QActionGroup(action);
            choices->addAction(action);
        }
        if (!item.action) continue;
        QObject::connect(action, &QAction::triggered, action, [kept = item.action] {
            // A copy: the action may refill this menu, which deletes the lambda.
            const std::function<void()> act = kept;
            act();
        });
    }
}

}  // namespace lumicrate::views
