#include "app/gui/reservations_page.hpp"

#include <algorithm>

#include <QLabel>
#include <QVBoxLayout>

#include "app/gui/editable_rows.hpp"
#include "app/gui/gui_texts.hpp"
#include "app/gui/settings_page_parts.hpp"

namespace corvane {
namespace {

enum Column { macColumn, ipColumn, nameColumn };

QStringList textsOf(const SettingsForm::ReservationRow& reservation) {
    return {QString::fromStdString(reservation.mac), QString::fromStdString(reservation.ip),
            QString::fromStdString(reservation.name)};
}

} // namespace

ReservationsPage::ReservationsPage(QWidget* parent)
    : QWidget(parent), table_(new EditableRows(QStringLiteral("reservations"),
                                               {{gui_texts::reservationMAC, 150, true},
                                                {gui_texts::reservationIP, 120, true},
                                                {gui_texts::reservationName, 0, true}},
                                               this)),
      messages_(settings_parts::messageLabel(this)) {
    setObjectName(QStringLiteral("reservationsPage"));
    auto* layout = new QVBoxLayout(this);
    auto* hint = new QLabel(gui_texts::reservationsHint, this);
    hint->setWordWrap(true);
    layout->addWidget(hint);
    layout->addWidget(table_, 1);
    layout->addWidget(messages_);
    connect(table_, &EditableRows::changed, this, &ReservationsPage::changed);
}

void ReservationsPage::showRows(const std::vector<SettingsForm::ReservationRow>& rows) {
    std::vector<QStringList> texts;
    for (const auto& row : rows) {
        texts.push_back(textsOf(row));
    }
    table_->showRows(texts);
}

std::vector<SettingsForm::ReservationRow> ReservationsPage::rows() const {
    std::vector<SettingsForm::ReservationRow> rows;
    for (const auto& texts : table_->rows()) {
        rows.push_back({texts[macColumn].trimmed().toStdString(),
                        texts[ipColumn].trimmed().toStdString(),
                        texts[nameColumn].trimmed().toStdString()});
    }
    return rows;
}

void ReservationsPage::reserve(const std::string& mac, const std::string& ip,
                               const std::string& name) {
    auto current = rows();
    const auto found = std::ranges::find(current, mac, &SettingsForm::ReservationRow::mac);
    if (found != current.end()) {
        found->ip = ip;
    } else {
        current.push_back({mac, ip, name});
    }
    showRows(current);
    Q_EMIT changed();
}

void ReservationsPage::showMessages(const SettingsForm::Messages& messages) {
    settings_parts::showMessagesOf(messages_, messages, SettingsForm::Field::reservations);
}

QString ReservationsPage::messagesShown() const {
    return messages_->isHidden() ? QString() : messages_->text();
}

} // namespace corvane
