#pragma once

#include <QColor>
#include <QFont>
#include <QPalette>

#include "app/model/log_line.hpp"
#include "core/host/preflight_check.hpp"
#include "core/presence/presence_state.hpp"

// The colours and fonts the screens share, so that a status reads the same everywhere.
namespace corvane::gui_style {

// Every colour below is chosen for the application palette at the time it is asked for:
// a dark window gets light text colours and dark backgrounds, so that every text keeps a
// contrast of at least 4.5:1 against what it is drawn on, in both.
bool prefersDark(const QPalette& palette);
bool prefersDark();
// The dark palette the screenshots and tests use; a dark desktop theme brings its own.
QPalette darkPalette();
// The WCAG 2 contrast ratio of two colours, from 1 (same) to 21 (black on white).
double contrastRatio(const QColor& one, const QColor& other);

QColor statusColor(PreflightCheck::Status status);
QColor presenceColor(PresenceState state);
QColor logLineColor(LogLine::Kind kind);

QColor criticalBackground();
QColor criticalText();
QColor noticeBackground();
QColor noticeText();
QColor servingBackground();
QColor servingText();
QColor panelBackground();
QColor mutedText();

// A fixed-width font for log lines, commands and addresses.
QFont monospaceFont();
// `base` made larger by `steps` points and optionally bold, for headlines.
QFont emphasised(QFont base, int steps, bool bold = true);

} // namespace corvane::gui_style
