// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Desktop/LoginItem.h"

#include "Support/ApplicationId.h"
#include "Support/Error.h"

#include <QSaveFile>
#include <QStandardPaths>
#include <QString>
#include <fstream>
#include <string_view>
#include <system_error>
#include <utility>

namespace lumicrate::desktop {

namespace {

std::filesystem::path userFolder() {
    return std::filesystem::path(
               QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation).toStdString()) /
           "autostart";
}

std::string_view trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \t\r");
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

/// Whether the line disables the entry. GNOME uses a key of its own for that.
bool turnsOff(std::string_view key, std::string_view value) {
    return (key == "Hidden" && value == "true") || (key == "X-GNOME-Autostart-enabled" && value == "false");
}

[[noreturn]] void fail(const std::filesystem::path& entry) {
    throw PlatformError(
        localized("The entry that starts Lumicrate at login couldn't be changed: {}", {entry.string()}));
}

/// One argument in quotation marks, as the Exec key requires.
std::string quoted(const std::string& word) {
    std::string text = "\"";
    for (const char each : word) {
        if (std::string_view("\"`$\\").find(each) != std::string_view::npos) text += '\\';
        // A single % would introduce a field code such as %f.
        if (each == '%') text += '%';
        text += each;
    }
    return text + '"';
}

/// Escaped like any string value of a desktop entry.
std::string escaped(const std::string& text) {
    constexpr std::string_view special = "\\\n\t\r";
    constexpr std::string_view letters = "\\ntr";
    std::string written;
    for (const char each : text) {
        const auto found = special.find(each);
        if (found != std::string_view::npos) written += '\\';
        written += found != std::string_view::npos ? letters[found] : each;
    }
    return written;
}

}  // namespace

LoginItem::LoginItem(std::filesystem::path program) : LoginItem(std::move(program), userFolder()) {}

LoginItem::LoginItem(std::filesystem::path program, const std::filesystem::path& folder)
    : program_(std::move(program)), entry_(folder / (std::string(applicationId) + ".desktop")) {}

bool LoginItem::isEnabled() const {
    std::ifstream file(entry_);
    bool inEntry = false;
    bool starts = false;
    for (std::string line; std::getline(file, line);) {
        const std::string_view text = trimmed(line);
        if (text.starts_with('[')) inEntry = text == "[Desktop Entry]";
        const auto equals = text.find('=');
        if (!inEntry || text.starts_with('#') || equals == std::string_view::npos) continue;
        const std::string_view key = trimmed(text.substr(0, equals));
        const std::string_view value = trimmed(text.substr(equals + 1));
        if (turnsOff(key, value)) return false;
        if (key == "Exec") starts = !value.empty();
    }
    return starts;
}

void LoginItem::registerLoginItem() {
    std::error_code failed;
    std::filesystem::create_directories(entry_.parent_path(), failed);
    const std::string text =
        "[Desktop Entry]\nType=Application\nName=Lumicrate\nIcon=" + std::string(applicationId) +
        "\nExec=" + escaped(quoted(program_.string()) + " " + quoted("--background")) + "\n";
    QSaveFile file(QString::fromStdString(entry_.string()));
    if (failed || !file.open(QIODevice::WriteOnly) ||
        file.write(text.data(), static_cast<qint64>(text.size())) != static_cast<qint64>(text.size()) ||
        !file.commit()) {
        fail(entry_);
    }
}

void LoginItem::unregisterLoginItem() {
    std::error_code failed;
    std::filesystem::remove(entry_, failed);
    if (failed) fail(entry_);
}

}  // namespace lumicrate::desktop
