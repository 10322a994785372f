// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Shell/MessageWindows.h"

#include "Support/Error.h"
#include "Views/Settings/Form.h"
#include "Views/Shell/MessageParts.h"
#include "Views/Widgets/QtText.h"
#include "Views/Widgets/Symbols.h"
#include "Views/Widgets/Theme.h"
#include "Views/Widgets/TintedLabel.h"

#include <QClipboard>
#include <QCloseEvent>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QPointer>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>
#include <chrono>
#include <utility>

namespace lumicrate::views {

namespace {

TintedLabel* centred(const std::string& text) {
    auto* label = new TintedLabel(&ThemeColors::secondary, qtText(text));
    label->setAlignment(Qt::AlignCenter);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    return label;
}

/// Pressed by Return when it has the focus.
QPushButton* defaultButton(const QString& text) {
    QPushButton* button = roomyButton(text);
    button->setDefault(true);
    button->setAutoDefault(true);
    return button;
}

/// Hidden until something fails.
TintedLabel* complaintLabel() {
    auto* complaint = new TintedLabel(&ThemeColors::warning);
    complaint->setAlignment(Qt::AlignCenter);
    complaint->hide();
    return complaint;
}

/// Runs `action`; shows its error in `complaint`, or removes the error of the action before.
void attempt(TintedLabel& complaint, const std::function<void()>& action) {
    std::string refusal;
    try {
        action();
    } catch (const PlatformError& error) {
        refusal = error.what();
    }
    complaint.showMessage(qtText(refusal));
}

QPushButton* folderButton(const std::string& folder, TintedLabel& complaint,
                          std::function<void()> openFolder) {
    auto* open = roomyButton(localizedText("Open Recordings Folder"), symbol("folder"));
    open->setToolTip(qtText(folder));
    open->setAccessibleDescription(qtText(folder));
    QObject::connect(open, &QPushButton::clicked, &complaint,
                     [&complaint, openFolder = std::move(openFolder)] { attempt(complaint, openFolder); });
    return open;
}

/// Its text says what is going on.
QPushButton* diagnosticsButton(TintedLabel& complaint, AboutWindow::Diagnose diagnose) {
    const QString title = localizedText("Copy Diagnostics");
    auto* copy = roomyButton(title, symbol("info.circle"));
    copy->setToolTip(localizedText("What this computer offers the recorder, for the report of a fault"));
    auto* reset = new QTimer(copy);
    reset->setSingleShot(true);
    const auto show = [copy](const QString& text, const char* name) {
        copy->setText(text);
        copy->setIcon(symbol(name));
    };
    copy->setMinimumWidth(copy->sizeHint().width());
    QObject::connect(reset, &QTimer::timeout, copy, [show, title] { show(title, "info.circle"); });
    const auto receive = [button = QPointer(copy), reset, show, title,
                          &complaint](const std::string& report) {
        if (!button) return;
        constexpr auto shown = std::chrono::seconds(4);
        button->setEnabled(true);
        show(report.empty() ? title : localizedText("Copied"), report.empty() ? "info.circle" : "checkmark");
        if (report.empty())
            return complaint.showMessage(localizedText("The diagnostics couldn’t be collected."));
        QGuiApplication::clipboard()->setText(qtText(report));
        reset->start(shown);
    };
    QObject::connect(copy, &QPushButton::clicked, copy,
                     [copy, show, receive, &complaint, diagnose = std::move(diagnose)] {
                         copy->setEnabled(false);
                         show(localizedText("Collecting…"), "info.circle");
                         complaint.showMessage({});
                         diagnose(receive);
                     });
    return copy;
}

/// "Website · Support on Ko-fi"
QLabel* webLinks(const AppInfo& info, TintedLabel& complaint,
                 const std::function<void(const std::string&)>& openWebPage) {
    const QString link = QStringLiteral("<a href=\"%1\" style=\"text-decoration:none\">%2</a>");
    auto* links = new QLabel(link.arg(qtText(info.website()), localizedText("Website")) +
                             QStringLiteral("&nbsp; · &nbsp;") +
                             link.arg(qtText(info.kofi()), localizedText("Support on Ko-fi")));
    links->setAlignment(Qt::AlignCenter);
    links->setTextInteractionFlags(Qt::LinksAccessibleByMouse | Qt::LinksAccessibleByKeyboard);
    QObject::connect(links, &QLabel::linkActivated, &complaint,
                     [&complaint, openWebPage](const QString& address) {
                         attempt(complaint, [&] { openWebPage(address.toStdString()); });
                     });
    return links;
}

QWidget* missingRow(const Permissions::Missing& missing) {
    QWidget* point = symbolPoint(missing.symbol, missing.title, missing.advice);
    if (missing.command.empty()) return point;
    auto* both = new QWidget;
    auto* lines = new QVBoxLayout(both);
    lines->setContentsMargins(0, 0, 0, measure::gap);
    lines->setSpacing(0);
    lines->addWidget(point);
    QWidget* command = copyableCommand(qtText(missing.command));
    lines->addWidget(command);
    // Aligned with the text above.
    command->setContentsMargins(measure::symbol * 3 / 2 + measure::margin, 0, 0, 0);
    return both;
}

}  // namespace

AboutWindow::AboutWindow(const AppInfo& info, const std::string& folder, std::function<void()> openFolder,
                         const std::function<void(const std::string& address)>& openWebPage,
                         Diagnose diagnose) {
    prepareWindow(*this, localizedText("About Lumicrate"));
    QVBoxLayout* lines = messageLayout(*this, 46);
    lines->addWidget(iconLabel(96));
    auto* names = new QVBoxLayout;
    names->setSpacing(measure::gap / 2);
    auto* name = titleLabel(qtText(info.name), 1.6);
    name->setAlignment(Qt::AlignCenter);
    names->addWidget(name);
    names->addWidget(centred(info.versionText()));
    lines->addLayout(names);
    auto* summary = new QLabel(qtText(info.summary()));
    summary->setWordWrap(true);
    summary->setAlignment(Qt::AlignCenter);
    lines->addWidget(summary);
    TintedLabel* complaint = complaintLabel();
    auto* actions = new QVBoxLayout;
    actions->setSpacing(measure::gap / 2);
    actions->addWidget(folderButton(folder, *complaint, std::move(openFolder)), 0, Qt::AlignCenter);
    actions->addWidget(diagnosticsButton(*complaint, std::move(diagnose)), 0, Qt::AlignCenter);
    actions->addWidget(complaint);
    lines->addLayout(actions);
    if (!info.website().empty()) lines->addWidget(webLinks(info, *complaint, openWebPage));
    lines->addWidget(centred(info.licence()));
}

WelcomeWindow::WelcomeWindow(std::unique_ptr<Welcome> model)
    : model_(std::move(model)), place_(new QVBoxLayout) {
    prepareWindow(*this, localizedText("Welcome to Lumicrate"));
    QVBoxLayout* lines = messageLayout(*this, 62);
    lines->addWidget(iconLabel(72));
    auto* title = titleLabel(localizedText("Welcome to Lumicrate"), 1.6);
    title->setAlignment(Qt::AlignCenter);
    lines->addWidget(title);
    lines->addLayout(place_);
    showPoints(*model_->points);
    pointChanges_ = model_->points.observe([this](const auto& points) { showPoints(points); });
    auto* choices = new Card;
    choices->addRow(loginRow(model_->loginItem));
    lines->addWidget(choices);
    auto* begin = defaultButton(localizedText("Get Started"));
    connect(begin, &QPushButton::clicked, this, &QWidget::close);
    lines->addWidget(begin, 0, Qt::AlignRight);
    begin->setFocus();
}

void WelcomeWindow::showPoints(const std::vector<Welcome::Point>& points) {
    delete card_;
    card_ = new Card;
    for (const Welcome::Point& point : points)
        card_->addRow(symbolPoint(point.symbol, point.title, point.text));
    place_->addWidget(card_);
}

void WelcomeWindow::closeEvent(QCloseEvent* event) {
    model_->finish();
    QWidget::closeEvent(event);
}

PermissionWindow::PermissionWindow(Permissions& model) : place_(new QVBoxLayout) {
    prepareWindow(*this, localizedText("Lumicrate"));
    QVBoxLayout* lines = messageLayout(*this, 74);
    lines->addWidget(titleLabel(qtText(Permissions::headline()), 1.3));
    lines->addLayout(place_);
    showMissing(*model.missing);

    auto* bottom = new QHBoxLayout;
    auto* outcome = new TintedLabel(&ThemeColors::secondary);
    outcome->showMessage(qtText(*model.outcome));
    auto* close = roomyButton(localizedText("Close"));
    auto* again = defaultButton(localizedText("Try Again"));
    bottom->addWidget(outcome, 1);
    bottom->addStretch();
    bottom->addWidget(close);
    bottom->addWidget(again);
    lines->addLayout(bottom);
    again->setFocus();

    connect(close, &QPushButton::clicked, this, &QWidget::close);
    connect(again, &QPushButton::clicked, this, [&model] { model.checkAgain(); });
    missingChanges_ = model.missing.observe([this](const auto& missing) { showMissing(missing); });
    outcomeChanges_ =
        model.outcome.observe([outcome](const std::string& text) { outcome->showMessage(qtText(text)); });
}

void PermissionWindow::showMissing(const std::vector<Permissions::Missing>& missing) {
    if (missing.empty()) {
        close();
        return;
    }
    delete card_;
    auto* card = new Card;
    for (const Permissions::Missing& item : missing)
        card->addRow(missingRow(item));
    place_->addWidget(card);
    card_ = card;
}

}  // namespace lumicrate::views
