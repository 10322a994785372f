// SPDX-License-Identifier: GPL-3.0-or-later
// Language: the language of the user interface, and the formats of numbers and dates.
#pragma once

#include <QApplication>
#include <QString>

namespace lumicrate::app {

/// Uses the first language of the desktop's settings (LANGUAGE, LC_ALL, LC_MESSAGES, LANG) that there is a
/// catalogue of, or English. Locales needn't be installed. Call it at the start of main, before any text is
/// used.
void useLanguageOfDesktop();

/// Uses a language by its tag ("de", "fr-CA"), or English if there is no catalogue of it. Two are for tests:
/// "en-XA" has English texts with accents, 40 % longer and in brackets; "ar-XB" has these from right to left.
/// Texts that are not in the catalogue stay plain in them.
void useLanguage(const QString& tag);

/// Gives the application the language's direction of writing, and Qt's own texts (file dialogs, menus of text
/// fields) its translation, where that is installed.
void applyLanguage(QApplication& application);

}  // namespace lumicrate::app
