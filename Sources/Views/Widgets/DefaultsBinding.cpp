// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Widgets/DefaultsBinding.h"

#include "Support/Error.h"
#include "Views/Widgets/QtText.h"

#include <QAbstractButton>
#include <QComboBox>
#include <QSignalBlocker>
#include <algorithm>

namespace lumicrate::views {

namespace {

/// A child of its control, and so deleted with it.
class Binding final : public QObject {
 public:
    Binding(QWidget& control, NSUserDefaults& defaults, std::string key, ErrorSink showError)
        : QObject(&control), defaults_(defaults), key_(std::move(key)), showError_(std::move(showError)) {
        setObjectName(bindingName);
    }

    /// `show` copies the stored value into the control. It is called now and after every change.
    void start(std::function<void(const NSUserDefaults&, const std::string& key)> show) {
        show_ = std::move(show);
        subscription_ = defaults_.observe([this] { show_(defaults_, key_); });
        show_(defaults_, key_);
    }
    void store(const DefaultsValue& value) {
        try {
            defaults_.set(key_, value);
        } catch (const PlatformError& error) {
            if (showError_) showError_(error.what());
            show_(defaults_, key_);
        }
    }

    static constexpr const char* bindingName = "DefaultsBinding";

 private:
    NSUserDefaults& defaults_;
    std::string key_;
    ErrorSink showError_;
    std::function<void(const NSUserDefaults&, const std::string&)> show_;
    Subscription subscription_;
};

bool isStored(const DefaultsValue& value, const NSUserDefaults& defaults, const std::string& key) {
    if (const auto* flag = std::get_if<bool>(&value)) return defaults.boolForKey(key) == *flag;
    if (const auto* number = std::get_if<std::int64_t>(&value)) return defaults.integerForKey(key) == *number;
    if (const auto* number = std::get_if<double>(&value)) return defaults.doubleForKey(key) == *number;
    return defaults.stringForKey(key).value_or("") == std::get<std::string>(value);
}

}  // namespace

void bindBool(QAbstractButton& button, NSUserDefaults& defaults, std::string key, ErrorSink showError) {
    auto* binding = new Binding(button, defaults, std::move(key), std::move(showError));
    button.setCheckable(true);
    binding->start([&button](const NSUserDefaults& from, const std::string& stored) {
        const QSignalBlocker quiet(button);
        button.setChecked(from.boolForKey(stored));
    });
    QObject::connect(&button, &QAbstractButton::toggled, binding, [binding](bool on) { binding->store(on); });
}

void bindChoice(QComboBox& box, NSUserDefaults& defaults, std::string key, const Choices& choices,
                const DefaultsValue& fallback, ErrorSink showError) {
    delete box.findChild<QObject*>(Binding::bindingName, Qt::FindDirectChildrenOnly);
    const QSignalBlocker silent(box);
    box.clear();
    for (const auto& [value, label] : choices)
        box.addItem(qtText(label));
    auto* binding = new Binding(box, defaults, std::move(key), std::move(showError));
    binding->start([&box, choices, fallback](const NSUserDefaults& from, const std::string& stored) {
        const auto matching = [&](const auto& matches) {
            return std::find_if(choices.begin(), choices.end(),
                                [&](const auto& choice) { return matches(choice.first); });
        };
        auto found = matching([&](const DefaultsValue& value) { return isStored(value, from, stored); });
        if (found == choices.end())
            found = matching([&](const DefaultsValue& value) { return value == fallback; });
        const QSignalBlocker quiet(box);
        box.setCurrentIndex(found == choices.end() ? -1 : static_cast<int>(found - choices.begin()));
    });
    QObject::connect(&box, &QComboBox::activated, binding, [binding, choices](int index) {
        binding->store(choices[static_cast<std::size_t>(index)].first);
    });
}

}  // namespace lumicrate::views
