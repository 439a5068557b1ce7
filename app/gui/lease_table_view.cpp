#include "app/gui/lease_table_view.hpp"

#include <QFontMetrics>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QItemSelectionModel>
#include <QLabel>
#include <QPushButton>
#include <QTableView>
#include <QVBoxLayout>

#include "app/gui/empty_state.hpp"
#include "app/gui/gui_style.hpp"
#include "app/gui/gui_texts.hpp"

namespace corvane {

LeaseTableView::LeaseTableView(QWidget* parent)
    : QWidget(parent), table_(new QTableView(this)), empty_(nullptr),
      forget_(new QPushButton(gui_texts::forgetLeaseButton, this)),
      reserve_(new QPushButton(gui_texts::reserveAddressButton, this)),
      clearExpired_(new QPushButton(gui_texts::clearExpiredButton, this)) {
    forget_->setObjectName(QStringLiteral("forgetLease"));
    reserve_->setObjectName(QStringLiteral("reserveAddress"));
    clearExpired_->setObjectName(QStringLiteral("clearExpired"));
    table_->setModel(&model_);
    table_->setSelectionBehavior(QAbstractItemView::SelectRows);
    table_->setSelectionMode(QAbstractItemView::SingleSelection);
    table_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    table_->setAlternatingRowColors(true);
    table_->setShowGrid(false);
    table_->verticalHeader()->hide();
    // Addresses and MACs always show in full and never move; the short status columns fit
    // their contents, and the two free-text columns share what is left.
    auto* header = table_->horizontalHeader();
    header->setSectionResizeMode(QHeaderView::ResizeToContents);
    header->setSectionResizeMode(LeaseTableModel::hostname, QHeaderView::Stretch);
    header->setSectionResizeMode(LeaseTableModel::vendorClass, QHeaderView::Stretch);
    const QFontMetrics fixed(gui_style::monospaceFont());
    const int padding = 24;
    for (const auto& [column, widest] :
         {std::pair{LeaseTableModel::address, QStringLiteral("255.255.255.255")},
          std::pair{LeaseTableModel::mac, QStringLiteral("ff:ff:ff:ff:ff:ff")}}) {
        header->setSectionResizeMode(column, QHeaderView::Fixed);
        table_->setColumnWidth(column, fixed.horizontalAdvance(widest) + padding);
    }
    table_->setWordWrap(false);
    table_->setTextElideMode(Qt::ElideRight);
    empty_ = new EmptyState(table_, gui_texts::noLeases);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(reserve_);
    buttons->addWidget(forget_);
    buttons->addWidget(clearExpired_);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(table_, 1);
    layout->addLayout(buttons);

    connect(table_->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &LeaseTableView::updateButtons);
    connect(table_->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &LeaseTableView::selectedMACChanged);
    connect(&model_, &QAbstractItemModel::modelReset, this, &LeaseTableView::updateButtons);
    connect(forget_, &QPushButton::clicked, this, [this] {
        const QString mac = selectedMAC();
        if (!mac.isEmpty()) {
            Q_EMIT forgetRequested(mac);
        }
    });
    connect(reserve_, &QPushButton::clicked, this, [this] {
        const auto selected = table_->selectionModel()->selectedRows();
        if (!selected.isEmpty()) {
            const auto row = selected.first();
            const auto cell = [&row](int column) {
                return row.sibling(row.row(), column).data().toString();
            };
            Q_EMIT reserveRequested(row.data(LeaseTableModel::macRole).toString(),
                                    cell(LeaseTableModel::address),
                                    cell(LeaseTableModel::hostname));
        }
    });
    connect(clearExpired_, &QPushButton::clicked, this, &LeaseTableView::clearExpiredRequested);
    updateButtons();
}

void LeaseTableView::setRows(std::vector<LeaseTableModel::Row> rows, TimePoint now) {
    const QString selected = selectedMAC();
    model_.setRows(std::move(rows), now);
    if (!selected.isEmpty() && selectedMAC() != selected) {
        selectMAC(selected);
    }
    updateButtons();
}

QString LeaseTableView::selectedMAC() const {
    const auto selected = table_->selectionModel()->selectedRows();
    return selected.isEmpty() ? QString()
                              : selected.first().data(LeaseTableModel::macRole).toString();
}

void LeaseTableView::selectMAC(const QString& mac) {
    for (int row = 0; row < model_.rowCount(); ++row) {
        if (model_.index(row, 0).data(LeaseTableModel::macRole).toString() == mac) {
            table_->selectRow(row);
            return;
        }
    }
    table_->clearSelection();
}

void LeaseTableView::updateButtons() {
    const auto& rows = model_.rows();
    forget_->setEnabled(!selectedMAC().isEmpty());
    reserve_->setEnabled(!selectedMAC().isEmpty());
    clearExpired_->setEnabled(!rows.empty());
}

} // namespace corvane
