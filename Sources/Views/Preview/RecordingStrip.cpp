// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Preview/RecordingStrip.h"

#include "Views/Overlays/OverlayStyle.h"
#include "Views/Widgets/Pictures.h"
#include "Views/Widgets/QtText.h"
#include "Views/Widgets/Theme.h"

#include <QPainter>
#include <algorithm>
#include <cmath>
#include <cstdint>

namespace lumicrate::views {

RecordingStrip::RecordingStrip(PlayerModel& player, StripPictures& content, QWidget* parent)
    : QWidget(parent), player_(player), pictures_(*content.pictures), levels_(*content.levels) {
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setAttribute(Qt::WA_OpaquePaintEvent);
    setMouseTracking(true);
    subscriptions_.push_back(content.pictures.observe([this](const auto& coming) {
        pictures_ = coming;
        update();
    }));
    subscriptions_.push_back(content.levels.observe([this](const auto& coming) {
        levels_ = coming;
        update();
    }));
}

QString RecordingStrip::preciseTime(double seconds) {
    const auto hundredths = static_cast<std::int64_t>(std::floor(seconds * 100 + 1e-6));
    return qtText(formatElapsed(seconds)) + QStringLiteral(".%1").arg(hundredths % 100, 2, 10, QChar('0'));
}

QSize RecordingStrip::sizeHint() const {
    return {320, static_cast<int>(trackHeight + labelHeight + margin + 2 * frameWidth)};
}

/// Between the handles when everything is kept.
QRectF RecordingStrip::track() const {
    return {margin + handleWidth, labelHeight + frameWidth, width() - 2 * (margin + handleWidth),
            trackHeight};
}

double RecordingStrip::xOf(CMTime time) const {
    const double duration = player_.pictures().duration().seconds();
    return track().left() + (duration > 0 ? time.seconds() / duration * track().width() : 0);
}

CMTime RecordingStrip::timeAt(double x) const {
    const double share = std::clamp((x - track().left()) / std::max(track().width(), 1.0), 0.0, 1.0);
    return CMTime::fromSeconds(share * player_.pictures().duration().seconds());
}

void RecordingStrip::paintContent(QPainter& painter) const {
    const QRectF area = track();
    painter.fillRect(rect(), pictureBackdrop);
    painter.fillRect(area, overlay::white(0.06));
    const double width = area.width() / StripPictures::maxPictures;
    for (std::size_t i = 0; i < pictures_.size(); ++i) {
        const QImage picture = sharedImage(*pictures_[i]);
        const QRectF place(area.left() + width * static_cast<double>(i), area.top(), width, area.height());
        // The middle of each picture, in the shape of its place.
        QRectF part(QPointF(), place.size().scaled(picture.size(), Qt::KeepAspectRatio));
        part.moveCenter(QRectF(picture.rect()).center());
        painter.drawImage(place, picture, part);
    }
    const double step = area.width() / std::max<double>(1, static_cast<double>(levels_.size()));
    for (std::size_t i = 0; i < levels_.size(); ++i) {
        // The root lets quiet speech be seen beside loud sound.
        const double height = std::max(1.0, std::sqrt(levels_[i]) * area.height());
        painter.fillRect(QRectF(area.left() + step * static_cast<double>(i), area.center().y() - height / 2,
                                std::max(step - 1, 1.0), height),
                         overlay::white(0.7));
    }
}

void RecordingStrip::paintPosition(QPainter& painter) const {
    const QRectF area = track();
    const double now = std::clamp(xOf(player_.time()), area.left(), area.right());
    painter.fillRect(QRectF(now - 1, area.top() - frameWidth, 2, area.height() + 2 * frameWidth), Qt::white);
}

}  // namespace lumicrate::views
