// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Widgets/Accessibility.h"

#include <QAccessibleWidget>
#include <QCoreApplication>
#include <QWidget>
#include <algorithm>

namespace lumicrate::views {

namespace {

constexpr const char* roleProperty = "accessibleRole";
constexpr const char* motionProperty = "reducedMotion";

class ValueInterface final : public QAccessibleWidget, public QAccessibleValueInterface {
 public:
    ValueInterface(QWidget& widget, AccessibleValue& value)
        : QAccessibleWidget(&widget, value.accessibleRole()), value_(value) {}

    void* interface_cast(QAccessible::InterfaceType type) override {
        if (type == QAccessible::ValueInterface) return static_cast<QAccessibleValueInterface*>(this);
        return QAccessibleWidget::interface_cast(type);
    }
    /// AT-SPI has no text of a value, so the description says it.
    QString text(QAccessible::Text kind) const override {
        if (kind == QAccessible::Value || kind == QAccessible::Description)
            return value_.accessibleValueText();
        return QAccessibleWidget::text(kind);
    }
    QAccessible::State state() const override {
        QAccessible::State state = QAccessibleWidget::state();
        state.readOnly = value_.accessibleRange().step == 0;
        return state;
    }

    QVariant currentValue() const override { return value_.accessibleValue(); }
    QVariant minimumValue() const override { return value_.accessibleRange().minimum; }
    QVariant maximumValue() const override { return value_.accessibleRange().maximum; }
    QVariant minimumStepSize() const override { return value_.accessibleRange().step; }
    void setCurrentValue(const QVariant& value) override {
        const AccessibleValue::Range range = value_.accessibleRange();
        if (range.step == 0 || !widget()->isEnabled()) return;
        value_.setAccessibleValue(std::clamp(value.toDouble(), range.minimum, range.maximum));
    }

 private:
    AccessibleValue& value_;
};

/// Called with the names of an object's classes, the most derived one first, until it returns an interface.
QAccessibleInterface* makeInterface(const QString& className, QObject* object) {
    if (className != QStringLiteral("QWidget") || !object->isWidgetType()) return nullptr;
    auto& widget = static_cast<QWidget&>(*object);
    if (auto* const value = dynamic_cast<AccessibleValue*>(object)) return new ValueInterface(widget, *value);
    if (const QVariant role = widget.property(roleProperty); role.isValid())
        return new QAccessibleWidget(&widget, static_cast<QAccessible::Role>(role.toInt()));
    // Qt takes only main windows and dialogs for windows.
    return widget.isWindow() ? new QAccessibleWidget(&widget, QAccessible::Window) : nullptr;
}

}  // namespace

void AccessibleValue::notifyValueChanged(QWidget& self) const {
    if (!QAccessible::isActive()) return;
    QAccessibleValueChangeEvent changed(&self, accessibleValue());
    QAccessible::updateAccessibility(&changed);
}

void setAccessibleRole(QWidget& widget, QAccessible::Role role) {
    widget.setProperty(roleProperty, static_cast<int>(role));
}

void installAccessibility() {
    QAccessible::installFactory(makeInterface);
}

void setReducedMotion(bool reduced) {
    qApp->setProperty(motionProperty, reduced);
}

bool isMotionReduced() {
    return qApp->property(motionProperty).toBool();
}

void startMotion(QVariantAnimation& animation) {
    animation.start();
    if (isMotionReduced())
        animation.setCurrentTime(animation.direction() == QAbstractAnimation::Forward ? animation.duration()
                                                                                      : 0);
}

}  // namespace lumicrate::views
