// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Shell/AboutWindow.h"

#include "Support/Error.h"
#include "Views/Shell/MessageParts.h"
#include "Views/Widgets/QtText.h"
#include "Views/Widgets/Symbols.h"
#include "Views/Widgets/Theme.h"
#include "Views/Widgets/TintedLabel.h"

#include <QPushButton>
#include <QVBoxLayout>
#include <utility>

namespace lumicrate::views {

namespace {

TintedLabel* centred(const std::string& text) {
    auto* label = new TintedLabel(&ThemeColors::secondary, qtText(text));
    label->setAlignment(Qt::AlignCenter);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    return label;
}

}  // namespace

AboutWindow::AboutWindow(const AppInfo& info, const std::string& folder, std::function<void()> openFolder) {
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
    lines->addWidget(folderRow(folder, std::move(openFolder)));
    lines->addWidget(centred(info.licence()));
}

QWidget* AboutWindow::folderRow(const std::string& folder, std::function<void()> openFolder) {
    auto* both = new QWidget;
    auto* lines = new QVBoxLayout(both);
    lines->setContentsMargins(0, 0, 0, 0);
    lines->setSpacing(measure::gap / 2);
    auto* open = roomyButton(localizedText("Open Recordings Folder"), symbol("folder"));
    open->setToolTip(qtText(folder));
    open->setAccessibleDescription(qtText(folder));
    lines->addWidget(open, 0, Qt::AlignCenter);
    auto* complaint = new TintedLabel(&ThemeColors::warning);
    complaint->setAlignment(Qt::AlignCenter);
    complaint->hide();
    lines->addWidget(complaint);
    connect(open, &QPushButton::clicked, this, [complaint, openFolder = std::move(openFolder)] {
        std::string refusal;
        try {
            openFolder();
        } catch (const PlatformError& error) {
            refusal = error.what();
        }
        complaint->showMessage(qtText(refusal));
    });
    return both;
}

}  // namespace lumicrate::views
