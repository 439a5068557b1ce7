#pragma once

#include <QColor>
#include <QFont>

#include "app/model/log_line.hpp"
#include "core/host/preflight_check.hpp"
#include "core/presence/presence_state.hpp"

// The colours and fonts the screens share, so that a status reads the same everywhere.
namespace corvane::gui_style {

QColor statusColor(PreflightCheck::Status status);
QColor presenceColor(PresenceState state);
QColor logLineColor(LogLine::Kind kind);

QColor criticalBackground();
QColor criticalText();
QColor noticeBackground();
QColor noticeText();
QColor panelBackground();
QColor mutedText();

// A fixed-width font for log lines, commands and addresses.
QFont monospaceFont();
// `base` made larger by `steps` points and optionally bold, for headlines.
QFont emphasised(QFont base, int steps, bool bold = true);

} // namespace corvane::gui_style
