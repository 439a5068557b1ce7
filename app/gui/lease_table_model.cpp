#include "app/gui/lease_table_model.hpp"

#include <algorithm>

#include "app/gui/gui_style.hpp"
#include "app/gui/gui_texts.hpp"
#include "core/maker/maker_registry.hpp"

namespace corvane {
namespace {

bool sameClients(const std::vector<LeaseTableModel::Row>& left,
                 const std::vector<LeaseTableModel::Row>& right) {
    return std::equal(
        left.begin(), left.end(), right.begin(), right.end(),
        [](const auto& one, const auto& other) { return one.lease.mac == other.lease.mac; });
}

} // namespace

LeaseTableModel::LeaseTableModel(QObject* parent) : QAbstractTableModel(parent) {}

void LeaseTableModel::setRows(std::vector<Row> rows, TimePoint now) {
    if (sameClients(rows_, rows)) {
        rows_ = std::move(rows);
        now_ = now;
        if (!rows_.empty()) {
            Q_EMIT dataChanged(index(0, 0), index(int(rows_.size()) - 1, columns - 1));
        }
        return;
    }
    beginResetModel();
    rows_ = std::move(rows);
    now_ = now;
    endResetModel();
}

int LeaseTableModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : int(rows_.size());
}

int LeaseTableModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : columns;
}

QVariant LeaseTableModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid)) {
        return {};
    }
    const Row& row = rows_[std::size_t(index.row())];
    switch (role) {
    case Qt::DisplayRole:
        return text(row, index.column());
    case macRole:
        return gui_texts::toQString(row.lease.mac.description());
    case Qt::ToolTipRole:
        // Who made the device, from the IEEE registry, shown over its MAC.
        if (index.column() == Column::mac) {
            return QString::fromStdString(makerName(row.lease.mac).value_or(std::string()));
        }
        return {};
    case Qt::FontRole:
        if (index.column() == Column::address || index.column() == Column::mac) {
            return gui_style::monospaceFont();
        }
        return {};
    case Qt::ForegroundRole:
        if (index.column() == Column::presence) {
            return gui_style::presenceColor(row.presence.value_or(PresenceState::unknown));
        }
        if (!row.lease.holdsAddress(now_)) {
            return gui_style::mutedText();
        }
        return {};
    default:
        return {};
    }
}

QVariant LeaseTableModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole) {
        return {};
    }
    switch (section) {
    case Column::address:
        return gui_texts::addressLabel;
    case Column::mac:
        return gui_texts::macLabel;
    case Column::hostname:
        return gui_texts::hostnameLabel;
    case Column::vendorClass:
        return gui_texts::vendorClassLabel;
    case Column::state:
        return gui_texts::stateLabel;
    case Column::leaseLeft:
        return gui_texts::leaseLeftLabel;
    case Column::presence:
        return gui_texts::presenceLabel;
    default:
        return {};
    }
}

QString LeaseTableModel::text(const Row& row, int column) const {
    const Lease& lease = row.lease;
    switch (column) {
    case Column::address:
        return gui_texts::toQString(lease.ip.description());
    case Column::mac:
        return gui_texts::toQString(lease.mac.description());
    case Column::hostname:
        return lease.hostname ? QString::fromStdString(*lease.hostname) : gui_texts::notGiven;
    case Column::vendorClass:
        return lease.vendorClass ? QString::fromStdString(*lease.vendorClass) : gui_texts::notGiven;
    case Column::state:
        return gui_texts::toQString(leaseStateName(lease.state));
    case Column::leaseLeft:
        return gui_texts::leaseLeft(lease, now_);
    case Column::presence:
        return row.presence ? gui_texts::presenceWord(*row.presence) : gui_texts::notGiven;
    default:
        return {};
    }
}

} // namespace corvane
