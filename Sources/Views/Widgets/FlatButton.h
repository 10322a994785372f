// FlatButton: the buttons of this program's windows, drawn in the theme's colours.
#pragma once

#include <QPushButton>
#include <QString>
#include <optional>
#include <string>
#include <string_view>

namespace lumicrate::views {

/// A push button in every respect but its looks; Return presses it as the space bar does. One that is
/// checkable has the accent colour while it is checked.
class FlatButton final : public QPushButton {
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

    /// An empty name for none.
    void setSymbol(std::string_view name);
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
    std::string symbol_;
    QString detail_;
    std::optional<double> progress_;
};

}  // namespace lumicrate::views
