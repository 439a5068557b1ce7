#include "app/gui/card_picker.hpp"

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QSignalBlocker>
#include <QVBoxLayout>

#include "app/gui/gui_style.hpp"
#include "app/gui/gui_texts.hpp"

namespace corvane {

CardPicker::CardPicker(QWidget* parent)
    : QWidget(parent), combo_(new QComboBox(this)), detail_(new QLabel(this)),
      showDisconnected_(new QCheckBox(gui_texts::showDisconnectedCards, this)),
      showVirtual_(new QCheckBox(gui_texts::showVirtualCards, this)) {
    combo_->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    combo_->setMinimumContentsLength(24);
    detail_->setWordWrap(true);
    QPalette muted = detail_->palette();
    muted.setColor(QPalette::WindowText, gui_style::mutedText());
    detail_->setPalette(muted);
    showVirtual_->setToolTip(gui_texts::showVirtualCardsHelp);
    showDisconnected_->setObjectName(QStringLiteral("showDisconnected"));
    showVirtual_->setObjectName(QStringLiteral("showVirtualCards"));

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(6);
    layout->addWidget(combo_);
    layout->addWidget(detail_);
    layout->addWidget(showDisconnected_);
    layout->addWidget(showVirtual_);

    connect(combo_, &QComboBox::activated, this, [this](int index) {
        if (index >= 0 && index < int(cards_.size())) {
            Q_EMIT cardChosen(QString::fromStdString(cards_[std::size_t(index)].bsdName));
        }
    });
    connect(combo_, &QComboBox::currentIndexChanged, this, &CardPicker::showDetail);
    connect(showDisconnected_, &QCheckBox::toggled, this, &CardPicker::showDisconnectedToggled);
    connect(showVirtual_, &QCheckBox::toggled, this, &CardPicker::showVirtualCardsToggled);
}

void CardPicker::setCards(const std::vector<NetworkCard>& offered,
                          const std::optional<std::string>& selectedID) {
    const QSignalBlocker quiet(combo_);
    // The first call fills the list even when nothing is offered, to show why.
    if (offered != cards_ || combo_->count() == 0) {
        cards_ = offered;
        combo_->clear();
        for (const auto& card : cards_) {
            combo_->addItem(gui_texts::cardTitle(card), QString::fromStdString(card.bsdName));
        }
        if (cards_.empty()) {
            combo_->addItem(gui_texts::noCardsOffered);
        }
    }
    int chosen = -1;
    for (std::size_t index = 0; index < cards_.size(); ++index) {
        if (selectedID && cards_[index].bsdName == *selectedID) {
            chosen = int(index);
        }
    }
    combo_->setCurrentIndex(cards_.empty() ? 0 : chosen);
    combo_->setEnabled(!locked_ && !cards_.empty());
    showDetail();
}

void CardPicker::setShowDisconnected(bool show) {
    const QSignalBlocker quiet(showDisconnected_);
    showDisconnected_->setChecked(show);
}

void CardPicker::setShowVirtualCards(bool show) {
    const QSignalBlocker quiet(showVirtual_);
    showVirtual_->setChecked(show);
}

void CardPicker::setLocked(bool locked) {
    locked_ = locked;
    combo_->setEnabled(!locked && !cards_.empty());
    showDisconnected_->setEnabled(!locked);
    showVirtual_->setEnabled(!locked);
}

bool CardPicker::choose(const QString& cardID) {
    const int index = cardIDs().indexOf(cardID);
    if (index < 0 || !combo_->isEnabled()) {
        return false;
    }
    combo_->setCurrentIndex(index);
    Q_EMIT cardChosen(cardID);
    return true;
}

QStringList CardPicker::cardIDs() const {
    QStringList ids;
    for (const auto& card : cards_) {
        ids << QString::fromStdString(card.bsdName);
    }
    return ids;
}

QString CardPicker::currentCardID() const {
    const int index = combo_->currentIndex();
    return index >= 0 && index < int(cards_.size())
               ? QString::fromStdString(cards_[std::size_t(index)].bsdName)
               : QString();
}

QString CardPicker::currentTitle() const {
    return combo_->currentText();
}

void CardPicker::showDetail() {
    const int index = combo_->currentIndex();
    if (cards_.empty()) {
        detail_->setText(gui_texts::noCardsOfferedHelp);
    } else if (index < 0 || index >= int(cards_.size())) {
        detail_->setText(gui_texts::pickACard);
    } else {
        detail_->setText(gui_texts::cardDetail(cards_[std::size_t(index)]));
    }
}

} // namespace corvane
