#include "app/gui/reservations_page.hpp"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QSignalBlocker>
#include <QTableWidget>
#include <QVBoxLayout>

#include "app/gui/gui_texts.hpp"
#include "app/gui/settings_page_parts.hpp"

namespace corvane {
namespace {

enum Column { macColumn, ipColumn, nameColumn, columnCount };

QString cellText(const QTableWidget* table, int row, int column) {
    const auto* item = table->item(row, column);
    return item != nullptr ? item->text() : QString();
}

void setRow(QTableWidget* table, int row, const SettingsForm::ReservationRow& reservation) {
    table->setItem(row, macColumn, new QTableWidgetItem(QString::fromStdString(reservation.mac)));
    table->setItem(row, ipColumn, new QTableWidgetItem(QString::fromStdString(reservation.ip)));
    table->setItem(row, nameColumn, new QTableWidgetItem(QString::fromStdString(reservation.name)));
}

} // namespace

ReservationsPage::ReservationsPage(QWidget* parent)
    : QWidget(parent), table_(new QTableWidget(0, columnCount, this)),
      messages_(settings_parts::messageLabel(this)) {
    setObjectName(QStringLiteral("reservationsPage"));
    table_->setObjectName(QStringLiteral("reservations"));
    table_->setHorizontalHeaderLabels(
        {gui_texts::reservationMAC, gui_texts::reservationIP, gui_texts::reservationName});
    table_->horizontalHeader()->setStretchLastSection(true);
    table_->verticalHeader()->hide();
    table_->setColumnWidth(macColumn, 150);
    table_->setColumnWidth(ipColumn, 120);
    auto* add = new QPushButton(gui_texts::addRow, this);
    auto* remove = new QPushButton(gui_texts::removeRow, this);
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(add);
    buttons->addWidget(remove);
    buttons->addStretch();
    auto* layout = new QVBoxLayout(this);
    auto* hint = new QLabel(gui_texts::reservationsHint, this);
    hint->setWordWrap(true);
    layout->addWidget(hint);
    layout->addWidget(table_, 1);
    layout->addLayout(buttons);
    layout->addWidget(messages_);

    connect(add, &QPushButton::clicked, this, [this] {
        const int row = table_->rowCount();
        table_->insertRow(row);
        setRow(table_, row, {});
        table_->setCurrentCell(row, macColumn);
        table_->editItem(table_->item(row, macColumn));
        Q_EMIT changed();
    });
    connect(remove, &QPushButton::clicked, this, [this] {
        if (table_->currentRow() >= 0) {
            table_->removeRow(table_->currentRow());
            Q_EMIT changed();
        }
    });
    connect(table_, &QTableWidget::itemChanged, this, &ReservationsPage::changed);
}

void ReservationsPage::showRows(const std::vector<SettingsForm::ReservationRow>& rows) {
    const QSignalBlocker quiet(table_);
    table_->setRowCount(static_cast<int>(rows.size()));
    for (int row = 0; row < table_->rowCount(); ++row) {
        setRow(table_, row, rows[static_cast<std::size_t>(row)]);
    }
}

std::vector<SettingsForm::ReservationRow> ReservationsPage::rows() const {
    std::vector<SettingsForm::ReservationRow> rows;
    for (int row = 0; row < table_->rowCount(); ++row) {
        rows.push_back({cellText(table_, row, macColumn).trimmed().toStdString(),
                        cellText(table_, row, ipColumn).trimmed().toStdString(),
                        cellText(table_, row, nameColumn).trimmed().toStdString()});
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
