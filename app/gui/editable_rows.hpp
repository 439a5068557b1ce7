#pragma once

#include <QString>
#include <QStringList>
#include <QWidget>
#include <vector>

class QTableWidget;

namespace corvane {

// A table the user edits row by row, with Add and Remove buttons under it: the list part of
// the settings pages that keep rows (reservations, options). A new row starts with its first
// cell being edited.
class EditableRows : public QWidget {
    Q_OBJECT

public:
    struct Column {
        QString title;
        // 0 leaves the width to the table; the last column stretches anyway.
        int width = 0;
        bool editable = true;
    };

    // `tableName` is the table's object name, by which tests and style sheets find it.
    EditableRows(const QString& tableName, const std::vector<Column>& columns,
                 QWidget* parent = nullptr);

    // Replaces every row, one text per column; signals nothing.
    void showRows(const std::vector<QStringList>& rows);
    // Each row's texts as the user left them, one per column.
    std::vector<QStringList> rows() const;
    // Sets one cell without signalling a change, for text the page derives from a row.
    void setDerivedText(int row, int column, const QString& text);

Q_SIGNALS:
    // A row was added or removed, or a cell edited.
    void changed();

private:
    void setRow(int row, const QStringList& texts);

    std::vector<Column> columns_;
    QTableWidget* table_;
};

} // namespace corvane
