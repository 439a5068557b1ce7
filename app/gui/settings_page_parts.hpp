#pragma once

#include <QLabel>
#include <QString>
#include <QStringList>

#include "app/gui/gui_style.hpp"
#include "core/config/settings_form.hpp"

// Pieces the settings window's pages share. Internal to app/gui.
namespace corvane::settings_parts {

// A hidden label in the failure colour, shown when its field has messages.
inline QLabel* messageLabel(QWidget* parent) {
    auto* label = new QLabel(parent);
    label->setWordWrap(true);
    QPalette error = label->palette();
    error.setColor(QPalette::WindowText, gui_style::statusColor(PreflightCheck::Status::fail));
    label->setPalette(error);
    label->hide();
    return label;
}

inline void showMessagesOf(QLabel* label, const SettingsForm::Messages& messages,
                           SettingsForm::Field field) {
    const auto found = messages.find(field);
    if (found == messages.end()) {
        label->clear();
        label->hide();
        return;
    }
    QStringList lines;
    for (const auto& message : found->second) {
        lines << QString::fromStdString(message);
    }
    label->setText(lines.join(QLatin1Char('\n')));
    label->show();
}

} // namespace corvane::settings_parts
