#include "app/gui/gui_style.hpp"

#include <QFontDatabase>

namespace corvane::gui_style {

QColor statusColor(PreflightCheck::Status status) {
    switch (status) {
    case PreflightCheck::Status::pass:
        return QColor(0x2e, 0x7d, 0x32);
    case PreflightCheck::Status::warn:
        return QColor(0xb2, 0x6a, 0x00);
    case PreflightCheck::Status::fail:
        return QColor(0xc6, 0x28, 0x28);
    }
    return mutedText();
}

QColor presenceColor(PresenceState state) {
    switch (state) {
    case PresenceState::online:
        return QColor(0x2e, 0x7d, 0x32);
    case PresenceState::conflict:
        return QColor(0xc6, 0x28, 0x28);
    case PresenceState::offline:
        return QColor(0xb2, 0x6a, 0x00);
    case PresenceState::unknown:
        return mutedText();
    }
    return mutedText();
}

QColor logLineColor(LogLine::Kind kind) {
    switch (kind) {
    case LogLine::Kind::rx:
        return QColor(0x15, 0x65, 0xc0);
    case LogLine::Kind::tx:
        return QColor(0x2e, 0x7d, 0x32);
    case LogLine::Kind::presence:
        return QColor(0x6a, 0x1b, 0x9a);
    case LogLine::Kind::notice:
        return QColor(0xc6, 0x28, 0x28);
    case LogLine::Kind::other:
        return QColor(0x42, 0x42, 0x42);
    }
    return mutedText();
}

QColor criticalBackground() {
    return QColor(0xfd, 0xec, 0xea);
}
QColor criticalText() {
    return QColor(0x8e, 0x1b, 0x1b);
}
QColor noticeBackground() {
    return QColor(0xff, 0xf6, 0xe0);
}
QColor noticeText() {
    return QColor(0x6d, 0x4c, 0x00);
}
QColor panelBackground() {
    return QColor(0xf6, 0xf8, 0xfa);
}
QColor mutedText() {
    return QColor(0x6b, 0x72, 0x80);
}

QFont monospaceFont() {
    return QFontDatabase::systemFont(QFontDatabase::FixedFont);
}

QFont emphasised(QFont base, int steps, bool bold) {
    if (base.pointSizeF() > 0) {
        base.setPointSizeF(base.pointSizeF() + steps);
    } else {
        base.setPixelSize(base.pixelSize() + steps);
    }
    base.setBold(bold);
    return base;
}

} // namespace corvane::gui_style
