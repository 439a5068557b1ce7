#include "app/gui/notice_banner.hpp"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>

#include "app/gui/gui_style.hpp"
#include "app/gui/gui_texts.hpp"

namespace corvane {

NoticeBanner::NoticeBanner(QWidget* parent)
    : QFrame(parent), symbol_(new QLabel(this)), text_(new QLabel(this)),
      dismiss_(new QPushButton(gui_texts::dismiss, this)) {
    setFrameShape(QFrame::StyledPanel);
    setAutoFillBackground(true);
    text_->setWordWrap(true);
    text_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    symbol_->setAlignment(Qt::AlignTop);
    dismiss_->setFlat(true);
    dismiss_->setObjectName(QStringLiteral("dismiss"));
    dismiss_->setCursor(Qt::PointingHandCursor);

    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(12, 8, 8, 8);
    layout->setSpacing(10);
    layout->addWidget(symbol_);
    layout->addWidget(text_, 1);
    layout->addWidget(dismiss_, 0, Qt::AlignTop);

    connect(dismiss_, &QPushButton::clicked, this, &NoticeBanner::dismissed);
}

void NoticeBanner::setNotice(const QString& message, bool critical) {
    critical_ = critical;
    text_->setText(message);
    symbol_->setText(critical ? gui_texts::criticalSymbol : gui_texts::noticeSymbol);

    const QColor background =
        critical ? gui_style::criticalBackground() : gui_style::noticeBackground();
    const QColor foreground = critical ? gui_style::criticalText() : gui_style::noticeText();
    QPalette colours = palette();
    colours.setColor(QPalette::Window, background);
    colours.setColor(QPalette::WindowText, foreground);
    colours.setColor(QPalette::ButtonText, foreground);
    setPalette(colours);

    QFont font = this->font();
    font.setBold(critical);
    text_->setFont(font);
    symbol_->setFont(gui_style::emphasised(this->font(), critical ? 4 : 2));
}

QString NoticeBanner::message() const {
    return text_->text();
}

} // namespace corvane
