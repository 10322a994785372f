// SPDX-License-Identifier: GPL-3.0-or-later
// FlatButton: the buttons of this program's windows, drawn in the theme's colours; and SymbolButton, their
// base.
#pragma once

#include <QAbstractButton>
#include <QString>
#include <optional>
#include <string>
#include <string_view>

namespace lumicrate::views {

/// Base of the program's own buttons. A button shows a symbol, a text or both, on a ground that it paints
/// itself: FlatButton in windows, in the theme's colours, and BarButton in overlays, always dark.
class SymbolButton : public QAbstractButton {
 public:
    /// A name of Symbols.h; an empty one for no symbol.
    void setSymbol(std::string_view name);
    /// Tool tip, and name for assistive technology.
    void setHelp(const std::string& help);

 protected:
    explicit SymbolButton(QWidget* parent) : QAbstractButton(parent) { setAttribute(Qt::WA_Hover); }

    const std::string& symbolName() const { return symbol_; }
    bool isHovered() const { return isEnabled() && underMouse(); }

 private:
    std::string symbol_;
};

/// Return presses it as the space bar does. A checkable one has the accent colour while it is checked.
class FlatButton final : public SymbolButton {
 public:
    enum class Role {
        plain,      ///< a symbol that gets a ground under the pointer
        tile,       ///< a symbol over a small label
        chevron,    ///< a narrow one that opens a menu
        field,      ///< a symbol, text from the left, and a chevron: it opens something to choose from
        prominent,  ///< the one large button
    };
    /// Of a prominent button.
    enum class Tone {
        inviting,  ///< filled with the record colour
        active,    ///< outlined in the record colour
        neutral,
    };

    explicit FlatButton(Role role, QWidget* parent = nullptr);

    void setTone(Tone tone);
    /// Text behind the title, in figures of one width: a time.
    void setDetail(const QString& detail);
    /// A share of the button, 0 … 1, that is filled.
    void setProgress(std::optional<double> share);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

 protected:
    void paintEvent(QPaintEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

 private:
    struct Colors;
    Colors colors() const;
    QFont textFont() const;
    QFont detailFont() const;
    void paintGround(QPainter& painter, const Colors& colors) const;
    void paintTile(QPainter& painter, const Colors& colors) const;
    void paintField(QPainter& painter, const Colors& colors) const;
    void paintCentered(QPainter& painter, const Colors& colors) const;

    Role role_;
    Tone tone_ = Tone::inviting;
    QString detail_;
    std::optional<double> progress_;
};

}  // namespace lumicrate::views
