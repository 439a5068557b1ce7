#pragma once

#include <QWidget>
#include <vector>

#include "core/host/preflight_check.hpp"

class QLabel;
class QVBoxLayout;

namespace corvane {

// The preflight checklist: one row per check with ✓, ⚠ or ✗, its message, and a button for
// the check's fix when it has one. A footer says what blocks Start.
class ChecklistView : public QWidget {
    Q_OBJECT

public:
    explicit ChecklistView(QWidget* parent = nullptr);

    void setChecks(const std::vector<PreflightCheck>& checks);
    const std::vector<PreflightCheck>& checks() const { return checks_; }
    // Fix buttons run administrator commands; they are held back while a server runs.
    void setFixesEnabled(bool enabled);
    // While a server runs the checks are those of its start (the server itself now holds
    // port 67): the list says so and is greyed, instead of contradicting the run.
    void setDescribesStart(bool describesStart);
    QString footerText() const;

Q_SIGNALS:
    void configureAdapterRequested(const QString& service);

private:
    void rebuildRows();
    QWidget* rowFor(const PreflightCheck& check);

    std::vector<PreflightCheck> checks_;
    bool fixesEnabled_ = true;
    bool describesStart_ = false;
    QVBoxLayout* rows_;
    QLabel* empty_;
    QLabel* footer_;
};

} // namespace corvane
