#pragma once

#include <QAbstractTableModel>
#include <optional>
#include <vector>

#include "core/leases/lease.hpp"
#include "core/presence/presence_state.hpp"

namespace corvane {

// The lease table as rows for a table view, in the order given (the display order).
class LeaseTableModel : public QAbstractTableModel {
    Q_OBJECT

public:
    enum Column { address, mac, hostname, vendorClass, state, leaseLeft, presence };
    static constexpr int columns = 7;
    // The client's MAC address, for edits on the selected row.
    static constexpr int macRole = Qt::UserRole + 1;

    struct Row {
        Lease lease;
        std::optional<PresenceState> presence;
        friend bool operator==(const Row&, const Row&) = default;
    };

    explicit LeaseTableModel(QObject* parent = nullptr);

    // Rows whose client is still listed keep their place in the view's selection; a list of
    // the same clients in the same order only refreshes the cells.
    void setRows(std::vector<Row> rows, TimePoint now);
    const std::vector<Row>& rows() const { return rows_; }

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation,
                        int role = Qt::DisplayRole) const override;

private:
    QString text(const Row& row, int column) const;

    std::vector<Row> rows_;
    TimePoint now_;
};

} // namespace corvane
