// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Settings/Form.h"

#include "Views/Widgets/DefaultsBinding.h"
#include "Views/Widgets/QtText.h"
#include "Views/Widgets/Theme.h"
#include "Views/Widgets/TintedLabel.h"

#include <QCheckBox>
#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QVBoxLayout>

namespace lumicrate::views {

namespace {

constexpr double focusRing = 2;  ///< margin around a switch's track, points

/// A check box that looks like a switch.
class Switch final : public QCheckBox {
 public:
    Switch() {
        setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
        setCursor(Qt::PointingHandCursor);
        // Repaints it when the pointer enters and leaves.
        setAttribute(Qt::WA_Hover);
    }

    QSize sizeHint() const override {
        const int height = qMax(fontMetrics().height() + 4, 20);
        return {height * 7 / 4 + 4, height + 4};
    }
    QSize minimumSizeHint() const override { return sizeHint(); }

 protected:
    void paintEvent(QPaintEvent* event) override;
    bool hitButton(const QPoint& position) const override { return rect().contains(position); }
};

void Switch::paintEvent(QPaintEvent*) {
    const ThemeColors colors = ThemeColors::of(*this);
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF track =
        QRectF(rect()).adjusted(focusRing + 0.5, focusRing + 0.5, -focusRing - 0.5, -focusRing - 0.5);
    const double radius = track.height() / 2;

    if (hasFocus()) {
        painter.setPen(QPen(colors.accent, focusRing / 2 + 0.5));
        painter.setBrush(Qt::NoBrush);
        painter.drawRoundedRect(QRectF(rect()).adjusted(1, 1, -1, -1), radius + focusRing,
                                radius + focusRing);
    }
    // Off, the track has the secondary text colour, which contrasts with the card in both themes.
    QColor fill = isChecked() ? colors.accent : colors.secondary;
    if (!isEnabled()) fill.setAlphaF(0.4F);
    painter.setPen(Qt::NoPen);
    painter.setBrush(underMouse() && isEnabled() ? fill.lighter(108) : fill);
    painter.drawRoundedRect(track, radius, radius);

    const double knob = radius - 2.5;
    const bool atEnd = isChecked() != isRightToLeft();
    const QPointF center(atEnd ? track.right() - radius : track.left() + radius, track.center().y());
    painter.setBrush(Qt::white);
    painter.drawEllipse(center, knob, knob);
}

}  // namespace

Card::Card() : rows_(new QVBoxLayout(this)) {
    rows_->setContentsMargins(measure::margin, measure::gap / 2, measure::margin, measure::gap / 2);
    rows_->setSpacing(1);
}

void Card::addRow(QWidget* row) {
    rows_->addWidget(row);
}

void Card::paintEvent(QPaintEvent*) {
    const ThemeColors colors = ThemeColors::of(*this);
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(colors.separator, 1));
    painter.setBrush(colors.card);
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), measure::corner, measure::corner);
    for (int i = 1; i < rows_->count(); ++i) {
        const QRectF row = rows_->itemAt(i)->geometry();
        painter.drawLine(QPointF(row.left(), row.top() - 0.5), QPointF(row.right(), row.top() - 0.5));
    }
}

FormRow::FormRow(const std::string& label, const std::string& caption, QWidget* control)
    : error_(new TintedLabel(&ThemeColors::warning)) {
    auto* lines = new QVBoxLayout(this);
    lines->setContentsMargins(0, measure::gap, 0, measure::gap);
    lines->setSpacing(measure::gap / 2);
    auto* row = new QHBoxLayout;
    row->setSpacing(measure::margin);
    lines->addLayout(row);

    auto* texts = new QVBoxLayout;
    texts->setSpacing(2);
    texts->addStretch();
    auto* name = new QLabel(qtText(label));
    name->setBuddy(control);
    texts->addWidget(name);
    if (!caption.empty()) {
        caption_ = new TintedLabel(&ThemeColors::secondary, qtText(caption));
        texts->addWidget(caption_);
    }
    texts->addStretch();
    row->addLayout(texts, 1);
    row->addWidget(control, 0, Qt::AlignVCenter);
    if (control->accessibleName().isEmpty()) control->setAccessibleName(qtText(label));
    if (control->accessibleDescription().isEmpty()) control->setAccessibleDescription(qtText(caption));

    error_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    lines->addWidget(error_);
    error_->hide();
}

void FormRow::showError(const std::string& text) {
    error_->showMessage(qtText(text));
}

void FormRow::clearErrorOnStore(const NSUserDefaults& defaults) {
    keep(defaults.observe([this] { showError({}); }));
}

FormRow* switchRow(const SwitchSetting& setting, NSUserDefaults& defaults) {
    auto* control = new Switch;
    auto* row = new FormRow(setting.label, setting.caption, control);
    row->clearErrorOnStore(defaults);
    control->setEnabled(setting.available);
    if (!setting.available) return row;
    bindBool(*control, defaults, setting.key, [row](const std::string& text) { row->showError(text); });
    return row;
}

FormRow* choiceRow(const ChoiceSetting& setting, NSUserDefaults& defaults, QComboBox& box) {
    auto* row = new FormRow(setting.label, setting.caption, &box);
    row->clearErrorOnStore(defaults);
    box.setEnabled(setting.available);
    bindRowChoices(*row, box, setting, defaults);
    return row;
}

void bindRowChoices(FormRow& row, QComboBox& box, const ChoiceSetting& setting, NSUserDefaults& defaults) {
    bindChoice(box, defaults, setting.key, setting.choices, setting.fallback,
               [&row](const std::string& text) { row.showError(text); });
}

FormRow* textRow(const TextSetting& setting, NSUserDefaults& defaults) {
    auto* field = new QLineEdit;
    field->setPlaceholderText(qtText(setting.placeholder));
    constexpr int characters = 26;
    field->setMinimumWidth(field->fontMetrics().averageCharWidth() * characters);
    auto* row = new FormRow(setting.label, setting.caption, field);
    const auto show = [field, &defaults, key = setting.key] {
        // What is being typed stays.
        if (!field->hasFocus()) field->setText(qtText(defaults.stringForKey(key).value_or("")));
    };
    show();
    row->keep(defaults.observe(show));
    QObject::connect(field, &QLineEdit::editingFinished, row, [row, field, &defaults, setting] {
        const std::string text = field->text().trimmed().toStdString();
        std::string error = setting.refusal(text);
        try {
            if (error.empty() && text != defaults.stringForKey(setting.key).value_or(""))
                defaults.set(setting.key, text);
        } catch (const PlatformError& failure) {
            error = failure.what();
        }
        row->showError(error);
    });
    return row;
}

FormRow* loginRow(LoginItem& item) {
    auto* control = new Switch;
    auto* row = new FormRow(item.label(), {}, control);
    control->setChecked(*item.enabled);
    row->keep(item.enabled.observe([control](bool on) { control->setChecked(on); }));
    row->keep(item.error.observe([row](const std::string& text) { row->showError(text); }));
    QObject::connect(control, &Switch::clicked, row, [&item](bool on) { item.set(on); });
    return row;
}

}  // namespace lumicrate::views
