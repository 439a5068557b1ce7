#include "app/gui/log_model.hpp"

#include <algorithm>

#include "app/gui/gui_style.hpp"

namespace corvane {
namespace {

bool sameIDs(std::vector<LogLine>::const_iterator first, std::vector<LogLine>::const_iterator last,
             std::vector<LogLine>::const_iterator other) {
    return std::equal(first, last, other,
                      [](const LogLine& one, const LogLine& two) { return one.id == two.id; });
}

} // namespace

LogModel::LogModel(QObject* parent) : QAbstractListModel(parent) {}

void LogModel::setLines(std::vector<LogLine> lines) {
    // The oldest shown lines that the new list no longer has.
    const auto firstKept =
        lines.empty() ? lines_.end()
                      : std::find_if(lines_.begin(), lines_.end(), [&](const LogLine& line) {
                            return line.id >= lines.front().id;
                        });
    const auto dropped = std::distance(lines_.begin(), firstKept);
    const auto kept = std::distance(firstKept, lines_.end());
    const bool onlyDroppedAndAdded = std::ssize(lines) >= kept &&
                                     sameIDs(firstKept, lines_.end(), lines.begin()) &&
                                     !lines.empty();
    if (!onlyDroppedAndAdded) {
        beginResetModel();
        lines_ = std::move(lines);
        endResetModel();
        return;
    }
    if (dropped > 0) {
        beginRemoveRows({}, 0, int(dropped) - 1);
        lines_.erase(lines_.begin(), firstKept);
        endRemoveRows();
    }
    if (std::ssize(lines) > kept) {
        beginInsertRows({}, int(kept), int(lines.size()) - 1);
        lines_.insert(lines_.end(), lines.begin() + kept, lines.end());
        endInsertRows();
    }
}

int LogModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : int(lines_.size());
}

QVariant LogModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid)) {
        return {};
    }
    const LogLine& line = lines_[std::size_t(index.row())];
    switch (role) {
    case Qt::DisplayRole:
    case Qt::ToolTipRole:
        return QString::fromStdString(line.text);
    case Qt::ForegroundRole:
        return gui_style::logLineColor(line.kind);
    case kindRole:
        return int(line.kind);
    default:
        return {};
    }
}

} // namespace corvane
