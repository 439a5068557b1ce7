#pragma once

#include <QWidget>
#include <vector>

#include "app/gui/lease_table_model.hpp"

class QLabel;
class QPushButton;
class QTableView;

namespace corvane {

class EmptyState;

// Every lease of the run or the lease file, online devices first, with the two edits a user
// may make: forget one client, or clear the records that no longer hold an address. Both
// ask for confirmation elsewhere; this view only asks for them.
class LeaseTableView : public QWidget {
    Q_OBJECT

public:
    explicit LeaseTableView(QWidget* parent = nullptr);

    void setRows(std::vector<LeaseTableModel::Row> rows, TimePoint now);
    LeaseTableModel& model() { return model_; }
    // The MAC address of the selected row, empty when none is selected.
    QString selectedMAC() const;
    void selectMAC(const QString& mac);

Q_SIGNALS:
    void forgetRequested(const QString& mac);
    // "Reserve this address": pin the selected device to the address it holds now.
    void reserveRequested(const QString& mac, const QString& ip, const QString& name);
    void clearExpiredRequested();
    void selectedMACChanged();

private:
    void updateButtons();

    LeaseTableModel model_;
    QTableView* table_;
    EmptyState* empty_;
    QPushButton* forget_;
    QPushButton* reserve_;
    QPushButton* clearExpired_;
};

} // namespace corvane
