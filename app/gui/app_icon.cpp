#include "app/gui/app_icon.hpp"

#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QPixmap>

namespace corvane {

QPixmap appIconPixmap(int size) {
    QPixmap pixmap(size, size);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    // Drawn on the SVG's 256-unit canvas.
    painter.scale(size / 256.0, size / 256.0);

    QLinearGradient tile(0, 8, 0, 248);
    tile.setColorAt(0, QColor(0x2f, 0x6f, 0x8f));
    tile.setColorAt(1, QColor(0x1d, 0x4a, 0x63));
    painter.setPen(Qt::NoPen);
    painter.setBrush(tile);
    painter.drawRoundedRect(QRectF(8, 8, 240, 240), 48, 48);

    QPainterPath port;
    port.moveTo(64, 92);
    port.lineTo(192, 92);
    port.lineTo(192, 176);
    port.lineTo(164, 176);
    port.lineTo(164, 192);
    port.lineTo(92, 192);
    port.lineTo(92, 176);
    port.lineTo(64, 176);
    port.closeSubpath();
    painter.setPen(QPen(Qt::white, 12, Qt::SolidLine, Qt::FlatCap, Qt::RoundJoin));
    painter.setBrush(Qt::NoBrush);
    painter.drawPath(port);

    painter.setPen(Qt::NoPen);
    painter.setBrush(Qt::white);
    for (const int x : {88, 108, 128, 148}) {
        painter.drawRoundedRect(QRectF(x, 110, 10, 22), 2, 2);
    }

    painter.setPen(QPen(QColor(0x1d, 0x4a, 0x63), 8));
    painter.setBrush(QColor(0x7b, 0xd3, 0x89));
    painter.drawEllipse(QPointF(192, 68), 30, 30);
    QPainterPath tick;
    tick.moveTo(178, 68);
    tick.lineTo(188, 78);
    tick.lineTo(206, 58);
    painter.setPen(QPen(Qt::white, 9, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.setBrush(Qt::NoBrush);
    painter.drawPath(tick);
    return pixmap;
}

QIcon appIcon() {
    QIcon icon;
    for (const int size : {16, 24, 32, 48, 64, 128, 256}) {
        icon.addPixmap(appIconPixmap(size));
    }
    return icon;
}

} // namespace corvane
