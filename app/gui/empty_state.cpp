#include "app/gui/empty_state.hpp"

#include <QAbstractItemView>
#include <QEvent>

#include "app/gui/gui_style.hpp"

namespace corvane {

EmptyState::EmptyState(QAbstractItemView* view, const QString& text)
    : QLabel(text, view->viewport()), view_(view) {
    setObjectName(QStringLiteral("emptyState"));
    setAlignment(Qt::AlignCenter);
    setWordWrap(true);
    setMargin(16);
    setAttribute(Qt::WA_TransparentForMouseEvents);
    QPalette muted = palette();
    muted.setColor(QPalette::WindowText, gui_style::mutedText());
    setPalette(muted);
    view->viewport()->installEventFilter(this);
    auto* model = view->model();
    for (const auto signal :
         {&QAbstractItemModel::rowsInserted, &QAbstractItemModel::rowsRemoved}) {
        connect(model, signal, this, &EmptyState::follow);
    }
    connect(model, &QAbstractItemModel::modelReset, this, &EmptyState::follow);
    follow();
}

bool EmptyState::eventFilter(QObject* watched, QEvent* event) {
    if (watched == view_->viewport() && event->type() == QEvent::Resize) {
        setGeometry(view_->viewport()->rect());
    }
    return QLabel::eventFilter(watched, event);
}

void EmptyState::follow() {
    setGeometry(view_->viewport()->rect());
    setVisible(view_->model()->rowCount() == 0);
}

} // namespace corvane
