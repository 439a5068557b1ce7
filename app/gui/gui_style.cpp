#include "app/gui/gui_style.hpp"

#include <QFontDatabase>
#include <QGuiApplication>
#include <algorithm>
#include <cmath>

namespace corvane::gui_style {
namespace {

// One colour for a light window, one for a dark one; each keeps 4.5:1 against the window,
// the list background and the panel and banner backgrounds it is drawn on.
QColor pick(QRgb light, QRgb dark) {
    return QColor(prefersDark() ? dark : light);
}

double channel(double value) {
    value /= 255.0;
    return value <= 0.03928 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
}

} // namespace

bool prefersDark(const QPalette& palette) {
    return palette.color(QPalette::Window).lightness() < 128;
}

bool prefersDark() {
    return prefersDark(QGuiApplication::palette());
}

QPalette darkPalette() {
    QPalette palette;
    const QColor window(0x2b, 0x2d, 0x31);
    const QColor base(0x1f, 0x21, 0x24);
    const QColor text(0xe8, 0xea, 0xed);
    palette.setColor(QPalette::Window, window);
    palette.setColor(QPalette::WindowText, text);
    palette.setColor(QPalette::Base, base);
    palette.setColor(QPalette::AlternateBase, QColor(0x27, 0x29, 0x2d));
    palette.setColor(QPalette::ToolTipBase, base);
    palette.setColor(QPalette::ToolTipText, text);
    palette.setColor(QPalette::PlaceholderText, QColor(0x9a, 0xa0, 0xa6));
    palette.setColor(QPalette::Text, text);
    palette.setColor(QPalette::Button, QColor(0x3c, 0x40, 0x43));
    palette.setColor(QPalette::ButtonText, text);
    palette.setColor(QPalette::BrightText, Qt::white);
    palette.setColor(QPalette::Highlight, QColor(0x8a, 0xb4, 0xf8));
    palette.setColor(QPalette::HighlightedText, QColor(0x20, 0x21, 0x24));
    palette.setColor(QPalette::Link, QColor(0x8a, 0xb4, 0xf8));
    palette.setColor(QPalette::Disabled, QPalette::WindowText, QColor(0x9a, 0xa0, 0xa6));
    palette.setColor(QPalette::Disabled, QPalette::Text, QColor(0x9a, 0xa0, 0xa6));
    palette.setColor(QPalette::Disabled, QPalette::ButtonText, QColor(0x9a, 0xa0, 0xa6));
    return palette;
}

double contrastRatio(const QColor& one, const QColor& other) {
    const auto luminance = [](const QColor& colour) {
        return 0.2126 * channel(colour.red()) + 0.7152 * channel(colour.green()) +
               0.0722 * channel(colour.blue());
    };
    // Held by value: std::minmax of two temporaries would return dangling references.
    const double first = luminance(one);
    const double second = luminance(other);
    return (std::max(first, second) + 0.05) / (std::min(first, second) + 0.05);
}

QColor statusColor(PreflightCheck::Status status) {
    switch (status) {
    case PreflightCheck::Status::pass:
        return pick(0x1b5e20, 0x81c995);
    case PreflightCheck::Status::warn:
        return pick(0x8a4600, 0xfdd663);
    case PreflightCheck::Status::fail:
        return pick(0xb3261e, 0xf6aea9);
    }
    return mutedText();
}

QColor presenceColor(PresenceState state) {
    switch (state) {
    case PresenceState::online:
        return statusColor(PreflightCheck::Status::pass);
    case PresenceState::conflict:
        return statusColor(PreflightCheck::Status::fail);
    case PresenceState::offline:
        return statusColor(PreflightCheck::Status::warn);
    case PresenceState::unknown:
        return mutedText();
    }
    return mutedText();
}

QColor logLineColor(LogLine::Kind kind) {
    switch (kind) {
    case LogLine::Kind::rx:
        return pick(0x0b57d0, 0x8ab4f8);
    case LogLine::Kind::tx:
        return statusColor(PreflightCheck::Status::pass);
    case LogLine::Kind::presence:
        return pick(0x6a1b9a, 0xd7aefb);
    case LogLine::Kind::notice:
        return statusColor(PreflightCheck::Status::fail);
    case LogLine::Kind::other:
        return QGuiApplication::palette().color(QPalette::Text);
    }
    return mutedText();
}

QColor criticalBackground() {
    return pick(0xfdecea, 0x4c1d1b);
}
QColor criticalText() {
    return pick(0x8e1b1b, 0xffdad6);
}
QColor noticeBackground() {
    return pick(0xfff6e0, 0x47370f);
}
QColor noticeText() {
    return pick(0x5c4000, 0xffe08a);
}
QColor servingBackground() {
    return pick(0xe6f4ea, 0x1e3a29);
}
QColor servingText() {
    return pick(0x0d652d, 0xa8dab5);
}
QColor panelBackground() {
    return pick(0xf6f8fa, 0x303338);
}
QColor mutedText() {
    return pick(0x595f69, 0xaab0b8);
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
