#pragma once

#include <QAbstractListModel>
#include <vector>

#include "app/model/log_line.hpp"

namespace corvane {

// The shown log lines for a list view. Lines carry rising ids, so a new list that only adds
// lines at the end, or only dropped the oldest ones, is applied as exactly those row
// insertions and removals: the view keeps its place while the log scrolls on.
class LogModel : public QAbstractListModel {
    Q_OBJECT

public:
    static constexpr int kindRole = Qt::UserRole + 1;

    explicit LogModel(QObject* parent = nullptr);

    void setLines(std::vector<LogLine> lines);
    const std::vector<LogLine>& lines() const { return lines_; }

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;

private:
    std::vector<LogLine> lines_;
};

} // namespace corvane
