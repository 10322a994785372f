// SettingsPage: what all pages of the settings window share: cards below each other, which scroll.
#pragma once

#include <QScrollArea>
#include <QString>

class QVBoxLayout;

namespace lumicrate::views {

class Card;
class TintedLabel;

class SettingsPage : public QScrollArea {
 public:
    QSize sizeHint() const override;

 protected:
    explicit SettingsPage(const QString& title);

    Card& addCard();
    /// Text below the cards.
    void addNote(const QString& text);
    /// The same in a colour that is seen, for showMessage; empty at first.
    TintedLabel& addWarning();

 private:
    void add(QWidget* widget);

    QVBoxLayout* content_;
};

}  // namespace lumicrate::views
