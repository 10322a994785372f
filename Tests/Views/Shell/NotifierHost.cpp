// SPDX-License-Identifier: GPL-3.0-or-later
#include "Tests/Views/Shell/NotifierHost.h"

#include "Tests/Linux/Desktop/EventLoop.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <algorithm>
#include <stdexcept>

namespace lumicrate::test {

namespace {

const QString itemInterface = QStringLiteral("org.kde.StatusNotifierItem");
const QString menuInterface = QStringLiteral("com.canonical.dbusmenu");

/// A menu item with its submenu, as GetLayout gives it.
struct Node {
    int id = 0;
    QVariantMap properties;
    QVariantList children;
};

const QDBusArgument& operator>>(const QDBusArgument& argument, Node& node) {
    argument.beginStructure();
    argument >> node.id >> node.properties >> node.children;
    argument.endStructure();
    return argument;
}

}  // namespace

NotifierHost::NotifierHost() : bus_(QDBusConnection::connectToBus(QDBusConnection::SessionBus, "panel")) {
    thread_.start();
    watcher_.moveToThread(&thread_);
    bus_.registerObject("/StatusNotifierWatcher", &watcher_,
                        QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllProperties);
    if (!bus_.registerService("org.kde.StatusNotifierWatcher"))
        throw std::runtime_error("there already is a panel");
}

NotifierHost::~NotifierHost() {
    bus_.unregisterService("org.kde.StatusNotifierWatcher");
    bus_.unregisterObject("/StatusNotifierWatcher");
    QDBusConnection::disconnectFromBus("panel");
    thread_.quit();
    thread_.wait();
}

std::optional<QDBusMessage> NotifierHost::call(const QString& path, const QString& interface,
                                               const QString& method, const QVariantList& arguments) {
    QDBusMessage message = QDBusMessage::createMethodCall(watcher_.items().value(0), path, interface, method);
    message.setArguments(arguments);
    // The item may belong to this process, whose loop must run for it to answer.
    QDBusPendingCallWatcher pending(bus_.asyncCall(message));
    if (!await([&] { return pending.isFinished(); })) return std::nullopt;
    const QDBusMessage reply = pending.reply();
    return reply.type() == QDBusMessage::ReplyMessage ? std::optional(reply) : std::nullopt;
}

QVariant NotifierHost::property(const QString& name) {
    const auto reply =
        call("/StatusNotifierItem", "org.freedesktop.DBus.Properties", "Get", {itemInterface, name});
    return reply ? reply->arguments().value(0).value<QDBusVariant>().variant() : QVariant();
}

QString NotifierHost::toolTip() {
    const auto argument = property("ToolTip").value<QDBusArgument>();
    QString icon, title, text;
    argument.beginStructure();
    argument >> icon;
    argument.beginArray();  // its pictures
    argument.endArray();
    argument >> title >> text;
    argument.endStructure();
    return title;
}

QString NotifierHost::menuPath() {
    return property("Menu").value<QDBusObjectPath>().path();
}

std::vector<NotifierHost::Entry> NotifierHost::menu() {
    const auto reply = call(menuPath(), menuInterface, "GetLayout", {0, -1, QStringList()});
    std::vector<Entry> entries;
    if (!reply) return entries;
    for (const QVariant& child : qdbus_cast<Node>(reply->arguments().value(1)).children) {
        const auto node = qdbus_cast<Node>(child);
        entries.push_back({node.id, node.properties.value("label").toString().remove('_'),
                           node.properties.value("enabled", true).toBool(),
                           node.properties.contains("shortcut")});
    }
    return entries;
}

bool NotifierHost::menuHas(const QString& label) {
    const auto entries = menu();
    return std::ranges::find(entries, label, &Entry::label) != entries.end();
}

bool NotifierHost::menuShowsShortcut(const QString& label) {
    const auto entries = menu();
    const auto found = std::ranges::find(entries, label, &Entry::label);
    return found != entries.end() && found->hasShortcut;
}

bool NotifierHost::choose(const QString& label) {
    for (const Entry& entry : menu()) {
        if (entry.label != label || !entry.enabled) continue;
        const QVariant nothing = QVariant::fromValue(QDBusVariant(QString()));
        return call(menuPath(), menuInterface, "Event", {entry.id, "clicked", nothing, 0U}).has_value();
    }
    return false;
}

void NotifierHost::activateSecondary() {
    call("/StatusNotifierItem", itemInterface, "SecondaryActivate", {0, 0});
}

}  // namespace lumicrate::test
