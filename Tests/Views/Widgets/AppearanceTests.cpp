// SPDX-License-Identifier: GPL-3.0-or-later
// Whether texts stand out from what is painted below them, measured in rendered pixels, and whether motion
// can be off.
#include "Views/Overlays/BarButton.h"
#include "Views/Overlays/CountdownView.h"
#include "Views/Overlays/Selection/SegmentedPicker.h"
#include "Views/Overlays/Selection/SelectionBar.h"
#include "Views/Overlays/Selection/SizeField.h"
#include "Views/Widgets/Accessibility.h"
#include "Views/Widgets/FlatButton.h"
#include "Views/Widgets/Theme.h"
#include "Views/Widgets/TintedLabel.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <algorithm>
#include <cmath>
#include <map>

namespace lumicrate::views {
namespace {

/// Text needs 4.5, a symbol 3.
constexpr double forText = 4.5;
constexpr double forSymbol = 3;
constexpr int density = 4;  ///< so that thin strokes have pixels of the text's full colour

double luminance(QRgb color) {
    const auto linear = [](int component) {
        const double share = component / 255.0;
        return share <= 0.03928 ? share / 12.92 : std::pow((share + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(qRed(color)) + 0.7152 * linear(qGreen(color)) + 0.0722 * linear(qBlue(color));
}

/// The highest contrast between the commonest colour of the widget and another one, apart from its edges.
double contrastIn(const QImage& image, const QWidget& widget) {
    constexpr int edge = 6;
    const QRect place(widget.mapTo(widget.window(), QPoint()), widget.size());
    const QRect inner = place.adjusted(edge, edge - 1, -edge, 1 - edge);
    std::map<QRgb, int> counts;
    for (int y = inner.top() * density; y < inner.bottom() * density; ++y)
        for (int x = inner.left() * density; x < inner.right() * density; ++x)
            ++counts[image.pixel(x, y)];
    const auto commonest = std::ranges::max_element(counts, {}, [](const auto& each) { return each.second; });
    double best = 1;
    for (const auto& [color, count] : counts) {
        const auto [low, high] = std::minmax({luminance(color), luminance(commonest->first)});
        best = std::max(best, (high + 0.05) / (low + 0.05));
    }
    return best;
}

QImage rendered(QWidget& window, const QColor& below, QWidget::RenderFlags flags) {
    // Laid out as if it were visible.
    window.setAttribute(Qt::WA_DontShowOnScreen);
    window.show();
    QImage image(window.size() * density, QImage::Format_RGB32);
    image.setDevicePixelRatio(density);
    image.fill(below);
    window.render(&image, {}, {}, flags);
    return image;
}

using Expected = std::vector<std::pair<QWidget*, double>>;

void expectContrast(const QImage& image, const Expected& widgets) {
    for (std::size_t i = 0; i < widgets.size(); ++i)
        EXPECT_GE(contrastIn(image, *widgets[i].first), widgets[i].second) << "widget " << i;
}

TEST(ContrastTests, OfWindows) {
    using Role = FlatButton::Role;
    for (const ColorScheme scheme : {ColorScheme::light, ColorScheme::dark}) {
        for (const Contrast contrast : {Contrast::normal, Contrast::high}) {
            SCOPED_TRACE(testing::Message() << int(scheme) << int(contrast));
            applyTheme(*qApp, scheme, contrast);
            QWidget window;
            auto* const row = new QHBoxLayout(&window);
            Expected expected;
            const auto add = [&](QWidget* widget, double minimum = forText) {
                row->addWidget(widget);
                expected.emplace_back(widget, minimum);
            };
            const auto addButton = [&](Role role, FlatButton::Tone tone, bool isChecked) {
                auto* const button = new FlatButton(role);
                if (role == Role::plain) button->setSymbol("gearshape");
                if (role != Role::plain) button->setText("Record");
                button->setTone(tone);
                button->setCheckable(role == Role::tile);
                button->setChecked(isChecked);
                add(button, role == Role::plain ? forSymbol : forText);
            };
            for (const Tint tint : {&ThemeColors::secondary, &ThemeColors::warning, &ThemeColors::accent})
                add(new TintedLabel(tint, QStringLiteral("Text")));
            for (const Role role : {Role::plain, Role::tile, Role::field, Role::prominent})
                addButton(role, FlatButton::Tone::inviting, false);
            addButton(Role::tile, FlatButton::Tone::neutral, true);
            addButton(Role::prominent, FlatButton::Tone::active, false);
            auto* const hint = new QLineEdit;
            hint->setPlaceholderText(QStringLiteral("Name"));
            add(hint);
            auto* const list = new QListWidget;
            list->addItem(QStringLiteral("Page"));
            list->setCurrentRow(0);
            list->setFixedHeight(list->sizeHintForRow(0) + 2);
            add(list);
            add(new QPushButton(QStringLiteral("Cancel")));
            expectContrast(rendered(window, Qt::white, QWidget::DrawWindowBackground | QWidget::DrawChildren),
                           expected);
        }
    }
}

TEST(ContrastTests, OfBarsOverAnyDesktop) {
    using Look = BarButton::Look;
    SelectionBar bar(nullptr);
    Expected expected;
    const auto add = [&](QWidget* widget, double minimum) {
        bar.layout()->addWidget(widget);
        expected.emplace_back(widget, minimum);
    };
    for (const Look look : {Look::plain, Look::field, Look::prominent, Look::narrow, Look::icon}) {
        auto* const button = new BarButton(look, &bar);
        const bool hasText = look != Look::narrow && look != Look::icon;
        hasText ? button->setText("Custom") : button->setSymbol("pause.fill");
        add(button, hasText ? forText : forSymbol);
    }
    auto* const toggle = new BarToggle(&bar);
    toggle->setSymbol("mic.slash.fill");
    add(toggle, forSymbol);
    // Its mark, because the field is empty.
    auto* const field = new SizeField(QStringLiteral("Width"), QStringLiteral("W"), {}, &bar);
    add(field, forText);
    auto* const picker = new SegmentedPicker(QStringLiteral("Record"), &bar);
    picker->addSegment(QStringLiteral("Area"));
    picker->addSegment(QStringLiteral("Window"));
    picker->setChosen(0);
    bar.layout()->addWidget(picker);
    for (auto* const segment : picker->findChildren<QAbstractButton*>())
        expected.emplace_back(segment, forText);
    for (const QColor below : {Qt::white, Qt::black}) {
        SCOPED_TRACE(below.name().toStdString());
        expectContrast(rendered(bar, below, QWidget::DrawChildren), expected);
    }
}

TEST(MotionTests, ReducedMotionShowsTheEndAtOnce) {
    for (const bool isReduced : {false, true}) {
        setReducedMotion(isReduced);
        CountdownModel model;
        CountdownView view(model);
        model.value = 2;
        CountdownView settled(model);
        const auto picture = [](QWidget& widget) {
            return rendered(widget, Qt::blue, QWidget::DrawChildren);
        };
        EXPECT_EQ(picture(view) == picture(settled), isReduced);
    }
}

}  // namespace
}  // namespace lumicrate::views

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
