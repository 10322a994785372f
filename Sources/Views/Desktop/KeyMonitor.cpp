// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Desktop/KeyMonitor.h"

#include <QCoreApplication>
#include <QKeyEvent>
#include <QString>
#include <algorithm>
#include <utility>

namespace lumicrate::views {

namespace {

bool isModifier(int key) {
    switch (key) {
        case Qt::Key_Shift:
        case Qt::Key_Control:
        case Qt::Key_Alt:
        case Qt::Key_AltGr:
        case Qt::Key_Meta:
        case Qt::Key_Super_L:
        case Qt::Key_Super_R:
        case Qt::Key_Hyper_L:
        case Qt::Key_Hyper_R:
        case Qt::Key_CapsLock:
        case Qt::Key_NumLock:
        case Qt::Key_ScrollLock:
            return true;
        default:
            return false;
    }
}

/// The character that a key types without modifiers. Latin-1 and Unicode keysyms contain it; for the older
/// keysyms of other alphabets Qt reports the capital letter.
QString charactersOf(std::uint32_t keysym, const QKeyEvent& pressed) {
    constexpr std::uint32_t unicode = 0x01000000;
    const bool latin = (keysym >= 0x20 && keysym <= 0x7e) || (keysym >= 0xa0 && keysym <= 0xff);
    char32_t character = 0;
    if (latin) {
        character = keysym;
    } else if ((keysym & 0xff000000U) == unicode) {
        character = keysym & 0x00ffffffU;
    } else if (pressed.key() > 0 && pressed.key() < Qt::Key_Escape) {
        character = static_cast<char32_t>(pressed.key());
    }
    return character == 0 ? QString() : QString::fromUcs4(&character, 1).toLower();
}

}  // namespace

struct KeyMonitor::Monitor final : public NSEventMonitor {
    explicit Monitor(Handler handles) : handler(std::move(handles)) {}
    Handler handler;
};

std::string keyName(const QString& characters) {
    QString name;
    for (const char32_t each : characters.toUcs4()) {
        const QChar::Category category = QChar::category(each);
        if (category == QChar::Other_Control || category == QChar::Other_Format) return {};
        // Georgian has capitals, but neither keyboards nor most fonts do.
        const bool isGeorgian = QChar::script(each) == QChar::Script_Georgian;
        const char32_t shown = isGeorgian ? each : QChar::toUpper(each);
        name += QString::fromUcs4(&shown, 1);
    }
    return name.toStdString();
}

KeyMonitor::KeyMonitor(Keyboard keyboard) : keyboard_(std::move(keyboard)) {
    QCoreApplication::instance()->installEventFilter(this);
}

std::unique_ptr<NSEventMonitor> KeyMonitor::addKeyDownMonitor(std::function<bool(const NSEvent&)> onKeyDown) {
    auto handler = std::make_shared<std::function<bool(const NSEvent&)>>(std::move(onKeyDown));
    std::erase_if(handlers_, [](const auto& known) { return known.expired(); });
    handlers_.push_back(handler);
    return std::make_unique<Monitor>(std::move(handler));
}

bool KeyMonitor::eventFilter(QObject* receiver, QEvent* event) {
    // A press arrives at the window twice, first as a possible shortcut; the window passes it to its widgets.
    if (!receiver->isWindowType()) return false;
    if (event->type() == QEvent::ShortcutOverride) {
        decided_ = isConsumed(static_cast<const QKeyEvent&>(*event));
        // Accepting it turns it from a shortcut into an ordinary press.
        if (*decided_) event->accept();
        return *decided_;
    }
    if (event->type() != QEvent::KeyPress) return false;
    const auto decided = std::exchange(decided_, std::nullopt);
    return decided ? *decided : isConsumed(static_cast<const QKeyEvent&>(*event));
}

bool KeyMonitor::isConsumed(const QKeyEvent& pressed) {
    if (handlers_.empty() || isModifier(pressed.key())) return false;
    const NSEvent event = translated(pressed);
    // A copy: handlers may add and remove monitors.
    const auto handlers = handlers_;
    return std::any_of(handlers.rbegin(), handlers.rend(), [&event](const auto& known) {
        const Handler handler = known.lock();
        return handler && (*handler)(event);
    });
}

NSEvent KeyMonitor::translated(const QKeyEvent& pressed) const {
    constexpr std::pair<Qt::KeyboardModifier, std::uint64_t> flags[] = {
        {Qt::MetaModifier, NSEvent::commandFlag},
        {Qt::AltModifier, NSEvent::optionFlag},
        {Qt::ControlModifier, NSEvent::controlFlag},
        {Qt::ShiftModifier, NSEvent::shiftFlag}};
    const std::uint32_t keysym = keyboard_.keysym(pressed.nativeScanCode());
    NSEvent event;
    event.keyCode = keyboard_.keyCode(pressed.nativeScanCode());
    for (const auto& [modifier, flag] : flags) {
        if (pressed.modifiers().testFlag(modifier)) event.modifierFlags |= flag;
    }
    const QString characters = charactersOf(keysym, pressed);
    event.charactersIgnoringModifiers = characters.toStdString();
    event.keyName = keyName(characters);
    return event;
}

}  // namespace lumicrate::views
