#pragma once

#include <QWidget>

#include "core/config/settings_form.hpp"

class QLabel;

namespace corvane {

class EditableRows;

// The settings window's Reservations list: one row per device (MAC, address, name), rows
// added and removed with the buttons below, mistakes shown under the list.
class ReservationsPage : public QWidget {
    Q_OBJECT

public:
    explicit ReservationsPage(QWidget* parent = nullptr);

    void showRows(const std::vector<SettingsForm::ReservationRow>& rows);
    std::vector<SettingsForm::ReservationRow> rows() const;
    // Adds a row for this device, or updates its address when it already has one.
    void reserve(const std::string& mac, const std::string& ip, const std::string& name);
    void showMessages(const SettingsForm::Messages& messages);
    QString messagesShown() const;

Q_SIGNALS:
    void changed();

private:
    EditableRows* table_;
    QLabel* messages_;
};

} // namespace corvane
