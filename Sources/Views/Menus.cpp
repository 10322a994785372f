#include "Views/Menus.h"

#include "Views/QtText.h"

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

void fillMenu(QMenu& menu, const std::vector<MenuItem>& items) {
    menu.clear();
    QActionGroup* choices = nullptr;
    for (const MenuItem& item : items) {
        if (item.separator) {
            menu.addSeparator();
            continue;
        }
        // An ampersand would make the next letter a key of the menu.
        QString title = qtText(item.title).replace(QLatin1Char('&'), QLatin1String("&&"));
        // What follows a tabulator is shown where menus show keys.
        const QKeySequence keys = item.shortcut ? keySequence(*item.shortcut) : QKeySequence();
        if (!keys.isEmpty()) title += QLatin1Char('\t') + keys.toString(QKeySequence::NativeText);
        QAction* action = menu.addAction(title);
        action->setEnabled(item.enabled);
        if (item.checked) {
            action->setCheckable(true);
            action->setChecked(*item.checked);
            // It goes with the first of them, when the menu is filled anew.
            if (choices == nullptr) choices = new QActionGroup(action);
            choices->addAction(action);
        }
        if (!item.action) continue;
        QObject::connect(action, &QAction::triggered, action, [kept = item.action] {
            // What it does may fill this very menu anew.
            const std::function<void()> act = kept;
            act();
        });
    }
}

}  // namespace lumicrate::views
