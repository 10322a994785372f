#include "Views/Shell/CommandLine.h"

#include "Views/Widgets/QtText.h"
#include "Views/Widgets/Theme.h"

#include <QClipboard>
#include <QFontDatabase>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QPushButton>

namespace lumicrate::views {

CommandLine::CommandLine(const QString& command) {
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(measure::gap);
    auto* text = new QLineEdit(command);
    text->setReadOnly(true);
    text->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    text->setAccessibleName(localizedText("Command"));
    text->setMinimumWidth(text->fontMetrics().horizontalAdvance(command) + 3 * measure::gap);
    row->addWidget(text, 1);
    auto* copy = new QPushButton(localizedText("Copy"));
    copy->setAccessibleName(localizedText("Copy the command"));
    connect(copy, &QPushButton::clicked, this, [copy, command] {
        QGuiApplication::clipboard()->setText(command);
        copy->setText(localizedText("Copied"));
    });
    row->addWidget(copy);
}

}  // namespace lumicrate::views
