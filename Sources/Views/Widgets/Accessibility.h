// SPDX-License-Identifier: GPL-3.0-or-later
// Accessibility: what widgets that paint themselves expose to assistive technology, and the preference for
// little motion. Standard widgets and the program's buttons need none of this: Qt exposes them.
#pragma once

#include <QAccessible>
#include <QString>
#include <QVariantAnimation>

class QWidget;

namespace lumicrate::views {

/// Mixin of QWidgets that paint a value: a slider, a meter. Call notifyValueChanged() when it changes.
class AccessibleValue {
 public:
    struct Range {
        double minimum = 0;
        double maximum = 1;
        double step = 0;  ///< 0 if the value cannot be set
    };

    virtual QAccessible::Role accessibleRole() const { return QAccessible::Slider; }
    virtual double accessibleValue() const = 0;
    virtual Range accessibleRange() const { return {}; }
    /// The value as the user reads it: "00:05".
    virtual QString accessibleValueText() const = 0;
    virtual void setAccessibleValue(double) {}

 protected:
    ~AccessibleValue() = default;
    /// Does nothing unless assistive technology is running.
    void notifyValueChanged(QWidget& self) const;
};

/// For a QWidget of no class of its own in Qt: a tool bar, a group, a text that it paints.
void setAccessibleRole(QWidget& widget, QAccessible::Role role);

/// Makes Qt ask for these values and roles, and expose plain windows as windows. Call once, after
/// QApplication was created.
void installAccessibility();

/// Whether the desktop asks for little motion: then nothing moves or fades. Main thread.
void setReducedMotion(bool reduced);
bool isMotionReduced();
/// Starts an animation, at its end if motion is reduced.
void startMotion(QVariantAnimation& animation);

}  // namespace lumicrate::views
