// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Desktop/BusInterface.h"

#include <QDBusArgument>
#include <QDBusVariant>
#include <algorithm>

namespace lumicrate::desktop {

namespace {

const QString propertiesInterface = QStringLiteral("org.freedesktop.DBus.Properties");

/// As a comment, broken into lines.
std::string comment(const std::string& indentation, const std::string& text) {
    constexpr std::size_t width = 100;
    std::string result = indentation + "<!--";
    std::size_t column = result.size();
    std::size_t start = 0;
    while (start < text.size()) {
        const std::size_t end = std::min(text.find(' ', start), text.size());
        if (column + 1 + (end - start) > width) {
            result += "\n" + indentation + "    ";
            column = indentation.size() + 4;
        }
        result += " " + text.substr(start, end - start);
        column += 1 + end - start;
        start = end + 1;
    }
    return result + " -->\n";
}

std::string elements(const std::vector<BusInterface::Argument>& arguments, const std::string& direction) {
    std::string text;
    for (const auto& argument : arguments)
        text +=
            "      <arg name=\"" + argument.name + "\" type=\"" + argument.type + "\"" + direction + "/>\n";
    return text;
}

QString signatureOf(const std::vector<BusInterface::Argument>& arguments) {
    QString signature;
    for (const auto& argument : arguments)
        signature += QString::fromStdString(argument.type);
    return signature;
}

template <class Member>
const Member* find(const std::vector<Member>& members, const QString& name) {
    const auto found = std::ranges::find(members, name.toStdString(), &Member::name);
    return found == members.end() ? nullptr : &*found;
}

QDBusMessage refusal(const QDBusMessage& call, QDBusError::ErrorType type, const QString& sentence) {
    return call.createErrorReply(type, sentence);
}

/// Maps arrive as unread data, which only a QDBusArgument can decode.
QVariant decoded(const QVariant& value) {
    if (value.metaType() == QMetaType::fromType<QDBusVariant>())
        return decoded(value.value<QDBusVariant>().variant());
    if (value.metaType() != QMetaType::fromType<QDBusArgument>()) return value;
    const auto data = value.value<QDBusArgument>();
    return data.currentSignature() == QStringLiteral("a{sv}") ? QVariant(qdbus_cast<QVariantMap>(data))
                                                              : value;
}

}  // namespace

std::string BusInterface::introspection() const {
    std::string text = "  <interface name=\"" + name + "\">\n" + comment("    ", description);
    for (const Method& method : methods) {
        text += "\n" + comment("    ", method.description) + "    <method name=\"" + method.name + "\"" +
                (method.arguments.empty()
                     ? "/>\n"
                     : ">\n" + elements(method.arguments, " direction=\"in\"") + "    </method>\n");
    }
    for (const Property& property : properties) {
        text += "\n" + comment("    ", property.description) + "    <property name=\"" + property.name +
                "\" type=\"" + property.type + "\" access=\"read\"" +
                (property.isAnnounced
                     ? "/>\n"
                     : ">\n      <annotation name=\"org.freedesktop.DBus.Property.EmitsChangedSignal\" "
                       "value=\"const\"/>\n    </property>\n");
    }
    for (const Event& event : events) {
        text += "\n" + comment("    ", event.description) + "    <signal name=\"" + event.name + "\">\n" +
                elements(event.arguments, "") + "    </signal>\n";
    }
    return text + "  </interface>\n";
}

std::string introspectionDocument(const BusInterface& interface) {
    return "<!DOCTYPE node PUBLIC \"-//freedesktop//DTD D-BUS Object Introspection 1.0//EN\"\n"
           "    \"http://www.freedesktop.org/standards/dbus/1.0/introspect.dtd\">\n<node>\n" +
           interface.introspection() + "</node>\n";
}

QVariantMap BusInterface::announced() const {
    QVariantMap values;
    for (const Property& property : properties)
        if (property.isAnnounced) values.insert(QString::fromStdString(property.name), property.read());
    return values;
}

bool BusInterface::handle(const QDBusMessage& call, const QDBusConnection& connection) const {
    const QString own = QString::fromStdString(name);
    if (call.interface() == propertiesInterface && call.arguments().value(0).toString() == own)
        return connection.send(answerProperties(call));
    const bool isOwn =
        call.interface() == own || (call.interface().isEmpty() && find(methods, call.member()));
    return isOwn && connection.send(answer(call));
}

QDBusMessage BusInterface::answer(const QDBusMessage& call) const {
    const Method* const method = find(methods, call.member());
    if (!method)
        return refusal(call, QDBusError::UnknownMethod, QStringLiteral("No such method: ") + call.member());
    const QString expected = signatureOf(method->arguments);
    if (call.signature() != expected)
        return refusal(call, QDBusError::InvalidArgs, QStringLiteral("The signature must be: ") + expected);
    QVariantList arguments;
    for (const QVariant& argument : call.arguments())
        arguments.append(decoded(argument));
    try {
        method->call(arguments);
    } catch (const BusError& error) {
        return call.createErrorReply(QString::fromStdString(error.name), QString::fromUtf8(error.what()));
    } catch (const LocalizedError& error) {
        return call.createErrorReply(QString::fromLatin1(BusError::failed), QString::fromUtf8(error.what()));
    }
    return call.createReply();
}

QDBusMessage BusInterface::answerProperties(const QDBusMessage& call) const {
    if (call.member() == QStringLiteral("GetAll")) {
        QVariantMap values;
        for (const Property& property : properties)
            values.insert(QString::fromStdString(property.name), property.read());
        return call.createReply(values);
    }
    const Property* const property = find(properties, call.arguments().value(1).toString());
    if (!property) return refusal(call, QDBusError::UnknownProperty, QStringLiteral("No such property."));
    if (call.member() != QStringLiteral("Get"))
        return refusal(call, QDBusError::PropertyReadOnly, QStringLiteral("The property can only be read."));
    return call.createReply(QVariant::fromValue(QDBusVariant(property->read())));
}

}  // namespace lumicrate::desktop
